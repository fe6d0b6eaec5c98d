// SPDX-License-Identifier: BSD-3-Clause
// The check-job command step by step. kxSharedMemory and kxSleep are replaced in this program, so that every step
// can be made to fail and nothing waits.
#include "shared/kxClientSegment.h"
#include "shared/kxSharedMemory.h"
#include "shared/kxVersion.h"
#include "tests/support/ClientSegment.h"
#include "tests/support/TempDir.h"
#include "tool/main.h"

#include <QSharedMemory>
#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdio>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

// What the replaced class answers, and what it was asked.
struct Memory {
    bool attaches = true;
    bool hasData = true;
    bool locks = true;
    int size = 22984;
    QString error = QStringLiteral("why");
    std::string bytes = readySegment(0);

    std::string calls;
    std::string bytesAtLock;
    std::string bytesAtUnlock;
    long printedAtUnlock = -1;
};

Memory memory;

bool called(const std::string& call, bool result = true) {
    memory.calls += call + " ";
    return result;
}

// Bytes that standard output, which is captured in a file, got so far.
long printedBytes() {
    std::fflush(stdout);
    return static_cast<long>(lseek(STDOUT_FILENO, 0, SEEK_CUR));
}

const std::string version = kxVersionString;
const std::string sent = "Command 'check job' send to kxServer via kxClient.\n\n";
const std::string full = version + " kxClientcommander: Message buffer is full!\n";

const std::string opened = "construct attach size data lock ";
const std::string closed = "unlock detach ";
const std::string waited = "sleep2000 ";
const std::string destroyed = "destroy ";

// Sends the command to a segment of these bytes; gives what is printed.
std::string send(const std::string& bytes, int job = 7) {
    memory.bytes = bytes;
    memory.calls.clear();
    testing::internal::CaptureStdout();
    sendClientCheckJob(job);
    return testing::internal::GetCapturedStdout();
}

class CheckJobSteps : public testing::Test {
protected:
    CheckJobSteps() { memory = Memory(); }
};

std::string formatMessage(const std::string& values) {
    return version + "++++ Shared memory has wrong data format! (" + values + ")\n";
}

// The segment with the bytes at `offset` replaced.
std::string spoiled(std::size_t offset, const std::string& bytes) {
    std::string segment = readySegment(0);
    return segment.replace(offset, bytes.size(), bytes);
}

}  // namespace

kxSharedMemory::kxSharedMemory(const _kxString8_allSize<250>& name) {
    called("construct");
    EXPECT_STREQ(name.data(), "kxClientSharedMemory");
}

kxSharedMemory::~kxSharedMemory() {
    called("destroy");
}

bool kxSharedMemory::attach() {
    return called("attach", memory.attaches);
}

int kxSharedMemory::size() const {
    called("size");
    return memory.size;
}

void* kxSharedMemory::data() {
    return called("data", memory.hasData) ? memory.bytes.data() : nullptr;
}

bool kxSharedMemory::lock() {
    memory.bytesAtLock = memory.bytes;
    return called("lock", memory.locks);
}

bool kxSharedMemory::unlock() {
    memory.bytesAtUnlock = memory.bytes;
    memory.printedAtUnlock = printedBytes();
    return called("unlock");
}

bool kxSharedMemory::detach() {
    return called("detach");
}

QString kxSharedMemory::errorString() const {
    return memory.error;
}

void kxSleep(int milliseconds) {
    called("sleep" + std::to_string(milliseconds));
}

TEST_F(CheckJobSteps, SentMessageTakesAllStepsInOrderAndWaitsAfterDetaching) {
    EXPECT_EQ(send(readySegment(0)), sent);
    EXPECT_EQ(memory.calls, opened + closed + waited + destroyed);
}

TEST_F(CheckJobSteps, FullBufferTakesAllStepsToo) {
    EXPECT_EQ(send(readySegment(30)), full);
    EXPECT_EQ(memory.calls, opened + closed + waited + destroyed);
}

