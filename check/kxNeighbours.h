// SPDX-License-Identifier: BSD-3-Clause
// The frames of a sequence one step before and after another, for tiles within the tile. Values only; each thread
// may use its own.
#pragma once

#include "check/kxFrameReport.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace kxCheck {

// Where several files bear one frame number, the first of them is the neighbour.
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

// The places of those one and two steps before, then of those one and two steps after the frame; one that has no
// neighbour ends the way.
[[nodiscard]] std::vector<std::size_t> placesAround(const std::vector<FrameReport>& frames,
                                                    const Neighbours& neighbours, std::size_t place);

}  // namespace kxCheck
