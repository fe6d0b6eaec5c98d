// SPDX-License-Identifier: BSD-3-Clause
// Runs over sequences of made pictures: what workers report is played, in real processes.
#include "check/kxCacheFolder.h"
#include "check/kxCheckRun.h"
#include "tests/support/plainPictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>

#include <unistd.h>

using namespace kxCheck;

namespace {

std::shared_ptr<const PictureReport> reportOf(const PlainPicture& frame) {
    auto report = std::make_shared<PictureReport>();
    report->hash = {static_cast<std::uint64_t>(frame.samples), 1};
    if (frame.nan > 0 || frame.infinite > 0)
        report->strange = {{0, QByteArray::fromStdString(frame.channel), frame.nan, frame.infinite}};
    if (!frame.hasPicture) return report;
    PictureFacts& picture = report->picture.emplace();
    std::copy(frame.histogram.begin(), frame.histogram.end(), picture.histogram.begin());
    picture.isTileMissing = frame.isTileMissing;
    picture.hasDarkCorner = frame.hasDarkCorner;
    picture.isAlphaMissing = frame.isAlphaMissing;
    picture.isBlack = frame.isBlack;
    picture.isFlat = frame.isFlat;
    return report;
}

// What checks play, by the place that a frame's path is. Workers have it from before they were started.
struct Played {
    std::vector<PlainPicture> frames;
    unsigned longestDelay = 0;  // microseconds
    unsigned seed = 1;
    std::set<int> slow;    // places whose pixels take longer than any test
    std::set<int> cached;  // places with a cache entry
    std::set<int> unlike;  // places whose channels are not those of the others
};

std::shared_ptr<const PictureReport> cachedReportOf(const PlainPicture& frame) {
    auto picture = std::make_shared<PictureReport>(*reportOf(frame));
    picture->isCached = true;
    return picture;
}

std::shared_ptr<const Headers> headersOf(bool isUnlike) {
    auto headers = std::make_shared<Headers>(1);
    if (isUnlike) headers->front().channels.push_back({"Z", kxExr::PixelType::half, 1, 1});
    return headers;
}

FileReport play(const Played& played, const FileCheck& check) {
    const int place = check.path.toInt();
    const PlainPicture& frame = played.frames.at(static_cast<std::size_t>(place));
    std::mt19937 random(played.seed + static_cast<unsigned>(place));
    if (played.longestDelay > 0)
        std::this_thread::sleep_for(std::chrono::microseconds(random() % played.longestDelay));
    FileReport report;
    report.hasIdentity = true;
    report.identity = {1, static_cast<std::uint64_t>(place), 1000, 1};
    report.headers = headersOf(played.unlike.count(place) > 0);
    const bool isCached = !check.cacheFile.isEmpty() && played.cached.count(place) > 0;
    if (isCached && check.level == Level::structure) {
        report.decoded = true;
        report.picture = cachedReportOf(frame);
    }
    if (check.level != Level::pixels) return report;
    report.cacheFault = check.cacheFile + (check.keepsInCache ? " kept" : " not kept");
    if (isCached) {
        report.findings = {makeFinding(Code::limit, "decoded in spite of its entry")};
        return report;
    }
    if (played.slow.count(place) > 0) std::this_thread::sleep_for(std::chrono::seconds(600));
    if (!frame.isDecoded) {
        report.findings = {makeFinding(Code::chunk, "row 1")};
        return report;
    }
    report.decoded = true;
    report.picture = reportOf(frame);
    if (check.wantsPreview) report.preview = {"jpeg", 4, 3, "small"};
    return report;
}

WantedFrames wantedOf(const std::vector<PlainPicture>& frames, int step = 1) {
    WantedFrames wanted;
    for (std::size_t place = 0; place < frames.size(); ++place) {
        FrameName name;
        name.number = frames[place].number;
        name.text = QByteArray::number(frames[place].number);
        if (frames[place].tile >= 0) name.tile = frames[place].tile;
        name.path = QByteArray::number(static_cast<qulonglong>(place));
        wanted.frames.push_back(
            {name, frames[place].hasFile ? WantedFrame::Source::file : WantedFrame::Source::none});
    }
    wanted.runLast = wanted.frames.size();
    wanted.step = step;
    return wanted;
}

// The codes of pictures, with "!" behind an error.
std::vector<std::string> pictureCodes(const FrameReport& frame) {
    std::vector<std::string> codes;
    for (const Finding& finding : frame.findings) {
        const bool isError = finding.severity == Severity::error;
        if (rowOf(finding.code).level == Level::pixels)
            codes.push_back(rowOf(finding.code).name + std::string(isError ? "!" : ""));
    }
    return codes;
}

// Frames from 1 on, each a letter: "." one like the others, "r" one that repeats the frame before, "j" one that
// jumps, "t" one with a missing tile, "x" one that can't be decoded, "-" a missing one, "n" one without picture.
std::vector<PlainPicture> framesOf(const std::string& letters) {
    std::vector<PlainPicture> frames;
    for (const char letter : letters) {
        PlainPicture frame;
        frame.number = static_cast<int>(frames.size()) + 1;
        frame.samples = letter == 'r' ? frames.back().samples : frame.number;
        for (auto& channel : frame.histogram) channel[letter == 'j' ? 20 : 5] = 1000000;
        frame.isTileMissing = letter == 't';
        frame.isDecoded = letter != 'x';
        frame.hasFile = letter != '-';
        frame.hasPicture = letter != 'n';
        frames.push_back(frame);
    }
    return frames;
}

class CheckRunPicturesTest : public ::testing::Test {
protected:
    void sequence(const std::string& letters) {
        played.frames = framesOf(letters);
        wanted = wantedOf(played.frames);
    }

