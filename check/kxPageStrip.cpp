// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageStrip.h"

#include "check/kxHtmlText.h"
#include "check/kxNumberText.h"
#include "check/kxPageDrawing.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace kxCheck {

namespace {

constexpr double stripHeight = 40;
// Of each level.
constexpr std::array<double, 4> barHeights = {14, 22, 30, 40};

// The highest level of each column.
std::vector<int> columnLevels(const std::vector<PageFrame>& frames) {
    std::vector<int> highest(columnsFor(frames.size()));
    for (std::size_t i = 0; i < frames.size(); ++i) {
        int& level = highest[i * highest.size() / frames.size()];
        level = std::max(level, frames[i].level);
    }
    return highest;
}

// A few bars are told apart by gaps, of many the neighbours are drawn as one.
constexpr std::size_t mostSingleBars = 150;
constexpr double widestGap = 3;

// Bars of this level among the columns [first, last).
QByteArray bars(const std::vector<int>& columns, std::size_t first, std::size_t last, int level) {
    const double width = drawnWidth / static_cast<double>(columns.size());
    const double height = barHeights[static_cast<std::size_t>(level)];
    const bool isSingle = columns.size() <= mostSingleBars;
    QByteArray steps;
    for (std::size_t begin = first; begin < last; ++begin) {
        if (columns[begin] != level) continue;
        std::size_t end = begin + 1;
        while (!isSingle && end < last && columns[end] == level) ++end;
        const double drawn =
            isSingle ? width - std::min(width * 0.12, widestGap) : static_cast<double>(end - begin) * width;
        steps += 'M' + point(static_cast<double>(begin) * width, stripHeight - height) + 'h' + coordinate(drawn) +
                 'v' + coordinate(height) + 'h' + coordinate(-drawn) + 'z';
        begin = end - 1;
    }
    return steps.isEmpty() ? steps : pathElement(levelName(level), steps);
}

QByteArray runTitle(const std::vector<PageFrame>& frames, std::size_t first, std::size_t last) {
    const auto begin = frames.begin() + static_cast<std::ptrdiff_t>(first);
    const auto end = frames.begin() + static_cast<std::ptrdiff_t>(last);
    const auto count = std::count_if(begin, end, [](const PageFrame& frame) { return frame.level > 0; });
    const auto isNotGood = [](const PageFrame& frame) { return frame.level > 0; };
    const PageFrame& start = *std::find_if(begin, end, isNotGood);
    if (count == 1) return start.label + ' ' + verdictName(start.verdict);
    return start.label + " and on: " + numberText(count) + " frames that are not good";
}

// The columns from `first` on that are not good, as a link. They are reached by their sections with the keyboard.
QByteArray barsLink(const std::vector<PageFrame>& frames, const std::vector<int>& columns, std::size_t first,
                    std::size_t last, const TargetOf& targetOf) {
    QByteArray drawn;
    for (int level = 1; level < static_cast<int>(barHeights.size()); ++level)
        drawn += bars(columns, first, last, level);
    const std::size_t begin = placeOf(first, columns.size(), frames.size());
    const std::size_t end = placeOf(last, columns.size(), frames.size());
    std::size_t place = begin;
    while (place + 1 < end && frames[place].level == 0) ++place;
    return element("a", R"(tabindex="-1" href="#)" + targetOf(place) + '"',
                   element("title", {}, htmlText(runTitle(frames, begin, end))) + drawn);
}

// Under the middle of its bar. The first and the last grow inwards where there is no room for them.
QByteArray placeStyle(std::size_t place, std::size_t frames) {
    const double middle = 100 * (static_cast<double>(place) + 0.5) / static_cast<double>(frames);
    QByteArray style = "left:" + coordinate(middle) + '%';
    if (place == 0) style = "left:0;min-width:" + coordinate(2 * middle) + '%';
    if (place + 1 == frames) style = "right:0;min-width:" + coordinate(2 * (100 - middle)) + '%';
    return R"(style=")" + style + '"';
}

QByteArray labelledPlaces(const std::vector<PageFrame>& frames) {
    constexpr std::size_t mostLabels = 5;
    const bool isAll = frames.size() <= mostLabels;
    const std::size_t count = isAll ? frames.size() : mostLabels;
    QByteArray html;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t place = i * (frames.size() - 1) / std::max<std::size_t>(count - 1, 1);
        html += element("span", isAll ? "" : placeStyle(place, frames.size()), htmlName(frames[place].label));
    }
    return element("div", isAll ? R"(class="places all")" : R"(class="places")", html);
}

}  // namespace

QByteArray stripFigure(const std::vector<PageFrame>& frames, const TargetOf& targetOf) {
    const std::vector<int> columns = columnLevels(frames);
    QByteArray drawn = bars(columns, 0, columns.size(), 0);
    for (std::size_t first = 0; first < columns.size(); ++first) {
        if (columns[first] == 0) continue;
        std::size_t last = first;
        while (last < columns.size() && columns[last] > 0) ++last;
        drawn += barsLink(frames, columns, first, last, targetOf);
        first = last;
    }
    const auto shared = (frames.size() + columns.size() - 1) / columns.size();
    QByteArray caption = element("b", {}, "All frames") + " the higher a bar, the worse";
    if (shared > 1)
        caption += "; one bar for " + numberText(static_cast<std::int64_t>(shared)) + " frames, the worst of them";
    return element(
               "figure",
               R"(class="strip" data-count=")" + numberText(static_cast<std::int64_t>(frames.size())) + '"',
               element("figcaption", {}, caption) +
                   element("div", R"(class="track")", drawingElement(stripHeight, R"(aria-hidden="true")", drawn)) +
                   labelledPlaces(frames)) +
           '\n';
}

}  // namespace kxCheck
