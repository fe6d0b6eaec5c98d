// SPDX-License-Identifier: BSD-3-Clause
// The check-job command between real processes: senders and a client, each test with a segment of its own.
#include "shared/kxVersion.h"
#include "tests/support/ClientProcess.h"
#include "tests/support/ClientSegment.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <QSharedMemory>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <future>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const std::string version = kxVersionString;
const std::string sent = "Command 'check job' send to kxServer via kxClient.\n\n";
const std::string full = version + " kxClientcommander: Message buffer is full!\n";

// What a sender prints; it has to end by itself, with exit code 0 and no word on the error stream.
std::string send(const TempDir& dir, int job, int stdoutFd = -1) {
    ProcessOptions options;
    options.stdoutFd = stdoutFd;
    options.environment = {"TMPDIR=" + dir.path()};
    const ProcessResult result = runProcess({KX_SENDER, std::to_string(job)}, options);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.err, "");
    return result.out;
}

std::future<std::string> startSender(const TempDir& dir, int job, int stdoutFd = -1) {
    return std::async(std::launch::async, [&dir, job, stdoutFd] { return send(dir, job, stdoutFd); });
}

// A terminal whose output was stopped, as by Ctrl-S: what is printed there waits.
class StoppedTerminal {
public:
    StoppedTerminal() {
        EXPECT_EQ(grantpt(screen_), 0);
        EXPECT_EQ(unlockpt(screen_), 0);
        output_ = open(ptsname(screen_), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios settings{};
        EXPECT_EQ(tcgetattr(output_, &settings), 0);
        cfmakeraw(&settings);
        EXPECT_EQ(tcsetattr(output_, TCSANOW, &settings), 0);
        EXPECT_EQ(tcflow(output_, TCOOFF), 0);
    }
    ~StoppedTerminal() {
        close(output_);
        close(screen_);
    }
    StoppedTerminal(const StoppedTerminal&) = delete;
    StoppedTerminal& operator=(const StoppedTerminal&) = delete;

    int output() const { return output_; }
    void goOn() const { EXPECT_EQ(tcflow(output_, TCOON), 0); }
    // What was printed, up to a few KiB.
    std::string text() const {
        char bytes[4096];
        const ssize_t count = read(screen_, bytes, sizeof bytes);
        return count > 0 ? std::string(bytes, static_cast<std::size_t>(count)) : std::string();
    }

private:
    int screen_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    int output_ = -1;
};

bool hasEnded(const std::future<std::string>& sender) {
    return sender.wait_for(milliseconds(0)) == std::future_status::ready;
}

// False when the client's buffer does not get that many messages within 30 seconds.
bool waitForMessages(const ClientProcess& client, int count) {
    const auto end = Clock::now() + std::chrono::seconds(30);
    while (messageCountOf(client.save()) != count) {
        if (Clock::now() > end) return false;
        std::this_thread::sleep_for(milliseconds(5));
    }
    return true;
}

class CheckJob : public testing::Test {
protected:
    void SetUp() override {
        if (!hasSystemVSharedMemory()) GTEST_SKIP() << "no System V shared memory and semaphores on this machine";
    }

    // A client that keeps exactly these bytes.
    void start(const std::string& segment) const {
        ASSERT_EQ(client.ask("create " + std::to_string(segment.size())), "ok\n");
        ASSERT_EQ(client.load(segment), "ok\n");
    }

    // Senders that all wait at the lock when the client lets go of it.
    std::vector<std::future<std::string>> startAtOnce(const std::vector<int>& jobs) const {
        EXPECT_EQ(client.ask("lock"), "ok\n");
        std::vector<std::future<std::string>> senders;
        for (const int job : jobs) senders.push_back(startSender(dir, job));
        std::this_thread::sleep_for(milliseconds(500));
        EXPECT_EQ(client.ask("unlock"), "ok\n");
        return senders;
    }

    TempDir dir;
    ClientProcess client{dir.path()};
};

// Sends one job to a client of its own; gives what was printed and the segment afterwards.
struct Exchange {
    std::string printed;
    std::string segment;
};

Exchange exchange(const std::string& segment, int job) {
    const TempDir dir;
    const ClientProcess client(dir.path());
    EXPECT_EQ(client.ask("create " + std::to_string(segment.size())), "ok\n");
    EXPECT_EQ(client.load(segment), "ok\n");
    const std::string printed = send(dir, job);
    return {printed, client.save()};
}

}  // namespace

