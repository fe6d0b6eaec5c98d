// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameLines.h"

#include "tests/support/JudgedFrames.h"

#include <gtest/gtest.h>

#include <string>

using namespace kxCheck;

namespace {

std::string lineOf(const FrameReport& frame, const LineStyle& style = {4, false}) {
    return frameLine(frame, style).toStdString();
}

std::string lineOf(const std::vector<Finding>& findings) {
    return lineOf(judgedFrame(named("1017"), findings));
}

Headers headersOf(const std::vector<kxExr::Compression>& compressions) {
    Headers headers;
    for (const kxExr::Compression compression : compressions) {
        kxExr::Part part;
        part.displayWindow = {10, 10, 1929, 1089};
        part.compression = compression;
        for (const char* channel : {"A", "B", "G", "R"}) part.channels.push_back({channel, kxExr::PixelType::half});
        headers.push_back(part);
    }
    return headers;
}

SequenceName sequenceOf(const std::optional<FrameRange>& range) {
    SequenceName sequence;
    sequence.path = "/r/beauty.####.exr";
    sequence.range = range;
    return sequence;
}

}  // namespace

TEST(FrameLine, ShowsFrameVerdictAndFinding) {
    EXPECT_EQ(lineOf({makeFinding(Code::truncated, "rows 540 to 1079 of 1080 are missing")}),
              "1017  bad         truncated: rows 540 to 1079 of 1080 are missing");
    EXPECT_EQ(lineOf({makeFinding(Code::jump, "differs 5.1 times")}), "1017  suspicious  jump: differs 5.1 times");
    EXPECT_EQ(lineOf({makeFinding(Code::unreadable, "Permission denied")}),
              "1017  unknown     unreadable: Permission denied");
    EXPECT_EQ(lineOf(std::vector<Finding>{}), "1017  good");
    EXPECT_EQ(lineOf({makeFinding(Code::missing, "no such file")}), "1017  missing");
}

TEST(FrameLine, EndsInWhatIsPlanned) {
    FrameReport frame = judgedFrame(named("1017"), {makeFinding(Code::chunk, "tile 3,2")});
    frame.action = Action::remove;
    EXPECT_EQ(lineOf(frame), "1017  bad         chunk: tile 3,2  => delete");
    frame.action = Action::move;
    EXPECT_EQ(lineOf(frame), "1017  bad         chunk: tile 3,2  => move");
}

TEST(FrameLine, ShowsTheFirstFindingOfEachCode) {
    EXPECT_EQ(
        lineOf({makeFinding(Code::nan, "in R"), makeFinding(Code::chunk, "a"), makeFinding(Code::nan, "in G"),
                makeFinding(Code::truncated, "b"), makeFinding(Code::chunk, "c"), makeFinding(Code::chunk, "d")}),
        "1017  bad         truncated: b; chunk: a (and 2 more); nan: in R (and 1 more)");
}

TEST(FrameLine, CountsWhatIsBeyondAHundredFindings) {
    EXPECT_EQ(lineOf(std::vector<Finding>(150, makeFinding(Code::chunk, "a"))),
              "1017  bad         chunk: a (and 98 more); 51 more findings");
}

TEST(FrameLine, AlignsFramesInTheirColumn) {
    const FrameReport frame = judgedFrame(named("7"), {makeFinding(Code::chunk, "a")});
    EXPECT_EQ(lineOf(frame, {4, false}), "7     bad         chunk: a");
    EXPECT_EQ(lineOf(frame, {0, false}), "7  bad         chunk: a");
}

TEST(FrameLine, ShowsTheNumberAsInTheNameAndItsTile) {
    FrameName name = named("0042");
    EXPECT_EQ(lineOf(judgedFrame(name, {})), "0042  good");
    name.tile = 3;
    EXPECT_EQ(lineOf(judgedFrame(name, {})), "0042 tile 3  good");
    EXPECT_EQ(lineOf(judgedFrame(singleFile("/r/comp_v001.exr"), {})), "comp_v001.exr  good");
    EXPECT_EQ(lineOf(judgedFrame(singleFile("comp.exr"), {})), "comp.exr  good");
}

TEST(FrameLine, EscapesControlCharacters) {
    EXPECT_EQ(lineOf(judgedFrame(singleFile("/r/a\nb\x1b.exr"), {makeFinding(Code::differs, "has 'x\ry'")})),
              "a\\nb\\x1b.exr  bad         differs: has 'x\\ry'");
}

