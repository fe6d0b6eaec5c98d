// SPDX-License-Identifier: BSD-3-Clause
// How unlike those of both neighbours the picture of a frame is, by how light and colours are spread in it.
//
// Motion hardly moves a histogram, a cut has one neighbour that is alike, a single wrong frame stands out. Pure
// functions.
#pragma once

#include "image/kxHistogram.h"

#include <vector>

namespace kxCheck {

// The earth mover's distance of one-dimensional histograms, in bins: how far, on average, a value of one picture
// has to be moved to make it the other; the mean of r, g and b. 0 to 31; 0 where one of them has no pixels.
[[nodiscard]] double histogramDistance(const kxCHK::Histogram& a, const kxCHK::Histogram& b);

// The smaller of both distances to the neighbours by the distance of those; finite, at least 0.
[[nodiscard]] double pictureJumpOf(const kxCHK::Histogram& before, const kxCHK::Histogram& picture,
                                   const kxCHK::Histogram& after);

// Whether the picture stands out from those of the frames around it, one and two steps away (those of them that
// there are; the first two are the neighbours): from both neighbours it is further than six times what any two of
// them are from each other, and 0.4 bins more. Where light flickers at random, many a picture is unlike both
// neighbours and these alike by chance; four frames are that seldom. Of its own distance that part does not count
// which is moved, in each of r, g and b, across the one border of two bins that most is moved across: a flat
// backdrop can change its bin by the smallest change of the light.
[[nodiscard]] bool standsOut(const kxCHK::Histogram& picture, const std::vector<const kxCHK::Histogram*>& around);

}  // namespace kxCheck
