// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPagePlots.h"

#include "check/kxPageDrawing.h"
#include "tests/support/PageDrawings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

std::vector<PageElement> ofBothClasses(const PageMarkup& page, const std::string& a, const std::string& b) {
    std::vector<PageElement> found = page.ofClass(a);
    found.erase(std::remove_if(found.begin(), found.end(), [&](const PageElement& e) { return !e.isOf(b); }),
                found.end());
    return found;
}

}  // namespace

TEST(PlotFigures, LeaveOutWhatNoFrameHas) {
    std::vector<PageFrame> frames = framesOf({0, 0, 0});
    EXPECT_EQ(markup(plotFigures(frames)).named("figure").size(), 1U);
    for (PageFrame& frame : frames) frame.size.reset();
    EXPECT_EQ(plotFigures(frames), "");
    frames[1].jump = 1;
    frames[1].brightness = 0.5;
    EXPECT_EQ(markup(plotFigures(frames)).named("figure").size(), 2U);
}

TEST(PlotFigures, DrawValuesFromTheFootUp) {
    std::vector<PageFrame> frames = framesOf({0, 0, 0, 0});
    const std::int64_t sizes[] = {0, 500, 1000, 250};
    for (std::size_t i = 0; i < frames.size(); ++i) frames[i].size = sizes[i];
    const PageMarkup page = markup(plotFigures(frames));
    EXPECT_EQ(page.ofClass("curve")[0].attribute("d"), "M125 96h0L375 50L625 4L875 73");
    EXPECT_EQ(page.named("svg")[0].attribute("aria-label"),
              "File size along the frames; highest 1000 bytes at frame 1003");
}

TEST(PlotFigures, AreBrokenWhereAValueIsMissingAndMarkFramesThatAreNotGood) {
    std::vector<PageFrame> frames = framesOf({0, 3, 3, 1, 0});
    frames[1].size.reset();
    const PageMarkup page = markup(plotFigures(frames));
    EXPECT_EQ(stepsOf(page.ofClass("curve")[0])[0].substr(0, 6), "M 500 ");
    EXPECT_EQ(stepsOf(page.ofClass("curve")[0]).size(), 4U);
    ASSERT_EQ(ofBothClasses(page, "absent", "l3").size(), 1U);
    EXPECT_EQ(ofBothClasses(page, "absent", "l3")[0].attribute("d"), "M300 100v-12");
    EXPECT_EQ(stepsOf(ofBothClasses(page, "dot", "l3")[0])[0].substr(0, 6), "M 500 ");
    EXPECT_EQ(stepsOf(ofBothClasses(page, "dot", "l1")[0])[0].substr(0, 6), "M 700 ");
}

// A line of one point would be as thin as a line.
TEST(PlotFigures, DrawValuesBetweenGapsAsDots) {
    std::vector<PageFrame> frames = framesOf({0, 0, 0, 0, 0});
    frames[1].size.reset();
    frames[3].size.reset();
    const PageMarkup page = markup(plotFigures(frames));
    EXPECT_EQ(page.ofClass("curve").size(), 0U);
    ASSERT_EQ(page.ofClass("lone").size(), 1U);
    EXPECT_EQ(page.ofClass("lone")[0].attribute("d"), "M100 4.37h0M500 4.18h0M900 4h0");
}

TEST(PlotFigures, KeepPeaksOfFramesThatShareAColumn) {
    std::vector<PageFrame> frames = framesOf(std::vector<int>(25000));
    for (PageFrame& frame : frames) frame.jump = 0.5;
    frames[777].jump = 9;
    frames[778].jump = 0;
    const PageMarkup page = markup(plotFigures(frames));
    const std::string curve = page.ofClass("curve")[0].attribute("d");
    EXPECT_NE(curve.find("L31.1 4"), std::string::npos) << curve.substr(0, 300);
    EXPECT_NE(curve.find("L31.14 96"), std::string::npos);
    EXPECT_LT(curve.size(), 40000U);
    EXPECT_EQ(page.ofClass("threshold").size(), 1U);
}

TEST(PlotFigures, DrawNoMoreDotsThanColumns) {
    std::vector<PageFrame> frames = framesOf(std::vector<int>(25000, 3));
    const PageMarkup page = markup(plotFigures(frames));
    const auto steps = stepsOf(ofBothClasses(page, "dot", "l3")[0]);
    EXPECT_EQ(steps.size(), 2 * mostColumns);
    EXPECT_LT(page.elements().size(), 20U);
    EXPECT_EQ(page.ofClass("dense").size(), 1U);
    EXPECT_EQ(markup(plotFigures(framesOf(std::vector<int>(400)))).ofClass("dense").size(), 0U);
}

// One frame that is a hundred times as unlike its neighbours as others leaves them to be seen.
TEST(PlotFigures, DrawDifferencesByTheirLogarithm) {
    std::vector<PageFrame> frames = framesOf({0, 0, 0});
    const double jumps[] = {0, 1, 3};
    for (std::size_t i = 0; i < frames.size(); ++i) frames[i].jump = jumps[i];
    EXPECT_EQ(markup(plotFigures(frames)).ofClass("curve")[0].attribute("d"), "M166.67 96h0L500 50L833.33 4");
}

TEST(PlotFigures, DrawBrightnessCloseUpWhereItVariesLittle) {
    const struct {
        std::vector<double> values;
        const char* curve;
        const char* axis;
    } cases[] = {{{0.8, 1, 0.9}, "M166.67 96h0L500 4L833.33 50", "10.8"},               // from the lowest on
                 {{0.98, 1, 0.99}, "M166.67 68.4h0L500 31.6L833.33 50", "1.0150.965"},  // a twentieth at least
                 {{1, 1, 1}, "M166.67 50h0L500 50L833.33 50", "1.0250.975"},
                 {{0.7, 1, 0.9}, "M166.67 31.6h0L500 4L833.33 13.2", "10"},
                 {{-0.1, 1, 0.9}, "M166.67 96h0L500 4L833.33 12.36", "1-0.1"},
                 {{0, 0, 0}, "M166.67 96h0L500 96L833.33 96", "00"}};
    for (const auto& c : cases) {
        std::vector<PageFrame> frames = framesOf({0, 0, 0});
        for (std::size_t i = 0; i < frames.size(); ++i) {
            frames[i].size.reset();
            frames[i].brightness = c.values[i];
        }
        const PageMarkup page = markup(plotFigures(frames));
        EXPECT_EQ(page.ofClass("curve")[0].attribute("d"), c.curve);
        EXPECT_EQ(page.ofClass("axis")[0].text, c.axis);
        const bool isFromZero = page.textsOf("figcaption")[0].find("does not begin with 0") == std::string::npos;
        EXPECT_EQ(isFromZero, c.values[0] < 0.8);
    }
}