TEST_F(CheckJob, WithoutClientOnlyTheAttachMessageIsPrinted) {
    QSharedMemory nowhere(latin1("kxNobodyMakesThis" + dir.path()));
    ASSERT_FALSE(nowhere.attach());
    EXPECT_EQ(send(dir, 1),
              version + "++++ Unable to attach shared memory! " + bytesOf(nowhere.errorString()) + "\n");
    EXPECT_EQ(dir.entries(), std::vector<std::string>());
}

TEST_F(CheckJob, SegmentOf22983BytesIsRefused) {
    start(readySegment(0, 22983));
    EXPECT_EQ(send(dir, 1), version + "++++ Shared mecreateArgString8data size! (22983!=22984)\n");
    EXPECT_EQ(client.save(), readySegment(0, 22983));
}

TEST_F(CheckJob, WrongFormatFieldsAreRefused) {
    const struct {
        std::size_t offset;
        char byte;
        std::string values;
    } cases[] = {{0, '\x06', "518!=517  3077!=3077  1!=1"},
                 {928, '\x04', "517!=517  3076!=3077  1!=1"},
                 {930, '\0', "517!=517  3077!=3077  0!=1"}};
    start(readySegment(0));
    for (const auto& c : cases) {
        std::string segment = readySegment(0);
        segment[c.offset] = c.byte;
        ASSERT_EQ(client.load(segment), "ok\n");
        EXPECT_EQ(send(dir, 1), version + "++++ Shared memory has wrong data format! (" + c.values + ")\n");
        EXPECT_EQ(client.save(), segment);
    }
}

// Side by side, because each sender stays for two seconds.
TEST_F(CheckJob, MessageChangesItsSlotAndTheCountAndNothingElse) {
    const struct {
        int count;
        int job;
        int jobByte;
        std::size_t size;
    } cases[] = {{0, 7, 7, 22984}, {29, 7, 7, 22984}, {12, 257, 1, 30000}, {3, -2, 254, 22984}};
    std::vector<std::future<Exchange>> exchanges;
    for (const auto& c : cases) {
        exchanges.push_back(
            std::async(std::launch::async, [&c] { return exchange(readySegment(c.count, c.size), c.job); }));
    }
    for (std::size_t i = 0; i < exchanges.size(); ++i) {
        const Exchange result = exchanges[i].get();
        EXPECT_EQ(result.printed, sent) << i;
        EXPECT_EQ(result.segment, withCheckJob(readySegment(cases[i].count, cases[i].size), cases[i].jobByte)) << i;
    }
}

TEST_F(CheckJob, FullBufferAndDamagedCountsDropTheCommand) {
    std::vector<std::future<Exchange>> exchanges;
    const int counts[] = {30, 31, 255};
    for (const int count : counts) {
        exchanges.push_back(std::async(std::launch::async, [count] { return exchange(readySegment(count), 7); }));
    }
    for (std::size_t i = 0; i < exchanges.size(); ++i) {
        const Exchange result = exchanges[i].get();
        EXPECT_EQ(result.printed, full) << counts[i];
        EXPECT_EQ(result.segment, readySegment(counts[i])) << counts[i];
    }
}

TEST_F(CheckJob, SenderAfterTheLastSlotFindsTheBufferFull) {
    start(readySegment(29));
    std::future<std::string> first = startSender(dir, 7);
    ASSERT_TRUE(waitForMessages(client, 30));
    std::future<std::string> second = startSender(dir, 8);
    EXPECT_EQ(first.get(), sent);
    EXPECT_EQ(second.get(), full);
    EXPECT_EQ(client.save(), withCheckJob(readySegment(29), 7));
}

TEST_F(CheckJob, SixSendersAtOnceLoseDoubleAndTearNothing) {
    start(readySegment(0));
    std::vector<std::future<std::string>> senders = startAtOnce({1, 2, 3, 4, 5, 6});
    client.tell("drain");
    for (std::future<std::string>& sender : senders) EXPECT_EQ(sender.get(), sent);
    client.tell("");

    std::istringstream answer(client.answer());
    std::vector<std::string> lines;
    for (std::string line; std::getline(answer, line);) lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    std::vector<std::string> expected;
    for (int job = 1; job <= 6; ++job) {
        expected.push_back("A=3 B=3 command=9 parameter=0 job=" + std::to_string(job) + " C=0");
    }
    expected.push_back("ok");
    EXPECT_EQ(lines, expected);
}

