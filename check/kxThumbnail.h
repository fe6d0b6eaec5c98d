// SPDX-License-Identifier: BSD-3-Clause
// Small pictures of a picture: the thumbnail that a cache keeps, and JPEG files to look at.
//
// Pure functions: any thread may call them on pictures that no thread changes.
#pragma once

#include "check/kxPictureReport.h"
#include "shared/kxImageBuffer.h"

namespace kxCheck {

// Reduces `picture` to as many pixels as `thumbnail` has room for, proportions kept as far as even sides let them;
// a picture that has room is copied. Sides that would vanish become one pixel. The header is copied. False, and the
// thumbnail without pixels, when the picture has none.
bool makeThumbnail(const kxP::_imgRGBABuffer8& picture, kxP::_imgRGBABuffer8& thumbnail);

// r, g and b of a thumbnail as they are. Empty when there is no pixel, or more in a row than JPEG has numbers for.
[[nodiscard]] Preview makePreview(const kxP::_imgRGBABuffer8& thumbnail);

}  // namespace kxCheck
