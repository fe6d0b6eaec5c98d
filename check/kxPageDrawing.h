// SPDX-License-Identifier: BSD-3-Clause
// What the drawings of a page have in common: SVG that is stretched to the width of the page, where lines keep
// their width and texts stand beside it. Pure functions; what comes back is HTML.
//
// A drawing of 25000 frames is as small as one of 1000: beyond that, frames share a column.
#pragma once

#include <QByteArray>

#include <algorithm>
#include <cstddef>

namespace kxCheck {

// Units of a drawing, which are no pixels.
constexpr double drawnWidth = 1000;
constexpr double drawnHeight = 100;

// A drawing has at most so many columns.
constexpr std::size_t mostColumns = 1000;

[[nodiscard]] inline std::size_t columnsFor(std::size_t frames) {
    return std::min(frames, mostColumns);
}

// The first frame of a column; behind the last column the number of frames.
[[nodiscard]] inline std::size_t placeOf(std::size_t column, std::size_t columns, std::size_t frames) {
    return (column * frames + columns - 1) / columns;
}

// "12.25"
[[nodiscard]] QByteArray coordinate(double value);
// "12.25 96"
[[nodiscard]] QByteArray point(double x, double y);
// A path of these steps.
[[nodiscard]] QByteArray pathElement(const QByteArray& className, const QByteArray& steps);
// "l2"
[[nodiscard]] QByteArray levelName(int level);
// A drawing of drawnWidth and this height.
[[nodiscard]] QByteArray drawingElement(double height, const QByteArray& attributes, const QByteArray& content);

}  // namespace kxCheck