TEST_F(CheckJob, SixSendersAtOnceFillSixSlotsOfAClientThatSleeps) {
    start(readySegment(0));
    std::vector<std::future<std::string>> senders = startAtOnce({1, 2, 3, 4, 5, 6});
    for (std::future<std::string>& sender : senders) EXPECT_EQ(sender.get(), sent);
    const std::string after = client.save();
    std::string jobs = after.substr(7435, 6);
    std::string expected = readySegment(0);
    for (const char job : jobs) expected = withCheckJob(expected, job);
    EXPECT_EQ(after, expected);
    std::sort(jobs.begin(), jobs.end());
    EXPECT_EQ(jobs, "\x01\x02\x03\x04\x05\x06");
}

TEST_F(CheckJob, KilledHolderOfTheLockDoesNotStopLaterSenders) {
    start(readySegment(0));
    ClientProcess holder(dir.path());
    ASSERT_EQ(holder.ask("attach"), "ok\n");
    ASSERT_EQ(holder.ask("lock"), "ok\n");
    std::future<std::string> sender = startSender(dir, 7);
    std::this_thread::sleep_for(milliseconds(300));
    EXPECT_FALSE(hasEnded(sender));
    EXPECT_EQ(client.save(), readySegment(0));
    holder.kill();
    EXPECT_EQ(sender.get(), sent);
    EXPECT_EQ(client.save(), withCheckJob(readySegment(0), 7));
}

TEST_F(CheckJob, SenderWithStoppedOutputDoesNotHoldTheLock) {
    start(readySegment(0));
    const StoppedTerminal terminal;
    std::future<std::string> stopped = startSender(dir, 7, terminal.output());
    ASSERT_TRUE(waitForMessages(client, 1));
    std::future<std::string> free = startSender(dir, 8);
    EXPECT_TRUE(waitForMessages(client, 2)) << "the second sender waits for the lock";
    EXPECT_FALSE(hasEnded(stopped));
    terminal.goOn();
    EXPECT_EQ(free.get(), sent);
    EXPECT_EQ(stopped.get(), "");
    EXPECT_EQ(terminal.text(), sent);
    EXPECT_EQ(client.save(), withCheckJob(withCheckJob(readySegment(0), 7), 8));
}

TEST_F(CheckJob, SenderWaitsTwoSecondsWithoutTheLock) {
    start(readySegment(0));
    const auto begin = Clock::now();
    std::vector<std::future<std::string>> senders = startAtOnce({1, 2});
    ASSERT_TRUE(waitForMessages(client, 2));
    EXPECT_EQ(client.ask("lock"), "ok\n");
    EXPECT_EQ(client.ask("unlock"), "ok\n");
    // Half a second before the lock was free, and the two after it; on a busy machine they may be over by now.
    const bool hasOneEnded = std::any_of(senders.begin(), senders.end(), hasEnded);
    if (Clock::now() - begin < milliseconds(2500)) {
        EXPECT_FALSE(hasOneEnded);
    }
    for (std::future<std::string>& sender : senders) EXPECT_EQ(sender.get(), sent);
    EXPECT_GE(Clock::now() - begin, milliseconds(2500));
}

TEST_F(CheckJob, DocumentedSessionShowsTheMessage) {
    ASSERT_EQ(client.ask("create 22984"), "ok\n");
    client.tell("drain");
    EXPECT_EQ(send(dir, 300), sent);
    client.tell("");
    const std::string message = "A=3 B=3 command=9 parameter=0 job=44 C=0\n";
    EXPECT_EQ(client.answer(), message + "ok\n");
    const std::string page = readFileBytes(KX_SOURCE_DIR "/docs/client-shared-memory.md");
    for (const std::string& part :
         {std::string("/testClient\ncreate 22984\nok\ndrain\n"), "/sendCheckJob 300\n" + sent, message}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
}

TEST(SendCheckJobExample, RefusesWhatIsNotOneNumber) {
    const std::vector<std::vector<std::string>> refused = {{},      {""},           {"x"},     {"7x"},
                                                           {"1.5"}, {"2147483648"}, {"1", "2"}};
    for (std::vector<std::string> arguments : refused) {
        arguments.insert(arguments.begin(), KX_SENDER);
        const ProcessResult result = runProcess(arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "usage: sendCheckJob <job number>\n");
    }
}
