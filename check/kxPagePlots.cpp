// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPagePlots.h"

#include "check/kxHtmlText.h"
#include "check/kxNumberText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace kxCheck {

namespace {

// Drawings are stretched to the width of the page: lines keep their width, and texts stand beside them.
constexpr double drawnWidth = 1000;
constexpr double drawnHeight = 100;
constexpr int levels = 4;

QByteArray coordinate(double value) {
    return decimalText(value, 2);
}

QByteArray point(double x, double y) {
    return coordinate(x) + ' ' + coordinate(y);
}

QByteArray path(const QByteArray& className, const QByteArray& steps) {
    return R"(<path class=")" + className + R"(" d=")" + steps + R"("/>)";
}

QByteArray levelName(int level) {
    return 'l' + numberText(level);
}

QByteArray drawing(double height, const QByteArray& attributes, const QByteArray& content) {
    return element("svg",
                   "viewBox=\"0 0 " + coordinate(drawnWidth) + ' ' + coordinate(height) +
                       "\" preserveAspectRatio=\"none\" " + attributes,
                   content);
}

std::size_t columnsFor(const std::vector<PageFrame>& frames) {
    return std::min(frames.size(), mostColumns);
}

// The first frame of a column.
std::size_t placeOf(std::size_t column, std::size_t columns, std::size_t frames) {
    return (column * frames + columns - 1) / columns;
}

// --- The strip --------------------------------------------------------------------------------------------------

constexpr double stripHeight = 40;
constexpr std::array<double, levels> barHeights = {14, 22, 30, 40};

// The highest level of each column.
std::vector<int> columnLevels(const std::vector<PageFrame>& frames) {
    std::vector<int> highest(columnsFor(frames));
    for (std::size_t i = 0; i < frames.size(); ++i) {
        int& level = highest[i * highest.size() / frames.size()];
        level = std::max(level, frames[i].level);
    }
    return highest;
}

// A few bars are told apart by gaps, of many the neighbours are drawn as one.
constexpr std::size_t mostSingleBars = 150;

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
        const double drawn = isSingle ? width * 0.88 : static_cast<double>(end - begin) * width;
        steps += 'M' + point(static_cast<double>(begin) * width, stripHeight - height) + 'h' + coordinate(drawn) +
                 'v' + coordinate(height) + 'h' + coordinate(-drawn) + 'z';
        begin = end - 1;
    }
    return steps.isEmpty() ? steps : path(levelName(level), steps);
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
    for (int level = 1; level < levels; ++level) drawn += bars(columns, first, last, level);
    const std::size_t begin = placeOf(first, columns.size(), frames.size());
    const std::size_t end = placeOf(last, columns.size(), frames.size());
    std::size_t place = begin;
    while (place + 1 < end && frames[place].level == 0) ++place;
    return element("a", R"(tabindex="-1" href="#)" + targetOf(place) + '"',
                   element("title", {}, htmlText(runTitle(frames, begin, end))) + drawn);
}

QByteArray labelledPlaces(const std::vector<PageFrame>& frames) {
    const std::size_t count = std::min<std::size_t>(frames.size(), 5);
    QByteArray html;
    for (std::size_t i = 0; i < count; ++i)
        html += element("span", {},
                        htmlName(frames[i * (frames.size() - 1) / std::max<std::size_t>(count - 1, 1)].label));
    return element("div", R"(class="places")", html);
}

// --- The curves -------------------------------------------------------------------------------------------------

struct PlotRow {
    const char* title;
    const char* explained;
    std::optional<double> (*valueOf)(const PageFrame&);
    QByteArray (*textOf)(double);
    double threshold;  // drawn as a line; 0: none
};

constexpr PlotRow plots[] = {
    {"Difference", "from both neighbours, in units of what these differ by; above 2 it is conspicuous",
     [](const PageFrame& frame) { return frame.jump; }, [](double value) { return decimalText(value, 1); }, 2},
    {"File size", "on disk",
     [](const PageFrame& frame) {
         return frame.size ? std::optional<double>(static_cast<double>(*frame.size)) : std::nullopt;
     },
     [](double value) { return sizeText(std::llround(value)); }, 0},
    {"Mean brightness", "of red, green and blue as they are in the file",
     [](const PageFrame& frame) { return frame.brightness; }, [](double value) { return decimalText(value, 3); },
     0},
};

// Of more frames the dots are small.
constexpr std::size_t mostSingleDots = 400;

// The values of all frames, with the range that is drawn: from 0 on, unless values are below it.
struct Curve {
    std::vector<std::optional<double>> values;
    double low = 0;
    double high = 0;
    std::size_t highest = 0;  // place
    bool isEmpty = true;

    [[nodiscard]] double x(std::size_t place) const {
        return (static_cast<double>(place) + 0.5) * drawnWidth / static_cast<double>(values.size());
    }
    // Within the drawing with a margin for the line's width.
    [[nodiscard]] double y(double value) const {
        const double part = high > low ? (value - low) / (high - low) : 0;
        return drawnHeight - 4 - part * (drawnHeight - 8);
    }
};

Curve curveOf(const std::vector<PageFrame>& frames, const PlotRow& row) {
    Curve curve;
    curve.high = row.threshold * 1.25;
    curve.values.resize(frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const std::optional<double> value = row.valueOf(frames[i]);
        if (!value || !std::isfinite(*value)) continue;
        if (curve.isEmpty || *value > *curve.values[curve.highest]) curve.highest = i;
        curve.isEmpty = false;
        curve.low = std::min(curve.low, *value);
        curve.high = std::max(curve.high, *value);
        curve.values[i] = value;
    }
    return curve;
}

