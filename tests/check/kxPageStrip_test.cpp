// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageStrip.h"

#include "check/kxPageDrawing.h"
#include "tests/support/PageDrawings.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

PageMarkup strip(const std::vector<PageFrame>& frames) {
    return markup(
        stripFigure(frames, [](std::size_t place) { return 'f' + QByteArray::number(static_cast<int>(place)); }));
}

}  // namespace

TEST(StripFigure, HasABarForEachFrameThatIsHigherTheWorse) {
    const PageMarkup page = strip(framesOf({0, 1, 2, 3}));
    ASSERT_EQ(page.fault(), "");
    const char* const tops[] = {"M 0 26", "M 250 18", "M 500 10", "M 750 0"};
    for (int level = 0; level < 4; ++level) {
        const auto bars = page.ofClass("l" + std::to_string(level));
        ASSERT_EQ(bars.size(), 1U) << level;
        EXPECT_EQ(stepsOf(bars[0])[0], tops[level]);
    }
}

TEST(StripFigure, LeadsToTheFirstFrameOfEachRunThatIsNotGood) {
    const PageMarkup page = strip(framesOf({0, 0, 3, 1, 0, 2, 0}));
    const auto links = page.named("a");
    ASSERT_EQ(links.size(), 2U);
    EXPECT_EQ(links[0].attribute("href"), "#f2");
    EXPECT_EQ(links[0].text, "1003 and on: 2 frames that are not good");
    EXPECT_EQ(links[1].attribute("href"), "#f5");
    EXPECT_EQ(links[1].text, "1006 suspicious");
}

TEST(StripFigure, ShowsTheWorstOfFramesThatShareABar) {
    std::vector<int> levels(25000);
    levels[12012] = 1;
    levels[12013] = 3;
    const PageMarkup page = strip(framesOf(levels));
    EXPECT_EQ(page.ofClass("l1").size(), 0U);
    ASSERT_EQ(page.ofClass("l3").size(), 1U);
    EXPECT_EQ(stepsOf(page.ofClass("l3")[0])[0], "M 480 0");
    ASSERT_EQ(page.named("a").size(), 1U);
    EXPECT_EQ(page.named("a")[0].attribute("href"), "#f12012");
    EXPECT_NE(page.named("figcaption")[0].text.find("one bar for 25 frames"), std::string::npos);
}

TEST(StripFigure, StaysSmallWhateverTheFrames) {
    for (const std::size_t count : {1000U, 25000U}) {
        std::vector<int> levels(count);
        for (std::size_t i = 0; i < count; ++i) levels[i] = static_cast<int>(i * 1000 / count % 4);
        const PageMarkup page = strip(framesOf(levels));
        EXPECT_LT(page.elements().size(), 2000U);
        EXPECT_EQ(page.named("a").size(), 250U);
    }
}

TEST(StripFigure, HasItsLabelsUnderTheirBars) {
    const auto stylesOf = [](std::size_t frames) {
        std::string styles;
        for (const PageElement& label : strip(framesOf(std::vector<int>(frames))).named("span"))
            styles += label.text + " " + label.attribute("style") + "; ";
        return styles;
    };
    EXPECT_EQ(stylesOf(2), "1001 ; 1002 ; ");  // as wide as the bars
    EXPECT_EQ(stylesOf(8),
              "1001 left:0;min-width:12.5%; 1002 left:18.75%; 1004 left:43.75%; 1006 left:68.75%; "
              "1008 right:0;min-width:12.5%; ");
}

TEST(StripFigure, LeavesSmallGapsBetweenFewBars) {
    EXPECT_EQ(stepsOf(strip(framesOf({0, 0})).ofClass("l0")[0])[1], "h 497");
    EXPECT_EQ(stepsOf(strip(framesOf(std::vector<int>(100))).ofClass("l0")[0])[1], "h 8.8");
    EXPECT_EQ(stepsOf(strip(framesOf(std::vector<int>(1000))).ofClass("l0")[0])[1], "h 1000");
}
