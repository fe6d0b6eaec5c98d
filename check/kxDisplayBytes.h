// SPDX-License-Identifier: BSD-3-Clause
// Samples as the 8 bits of a picture: NaN is 0, all else is clamped to 0 .. 1, colours get the display gamma, and
// 255 times that is rounded half up. Whole numbers (uint) are taken as they are: 0 is black, all others white.
//
// The tables are made at the first use; after that any thread may call.
#pragma once

#include "image/kxExrPart.h"

#include <cstddef>

namespace kxCheck {

enum class Transfer { display, linear };  // of colours, of alpha

// Writes one byte for each of `count` little-endian samples at any address.
void toBytes(kxExr::PixelType type, Transfer transfer, const unsigned char* samples, std::size_t count,
             unsigned char* to);

}  // namespace kxCheck