    // A line for each frame of the run: number and codes of pictures.
    std::string outcome(int stopDescriptor = -1) {
        CheckPools pools(settings, check(), stopDescriptor);
        return outcomeOf(pools);
    }
    std::string outcomeOf(CheckPools& pools) {
        SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
        std::string text;
        while (const FrameReport* frame = run.next()) {
            text += std::to_string(*frame->name.number);
            for (const std::string& code : pictureCodes(*frame)) text += " " + code;
            text += "; ";
        }
        return text;
    }
    // How many frames were decoded when each was given.
    std::vector<std::int64_t> decodedWhenGiven() {
        std::int64_t done = 0;
        CheckPools pools(settings, check(), -1);
        SequenceRun run(settings, wanted, pools, [&done](const RunProgress& progress) {
            done = progress.level == Level::pixels ? progress.done : 0;
        });
        std::vector<std::int64_t> counts;
        while (run.next()) counts.push_back(done);
        return counts;
    }
    CheckFunction check() {
        return [this](const FileCheck& file) { return play(played, file); };
    }

    Settings settings;
    Played played;
    WantedFrames wanted;
};

using Counts = std::vector<std::int64_t>;

}  // namespace

TEST_F(CheckRunPicturesTest, JudgesPicturesBesideTheirNeighbours) {
    sequence("..j..t..tt.ttt-t-j-..");
    EXPECT_EQ(outcome(),
              "1; 2; 3 jump; 4; 5; 6 tile-missing!; 7; 8; 9 tile-missing; 10 tile-missing; 11; 12; 13; "
              "14; 15; 16 tile-missing; 17; 18; 19; 20; 21; ");
}

TEST_F(CheckRunPicturesTest, CountsNeighboursThatWereNotDecodedAsNone) {
    sequence(".xjx..xj..xtx.tx..tn..tt");
    EXPECT_EQ(outcome(),
              "1; 2; 3; 4; 5; 6; 7; 8; 9; 10; 11; 12 tile-missing; 13; 14; 15 tile-missing!; 16; 17; 18; "
              "19 tile-missing!; 20; 21; 22; 23 tile-missing; 24 tile-missing; ");
}

TEST_F(CheckRunPicturesTest, NamesRepeatedFramesWhereFewAre) {
    sequence("..r..r..");
    EXPECT_EQ(outcome(), "1; 2; 3 repeated; 4; 5; 6 repeated; 7; 8; ");
    sequence("..r..rr.");
    EXPECT_EQ(outcome(), "1; 2; 3; 4; 5; 6; 7; 8; ");
    sequence("..r..r.");
    EXPECT_EQ(outcome(), "1; 2; 3; 4; 5; 6; 7; ");
    sequence("..r..r-.");
    EXPECT_EQ(outcome(), "1; 2; 3; 4; 5; 6; 7; 8; ") << "seven files";
    sequence("..r..rx.");
    EXPECT_EQ(outcome(), "1; 2; 3 repeated; 4; 5; 6 repeated; 7; 8; ");
}

