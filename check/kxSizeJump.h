// SPDX-License-Identifier: BSD-3-Clause
// How unlike those of both neighbours the size of a frame's file is. Pure functions.
#pragma once

#include "check/kxFrameReport.h"

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace kxCheck {

// Above this the size is conspicuous.
constexpr double conspicuousJump = 2;

// The frames of a sequence one step before and after another, for tiles within the tile. Where several files bear
// one frame number, the first of them is the neighbour.
class Neighbours {
public:
    // `step` is at least 1. Holds places in `frames`, not the frames.
    Neighbours(const std::vector<FrameReport>& frames, std::int64_t step);

    // None for a single file, and where no such frame is among those given.
    [[nodiscard]] std::optional<std::size_t> before(const FrameName& frame) const { return at(frame, -step_); }
    [[nodiscard]] std::optional<std::size_t> after(const FrameName& frame) const { return at(frame, step_); }

private:
    using Key = std::pair<int, std::int64_t>;  // tile, -1 without one; frame number

    [[nodiscard]] std::optional<std::size_t> at(const FrameName& frame, std::int64_t distance) const;

    std::int64_t step_;
    std::map<Key, std::size_t> places_;
};

// The smaller of both differences to the neighbours by the difference of those, in logarithms of the sizes (bytes;
// an empty file counts as one).
[[nodiscard]] double sizeJumpOf(std::int64_t before, std::int64_t size, std::int64_t after);

// Of a frame of the sequence and its neighbours, with the finding's text where it is conspicuous. 0 without two
// neighbours, or where one of the three has no identity.
struct SizeJump {
    double value = 0;
    QByteArray text;  // empty unless value is above conspicuousJump
};
[[nodiscard]] SizeJump sizeJumpOf(const std::vector<FrameReport>& frames, const Neighbours& neighbours,
                                  std::size_t place);

}  // namespace kxCheck
