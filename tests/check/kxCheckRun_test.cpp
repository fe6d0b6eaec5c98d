// SPDX-License-Identifier: BSD-3-Clause
// Runs over made sequences: what workers report is played, in real processes.
#include "check/kxCheckRun.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include <sys/mman.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

// How often each frame was looked at, per level; seen by workers and test.
struct Looks {
    std::array<std::array<std::atomic<int>, 3>, 300> count{};
};

Looks& looks() {
    static auto* const shared =
        new (mmap(nullptr, sizeof(Looks), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Looks;
    return *shared;
}

int looksAt(int frame, Level level) {
    return looks().count.at(static_cast<std::size_t>(frame)).at(static_cast<std::size_t>(level));
}

FileReport reportOf(int number, int width = 1920) {
    kxExr::Part part;
    part.displayWindow = {0, 0, width - 1, 1079};
    FileReport report;
    report.hasIdentity = true;
    report.identity = {1, static_cast<std::uint64_t>(number), 1000, 1};
    report.headers = std::make_shared<const Headers>(Headers{part});
    return report;
}

FileReport limitedAtPixels(const QByteArray& role, int number, Level level) {
    FileReport report = reportOf(number, 2048);
    report.findings = {makeFinding(Code::truncated, "its end")};
    if (level != Level::pixels) return report;
    if (role == "fatal") _exit(1);
    report.headers = nullptr;
    report.findings = {makeFinding(Code::limit, "memory")};
    if (role == "replaced") report.identity.inode = 999;
    return report;
}

// The path is the frame number, then what is with it: "wide", "damaged" (seen at level pixels), "deadly", "large",
// "changing" (another size at each level), "slow", "hostile" (a megabyte of findings beyond level headers); "fatal"
// (wide, without ending, deadly at level pixels), "greedy" (the same, but its reader lacks memory there),
// "replaced" (the same of another file there).
FileReport playedCheck(const FileCheck& check) {
    const auto words = check.path.split(' ');
    const int number = words[0].toInt();
    ++looks().count.at(static_cast<std::size_t>(number)).at(static_cast<std::size_t>(check.level));
    const QByteArray role = words.size() > 1 ? words[1] : QByteArray();
    std::mt19937 random(static_cast<unsigned>(number));
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 1500));
    if (role == "deadly") _exit(1);
    if (role == "slow") std::this_thread::sleep_for(std::chrono::seconds(600));
    if (role == "fatal" || role == "greedy" || role == "replaced")
        return limitedAtPixels(role, number, check.level);
    FileReport report = reportOf(number, role == "wide" ? 2048 : 1920);
    if (role == "hostile" && check.level != Level::headers)
        report.findings.assign(mostFindings, makeFinding(Code::chunk, QByteArray(10000, 'x')));
    if (role == "large") report.identity.size = 5000;
    if (role == "changing") report.identity.size = 1000 + static_cast<int>(check.level);
    if (role == "damaged" && check.level == Level::pixels) report.findings = {makeFinding(Code::chunk, "row 1")};
    return report;
}

class CheckRunTest : public ::testing::Test {
protected:
    CheckRunTest() {
        for (auto& frame : looks().count)
            for (auto& count : frame) count = 0;
    }

    // `roles` of frames 1 and up; "missing" and "long" make no file of the frame.
    void sequence(const std::vector<QByteArray>& roles) {
        using Source = WantedFrame::Source;
        for (const QByteArray& role : roles) {
            const auto number = static_cast<std::int64_t>(wanted.frames.size()) + 1;
            FrameName name;
            name.number = number;
            name.text = QByteArray::number(static_cast<qlonglong>(number));
            name.path = name.text + " " + role;
            const Source source = role == "missing" ? Source::none
                                  : role == "long"  ? Source::longNumber
                                                    : Source::file;
            wanted.frames.push_back({name, source});
        }
        wanted.runLast = wanted.frames.size();
    }
    // A line for each frame of the run: number, verdict, codes.
    std::string outcome(const KnownFunction& takeKnown = {}) {
        CheckPools pools(settings, playedCheck, -1);
        SequenceRun run(
            settings, wanted, pools, [](const RunProgress&) {}, {}, takeKnown);
        std::string text;
        while (const FrameReport* frame = run.next()) {
            text += std::to_string(*frame->name.number) + " " + verdictName(frame->verdict);
            for (const Finding& finding : frame->findings) text += std::string(" ") + rowOf(finding.code).name;
            text += "; ";
        }
        EXPECT_FALSE(run.wasStopped());
        return text;
    }

