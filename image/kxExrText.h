// SPDX-License-Identifier: BSD-3-Clause
// The headers of a frame as the text that the farm's scripts parse: each word and blank of it is relied upon.
//
// Pure functions; they may run at the same time. Texts are bytes, one Latin-1 character each. Headers that a
// hostile file made can give a text larger than the memory: std::bad_alloc.
#pragma once

#include "image/kxExrHeaders.h"

#include <QString>

namespace kxExr {

// "  imagesize: 1920x1080 scanline  Zip-16line    4 channels ", what a line shows behind the frame. Sizes, storage
// and compression are the first part's and the channels those of all parts; of a data window whose size is not that
// of the display window the corners of the last part are told. Sizes of damaged windows wrap around at 32 bits.
[[nodiscard]] QString summaryText(const Headers& headers);

// The channel names of all parts by pixel type: "[|half: A, B, diffuse.BGR|float: Z] [...]", the channels of a
// layer after its first shortened.
[[nodiscard]] QString channelText(const Headers& headers);

}  // namespace kxExr
