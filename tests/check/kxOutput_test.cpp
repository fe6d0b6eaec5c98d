// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxOutput.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

using kxCheck::Output;

namespace {

QByteArray pathIn(const TempDir& dir, const char* name) {
    return QByteArray::fromStdString(dir.file(name));
}

}  // namespace

TEST(Output, HasWrittenEachLineWhenTheCallIsOver) {
    const TempDir dir;
    ASSERT_TRUE(writeFileBytes(dir.file("lines"), "what was there before, and longer"));
    Output output(pathIn(dir, "lines"));
    EXPECT_TRUE(output.writeLine("first"));
    EXPECT_EQ(readFileBytes(dir.file("lines")), "first\n");
    EXPECT_TRUE(output.write("second"));
    EXPECT_EQ(readFileBytes(dir.file("lines")), "first\nsecond");
    output.close();
    EXPECT_EQ(output.fault(), "");
}

TEST(Output, SaysWhyAFileCantBeOpened) {
    const TempDir dir;
    Output output(pathIn(dir, "none/lines"));
    EXPECT_TRUE(output.hasFailed());
    EXPECT_EQ(output.fault(), pathIn(dir, "none/lines") + ": No such file or directory");
    EXPECT_FALSE(output.writeLine("lost"));
}

TEST(Output, OverwritesNoExrFile) {
    const TempDir dir;
    const std::string frame = "\x76\x2f\x31\x01 and what follows";
    ASSERT_TRUE(writeFileBytes(dir.file("frame"), frame));
    ASSERT_EQ(symlink("frame", dir.file("link").c_str()), 0);
    for (const char* const name : {"frame", "link"}) {
        Output output(pathIn(dir, name));
        EXPECT_EQ(output.fault(), pathIn(dir, name) + ": this is an EXR file, and is not overwritten");
        EXPECT_FALSE(output.writeLine("lost"));
    }
    EXPECT_EQ(readFileBytes(dir.file("frame")), frame);
}

TEST(Output, WritesNothingMoreAfterAFailure) {
    const int full = open("/dev/full", O_WRONLY);
    if (full < 0) GTEST_SKIP() << "no /dev/full";
    const TempDir dir;
    const int file = open(dir.file("lines").c_str(), O_WRONLY | O_CREAT, 0600);
    const int output = dup(full);
    Output lines(output, "standard output");
    EXPECT_FALSE(lines.writeLine("lost"));
    EXPECT_EQ(lines.fault(), "standard output: No space left on device");
    dup2(file, output);  // there would be room now
    EXPECT_FALSE(lines.writeLine("late"));
    EXPECT_EQ(readFileBytes(dir.file("lines")), "");
    for (const int descriptor : {full, file, output}) close(descriptor);
}

TEST(Output, WaitsForRoomInANonBlockingPipe) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    const QByteArray bytes(1 << 20, 'x');
    std::size_t received = 0;
    std::thread reader([&] {
        char buffer[65536];
        for (ssize_t count = 1; count > 0; received += static_cast<std::size_t>(count))
            count = read(ends[0], buffer, sizeof buffer);
    });
    Output output(ends[1], "pipe");
    EXPECT_TRUE(output.write(bytes));
    close(ends[1]);
    reader.join();
    EXPECT_EQ(received, static_cast<std::size_t>(bytes.size()));
    close(ends[0]);
}

TEST(Output, LeavesADescriptorThatItWasGivenOpen) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    { Output output(ends[1], "pipe"); }
    EXPECT_GE(fcntl(ends[1], F_GETFD), 0);
    close(ends[0]);
    close(ends[1]);
}
