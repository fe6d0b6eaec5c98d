// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxRemovalPlan.h"

#include "tests/support/JudgedFrames.h"

#include <gtest/gtest.h>

using namespace kxCheck;

namespace {

const Code allCodes[] = {
    Code::missing,  Code::unreadable, Code::unsupported, Code::changing, Code::limit,       Code::empty,
    Code::notExr,   Code::header,     Code::modes,       Code::expected, Code::differs,     Code::differsCoding,
    Code::sizeJump, Code::unfinished, Code::truncated,   Code::chunk,    Code::tileMissing, Code::alphaMissing,
    Code::nan,      Code::inf,        Code::black,       Code::flat,     Code::repeated,    Code::jump,
};

FrameReport frameWith(const std::vector<Finding>& findings, const QByteArray& path = "/r/a.1.exr") {
    FrameReport frame = judgedFrame(named("1", path), findings);
    frame.file.hasIdentity = true;
    return frame;
}

FrameReport frameWith(Code code, const QByteArray& path = "/r/a.1.exr") {
    return frameWith({makeFinding(code, "text")}, path);
}

Settings deleting() {
    Settings settings;
    settings.removal = Removal::remove;
    return settings;
}

bool goes(const FrameReport& frame, const Settings& settings = deleting()) {
    return plannedAction(frame, settings) == Action::remove;
}

Finding asError(Code code) {
    Finding finding = makeFinding(code, "text");
    finding.severity = Severity::error;
    return finding;
}

}  // namespace

TEST(PlannedAction, IsNothingUnlessAskedFor) {
    Settings settings;
    EXPECT_EQ(plannedAction(frameWith(Code::chunk), settings), Action::none);
    settings.removal = Removal::remove;
    EXPECT_EQ(plannedAction(frameWith(Code::chunk), settings), Action::remove);
    settings.removal = Removal::move;
    EXPECT_EQ(plannedAction(frameWith(Code::chunk), settings), Action::move);
    EXPECT_EQ(plannedAction(frameWith(Code::nan), settings), Action::none);
}

TEST(PlannedAction, TakesErrorsOfHeadersAndStructure) {
    const std::set<Code> removable = {Code::empty,   Code::notExr, Code::header,     Code::modes,    Code::expected,
                                      Code::differs, Code::chunk,  Code::unfinished, Code::truncated};
    for (const Code code : allCodes)
        EXPECT_EQ(goes(frameWith(code)), removable.count(code) > 0) << rowOf(code).name;
    EXPECT_FALSE(goes(frameWith(std::vector<Finding>{})));
}

TEST(PlannedAction, TakesCodesThatWereFailedOn) {
    for (const Code code : {Code::tileMissing, Code::nan, Code::jump, Code::sizeJump, Code::differsCoding}) {
        Settings settings = deleting();
        settings.failOn = {code};
        EXPECT_TRUE(goes(frameWith({asError(code)}), settings)) << rowOf(code).name;
    }
    Settings settings = deleting();
    settings.failOn = {Code::nan};
    EXPECT_FALSE(goes(frameWith({asError(Code::tileMissing)}), settings));
    EXPECT_FALSE(goes(frameWith(Code::inf), settings));
}

TEST(PlannedAction, LeavesUnknownFramesWhateverElseIsFound) {
    for (const Code code : {Code::unreadable, Code::unsupported, Code::changing, Code::limit, Code::missing})
        EXPECT_FALSE(goes(frameWith({makeFinding(Code::chunk, "a"), makeFinding(code, "b")}))) << rowOf(code).name;
}

TEST(PlannedAction, LeavesFilesThatWereNeverOpened) {
    FrameReport frame = frameWith(Code::header);
    frame.file.hasIdentity = false;
    EXPECT_FALSE(goes(frame));
}

TEST(PlannedAction, TakesForeignAndEmptyFilesOnlyByTheirName) {
    Settings settings = deleting();
    settings.failOn = {Code::sizeJump};
    for (const Code code : {Code::empty, Code::notExr}) {
        for (const char* path : {"/r/a.1.exr", "/r/a.1.EXR", "a.1.Exr"}) EXPECT_TRUE(goes(frameWith(code, path)));
        for (const char* path : {"/r/a.1.tif", "/r/a.exr.1", "/r/a.1", "/r.exr/a.1", "exr"}) {
            EXPECT_FALSE(goes(frameWith(code, path))) << path;
            EXPECT_FALSE(goes(frameWith({makeFinding(code, "a"), asError(Code::sizeJump)}, path), settings))
                << path;
        }
    }
    EXPECT_TRUE(goes(frameWith(Code::truncated, "/r/a.1.tmp")));
}

TEST(RemovalCount, CountsCheckedFramesWithoutMissingAndUnknownOnes) {
    std::vector<FrameReport> frames = joined({run(1, 4), run(5, 5, Code::nan), run(6, 7, Code::missing),
                                              run(8, 9, Code::limit), run(10, 12, Code::chunk)});
    for (FrameReport& frame : frames)
        if (frame.verdict == Verdict::bad) frame.action = Action::remove;
    const RemovalCount count = countRemovals(frames);
    EXPECT_EQ(count.removable, 3);
    EXPECT_EQ(count.checked, 8);
    EXPECT_FALSE(count.isMost());
}

TEST(RemovalCount, IsMostAboveTheHalf) {
    EXPECT_FALSE((RemovalCount{0, 0}).isMost());
    EXPECT_FALSE((RemovalCount{0, 1}).isMost());
    EXPECT_TRUE((RemovalCount{1, 1}).isMost());
    EXPECT_FALSE((RemovalCount{1, 2}).isMost());
    EXPECT_TRUE((RemovalCount{2, 3}).isMost());
    EXPECT_FALSE((RemovalCount{2, 4}).isMost());
    EXPECT_TRUE((RemovalCount{12500, 24999}).isMost());
    EXPECT_FALSE((RemovalCount{12499, 24999}).isMost());
}