// The places of a column that are drawn: where its lowest and its highest value are, in their order.
std::vector<std::size_t> drawnPlaces(const Curve& curve, std::size_t begin, std::size_t end) {
    std::optional<std::size_t> low;
    std::optional<std::size_t> high;
    for (std::size_t i = begin; i < end; ++i) {
        if (!curve.values[i]) continue;
        if (!low || *curve.values[i] < *curve.values[*low]) low = i;
        if (!high || *curve.values[i] > *curve.values[*high]) high = i;
    }
    if (!low) return {};
    if (*low == *high) return {*low};
    return {std::min(*low, *high), std::max(*low, *high)};
}

// Broken where a column has no value; a single value becomes a dot.
QByteArray curvePath(const Curve& curve, std::size_t columns) {
    QByteArray steps;
    bool isBroken = true;
    for (std::size_t column = 0; column < columns; ++column) {
        const std::vector<std::size_t> places = drawnPlaces(curve, placeOf(column, columns, curve.values.size()),
                                                            placeOf(column + 1, columns, curve.values.size()));
        for (const std::size_t place : places) {
            const QByteArray at = point(curve.x(place), curve.y(*curve.values[place]));
            steps += isBroken ? 'M' + at + "h0" : 'L' + at;
            isBroken = false;
        }
        isBroken = isBroken || places.empty();
    }
    return path("curve", steps);
}

// In each column the frame of this level with the highest value; without any value, a stroke at the foot.
QByteArray marks(const std::vector<PageFrame>& frames, const Curve& curve, std::size_t columns, int level) {
    QByteArray dots;
    QByteArray strokes;
    for (std::size_t column = 0; column < columns; ++column) {
        std::optional<std::size_t> best;
        const std::size_t end = placeOf(column + 1, columns, frames.size());
        for (std::size_t i = placeOf(column, columns, frames.size()); i < end; ++i)
            if (frames[i].level == level && (!best || curve.values[i] > curve.values[*best])) best = i;
        if (!best) continue;
        if (curve.values[*best])
            dots += 'M' + point(curve.x(*best), curve.y(*curve.values[*best])) + "h0";
        else
            strokes += 'M' + point(curve.x(*best), drawnHeight) + "v-12";
    }
    QByteArray html;
    if (!strokes.isEmpty()) html += path("absent " + levelName(level), strokes);
    if (!dots.isEmpty()) html += path("dot " + levelName(level), dots);
    return html;
}

QByteArray plotFigure(const std::vector<PageFrame>& frames, const PlotRow& row) {
    const Curve curve = curveOf(frames, row);
    if (curve.isEmpty) return {};
    const std::size_t columns = columnsFor(frames);
    QByteArray drawn;
    if (row.threshold > 0)
        drawn += path("threshold", 'M' + point(0, curve.y(row.threshold)) + 'h' + coordinate(drawnWidth));
    drawn += curvePath(curve, columns);
    for (int level = 1; level < levels; ++level) drawn += marks(frames, curve, columns, level);
    const QByteArray highest = row.textOf(*curve.values[curve.highest]);
    const QByteArray summary = QByteArray(row.title) + " along the frames; highest " + highest + " at frame " +
                               frames[curve.highest].label;
    const QByteArray caption = element("figcaption", {}, element("b", {}, row.title) + ' ' + row.explained);
    const QByteArray axis =
        element("div", R"(class="axis" aria-hidden="true")",
                element("span", {}, row.textOf(curve.high)) + element("span", {}, row.textOf(curve.low)));
    return element(
               "figure", R"(class="plot")",
               caption + element("div", R"(class="track")",
                                 axis + drawing(drawnHeight, R"(role="img" aria-label=")" + htmlText(summary) + '"',
                                                drawn))) +
           '\n';
}

// --- The histogram ----------------------------------------------------------------------------------------------

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
    return element("figure",
                   R"(class="strip" data-count=")" + numberText(static_cast<std::int64_t>(frames.size())) + '"',
                   element("figcaption", {}, caption) +
                       element("div", R"(class="track")", drawing(stripHeight, R"(aria-hidden="true")", drawn)) +
                       labelledPlaces(frames)) +
           '\n';
}

QByteArray plotFigures(const std::vector<PageFrame>& frames) {
    QByteArray html;
    for (const PlotRow& row : plots) html += plotFigure(frames, row);
    return html;
}

QByteArray histogramFigure(const kxCHK::Histogram& histogram) {
    unsigned most = 1;
    for (std::size_t channel = 0; channel < 3; ++channel)
        most = std::max(most, *std::max_element(histogram[channel].begin(), histogram[channel].end()));
    QByteArray drawn;
    constexpr std::array<const char*, 3> names = {"red", "green", "blue"};
    for (std::size_t channel = 0; channel < names.size(); ++channel)
        drawn += path(names[channel], outline(histogram[channel], most));
    return element(
        "figure", R"(class="histogram")",
        element("figcaption", {},
                element("b", {}, "Histogram") + " dark to bright: " + element("span", R"(class="red")", "red") +
                    ", " + element("span", R"(class="green")", "green dashed") + ", " +
                    element("span", R"(class="blue")", "blue dotted")) +
            drawing(drawnHeight, R"(role="img" aria-label="Histogram of red, green and blue")", drawn));
}

}  // namespace kxCheck