TEST(FrameLine, ColoursTheVerdictAlone) {
    const LineStyle colored = {4, true};
    EXPECT_EQ(lineOf(judgedFrame(named("1017"), {makeFinding(Code::chunk, "a")}), colored),
              "1017  \x1b[31mbad\x1b[0m         chunk: a");
    EXPECT_EQ(lineOf(judgedFrame(named("1017"), {}), colored), "1017  \x1b[32mgood\x1b[0m");
    EXPECT_EQ(lineOf(judgedFrame(named("1017"), {makeFinding(Code::nan, "a")}), colored),
              "1017  \x1b[33msuspicious\x1b[0m  nan: a");
    EXPECT_EQ(lineOf(judgedFrame(named("1017"), {makeFinding(Code::missing, "")}), colored),
              "1017  \x1b[35mmissing\x1b[0m");
    EXPECT_EQ(lineOf(judgedFrame(named("1017"), {makeFinding(Code::limit, "a")}), colored),
              "1017  \x1b[36munknown\x1b[0m     limit: a");
}

TEST(LabelWidth, IsThatOfTheWidestAsItIsShown) {
    EXPECT_EQ(labelWidthOf({}), 0);
    EXPECT_EQ(labelWidthOf(run(8, 12)), 2);
    EXPECT_EQ(labelWidthOf({judgedFrame(singleFile("/r/a\n.exr"), {})}), 7);
}

TEST(SequenceLine, ShowsTheRangeAndWhatAHeaderSays) {
    const auto line = [](const std::optional<FrameRange>& range, const Headers* headers) {
        return sequenceLine(sequenceOf(range), headers).toStdString();
    };
    const Headers one = headersOf({kxExr::Compression::zip});
    EXPECT_EQ(line(FrameRange{1001, 1100, 1}, &one),
              "/r/beauty.####.exr  1001-1100  1920x1080  4 channels half  zip");
    EXPECT_EQ(line(FrameRange{1, 99, 2}, nullptr), "/r/beauty.####.exr  1-99x2");
    EXPECT_EQ(line(FrameRange{5, 5, 1}, nullptr), "/r/beauty.####.exr  5");
    EXPECT_EQ(line(FrameRange{-5, -1, 1}, nullptr), "/r/beauty.####.exr  -5--1");
    EXPECT_EQ(line({}, nullptr), "/r/beauty.####.exr");
    const Headers none;
    EXPECT_EQ(line({}, &none), "/r/beauty.####.exr");
}

TEST(SequenceLine, CountsPartsAndChannelsOfAll) {
    Headers headers = headersOf({kxExr::Compression::zip, kxExr::Compression::piz, kxExr::Compression::zip});
    headers[1].channels = {{"Z", kxExr::PixelType::float32}};
    EXPECT_EQ(sequenceLine(sequenceOf({}), &headers).toStdString(),
              "/r/beauty.####.exr  1920x1080  3 parts  9 channels half float  zip,piz");
    headers.resize(2);
    headers.erase(headers.begin());
    EXPECT_EQ(sequenceLine(sequenceOf({}), &headers).toStdString(),
              "/r/beauty.####.exr  1920x1080  1 channel float  piz");
}

TEST(SequenceLine, EscapesThePath) {
    SequenceName sequence;
    sequence.path = "/r/\x1b[2J.####.exr";
    EXPECT_EQ(sequenceLine(sequence, nullptr).toStdString(), "/r/\\x1b[2J.####.exr");
}

TEST(TotalLine, CountsAndListsTheVerdicts) {
    const Summary summary =
        summaryOf(joined({run(1001, 1016), run(1017, 1017, Code::chunk), run(1018, 1043),
                          run(1044, 1044, Code::truncated), run(1045, 1059), run(1060, 1060, Code::jump),
                          run(1061, 1089), run(1090, 1090, Code::missing), run(1091, 1100)}),
                  2.2);
    EXPECT_EQ(totalLine(summary).toStdString(),
              "total 100: 96 good, 1 suspicious (1060), 2 bad (1017,1044), 1 missing (1090), 2 s");
    EXPECT_EQ(totalLine(summaryOf(run(1, 9, Code::limit))).toStdString(), "total 9: 9 unknown (1-9), 0 s");
    EXPECT_EQ(totalLine(summaryOf({})).toStdString(), "total 0: 0 s");
}

TEST(KeptLine, NamesTheReason) {
    EXPECT_EQ(keptLine(named("17"), "Permission denied", {4, false}), "17    kept: Permission denied");
}

TEST(HeldLine, SaysHowManyWouldGo) {
    EXPECT_EQ(heldLine(6, 10),
              "nothing removed: 6 of 10 checked frames would go, more than half (--remove-most removes them)");
}

TEST(Duration, IsShownInTheUnitsOfItsSize) {
    const std::pair<double, const char*> cases[] = {
        {0, "0 s"},          {0.49, "0 s"},           {0.5, "1 s"},          {59.4, "59 s"},
        {59.6, "1 min 0 s"}, {200, "3 min 20 s"},     {3599, "59 min 59 s"}, {3599.7, "1 h 0 min"},
        {7500, "2 h 5 min"}, {360000, "100 h 0 min"},
    };
    for (const auto& c : cases) EXPECT_EQ(durationText(c.first), c.second) << c.first;
}
