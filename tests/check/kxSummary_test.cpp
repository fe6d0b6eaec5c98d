// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxSummary.h"

#include "check/kxFrameLines.h"
#include "tests/support/JudgedFrames.h"

#include <gtest/gtest.h>

using namespace kxCheck;

TEST(Summary, ListsTheFramesOfVerdictsTogether) {
    std::vector<FrameReport> frames =
        joined({run(1, 4), run(5, 6, Code::missing), run(7, 9, Code::chunk), run(20, 20, Code::nan)});
    frames.push_back(judgedFrame(singleFile("/r/a\nb.exr"), {makeFinding(Code::chunk, "")}));
    frames.push_back(judgedFrame(singleFile("c.exr"), {}));
    const Summary summary = summaryOf(frames);
    EXPECT_EQ(summary.frames({Verdict::bad, Verdict::missing}), "5-9,a\\nb.exr");
    EXPECT_EQ(summary.frames({Verdict::good}), "1-4,c.exr");
    EXPECT_EQ(summary.frames({Verdict::suspicious}), "20");
    EXPECT_EQ(summary.frames({Verdict::unknown}), "");
    EXPECT_EQ(summary.frames({}), "");
    EXPECT_EQ(summary.total(), 12);
    EXPECT_EQ(summary.count(Verdict::bad), 4);
}

TEST(Summary, CountsFilesAndListsNumbersOnce) {
    const Summary summary =
        summaryOf(joined({run(2, 2, Code::chunk), run(1, 1, Code::chunk), run(2, 2, Code::limit)}));
    EXPECT_EQ(summary.frames({Verdict::bad, Verdict::unknown}), "1-2");
    EXPECT_EQ(summary.total(), 3);
}

TEST(ExitCode, IsOneForBadAndMissingThenThreeForWhatIsUnknown) {
    struct {
        std::vector<FrameReport> frames;
        bool strict;
        bool partial;
        int code;
    } const cases[] = {
        {run(1, 2), false, false, 0},
        {{}, false, false, 0},
        {run(1, 2), false, true, 3},
        {run(1, 1, Code::nan), false, false, 0},
        {run(1, 1, Code::nan), true, false, 1},
        {run(1, 1, Code::chunk), false, true, 1},
        {run(1, 1, Code::missing), false, false, 1},
        {run(1, 1, Code::limit), false, false, 3},
        {run(1, 1, Code::limit), true, false, 3},
        {joined({run(1, 1, Code::limit), run(2, 2, Code::missing)}), false, false, 1},
        {joined({run(1, 1, Code::limit), run(2, 2, Code::nan)}), true, false, 1},
    };
    for (const auto& c : cases) {
        Summary summary = summaryOf(c.frames);
        summary.isPartial = c.partial;
        EXPECT_EQ(exitCodeOf(summary, c.strict), c.code) << totalLine(summary).constData();
    }
}
