// SPDX-License-Identifier: BSD-3-Clause
// What is wrong with a picture, from its pixels alone: tiles that were left black, and holes in the alpha of an
// opaque picture.
//
// Pure functions: they change nothing but what they return, so any thread may call them on pictures that no thread
// changes. Pictures may be of any size; only pixels that are in memory are looked at.
#pragma once

#include "image/kxHistogram.h"
#include "shared/kxImageBuffer.h"

namespace kxCHK {

// True when the picture holds the corner of a black 8 x 8 block with bright pixels (128 and more) above it and to
// its left: its top row and left column are 0. Looked for in alpha when the picture is `valid`, otherwise in green,
// at corners from (2, 2) on and more than 10 pixels from the right and lower side.
[[nodiscard]] bool hasMissingTile(const kxP::_imgRGBABuffer8& image);

// True when more than 99.9 % of a million pixels have an alpha of 248 and more.
[[nodiscard]] bool isPracticallyOpaque(const Histogram& histogram);

// True when the picture holds a pixel whose alpha is not 255 between four neighbours whose alpha is. Pixels that
// are nearly black in green (below 11) do not count, nor do those on the picture's edge.
[[nodiscard]] bool hasMissingAlpha(const kxP::_imgRGBABuffer8& image);

}  // namespace kxCHK