TEST_F(CheckRunPicturesTest, SaysWhichFrameIsRepeated) {
    sequence(".......r");
    CheckPools pools(settings, check(), -1);
    SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
    QByteArray text;
    while (const FrameReport* frame = run.next())
        if (!frame->findings.empty()) text = frame->findings[0].text;
    EXPECT_EQ(text, "all samples are those of 7");
}

TEST_F(CheckRunPicturesTest, GivesAFrameWhenTheOneBehindItWasDecoded) {
    sequence("........");
    EXPECT_EQ(decodedWhenGiven(), (Counts{1, 3, 4, 5, 6, 7, 8, 8}));
    sequence(".xx..-..");
    EXPECT_EQ(decodedWhenGiven(), (Counts{1, 2, 3, 4, 5, 5, 6, 7})) << "nothing depends on the one behind";
    sequence("t......t");
    EXPECT_EQ(decodedWhenGiven(), (Counts{2, 3, 4, 5, 6, 7, 8, 8}));
}

TEST_F(CheckRunPicturesTest, GivesRepeatedFramesWhenItIsCertainThatTheyCount) {
    sequence(".......r..r.");
    EXPECT_EQ(decodedWhenGiven(), (Counts{1, 3, 4, 5, 6, 7, 8, 10, 10, 11, 12, 12}));
    sequence("..r.........");
    EXPECT_EQ(decodedWhenGiven(), (Counts{1, 3, 10, 10, 10, 10, 10, 10, 10, 11, 12, 12}));
    sequence(".rrrr.......");
    EXPECT_EQ(decodedWhenGiven(), (Counts{1, 5, 5, 5, 6, 7, 8, 9, 10, 11, 12, 12}));
    settings.ignored = {Code::repeated};
    EXPECT_EQ(decodedWhenGiven(), (Counts{1, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 12}));
    EXPECT_EQ(outcome(), "1; 2; 3; 4; 5; 6; 7; 8; 9; 10; 11; 12; ");
}

TEST_F(CheckRunPicturesTest, LooksAtFramesNextToTheRunForItsEnds) {
    sequence(".......rtjr........");
    wanted.runFirst = 7;
    wanted.runLast = 15;
    EXPECT_EQ(outcome(), "8 repeated; 9 tile-missing!; 10 jump; 11 repeated; 12; 13; 14; 15; ");
    wanted.runFirst = 8;
    wanted.runLast = 9;
    EXPECT_EQ(outcome(), "9 tile-missing!; ");
    wanted.runLast = 8;
    EXPECT_EQ(outcome(), "");
}

TEST_F(CheckRunPicturesTest, GivesTheNextSequenceItsOwnReports) {
    sequence("...x.t.");
    wanted.runFirst = 2;
    wanted.runLast = 4;
    CheckPools pools(settings, check(), -1);
    const std::string first = outcomeOf(pools);
    EXPECT_EQ(first, "3; 4; ");
    EXPECT_EQ(outcomeOf(pools), first);
    wanted.runFirst = 5;
    wanted.runLast = 6;
    EXPECT_EQ(outcomeOf(pools), "6 tile-missing!; ");
}

TEST_F(CheckRunPicturesTest, EndsWhenStoppedBeforeTheFirstFrameThatIsNotKnown) {
    const struct {
        const char* letters;
        int slow;             // place of the frame that takes too long
        const char* outcome;  // when stopped there
    } cases[] = {
        {"............", 5, "1; 2; 3; 4; "},
        {"............", 0, ""},
        {"......x.....", 7, "1; 2; 3; 4; 5; 6; 7; "},
        {"..........r......", 14, "1; 2; 3; 4; 5; 6; 7; 8; 9; 10; 11 repeated; 12; 13; "},
        {".........rrrr....", 14, "1; 2; 3; 4; 5; 6; 7; 8; 9; 10; 11; 12; 13; "},
    };
    for (const auto& c : cases) {
        sequence(c.letters);
        played.slow = {c.slow};
        settings.jobs = 1;
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        CheckPools pools(settings, check(), ends[0]);
        SequenceRun run(settings, wanted, pools, [&](const RunProgress& progress) {
            if (progress.level == Level::pixels && progress.done == c.slow) {
                EXPECT_EQ(write(ends[1], "", 1), 1);
            }
        });
        std::string text;
        while (const FrameReport* frame = run.next()) {
            text += std::to_string(*frame->name.number);
            for (const std::string& code : pictureCodes(*frame)) text += " " + code;
            text += "; ";
        }
        EXPECT_EQ(text, c.outcome) << c.letters;
        EXPECT_TRUE(run.wasStopped());
        EXPECT_EQ(run.next(), nullptr);
        close(ends[0]);
        close(ends[1]);
    }
}