TEST_F(CheckJobSteps, SegmentChangesOnlyUnderTheLock) {
    send(readySegment(4));
    EXPECT_EQ(memory.bytesAtLock, readySegment(4));
    EXPECT_EQ(memory.bytesAtUnlock, memory.bytes);
    EXPECT_NE(memory.bytesAtLock, memory.bytesAtUnlock);
}

// Printing waits where the output is stopped, and nobody else gets the lock then.
TEST_F(CheckJobSteps, NothingIsPrintedUnderTheLock) {
    const std::string wrong = spoiled(0, "\xff");
    for (const std::string& segment : {readySegment(0), readySegment(30), wrong}) {
        memory.printedAtUnlock = -1;
        EXPECT_NE(send(segment), "");
        EXPECT_EQ(memory.printedAtUnlock, 0);
    }
}

TEST_F(CheckJobSteps, SegmentTellsTheOutcomeAndPrintsNothing) {
    using Outcome = kxClientSegment::Outcome;
    const struct {
        std::string segment;
        bool attaches;
        Outcome outcome;
        std::string message;
    } cases[] = {
        {readySegment(0), true, Outcome::placed, sent},
        {readySegment(30), true, Outcome::bufferFull, full},
        {readySegment(0), false, Outcome::failed, version + "++++ Unable to attach shared memory! why\n"},
        {spoiled(928, "\x06"), true, Outcome::failed, formatMessage("517!=517  3078!=3077  1!=1")},
    };
    for (const auto& c : cases) {
        memory.bytes = c.segment;
        memory.attaches = c.attaches;
        testing::internal::CaptureStdout();
        const kxClientSegment::Answer answer = kxClientSegment().placeCheckJob(7);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(answer.outcome, c.outcome) << c.message;
        EXPECT_EQ(bytesOf(answer.message), c.message);
    }
}

TEST_F(CheckJobSteps, AttachFailureStopsAtOnce) {
    memory.attaches = false;
    EXPECT_EQ(send(readySegment(0)), version + "++++ Unable to attach shared memory! why\n");
    EXPECT_EQ(memory.calls, "construct attach destroy ");
}

TEST_F(CheckJobSteps, SegmentBelow22984BytesIsRefused) {
    for (const int size : {22983, 0, -1, INT_MIN}) {
        memory.size = size;
        EXPECT_EQ(send(readySegment(0)),
                  version + "++++ Shared mecreateArgString8data size! (" + std::to_string(size) + "!=22984)\n");
        EXPECT_EQ(memory.calls, "construct attach size detach destroy ");
        EXPECT_EQ(memory.bytes, readySegment(0));
    }
    for (const int size : {22984, 22985, INT_MAX}) {
        memory.size = size;
        EXPECT_EQ(send(readySegment(0)), sent);
    }
}

TEST_F(CheckJobSteps, NoDataIsReported) {
    memory.hasData = false;
    EXPECT_EQ(send(readySegment(0)), version + "++++ Unable to access shared memory data! why\n");
    EXPECT_EQ(memory.calls, "construct attach size data detach destroy ");
}

TEST_F(CheckJobSteps, LockFailureIsReported) {
    memory.locks = false;
    EXPECT_EQ(send(readySegment(0)), version + "++++ Unable to lock shared memory data! why\n");
    EXPECT_EQ(memory.calls, opened + "detach " + destroyed);
    EXPECT_EQ(memory.bytes, readySegment(0));
}

