// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxJudge.h"

#include "check/kxFileAge.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

using namespace kxCheck;

namespace {

constexpr std::int64_t second = 1000000000;
constexpr std::int64_t now = 1700000000 * second;

Headers headersOf(int parts, int channels) {
    kxExr::Part part;
    part.displayWindow = part.dataWindow = {0, 0, 1919, 1079};
    for (int i = 0; i < channels; ++i)
        part.channels.push_back({QByteArray::number(i), kxExr::PixelType::half, 1, 1});
    return Headers(static_cast<std::size_t>(parts), part);
}

std::shared_ptr<const Headers> shared(const Headers& headers) {
    return std::make_shared<const Headers>(headers);
}

// A file with these findings, `age` seconds old.
FrameReport frameWith(const std::vector<Code>& codes, std::int64_t age = 3600) {
    FrameReport frame;
    frame.file.hasIdentity = true;
    frame.file.identity.modified = now - age * second;
    for (const Code code : codes) frame.file.findings.push_back(makeFinding(code, "text"));
    return frame;
}

std::string codesOf(const FrameReport& frame) {
    std::string codes;
    for (const Finding& finding : frame.findings) {
        codes += codes.empty() ? "" : " ";
        codes += rowOf(finding.code).name;
        if (finding.severity != rowOf(finding.code).severity) codes += "!";
    }
    return codes;
}

FrameReport judged(FrameReport frame, const Settings& settings = {}, const SizeJump& sizeJump = {}) {
    judge(frame, settings, Likeness({}), {sizeJump, {}}, now);
    return frame;
}

std::string modesText(const kxExr::Modes& modes, int parts, int channels) {
    const auto finding = unmetModes(modes, headersOf(parts, channels));
    EXPECT_TRUE(!finding || finding->code == Code::modes);
    return finding ? finding->text.toStdString() : "";
}

}  // namespace

TEST(Judge, LeavesAWholeFrameGood) {
    const FrameReport frame = judged(frameWith({}));
    EXPECT_EQ(frame.verdict, Verdict::good);
    EXPECT_EQ(frame.level, 0);
    EXPECT_EQ(codesOf(frame), "");
}

TEST(Judge, CallsYoungFilesUnfinishedWhereTheyEndTooEarly) {
    struct {
        std::int64_t age;
        int minAge;
        const char* codes;
    } const cases[] = {
        {60, 60, "truncated chunk"},      {59, 60, "unfinished chunk"}, {0, 60, "unfinished chunk"},
        {0, 0, "truncated chunk"},        {-5, 0, "truncated chunk"},   {-5, 60, "unfinished chunk"},
        {3600, 7200, "unfinished chunk"},
    };
    for (const auto& c : cases) {
        Settings settings;
        settings.minAge = c.minAge;
        const FrameReport frame = judged(frameWith({Code::chunk, Code::truncated}, c.age), settings);
        EXPECT_EQ(codesOf(frame), c.codes) << c.age << " of " << c.minAge;
        EXPECT_EQ(frame.verdict, Verdict::bad);
    }
}

TEST(Judge, KeepsEmptyAndUnreadableYoungFilesAsTheyAre) {
    EXPECT_EQ(codesOf(judged(frameWith({Code::empty}, 1))), "empty");
    FrameReport frame = frameWith({Code::truncated}, 1);
    frame.file.hasIdentity = false;
    EXPECT_EQ(codesOf(judged(frame)), "truncated");
}

TEST(FileAge, HoldsAtTheEndsOfTime) {
    FileIdentity file;
    file.modified = std::numeric_limits<std::int64_t>::min();
    EXPECT_FALSE(isYoung(file, now, std::numeric_limits<int>::max()));
    file.modified = std::numeric_limits<std::int64_t>::max();
    EXPECT_TRUE(isYoung(file, now, 1));
    EXPECT_FALSE(isYoung(file, now, 0));
}

TEST(Judge, AddsWhatHeadersLackOfWhatWasAsked) {
    FrameReport frame = frameWith({Code::chunk});
    frame.file.headers = shared(headersOf(1, 4));
    Settings settings;
    settings.modes.requireMultiLayer = true;
    settings.expectations = {{Expectation::Key::type, {"float"}}, {Expectation::Key::size, {"1920x1080"}}};
    EXPECT_EQ(codesOf(judged(frame, settings)), "modes expected chunk");
    frame.file.headers = nullptr;
    EXPECT_EQ(codesOf(judged(frame, settings)), "chunk");
    frame.file.headers = shared({});
    EXPECT_EQ(codesOf(judged(frame, settings)), "chunk");
}

