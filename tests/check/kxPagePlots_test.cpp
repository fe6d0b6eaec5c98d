// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPagePlots.h"

#include "tests/support/PageMarkup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

std::vector<PageFrame> framesOf(const std::vector<int>& levels) {
    std::vector<PageFrame> frames;
    for (const int level : levels) {
        PageFrame frame;
        frame.label = QByteArray::number(static_cast<int>(1001 + frames.size()));
        frame.level = level;
        frame.verdict = level == 3 ? Verdict::bad : level > 0 ? Verdict::suspicious : Verdict::good;
        frame.size = 1000 + static_cast<std::int64_t>(frames.size());
        frames.push_back(frame);
    }
    return frames;
}

// The drawing's elements.
PageMarkup markup(const QByteArray& html) {
    return PageMarkup("<!DOCTYPE html>\n<html>" + html.toStdString() + "</html>");
}

PageMarkup strip(const std::vector<PageFrame>& frames) {
    return markup(
        stripFigure(frames, [](std::size_t place) { return 'f' + QByteArray::number(static_cast<int>(place)); }));
}

// "M0 1h2" as words of a letter and its numbers: "M 0 1", "h 2".
std::vector<std::string> stepsOf(const PageElement& path) {
    std::vector<std::string> steps;
    for (const char c : path.attribute("d")) {
        if (std::isalpha(static_cast<unsigned char>(c)))
            steps.push_back(std::string(1, c) + ' ');
        else
            steps.back() += c;
    }
    return steps;
}

std::vector<PageElement> ofBothClasses(const PageMarkup& page, const std::string& a, const std::string& b) {
    std::vector<PageElement> found = page.ofClass(a);
    found.erase(std::remove_if(found.begin(), found.end(), [&](const PageElement& e) { return !e.isOf(b); }),
                found.end());
    return found;
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
    const auto steps = stepsOf(page.ofClass("curve")[0]);
    EXPECT_EQ(std::count_if(steps.begin(), steps.end(), [](const std::string& s) { return s[0] == 'M'; }), 2);
    ASSERT_EQ(ofBothClasses(page, "absent", "l3").size(), 1U);
    EXPECT_EQ(ofBothClasses(page, "absent", "l3")[0].attribute("d"), "M300 100v-12");
    EXPECT_EQ(stepsOf(ofBothClasses(page, "dot", "l3")[0])[0].substr(0, 6), "M 500 ");
    EXPECT_EQ(stepsOf(ofBothClasses(page, "dot", "l1")[0])[0].substr(0, 6), "M 700 ");
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
}

TEST(HistogramFigure, DrawsTheRootOfItsBins) {
    kxCHK::Histogram histogram{};
    histogram[0][0] = 400;
    histogram[1][31] = 100;
    const PageMarkup page = markup(histogramFigure(histogram));
    ASSERT_EQ(page.named("path").size(), 3U);
    const auto red = stepsOf(page.named("path")[0]);
    EXPECT_EQ(red[1], "V 2");  // the highest bin of all
    EXPECT_EQ(red[3], "V 100");
    const auto green = stepsOf(page.named("path")[1]);
    EXPECT_EQ(green[63], "V 51");
    EXPECT_EQ(green.size(), 66U);
    EXPECT_EQ(markup(histogramFigure({})).fault(), "");
}
