// SPDX-License-Identifier: BSD-3-Clause
// How unlike those of both neighbours the size of a frame's file is. Pure functions.
#pragma once

#include "check/kxFrameReport.h"
#include "check/kxNeighbours.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kxCheck {

// Above this a size, or a picture, is conspicuous.
constexpr double conspicuousJump = 2;

// The smaller of both differences to the neighbours by the difference of those, in logarithms of the sizes (bytes;
// an empty file counts as one).
[[nodiscard]] double sizeJumpOf(std::int64_t before, std::int64_t size, std::int64_t after);

// Of a frame of the sequence and its neighbours, with the finding's text where it is conspicuous. 0 without two
// neighbours, or where one of the three has no identity.
struct SizeJump {
    double value = 0;
    QByteArray text;          // empty unless value is above conspicuousJump
    bool isCompared = false;  // neither of these is the case
};
[[nodiscard]] SizeJump sizeJumpOf(const std::vector<FrameReport>& frames, const Neighbours& neighbours,
                                  std::size_t place);

}  // namespace kxCheck