TEST(Judge, AddsInWhatTheHeadersAreUnlikeTheOthers) {
    const auto common = shared(headersOf(1, 4));
    const Likeness likeness({common, common, common, common});
    FrameReport frame = frameWith({});
    frame.file.headers = shared(headersOf(1, 3));
    judge(frame, {}, likeness, {}, now);
    EXPECT_EQ(codesOf(frame), "differs");
    EXPECT_EQ(frame.verdict, Verdict::bad);
    frame.file.headers = common;
    judge(frame, {}, likeness, {}, now);
    EXPECT_EQ(codesOf(frame), "");
}

TEST(Judge, AddsASizeJumpAboveTwo) {
    EXPECT_EQ(codesOf(judged(frameWith({}), {}, {2.0, {}})), "");
    const FrameReport frame = judged(frameWith({}), {}, {2.5, "sizes"});
    EXPECT_EQ(codesOf(frame), "size-jump");
    EXPECT_EQ(frame.findings[0].text, "sizes");
    EXPECT_EQ(frame.sizeJump, 2.5);
    EXPECT_EQ(frame.verdict, Verdict::suspicious);
    EXPECT_EQ(frame.level, 1);
    EXPECT_EQ(judged(frameWith({}), {}, {4.5, "sizes"}).level, 2);
}

TEST(Judge, TellsADifferenceOfZeroFromNone) {
    FrameReport frame = frameWith({});
    judge(frame, {}, Likeness({}), {{0, {}, true}, {0, {}, true}}, now);
    EXPECT_TRUE(frame.hasSizeJump && frame.hasJump);
    judge(frame, {}, Likeness({}), {{0, {}, true}, {}}, now);
    EXPECT_TRUE(frame.hasSizeJump && !frame.hasJump);
    judge(frame, {}, Likeness({}), {{}, {0, {}, true}}, now);
    EXPECT_TRUE(!frame.hasSizeJump && frame.hasJump);
}

TEST(Judge, AddsWhatThePictureSays) {
    FrameReport frame = frameWith({});
    const PictureJudgement picture = {2.5, {makeFinding(Code::jump, "text"), makeFinding(Code::nan, "text")}};
    judge(frame, {}, Likeness({}), {{}, picture}, now);
    EXPECT_EQ(codesOf(frame), "nan jump");
    EXPECT_EQ(frame.jump, 2.5);
    EXPECT_EQ(frame.level, 1);
    judge(frame, {}, Likeness({}), {{}, {4.5, picture.findings}}, now);
    EXPECT_EQ(frame.level, 2);
    Settings settings;
    settings.ignored = {Code::jump};
    judge(frame, settings, Likeness({}), {{}, {4.5, picture.findings}}, now);
    EXPECT_EQ(codesOf(frame), "nan");
    EXPECT_EQ(frame.level, 1);
}

TEST(Judge, AddsAFindingLaterAsIfItHadBeenThere) {
    FrameReport frame = judged(frameWith({Code::nan}));
    Settings settings;
    addFinding(frame, makeFinding(Code::repeated, "text"), settings);
    EXPECT_EQ(codesOf(frame), "nan repeated");
    EXPECT_EQ(frame.verdict, Verdict::suspicious);
    settings.failOn = {Code::repeated};
    frame = judged(frameWith({}));
    addFinding(frame, makeFinding(Code::repeated, "text"), settings);
    EXPECT_EQ(codesOf(frame), "repeated!");
    EXPECT_EQ(frame.verdict, Verdict::bad);
    EXPECT_EQ(frame.level, 3);
    settings.failOn = {};
    settings.ignored = {Code::repeated};
    frame = judged(frameWith({}));
    addFinding(frame, makeFinding(Code::repeated, "text"), settings);
    EXPECT_EQ(codesOf(frame), "");
    EXPECT_EQ(frame.verdict, Verdict::good);
}

TEST(Judge, MakesWarningsErrorsThatAreFailedOn) {
    Settings settings;
    settings.failOn = {Code::nan, Code::chunk, Code::limit};
    FrameReport frame = judged(frameWith({Code::nan, Code::inf, Code::chunk}), settings);
    EXPECT_EQ(codesOf(frame), "chunk nan! inf");
    EXPECT_EQ(judged(frameWith({Code::nan}), settings).verdict, Verdict::bad);
    EXPECT_EQ(judged(frameWith({Code::inf}), settings).verdict, Verdict::suspicious);
    EXPECT_EQ(judged(frameWith({Code::limit}), settings).verdict, Verdict::unknown);
}

