// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureSpool.h"

#include "tests/support/TempDir.h"
#include "tests/support/TmpdirVariable.h"

#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <string>
#include <vector>

#include <sys/resource.h>

using namespace kxCheck;

namespace {

QByteArray randomBytes(std::mt19937& random, int size) {
    QByteArray bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

}  // namespace

TEST(PictureSpool, GivesBackWhatWasStored) {
    std::mt19937 random(1);
    PictureSpool spool;
    std::vector<QByteArray> all;
    std::vector<StoredBytes> stored;
    for (int i = 0; i < 300; ++i) {
        all.push_back(randomBytes(random, static_cast<int>(random() % 5000)));
        stored.push_back(spool.put(all.back()));
        if (i % 3 == 0) {
            const std::size_t gone = random() % stored.size();
            spool.release(stored[gone]);
            all[gone].clear();
        }
    }
    for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(spool.get(stored[i]), all[i]) << i;
    EXPECT_EQ(spool.fault(), "");
}

TEST(PictureSpool, UsesRoomAgain) {
    PictureSpool spool;
    const QByteArray bytes(30000, 'x');
    for (int i = 0; i < 1000; ++i) {
        StoredBytes stored = spool.put(bytes);
        EXPECT_TRUE(stored);
        spool.release(stored);
        EXPECT_FALSE(stored);
    }
    EXPECT_EQ(spool.size(), 32768);
}

TEST(PictureSpool, HasNoFileOfAName) {
    const TempDir dir;
    const TmpdirVariable temporary(dir.path());
    PictureSpool spool;
    EXPECT_TRUE(spool.put("x"));
    EXPECT_EQ(dir.entries(), std::vector<std::string>{});
}

TEST(PictureSpool, StoresNothingOfNothing) {
    const TmpdirVariable temporary("/none");
    PictureSpool spool;
    EXPECT_FALSE(spool.put({}));
    EXPECT_EQ(spool.get({}), "");
    EXPECT_EQ(spool.fault(), "");
}

TEST(PictureSpool, RemembersItsFailure) {
    const TempDir dir;
    PictureSpool spool;
    {
        const TmpdirVariable temporary(dir.file("none"));
        EXPECT_FALSE(spool.put("x"));
    }
    EXPECT_EQ(spool.fault(), "temporary file: No such file or directory");
    EXPECT_FALSE(spool.put("x"));  // now it could
}

TEST(PictureSpool, SaysWhenThereIsNoRoom) {
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit small = before;
    small.rlim_cur = 4096;
    PictureSpool spool;
    EXPECT_TRUE(spool.put("x"));
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const StoredBytes stored = spool.put(QByteArray(10000, 'x'));
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_FALSE(stored);
    EXPECT_EQ(spool.fault(), "temporary file: File too large");
}
