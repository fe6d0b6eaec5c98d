// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxDataBuffer.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include <fcntl.h>

namespace {

class DataBufferFaults : public testing::Test {
protected:
    DataBufferFaults() {
        theSystem = System();
        EXPECT_EQ(save('o'), 0);
        theSystem = System();
    }
    ~DataBufferFaults() override { theSystem = System(); }

    int save(char value, bool compressed = true, kxFlush flush = kxFlush::now) {
        std::string header(10, value);
        std::string data(100000, value);
        return _KX_DataBuffer::saveToFileCompressed(path.c_str(), compressed, header.data(), 10, data.data(),
                                                    100000, flush);
    }
    int load(bool compressed = true) {
        std::string header(10, '-');
        std::string data(100000, '-');
        const int code = _KX_DataBuffer::loadFromFileCompressed(path.c_str(), compressed, header.data(), 10,
                                                                data.data(), 100000);
        loaded = data.back();
        return code;
    }
    // The file holds this value, whole, and nothing is beside it.
    void expectFileOf(char value) {
        theSystem = System();
        EXPECT_EQ(load(), 0);
        EXPECT_EQ(loaded, value);
        EXPECT_EQ(dir.entries(), std::vector<std::string>{"file"});
    }

    TempDir dir;
    const std::string path = dir.file("file");
    char loaded = '-';
};

}  // namespace

TEST_F(DataBufferFaults, AnyFailedStepKeepsTheOldFileAndRemovesTheTemporaryOne) {
    const struct {
        const char* name;
        Call System::*call;
        int errorNumber;
    } cases[] = {
        {"create", &System::openat, EROFS},
        {"first write", &System::write, ENOSPC},
        {"flush", &System::fsync, EIO},
        {"flush", &System::fsync, EDQUOT},
        {"close", &System::close, ENOSPC},
        {"rename", &System::renameat, EACCES},
        {"compressor", &System::deflateInit, ENOMEM},
    };
    for (const auto& row : cases) {
        (theSystem.*row.call).failWith(row.errorNumber);
        EXPECT_EQ(save('n'), row.errorNumber) << row.name;
        expectFileOf('o');
    }
}

TEST_F(DataBufferFaults, AFullDiskInTheMiddleOfAFileKeepsTheOldOne) {
    for (const bool compressed : {true, false}) {
        theSystem.largestTransfer = compressed ? 5 : 5000;
        ASSERT_EQ(save('o', compressed), 0);
        const int writes = theSystem.write.calls;
        ASSERT_GT(writes, 10);
        for (int goodWrites = 0; goodWrites < writes; ++goodWrites) {
            theSystem.write.failWith(ENOSPC, 1, goodWrites);
            ASSERT_EQ(save('n', compressed), ENOSPC) << goodWrites;
        }
        EXPECT_EQ(load(compressed), 0);
        EXPECT_EQ(loaded, 'o');
        theSystem = System();
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"file"});
}

TEST_F(DataBufferFaults, AWriteThatMovesNothingEnds) {
    theSystem.largestTransfer = 0;
    EXPECT_EQ(save('n'), EIO);
    expectFileOf('o');
}

TEST_F(DataBufferFaults, InterruptedCallsAreRepeated) {
    theSystem.openat.failWith(EINTR, 3);
    theSystem.write.failWith(EINTR, 3);
    theSystem.fsync.failWith(EINTR, 3);
    theSystem.close.failWith(EINTR, 1);
    theSystem.renameat.failWith(EINTR, 3);
    EXPECT_EQ(save('n'), 0);
    theSystem.fstat.failWith(EINTR, 3);
    theSystem.read.failWith(EINTR, 3);
    EXPECT_EQ(load(), 0);
    for (const Call System::*call : {&System::openat, &System::renameat, &System::fstat, &System::read}) {
        EXPECT_EQ((theSystem.*call).failures, 0);
        EXPECT_GT((theSystem.*call).calls, 3);
    }
    expectFileOf('n');
}

TEST_F(DataBufferFaults, ShortTransfersAreContinued) {
    for (const bool compressed : {true, false}) {
        theSystem.largestTransfer = 7;
        EXPECT_EQ(save('s', compressed), 0);
        EXPECT_EQ(load(compressed), 0);
        EXPECT_EQ(loaded, 's');
    }
}

TEST_F(DataBufferFaults, TheFileIsFlushedBeforeTheDirectory) {
    EXPECT_EQ(save('n'), 0);
    EXPECT_EQ(theSystem.fsync.calls, 2);
}

TEST_F(DataBufferFaults, NothingIsFlushedThatTheSystemMayWriteLater) {
    EXPECT_EQ(save('n', true, kxFlush::later), 0);
    EXPECT_EQ(theSystem.fsync.calls, 0);
    expectFileOf('n');
}

TEST_F(DataBufferFaults, AFileSystemThatCannotFlushADirectoryIsNoFailure) {
    for (const int error : {EINVAL, ENOTSUP, ENOSYS}) {
        theSystem.fsync.failWith(error, 1, 1);
        EXPECT_EQ(save('n'), 0) << error;
        expectFileOf('n');
    }
}

TEST_F(DataBufferFaults, ADirectoryThatFailsToFlushIsReportedThoughTheNewFileStands) {
    theSystem.fsync.failWith(EIO, 1, 1);
    EXPECT_EQ(save('n'), EIO);
    expectFileOf('n');
}

TEST_F(DataBufferFaults, ATakenTemporaryNameIsPassedOver) {
    theSystem.openat.failWith(EEXIST, 3);
    EXPECT_EQ(save('n'), 0);
    ASSERT_EQ(theSystem.created.size(), 4U);
    EXPECT_NE(theSystem.created[0], theSystem.created[1]);
    EXPECT_EQ(theSystem.created[0].substr(0, 9), ".kxCache-");
    theSystem.openat.failWith(EEXIST, 1000000);
    EXPECT_EQ(save('x'), EEXIST);
    expectFileOf('n');
}

TEST_F(DataBufferFaults, TheTemporaryFileIsNewAndNotHandedToOtherPrograms) {
    EXPECT_EQ(save('n'), 0);
    EXPECT_EQ(theSystem.createFlags, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC);
}

TEST_F(DataBufferFaults, AReadErrorIsReported) {
    for (const int goodReads : {0, 1}) {
        theSystem.read.failWith(EIO, 1, goodReads);
        EXPECT_EQ(load(), EIO) << goodReads;
        theSystem.read.failWith(EIO, 1, goodReads);
        EXPECT_EQ(load(false), EIO) << goodReads;
    }
    ASSERT_EQ(save('p', false), 0);
    for (const int goodReads : {0, 1, 2}) {
        theSystem.read.failWith(EIO, 1, goodReads);
        EXPECT_EQ(load(false), EIO) << goodReads;
    }
}

TEST_F(DataBufferFaults, WithoutMemoryOrStatusNothingIsRead) {
    theSystem.inflateInit.failWith(0);
    EXPECT_EQ(load(), ENOMEM);
    theSystem.fstat.failWith(EIO);
    EXPECT_EQ(load(), EIO);
    expectFileOf('o');
}