TEST_F(CheckJobSteps, WrongFormatIsReportedAndTheSegmentLeftAlone) {
    const struct {
        std::size_t offset;
        std::string bytes;
        std::string values;
    } cases[] = {
        {0, std::string("\x04\x02\0\0", 4), "516!=517  3077!=3077  1!=1"},
        {0, std::string("\x05\x02\x01\0", 4), "66053!=517  3077!=3077  1!=1"},
        {0, "\xff\xff\xff\xff", "-1!=517  3077!=3077  1!=1"},
        {0, std::string("\0\0\0\x80", 4), "-2147483648!=517  3077!=3077  1!=1"},
        {0, "\xff\xff\xff\x7f", "2147483647!=517  3077!=3077  1!=1"},
        {928, "\x06\x0c", "517!=517  3078!=3077  1!=1"},
        {928, "\x05\x0d", "517!=517  3333!=3077  1!=1"},
        {928, "\xff\xff", "517!=517  65535!=3077  1!=1"},
        {930, std::string("\0\0", 2), "517!=517  3077!=3077  0!=1"},
        {928, "\x0c\x05\xff\xff", "517!=517  1292!=3077  65535!=1"},
    };
    for (const auto& c : cases) {
        const std::string segment = spoiled(c.offset, c.bytes);
        EXPECT_EQ(send(segment), formatMessage(c.values));
        EXPECT_EQ(memory.calls, opened + closed + destroyed);
        EXPECT_EQ(memory.bytes, segment);
    }
}

TEST_F(CheckJobSteps, ReadyMarkerZeroEndsTheMessageWith0NotEqual1) {
    const std::string printed = send(spoiled(930, std::string("\0\0", 2)));
    const std::string end = "0!=1)\n";
    ASSERT_GE(printed.size(), end.size());
    EXPECT_EQ(printed.substr(printed.size() - end.size()), end);
}

TEST_F(CheckJobSteps, AnyReadyMarkerButZeroIsRight) {
    for (const std::string& marker :
         {std::string("\x01\0", 2), std::string("\0\x01", 2), std::string("\xff\xff")}) {
        const std::string segment = spoiled(930, marker);
        EXPECT_EQ(send(segment), sent);
        EXPECT_EQ(memory.bytes, withCheckJob(segment, 7));
    }
}

TEST_F(CheckJobSteps, EveryMessageCountFillsItsSlotOrFindsTheBufferFull) {
    for (int count = 0; count <= 255; ++count) {
        const std::string segment = readySegment(count);
        const bool fits = count < 30;
        EXPECT_EQ(send(segment), fits ? sent : full) << count;
        EXPECT_EQ(memory.bytes, fits ? withCheckJob(segment, 7) : segment) << count;
    }
}

TEST_F(CheckJobSteps, Count29GoesIntoTheLastSlotAndTheNextCallFindsTheBufferFull) {
    EXPECT_EQ(send(readySegment(29)), sent);
    const std::string after = memory.bytes;
    EXPECT_EQ(messageCountOf(after), 30);
    EXPECT_EQ(after[2002 + 29], 3);
    EXPECT_EQ(after[7435 + 29], 7);
    EXPECT_EQ(send(after), full);
    EXPECT_EQ(memory.bytes, after);
}

TEST_F(CheckJobSteps, OnlyTheLowByteOfTheJobIsWritten) {
    const struct {
        int job;
        int byte;
    } cases[] = {{0, 0},    {1, 1},    {255, 255},  {256, 0},     {257, 1},
                 {-1, 255}, {-256, 0}, {-257, 255}, {INT_MIN, 0}, {INT_MAX, 255}};
    for (const auto& c : cases) {
        EXPECT_EQ(send(readySegment(3), c.job), sent);
        EXPECT_EQ(memory.bytes, withCheckJob(readySegment(3), c.byte)) << c.job;
    }
}

TEST_F(CheckJobSteps, JobOfTheCallerStaysAsItIs) {
    int job = 257;
    testing::internal::CaptureStdout();
    sendClientCheckJob(job);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), sent);
    EXPECT_EQ(job, 257);
}

TEST_F(CheckJobSteps, PercentSignsOfAnErrorTextArePrintedAsTheyAre) {
    memory.attaches = false;
    memory.error = QStringLiteral("100% %s %n %1 %%");
    EXPECT_EQ(send(readySegment(0)), version + "++++ Unable to attach shared memory! 100% %s %n %1 %%\n");
}