TEST_F(CheckRunPicturesTest, DecodesOnlyWhatTheCacheDoesNotHave) {
    settings.cacheDirectory = "cache";
    sequence("..j..t..tt.ttt-t-j-..");
    const std::string expected = outcome();
    for (const std::set<int>& cached :
         {std::set<int>{0}, {2}, {1, 3}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15, 17, 19, 20}}) {
        played.cached = cached;
        EXPECT_EQ(outcome(), expected) << cached.size();
    }
    sequence(".");
    played.cached = {0};
    EXPECT_EQ(outcome(), "1; ");
    settings.level = Level::structure;
    CheckPools pools(settings, check(), -1);
    SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
    EXPECT_FALSE(run.next()->file.picture) << "no pixels were asked for";
}

TEST_F(CheckRunPicturesTest, LooksIntoTheCacheForFramesNextToTheRun) {
    settings.cacheDirectory = "cache";
    sequence(".......rtjr........");
    for (int place = 0; place < 19; ++place) played.cached.insert(place);
    wanted.runFirst = 7;
    wanted.runLast = 15;
    EXPECT_EQ(outcome(), "8 repeated; 9 tile-missing!; 10 jump; 11 repeated; 12; 13; 14; 15; ");
    played.cached.erase(6);
    played.cached.erase(16);
    EXPECT_EQ(outcome(), "8 repeated; 9 tile-missing!; 10 jump; 11 repeated; 12; 13; 14; 15; ");
}

TEST_F(CheckRunPicturesTest, KeepsFramesInTheCacheThatTheHeadersSayNothingAgainst) {
    settings.cacheDirectory = "cache";
    sequence("......");
    played.unlike = {2};
    for (const auto& frame : wanted.frames) ASSERT_EQ(frame.name.text.size(), 1);
    wanted.sequence = {"/r/a.####.exr", "/r/", "a.", ".exr", std::nullopt, 6};
    const QByteArray folder = cacheFolder("cache", wanted.sequence);
    CheckPools pools(settings, check(), -1);
    SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
    while (const FrameReport* frame = run.next())
        EXPECT_EQ(frame->file.cacheFault,
                  folder + '/' + frame->name.text + ".kxc" + (*frame->name.number == 3 ? " not kept" : " kept"));
    settings.cacheDirectory.clear();
    SequenceRun without(settings, wanted, pools, [](const RunProgress&) {});
    while (const FrameReport* frame = without.next()) EXPECT_EQ(frame->file.cacheFault, " not kept");
}

// Also those that wait for the last frame until it is known whether repeated ones are to be reported.
TEST_F(CheckRunPicturesTest, HasPreviewsTakenBeforeFramesAreGiven) {
    for (const SortKey key : {SortKey::frame, SortKey::size}) {
        settings.sortKey = key;
        sequence("..r.j.......x.");
        wanted.runFirst = 1;
        CheckPools pools(settings, check(), -1);
        std::string taken;
        const auto takePreview = [&taken](const FrameName& name, FileReport& report) {
            if (report.preview.jpeg.isEmpty()) return;
            EXPECT_EQ(report.preview.small, "small");
            taken += name.text.toStdString() + ' ';
            report.preview = {};
        };
        SequenceRun run(
            settings, wanted, pools, [](const RunProgress&) {}, takePreview);
        while (const FrameReport* frame = run.next()) {
            EXPECT_EQ(frame->file.preview.jpeg, "");
            EXPECT_TRUE(taken.find(frame->name.text.toStdString() + ' ') != std::string::npos ||
                        frame->verdict == Verdict::bad);
        }
        EXPECT_EQ(taken, "2 3 4 5 6 7 8 9 10 11 12 14 ");
    }
}

TEST_F(CheckRunPicturesTest, AsksForNoPreviewsThatNobodyTakes) {
    sequence(".....");
    CheckPools pools(settings, check(), -1);
    SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
    int given = 0;
    for (const FrameReport* frame = run.next(); frame; frame = run.next(), ++given) {
        ASSERT_TRUE(frame->file.picture);
        EXPECT_TRUE(frame->file.preview.jpeg.isEmpty());
    }
    EXPECT_EQ(given, 5);
}

