// SPDX-License-Identifier: BSD-3-Clause
// Whether a picture shows what a missing tile may look like, judged less strictly than the search for missing tiles
// does.
//
// That search wants a block that is black to the last bit between pixels of 128 and more, right beside each other.
// A window in a bright wall is such a block in some frames only: when its edges fall on whole pixels, when light or
// grain lifts the wall above 128. A dark corner it has in all of them, so it can be told from a tile that was lost.
//
// A pure function: any thread may call it on pictures that no thread changes.
#pragma once

#include "shared/kxImageBuffer.h"

namespace kxCheck {

// True when the picture holds the corner of a dark 8 x 8 block: its upper row and left column are below 16, and
// each of their pixels has one of 64 and more among the three above it, or to the left of it, as far as there are
// so many. In alpha when the picture is `valid`, otherwise in green. True for every picture in which a tile is
// missing.
[[nodiscard]] bool hasDarkCorner(const kxP::_imgRGBABuffer8& image);

}  // namespace kxCheck