    Settings settings;
    WantedFrames wanted;
};

const std::vector<QByteArray> mixed = {"", "wide", "missing", "damaged", "deadly", "long", "large", "", "", ""};
const std::string mixedAtPixels =
    "1 good; 2 bad differs; 3 missing missing; 4 bad chunk; 5 unknown limit; 6 unknown unreadable; "
    "7 good; 8 good; 9 good; 10 good; ";

}  // namespace

TEST_F(CheckRunTest, GivesEachFrameJudgedAndInOrder) {
    sequence(mixed);
    EXPECT_EQ(outcome(), mixedAtPixels);
}

TEST_F(CheckRunTest, SeesAtOtherLevelsWhatTheySee) {
    sequence(mixed);
    for (const Level level : {Level::headers, Level::structure}) {
        settings.level = level;
        EXPECT_EQ(outcome(),
                  "1 good; 2 bad differs; 3 missing missing; 4 good; 5 unknown limit; 6 unknown unreadable; "
                  "7 good; 8 good; 9 good; 10 good; ");
    }
    EXPECT_EQ(looksAt(1, Level::headers), 1);
    EXPECT_EQ(looksAt(1, Level::structure), 1);
    EXPECT_EQ(looksAt(1, Level::pixels), 0);
}

TEST_F(CheckRunTest, GivesTheSameWithAnyNumberOfJobs) {
    sequence(mixed);
    for (int i = 0; i < 10; ++i) sequence({"", "large", "", "damaged", "missing"});
    const std::string expected = outcome();
    for (int jobs = 1; jobs <= 16; ++jobs) {
        settings.jobs = jobs;
        EXPECT_EQ(outcome(), expected) << jobs;
    }
}

TEST_F(CheckRunTest, ReadsHeadersOfAllBeforeAnyPixels) {
    sequence({"", "", "", "wide"});
    EXPECT_EQ(outcome(), "1 good; 2 good; 3 good; 4 bad differs; ");
    for (int frame = 1; frame <= 4; ++frame) {
        EXPECT_EQ(looksAt(frame, Level::headers), 1);
        EXPECT_EQ(looksAt(frame, Level::pixels), 1);
    }
}

TEST_F(CheckRunTest, LooksAtALoneFileOnce) {
    sequence({"missing", "damaged"});
    EXPECT_EQ(outcome(), "1 missing missing; 2 bad chunk; ");
    EXPECT_EQ(looksAt(2, Level::headers), 0);
    EXPECT_EQ(looksAt(2, Level::pixels), 1);
}

TEST_F(CheckRunTest, LooksOnlyAtFilesThatAreNotKnown) {
    sequence({"", "wide", "damaged", "", "", ""});
    const auto takeKnown = [](const FrameName& frame) -> std::optional<FileReport> {
        if (*frame.number % 2 != 0) return std::nullopt;
        return reportOf(static_cast<int>(*frame.number), *frame.number == 2 ? 2048 : 1920);
    };
    EXPECT_EQ(outcome(takeKnown), "1 good; 2 bad differs; 3 bad chunk; 4 good; 5 good; 6 good; ");
    for (int frame = 1; frame <= 6; ++frame)
        for (const Level level : {Level::headers, Level::pixels})
            EXPECT_EQ(looksAt(frame, level), frame % 2) << frame;
}

