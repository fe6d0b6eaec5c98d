// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageHistogram.h"

#include "tests/support/PageDrawings.h"

#include <gtest/gtest.h>

using namespace kxCheck;

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

TEST(SmallHistogram, DrawsBinsOfTheSameHeightInOneStep) {
    kxCHK::Histogram histogram{};
    histogram[0][0] = 400;
    histogram[1][31] = 100;
    const PageMarkup page = markup(smallHistogram(histogram));
    ASSERT_EQ(page.named("path").size(), 3U);
    EXPECT_EQ(page.named("path")[0].attribute("d"), "M0 48V1h1V48h31V48");
    EXPECT_EQ(page.named("path")[1].attribute("d"), "M0 48V48h31V24h1V48");
    EXPECT_EQ(page.named("path")[2].attribute("d"), "M0 48V48h32V48");
    EXPECT_EQ(page.named("svg")[0].attribute("viewBox"), "0 0 32 48");
    for (std::size_t bin = 0; bin < kxCHK::histogramBins; ++bin)
        for (auto& channel : histogram) channel[bin] = static_cast<unsigned>(bin * 31 % 17 * 4000);
    EXPECT_LT(smallHistogram(histogram).size(), 1024);
}