TEST(Judge, LeavesOutWhatIsIgnoredAndItsLevel) {
    Settings settings;
    settings.ignored = {Code::alphaMissing, Code::chunk, Code::sizeJump, Code::unreadable, Code::missing};
    const FrameReport frame =
        judged(frameWith({Code::alphaMissing, Code::chunk, Code::nan}), settings, {9, "sizes"});
    EXPECT_EQ(codesOf(frame), "nan");
    EXPECT_EQ(frame.verdict, Verdict::suspicious);
    EXPECT_EQ(frame.level, 1);
    EXPECT_EQ(frame.sizeJump, 9);
    EXPECT_EQ(judged(frameWith({Code::unreadable}), settings).verdict, Verdict::unknown);
    EXPECT_EQ(judged(missingFrame({}), settings).verdict, Verdict::missing);
}

TEST(Judge, IgnoresUnfinishedByItsOwnCodeOnly) {
    Settings settings;
    settings.ignored = {Code::truncated};
    EXPECT_EQ(codesOf(judged(frameWith({Code::truncated}, 1), settings)), "unfinished");
    EXPECT_EQ(codesOf(judged(frameWith({Code::truncated}), settings)), "");
}

TEST(Judge, CountsTheFindingsBeyondAHundred) {
    FrameReport frame = frameWith(std::vector<Code>(100, Code::chunk));
    frame.file.headers = shared(headersOf(1, 4));
    Settings settings;
    settings.modes.requireMultipart = true;
    frame = judged(frame, settings);
    EXPECT_EQ(frame.findings.size(), 100U);
    EXPECT_EQ(frame.findings.front().code, Code::modes);
    EXPECT_EQ(frame.findings.back().text, "2 more findings");
}

TEST(Judge, CountsOfTheRestWhatIsNotIgnored) {
    FrameReport frame = frameWith({Code::unfinished, Code::chunk});
    frame.file.findings.push_back(findingForOthers(Code::unfinished, 7));
    frame.file.findings.push_back(findingForOthers(Code::chunk, 30));
    const struct {
        std::set<Code> ignored;
        const char* codes;
        const char* rest;
    } cases[] = {
        {{}, "unfinished chunk unfinished", "37 more findings"},
        {{Code::chunk}, "unfinished unfinished", "7 more findings"},
        {{Code::unfinished}, "chunk chunk", "30 more findings"},
    };
    for (const auto& c : cases) {
        Settings settings;
        settings.ignored = c.ignored;
        const FrameReport result = judged(frame, settings);
        EXPECT_EQ(codesOf(result), c.codes);
        EXPECT_EQ(result.findings.back().text, c.rest);
    }
}

TEST(Judge, GivesTheSameWhenRepeated) {
    FrameReport frame = judged(frameWith({Code::truncated, Code::nan}, 1), {}, {5, "sizes"});
    const std::string once = codesOf(frame);
    EXPECT_EQ(codesOf(judged(frame, {}, {5, "sizes"})), once);
    EXPECT_EQ(once, "unfinished size-jump nan");
}

TEST(MissingFrame, IsMissing) {
    FrameName name;
    name.number = 7;
    const FrameReport frame = judged(missingFrame(name));
    EXPECT_EQ(frame.name.number, 7);
    EXPECT_EQ(frame.verdict, Verdict::missing);
    EXPECT_EQ(frame.level, 3);
    EXPECT_FALSE(frame.file.hasIdentity);
}

TEST(Modes, AreAskedOfFilesThatCanFailThem) {
    const char* const single = "a single part, several are required";
    const char* const layers = "4 channels, several layers are required, that is 5 channels or more";
    const char* const parts = "2 parts, only one is allowed";
    struct {
        kxExr::Modes modes;
        int parts;
        int channels;
        const char* text;
    } const cases[] = {
        {{false, false, false}, 1, 4, ""},
        {{false, false, false}, 2, 4, ""},
        {{true, false, false}, 1, 4, layers},
        {{true, false, false}, 1, 5, ""},
        {{true, false, false}, 2, 4, ""},
        {{false, true, false}, 1, 9, single},
        {{false, true, false}, 2, 1, ""},
        {{false, false, true}, 2, 4, parts},
        {{false, false, true}, 1, 4, ""},
        {{true, true, true}, 1, 5, single},
        {{true, true, true}, 2, 5, parts},
        {{true, false, false}, 1, 1, "1 channel, several layers are required, that is 5 channels or more"},
    };
    for (const auto& c : cases) EXPECT_EQ(modesText(c.modes, c.parts, c.channels), c.text);
}