TEST_F(CheckJobSteps, MessagesAreCutAt250CharactersBeforeTheirLineEnd) {
    const std::string fixed = "++++ Unable to lock shared memory data! ";
    memory.locks = false;
    for (const std::size_t length :
         {std::size_t{0}, 249 - fixed.size(), 250 - fixed.size(), 251 - fixed.size(), std::size_t{5000}}) {
        const std::string error(length, 'e');
        memory.error = latin1(error);
        EXPECT_EQ(send(readySegment(0)), version + (fixed + error).substr(0, 250) + "\n") << length;
    }
}

TEST_F(CheckJobSteps, ErrorTextsArePrintedAsLatin1) {
    memory.attaches = false;
    memory.error = latin1("Schl\xfcssel");
    EXPECT_EQ(send(readySegment(0)), version + "++++ Unable to attach shared memory! Schl\xfcssel\n");
}

// Three of four segments have the right format; a quarter of the rest has one field wrong.
TEST_F(CheckJobSteps, RandomSegmentsChangeByTheFieldByFieldRule) {
    std::mt19937 random(20);
    for (unsigned round = 0; round < 2000; ++round) {
        std::string segment = readySegment(static_cast<int>(random() % 40), 22984, round + 2);
        const std::size_t formatBytes[] = {0, 1, 2, 3, 928, 929};
        const bool wrong = random() % 4 == 0;
        if (wrong) {
            char& spoiled = segment[formatBytes[random() % 6]];
            spoiled = static_cast<char>(spoiled ^ static_cast<char>(1 + random() % 127));
        }
        const int job = static_cast<int>(random());
        const std::string printed = send(segment, job);
        if (wrong) {
            EXPECT_EQ(printed.rfind(version + "++++ Shared memory has wrong data format! (", 0), 0U);
            EXPECT_EQ(memory.bytes, segment);
        } else if (messageCountOf(segment) < 30) {
            EXPECT_EQ(printed, sent);
            EXPECT_EQ(memory.bytes, withCheckJob(segment, job & 0xff));
        } else {
            EXPECT_EQ(printed, full);
            EXPECT_EQ(memory.bytes, segment);
        }
    }
}

namespace {

struct DocumentedBytes {
    std::size_t offset;
    std::string before;
    std::string after;
};

std::string fromHex(const std::string& text) {
    std::istringstream words(text);
    std::string bytes;
    unsigned byte = 0;
    while (words >> std::hex >> byte) bytes += static_cast<char>(byte);
    return bytes;
}

// The lines "offset | before | after" of the page's byte example.
std::vector<DocumentedBytes> documentedExample() {
    std::istringstream page(readFileBytes(KX_SOURCE_DIR "/docs/client-shared-memory.md"));
    std::vector<DocumentedBytes> rows;
    for (std::string line; std::getline(page, line);) {
        std::istringstream fields(line);
        unsigned offset = 0;
        std::string blank;
        std::string before;
        std::string after;
        if (!(fields >> offset) || !std::getline(fields, blank, '|')) continue;
        if (!std::getline(fields, before, '|') || !std::getline(fields, after)) continue;
        rows.push_back({offset, fromHex(before), fromHex(after)});
    }
    return rows;
}

}  // namespace

TEST_F(CheckJobSteps, BytesOfTheDocumentedExample) {
    const std::vector<DocumentedBytes> rows = documentedExample();
    ASSERT_EQ(rows.size(), 10U);
    std::string before(22984, '\0');
    std::string after = before;
    for (const DocumentedBytes& row : rows) {
        ASSERT_EQ(row.before.size(), row.after.size()) << row.offset;
        before.replace(row.offset, row.before.size(), row.before);
        after.replace(row.offset, row.after.size(), row.after);
    }
    EXPECT_EQ(send(before, 300), sent);
    EXPECT_EQ(memory.bytes, after);
}