namespace {

// A sequence with a little of everything: shots of frames that are much alike, gaps, damage.
std::vector<PlainPicture> randomFrames(std::mt19937& random, int step, bool hasTiles) {
    const auto oneIn = [&random](unsigned share) { return random() % share == 0; };
    const auto frames = 1 + static_cast<int>(random() % 30);
    const unsigned repeats = 2 + static_cast<unsigned>(random() % 12);
    std::vector<PlainPicture> sequence;
    for (int i = 0; i < frames; ++i) {
        for (int tile = hasTiles ? 0 : -1; tile < (hasTiles ? 2 : 0); ++tile) {
            PlainPicture frame;
            frame.number = i * step - 10;
            frame.tile = tile;
            frame.hasFile = !oneIn(12);
            frame.isDecoded = !oneIn(12);
            frame.hasPicture = !oneIn(15);
            frame.samples = oneIn(repeats) ? i - 1 : i;
            frame.isTileMissing = oneIn(3);
            frame.hasDarkCorner = frame.isTileMissing || oneIn(3);
            frame.isAlphaMissing = oneIn(9);
            frame.isBlack = oneIn(9);
            frame.isFlat = oneIn(9);
            frame.nan = oneIn(5) ? 3 : 0;
            frame.infinite = oneIn(5) ? 4 : 0;
            frame.channel = oneIn(2) ? "Z" : "diffuse.B";
            for (auto& channel : frame.histogram) {
                for (unsigned& bin : channel) bin = 1000 + static_cast<unsigned>(random() % 1000);
                channel[oneIn(5) ? 22 : 6] += 500000;
            }
            sequence.push_back(frame);
        }
    }
    return sequence;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += word + " ";
    return text;
}

}  // namespace

TEST_F(CheckRunPicturesTest, AgreesWithThePlainRulesForAnyNumberOfJobs) {
    std::mt19937 random(11);
    for (int i = 0; i < 96; ++i) {
        const int step = 1 + static_cast<int>(random() % 3);
        played.frames = randomFrames(random, step, i % 4 == 3);
        played.seed = static_cast<unsigned>(random());
        played.longestDelay = i % 3 == 0 ? 3000 : 1;
        wanted = wantedOf(played.frames, step);
        if (i % 2 == 1) {
            wanted.runFirst = random() % (wanted.frames.size() + 1);
            wanted.runLast = wanted.runFirst + random() % (wanted.frames.size() + 1 - wanted.runFirst);
        }
        settings.jobs = 1 + i % 16;
        settings.cacheDirectory = i % 5 < 2 ? "" : "cache";
        played.cached.clear();
        for (std::size_t place = 0; place < played.frames.size(); ++place)
            if (played.frames[place].isDecoded && random() % 5 < static_cast<unsigned>(i % 5))
                played.cached.insert(static_cast<int>(place));
        const auto expected = plainPictureVerdicts(played.frames, wanted.runFirst, wanted.runLast, step);
        CheckPools pools(settings, check(), -1);
        SequenceRun run(settings, wanted, pools, [](const RunProgress&) {});
        for (std::size_t k = 0; k < expected.size(); ++k) {
            const FrameReport* const frame = run.next();
            ASSERT_TRUE(frame) << i << " " << k;
            EXPECT_EQ(frame->name.number, played.frames[wanted.runFirst + k].number);
            EXPECT_EQ(joined(pictureCodes(*frame)), joined(expected[k].codes)) << i << " " << k;
            EXPECT_NEAR(frame->jump, expected[k].jump, 1e-9) << i << " " << k;
        }
        EXPECT_FALSE(run.next());
    }
}

TEST_F(CheckRunPicturesTest, GivesTheSameInTheSameOrderWithAnyNumberOfJobs) {
    std::string letters;
    std::mt19937 random(4);
    for (int i = 0; i < 60; ++i) letters += "......jt.rx-n"[i == 0 ? 0 : random() % 13];
    sequence(letters);
    played.longestDelay = 2500;
    const std::string expected = outcome();
    EXPECT_NE(expected.find("repeated"), std::string::npos) << expected;
    const Counts counts = decodedWhenGiven();
    for (int jobs = 1; jobs <= 16; ++jobs) {
        settings.jobs = jobs;
        played.seed = static_cast<unsigned>(jobs);
        EXPECT_EQ(outcome(), expected) << jobs;
        EXPECT_EQ(decodedWhenGiven(), counts) << jobs;
    }
}
