// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxLog.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

namespace {

struct RecordingLog : __KXlog {
    struct Line {
        int level;
        int category;
        QString text;
    };
    void log(int level, int category, const QString& text) override { lines.push_back({level, category, text}); }
    std::vector<Line> lines;
};

#if defined(__x86_64__) || defined(__i386__)
// Where the pointer to a virtual member function holds 1 + its byte offset in the table of virtual operations.
template <class MemberFunction>
std::size_t virtualTableEntry(MemberFunction function) {
    std::ptrdiff_t offsetPlusOne = 0;
    std::memcpy(&offsetPlusOne, &function, sizeof offsetPlusOne);
    return static_cast<std::size_t>(offsetPlusOne - 1) / sizeof(void*) + 1;
}

TEST(KXlog, LogIsThe13thVirtualOperation) {
    EXPECT_EQ(virtualTableEntry(&__KXlog::reserved1), 1U);
    EXPECT_EQ(virtualTableEntry(&__KXlog::reserved12), 12U);
    EXPECT_EQ(virtualTableEntry(&__KXlog::log), 13U);
}
#endif

TEST(KXlog, LinesReachTheDerivedLogThroughTheBase) {
    RecordingLog recording;
    __KXlog* log = &recording;
    log->log(10, 8, QStringLiteral("DirList"));
    ASSERT_EQ(recording.lines.size(), 1U);
    EXPECT_EQ(recording.lines[0].level, 10);
    EXPECT_EQ(recording.lines[0].category, 8);
    EXPECT_EQ(recording.lines[0].text, QStringLiteral("DirList"));
}

TEST(KXlog, OtherOperationsDoNothing) {
    RecordingLog recording;
    __KXlog* log = &recording;
    for (const auto operation :
         {&__KXlog::reserved1, &__KXlog::reserved2, &__KXlog::reserved3, &__KXlog::reserved4, &__KXlog::reserved5,
          &__KXlog::reserved6, &__KXlog::reserved7, &__KXlog::reserved8, &__KXlog::reserved9, &__KXlog::reserved10,
          &__KXlog::reserved11, &__KXlog::reserved12}) {
        (log->*operation)();
    }
    __KXlog().log(10, 8, QStringLiteral("dropped"));
    EXPECT_TRUE(recording.lines.empty());
    EXPECT_EQ(recording.logFile.stream, nullptr);
}

TEST(KXlog, IsDestroyedThroughTheBase) {
    struct CountingLog : __KXlog {
        explicit CountingLog(int& destroyed) : destroyed_(destroyed) {}
        ~CountingLog() override { ++destroyed_; }
        int& destroyed_;
    };
    int destroyed = 0;
    const __KXlog* log = new CountingLog(destroyed);
    delete log;
    EXPECT_EQ(destroyed, 1);
}

TEST(KXLogfile, FlushWritesWhatIsBuffered) {
    const TempDir dir;
    RecordingLog log;
    log.logFile.stream = std::fopen(dir.file("farm.log").c_str(), "w");
    ASSERT_NE(log.logFile.stream, nullptr);
    std::fputs("line", log.logFile.stream);
    EXPECT_EQ(readFileBytes(dir.file("farm.log")), "");
    log.logFile.flush();
    EXPECT_EQ(readFileBytes(dir.file("farm.log")), "line");
    std::fclose(log.logFile.stream);
}

TEST(KXLogfile, FlushWithoutStreamDoesNothing) {
    _kxLogfile file;
    file.flush();
    EXPECT_EQ(file.stream, nullptr);
}

TEST(KXLogfile, FlushIsVirtual) {
    struct CountingFile : _kxLogfile {
        void flush() override { ++flushes; }
        int flushes = 0;
    } counting;
    _kxLogfile* file = &counting;
    file->flush();
    EXPECT_EQ(counting.flushes, 1);
}

}  // namespace
