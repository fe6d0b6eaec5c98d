// SPDX-License-Identifier: BSD-3-Clause
// How often the values of a picture's channels occur.
//
// A pure function: any thread may call it on pictures that no thread changes.
#pragma once

#include "shared/kxImageBuffer.h"

#include <array>

namespace kxCHK {

// A bin holds eight values: bin 0 those of 0 .. 7, bin 31 those of 248 .. 255.
constexpr int histogramBins = 32;

// The bins of r, g, b and a.
using Histogram = std::array<std::array<unsigned, histogramBins>, 4>;

// Counts per million pixels, the factor clamped to 0.01 .. 10: a picture of fewer than 100000 pixels has less than
// a million in its bins. All zero for a picture without pixels.
[[nodiscard]] Histogram histogramOf(const kxP::_imgRGBABuffer8& image);

}  // namespace kxCHK
