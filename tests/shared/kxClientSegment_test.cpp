// SPDX-License-Identifier: BSD-3-Clause
// What a sender is answered, with a client that is another process.
#include "shared/kxClientSegment.h"

#include "shared/kxVersion.h"
#include "tests/support/ClientProcess.h"
#include "tests/support/ClientSegment.h"
#include "tests/support/TempDir.h"

#include <QByteArray>
#include <gtest/gtest.h>

#include <string>

namespace {

using Outcome = kxClientSegment::Outcome;

const std::string version = kxVersionString;

// Each case has a segment of its own: QtCore takes its key from a file in $TMPDIR.
class ClientSegment : public testing::Test {
protected:
    void SetUp() override {
        if (!hasSystemVSharedMemory()) GTEST_SKIP() << "no System V shared memory here";
        qputenv("TMPDIR", dir_.path().c_str());
    }
    void TearDown() override {
        if (before_.isNull()) {
            qunsetenv("TMPDIR");
        } else {
            qputenv("TMPDIR", before_);
        }
    }

    const QByteArray before_ = qgetenv("TMPDIR");
    TempDir dir_;
};

TEST_F(ClientSegment, WithoutAClientTheAnswerIsAFailureWithTheVersionInFront) {
    const kxClientSegment::Answer answer = kxClientSegment().placeCheckJob(7);
    EXPECT_EQ(answer.outcome, Outcome::failed);
    const std::string start = version + "++++ Unable to attach shared memory! ";
    EXPECT_EQ(bytesOf(answer.message).substr(0, start.size()), start);
    EXPECT_EQ(answer.message.back(), QLatin1Char('\n'));
}

TEST_F(ClientSegment, TheAnswerTellsWhetherTheMessageHadRoom) {
    const ClientProcess client(dir_.path());
    ASSERT_EQ(client.ask("create 22984"), "ok\n");
    ASSERT_EQ(client.load(readySegment(29)), "ok\n");
    kxClientSegment segment;
    const kxClientSegment::Answer placed = segment.placeCheckJob(7);
    EXPECT_EQ(placed.outcome, Outcome::placed);
    EXPECT_EQ(bytesOf(placed.message), "Command 'check job' send to kxServer via kxClient.\n\n");
    EXPECT_EQ(client.save(), withCheckJob(readySegment(29), 7));
    const kxClientSegment::Answer full = segment.placeCheckJob(8);
    EXPECT_EQ(full.outcome, Outcome::bufferFull);
    EXPECT_EQ(bytesOf(full.message), version + " kxClientcommander: Message buffer is full!\n");
    EXPECT_EQ(client.save(), withCheckJob(readySegment(29), 7));
}

TEST_F(ClientSegment, AForeignSegmentIsLeftAsItIs) {
    const ClientProcess client(dir_.path());
    ASSERT_EQ(client.ask("create 22984"), "ok\n");
    const std::string foreign(22984, '\0');
    ASSERT_EQ(client.load(foreign), "ok\n");
    const kxClientSegment::Answer answer = kxClientSegment().placeCheckJob(7);
    EXPECT_EQ(answer.outcome, Outcome::failed);
    EXPECT_EQ(bytesOf(answer.message),
              version + "++++ Shared memory has wrong data format! (0!=517  0!=3077  0!=1)\n");
    EXPECT_EQ(client.save(), foreign);
}

}  // namespace
