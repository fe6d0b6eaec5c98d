// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageHistogram.h"

#include "check/kxHtmlText.h"
#include "check/kxPageDrawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

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

}  // namespace

QByteArray histogramFigure(const kxCHK::Histogram& histogram) {
    unsigned most = 1;
    for (std::size_t channel = 0; channel < 3; ++channel)
        most = std::max(most, *std::max_element(histogram[channel].begin(), histogram[channel].end()));
    QByteArray drawn;
    constexpr std::array<const char*, 3> names = {"red", "green", "blue"};
    for (std::size_t channel = 0; channel < names.size(); ++channel)
        drawn += pathElement(names[channel], outline(histogram[channel], most));
    return element(
        "figure", R"(class="histogram")",
        element("figcaption", {},
                element("b", {}, "Histogram") + " dark to bright: " + element("span", R"(class="red")", "red") +
                    ", " + element("span", R"(class="green")", "green dashed") + ", " +
                    element("span", R"(class="blue")", "blue dotted")) +
            drawingElement(drawnHeight, R"(role="img" aria-label="Histogram of red, green and blue")", drawn));
}

}  // namespace kxCheck