TEST_F(CheckRunTest, TriesAFileThatKilledItsReaderOnce) {
    sequence({"", "deadly", ""});
    EXPECT_EQ(outcome(), "1 good; 2 unknown limit; 3 good; ");
    EXPECT_EQ(looksAt(2, Level::headers), 1);
    EXPECT_EQ(looksAt(2, Level::pixels), 0);
}

TEST_F(CheckRunTest, KeepsWhatTheFirstPassKnewOfAFileThatKilledItsReader) {
    sequence({"fatal", "greedy", "replaced"});
    sequence(std::vector<QByteArray>(9));
    const std::string known = "unknown limit differs truncated; ";
    const std::string start = "1 " + known + "2 " + known + "3 unknown limit; ";
    EXPECT_EQ(outcome().substr(0, start.size() + 7), start + "4 good;");
    EXPECT_EQ(looksAt(1, Level::pixels), 1);

    settings.sortKey = SortKey::size;  // all is kept
    CheckPools pools(settings, playedCheck, -1);
    SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
    while (run.next()) continue;
    const std::vector<FrameReport> frames = run.takeFrames();
    ASSERT_EQ(frames.size(), 12U);
    EXPECT_TRUE(frames[0].file.hasIdentity);
    EXPECT_EQ(frames[0].file.identity.inode, 1U);
    ASSERT_TRUE(frames[0].file.headers);
    EXPECT_EQ(frames[0].file.headers->front().displayWindow.width(), 2048);
    EXPECT_EQ(frames[2].file.identity.inode, 999U);
    EXPECT_FALSE(frames[2].file.headers);
}

TEST_F(CheckRunTest, ReportsOnlyTheRunButKnowsTheWholeSequence) {
    sequence({"", "", "", "wide", "damaged", "", "", ""});
    wanted.runFirst = 3;
    wanted.runLast = 5;
    for (const Level level : {Level::headers, Level::structure, Level::pixels}) {
        settings.level = level;
        const std::string fifth = level == Level::pixels ? "5 bad chunk; " : "5 good; ";
        EXPECT_EQ(outcome(), "4 bad differs; " + fifth);
    }
    EXPECT_EQ(looksAt(1, Level::structure), 0) << "beside the run headers are enough";
    EXPECT_EQ(looksAt(4, Level::structure), 1);
    EXPECT_EQ(looksAt(1, Level::pixels), 0);
    EXPECT_EQ(looksAt(1, Level::headers), 3);
}

TEST_F(CheckRunTest, ComparesSizesWithNeighboursOutsideTheRun) {
    sequence({"", "", "large", "", ""});
    wanted.runFirst = 2;
    wanted.runLast = 3;
    EXPECT_EQ(outcome(), "3 suspicious size-jump; ");
}

TEST_F(CheckRunTest, TakesTheSecondReportOfAFileThatChanges) {
    sequence({"", "changing", ""});
    CheckPools pools(settings, playedCheck, -1);
    SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
    ASSERT_TRUE(run.next());
    const FrameReport* const second = run.next();
    ASSERT_TRUE(second);
    EXPECT_EQ(second->file.identity.size, 1000 + static_cast<int>(Level::pixels));
}

TEST_F(CheckRunTest, HasNothingForAnEmptyRun) {
    sequence({"", "", ""});
    wanted.runLast = 0;
    EXPECT_EQ(outcome(), "");
    EXPECT_EQ(looksAt(1, Level::headers), 0);
}

TEST_F(CheckRunTest, TellsTheHeadersOfTheFirstReadableFrame) {
    sequence({"missing", "deadly", "wide", "", ""});
    CheckPools pools(settings, playedCheck, -1);
    SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
    EXPECT_EQ(run.headers(), nullptr);
    ASSERT_TRUE(run.next());
    ASSERT_TRUE(run.headers());
    EXPECT_EQ(run.headers()->front().displayWindow.width(), 2048);
}

