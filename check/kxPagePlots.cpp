// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPagePlots.h"

#include "check/kxHtmlText.h"
#include "check/kxPageDrawing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace kxCheck {

namespace {

constexpr int highestLevel = 3;

struct PlotRow {
    const char* title;
    const char* explained;
    std::optional<double> (*valueOf)(const PageFrame&);
    QByteArray (*textOf)(double);
    double threshold;    // drawn as a line; 0: none
    bool isLogarithmic;  // of 1 and the value, which is at least 0
    bool isCloseUp;      // drawn from the lowest value on where that is near the highest
};

constexpr PlotRow plots[] = {
    {"Difference",
     "from both neighbours, in units of what these differ by, logarithmic; above the dashed line (2) a picture "
     "can be suspicious",
     [](const PageFrame& frame) { return frame.jump; }, [](double value) { return decimalText(value, 1); }, 2, true,
     false},
    {"File size", "on disk",
     [](const PageFrame& frame) {
         return frame.size ? std::optional<double>(static_cast<double>(*frame.size)) : std::nullopt;
     },
     [](double value) { return sizeText(std::llround(value)); }, 0, false, false},
    {"Mean brightness", "of red, green and blue as they are in the file",
     [](const PageFrame& frame) { return frame.brightness; }, [](double value) { return decimalText(value, 3); }, 0,
     false, true},
};

// Of more frames the dots are small.
constexpr std::size_t mostSingleDots = 400;

// The values of all frames, with the range that is drawn: from 0 on, unless values are below it or it is a
// close-up.
struct Curve {
    std::vector<std::optional<double>> values;
    bool isLogarithmic = false;
    double low = 0;
    double high = 0;
    std::size_t highest = 0;  // place
    bool isEmpty = true;

    [[nodiscard]] double x(std::size_t place) const {
        return (static_cast<double>(place) + 0.5) * drawnWidth / static_cast<double>(values.size());
    }
    // Within the drawing with a margin for the line's width.
    [[nodiscard]] double y(double value) const {
        const double part = high > low ? (scaled(value) - scaled(low)) / (scaled(high) - scaled(low)) : 0;
        return drawnHeight - 4 - part * (drawnHeight - 8);
    }
    [[nodiscard]] double scaled(double value) const { return isLogarithmic ? std::log1p(value) : value; }
};

// A flicker of 2 % shows when what is drawn is no more than the values need; what varies less than a twentieth of
// them is not drawn as if it were much.
void closeUp(Curve& curve, double lowest) {
    const double range = curve.high - lowest;
    if (lowest <= 0 || range >= curve.high / 4) return;
    const double margin = std::max(curve.high / 20 - range, 0.0) / 2;
    curve.low = lowest - margin;
    curve.high += margin;
}

Curve curveOf(const std::vector<PageFrame>& frames, const PlotRow& row) {
    Curve curve;
    curve.isLogarithmic = row.isLogarithmic;
    curve.high = row.threshold * 1.25;
    curve.values.resize(frames.size());
    double lowest = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const std::optional<double> value = row.valueOf(frames[i]);
        if (!value || !std::isfinite(*value)) continue;
        if (curve.isEmpty || *value > *curve.values[curve.highest]) curve.highest = i;
        curve.isEmpty = false;
        lowest = std::min(lowest, *value);
        curve.high = std::max(curve.high, *value);
        curve.values[i] = value;
    }
    curve.low = std::min(curve.low, lowest);
    if (row.isCloseUp) closeUp(curve, lowest);
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

// Broken where a column has no value; a single value between such becomes a dot.
QByteArray curvePaths(const Curve& curve, std::size_t columns) {
    QByteArray lines;
    QByteArray dots;
    QByteArray run;  // that is not broken, of so many points
    std::size_t points = 0;
    const auto endRun = [&] {
        (points == 1 ? dots : lines) += run;
        run.clear();
        points = 0;
    };
    for (std::size_t column = 0; column < columns; ++column) {
        const std::vector<std::size_t> places = drawnPlaces(curve, placeOf(column, columns, curve.values.size()),
                                                            placeOf(column + 1, columns, curve.values.size()));
        if (places.empty()) endRun();
        for (const std::size_t place : places) {
            const QByteArray at = point(curve.x(place), curve.y(*curve.values[place]));
            run += points++ == 0 ? 'M' + at + "h0" : 'L' + at;
        }
    }
    endRun();
    return (lines.isEmpty() ? lines : pathElement("curve", lines)) +
           (dots.isEmpty() ? dots : pathElement("lone", dots));
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
    if (!strokes.isEmpty()) html += pathElement("absent " + levelName(level), strokes);
    if (!dots.isEmpty()) html += pathElement("dot " + levelName(level), dots);
    return html;
}

// The range at the left of the drawing.
QByteArray axisElement(const Curve& curve, const PlotRow& row) {
    return element("div", R"(class="axis" aria-hidden="true")",
                   element("span", {}, row.textOf(curve.high)) + element("span", {}, row.textOf(curve.low)));
}

QByteArray curveDrawing(const std::vector<PageFrame>& frames, const Curve& curve, const PlotRow& row) {
    const std::size_t columns = columnsFor(frames.size());
    QByteArray drawn;
    if (row.threshold > 0)
        drawn += pathElement("threshold", 'M' + point(0, curve.y(row.threshold)) + 'h' + coordinate(drawnWidth));
    drawn += curvePaths(curve, columns);
    for (int level = 1; level <= highestLevel; ++level) drawn += marks(frames, curve, columns, level);
    const QByteArray said = QByteArray(row.title) + " along the frames; highest " +
                            row.textOf(*curve.values[curve.highest]) + " at frame " + frames[curve.highest].label;
    return drawingElement(drawnHeight, R"(role="img" aria-label=")" + htmlText(said) + '"', drawn);
}

QByteArray plotFigure(const std::vector<PageFrame>& frames, const PlotRow& row) {
    const Curve curve = curveOf(frames, row);
    if (curve.isEmpty) return {};
    const bool isDense = frames.size() > mostSingleDots;
    const QByteArray caption = element("figcaption", {},
                                       element("b", {}, row.title) + ' ' + row.explained +
                                           (curve.low > 0 ? "; the scale does not begin with 0" : ""));
    const QByteArray drawing = axisElement(curve, row) + curveDrawing(frames, curve, row);
    return element("figure", isDense ? R"(class="plot dense")" : R"(class="plot")",
                   caption + element("div", R"(class="track")", drawing)) +
           '\n';
}

}  // namespace

QByteArray plotFigures(const std::vector<PageFrame>& frames) {
    QByteArray html;
    for (const PlotRow& row : plots) html += plotFigure(frames, row);
    return html;
}

}  // namespace kxCheck
