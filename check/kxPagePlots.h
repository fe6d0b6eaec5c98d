// SPDX-License-Identifier: BSD-3-Clause
// The drawings of a page as SVG: a strip that shows where the bad frames are, curves along the frames, histograms.
//
// A drawing of 25000 frames is as small as one of 1000: beyond that, frames share a column, which shows the highest
// level, the lowest and the highest value of its frames. Pure functions; what comes back is HTML.
#pragma once

#include "check/kxPageFrame.h"
#include "image/kxHistogram.h"

#include <QByteArray>

#include <functional>
#include <vector>

namespace kxCheck {

// A drawing has at most so many columns.
constexpr std::size_t mostColumns = 1000;

// Gives the anchor that a place in the frames is shown at.
using TargetOf = std::function<QByteArray(std::size_t place)>;

// A bar for each column, higher and of another colour for each level; those that are not good lead to the first
// frame of their run.
[[nodiscard]] QByteArray stripFigure(const std::vector<PageFrame>& frames, const TargetOf& targetOf);

// Curves of difference, file size and mean brightness, with dots on the frames that are not good; those without any
// value are left out.
[[nodiscard]] QByteArray plotFigures(const std::vector<PageFrame>& frames);

[[nodiscard]] QByteArray histogramFigure(const kxCHK::Histogram& histogram);

}  // namespace kxCheck
