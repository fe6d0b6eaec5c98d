// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageHistogram.h"

#include "check/kxHtmlText.h"
#include "check/kxNumberText.h"
#include "check/kxPageDrawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace kxCheck {

namespace {

// The outline of a channel's bins; small ones show better by their square root.
QByteArray outline(const std::array<unsigned, kxCHK::histogramBins>& bins, double most) {
    constexpr double width = drawnWidth / kxCHK::histogramBins;
    QByteArray steps = "M0 " + coordinate(drawnHeight);
    for (const unsigned count : bins)
        steps +=
            'V' + coordinate(drawnHeight - std::sqrt(count / most) * (drawnHeight - 2)) + 'h' + coordinate(width);
    return steps + 'V' + coordinate(drawnHeight);
}

constexpr int smallHeight = 48;

// In whole units; bins of the same height share a step.
QByteArray smallOutline(const std::array<unsigned, kxCHK::histogramBins>& bins, double most) {
    QByteArray steps = "M0 " + numberText(smallHeight);
    const auto heightOf = [&](std::size_t bin) {
        return smallHeight - std::lround(std::sqrt(bins[bin] / most) * (smallHeight - 1));
    };
    for (std::size_t first = 0; first < bins.size();) {
        std::size_t last = first + 1;
        while (last < bins.size() && heightOf(last) == heightOf(first)) ++last;
        steps += 'V' + numberText(heightOf(first)) + 'h' + numberText(static_cast<std::int64_t>(last - first));
        first = last;
    }
    return steps + 'V' + numberText(smallHeight);
}

double highestBin(const kxCHK::Histogram& histogram) {
    unsigned most = 1;
    for (std::size_t channel = 0; channel < 3; ++channel)
        most = std::max(most, *std::max_element(histogram[channel].begin(), histogram[channel].end()));
    return most;
}

template <class Outline>
QByteArray outlines(const kxCHK::Histogram& histogram, Outline outlineOf) {
    constexpr std::array<const char*, 3> names = {"red", "green", "blue"};
    const double most = highestBin(histogram);
    QByteArray drawn;
    for (std::size_t channel = 0; channel < names.size(); ++channel)
        drawn += pathElement(names[channel], outlineOf(histogram[channel], most));
    return drawn;
}

}  // namespace

QByteArray histogramFigure(const kxCHK::Histogram& histogram) {
    const QByteArray drawn = outlines(histogram, outline);
    return element(
        "figure", R"(class="histogram")",
        element("figcaption", {},
                element("b", {}, "Histogram") + " dark to bright: " + element("span", R"(class="red")", "red") +
                    ", " + element("span", R"(class="green")", "green dashed") + ", " +
                    element("span", R"(class="blue")", "blue dotted")) +
            drawingElement(drawnHeight, R"(role="img" aria-label="Histogram of red, green and blue")", drawn));
}

QByteArray smallHistogram(const kxCHK::Histogram& histogram) {
    const QByteArray box = "0 0 " + numberText(kxCHK::histogramBins) + ' ' + numberText(smallHeight);
    return element(
        "svg",
        R"(class="histogram" role="img" aria-label="Histogram" preserveAspectRatio="none" viewBox=")" + box + '"',
        outlines(histogram, smallOutline));
}

}  // namespace kxCheck