TEST_F(CheckRunTest, TellsItsProgressInEachPass) {
    sequence({"", "missing", "", "deadly"});
    std::string told;
    CheckPools pools(settings, playedCheck, -1);
    SequenceRun run(settings, wanted, pools, [&told](const RunProgress& p) {
        told += std::to_string(static_cast<int>(p.level)) + ":" + std::to_string(p.done) + "/" +
                std::to_string(p.all) + " ";
    });
    while (run.next()) continue;
    EXPECT_EQ(told, "0:0/3 0:1/3 0:2/3 0:3/3 2:0/2 2:1/2 2:2/2 ");
}

TEST_F(CheckRunTest, KeepsOfReportedFramesWhatRemovingNeeds) {
    sequence({"", "damaged", ""});
    settings.removal = Removal::remove;
    CheckPools pools(settings, playedCheck, -1);
    SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
    while (run.next()) continue;
    const std::vector<FrameReport> frames = run.takeFrames();
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[0].action, Action::none);
    EXPECT_EQ(frames[1].action, Action::remove);
    EXPECT_EQ(frames[1].verdict, Verdict::bad);
    EXPECT_EQ(frames[1].file.identity.inode, 2U);
    EXPECT_EQ(frames[1].file.headers, nullptr);
    EXPECT_TRUE(frames[1].findings.empty());
}

TEST_F(CheckRunTest, KeepsAllOfThemForAnotherOrder) {
    sequence({"", "damaged", ""});
    settings.sortKey = SortKey::size;
    CheckPools pools(settings, playedCheck, -1);
    SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
    while (run.next()) continue;
    const std::vector<FrameReport> frames = run.takeFrames();
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[1].findings.size(), 1U);
    EXPECT_NE(frames[0].file.headers, nullptr);
}

// Nothing is cut of frames that need not wait for the last one, or for their place in another order.
TEST_F(CheckRunTest, BoundsWhatWaitsToBeReported) {
    sequence(std::vector<QByteArray>(200, "hostile"));
    const struct {
        Level level;
        SortKey sortKey;
        bool mustWait;
    } cases[] = {{Level::structure, SortKey::frame, true},
                 {Level::structure, SortKey::size, true},
                 {Level::pixels, SortKey::size, true},
                 {Level::pixels, SortKey::frame, false}};
    for (const auto& c : cases) {
        settings.level = c.level;
        settings.sortKey = c.sortKey;
        CheckPools pools(settings, playedCheck, -1);
        SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
        std::size_t bytes = 0;
        std::size_t whole = 0;
        std::size_t frames = 0;
        for (const FrameReport* frame = run.next(); frame; frame = run.next(), ++frames) {
            EXPECT_EQ(frame->verdict, Verdict::bad);
            if (frame->findings.size() == mostFindings) ++whole;
        }
        for (const FrameReport& frame : run.takeFrames())
            for (const Finding& finding : frame.findings) bytes += static_cast<std::size_t>(finding.text.size());
        EXPECT_EQ(frames, 200U);
        EXPECT_LT(bytes, std::size_t{20} << 20U);
        EXPECT_GE(whole, c.mustWait ? 10U : 200U);
        EXPECT_LE(whole, c.mustWait ? 20U : 200U);
    }
}

TEST_F(CheckRunTest, GivesWhatWasCheckedWhenItIsStopped) {
    sequence({"", "damaged", "", "", "", "slow"});
    settings.level = Level::structure;
    settings.jobs = 1;
    const struct {
        Level level;
        std::size_t frames;  // that are there after all but the slow one were read
    } cases[] = {{Level::headers, 5}, {Level::structure, 5}, {Level::pixels, 0}};
    for (const auto& c : cases) {
        settings.level = c.level;
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        CheckPools pools(settings, playedCheck, ends[0]);
        SequenceRun run(settings, wanted, pools, [&ends](const RunProgress& progress) {
            if (progress.done == 5) {
                EXPECT_EQ(write(ends[1], "", 1), 1);
            }
        });
        std::size_t frames = 0;
        while (run.next()) ++frames;
        EXPECT_TRUE(run.wasStopped());
        EXPECT_EQ(frames, c.frames);
        EXPECT_EQ(run.takeFrames().size(), c.frames);
        close(ends[0]);
        close(ends[1]);
    }
}
