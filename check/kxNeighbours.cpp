// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxNeighbours.h"

namespace kxCheck {

Neighbours::Neighbours(const std::vector<FrameReport>& frames, std::int64_t step) : step_(step) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const FrameName& name = frames[i].name;
        if (name.number) places_.emplace(Key{name.tile.value_or(-1), *name.number}, i);
    }
}

std::optional<std::size_t> Neighbours::at(const FrameName& frame, std::int64_t distance) const {
    if (!frame.number) return std::nullopt;
    const auto found = places_.find({frame.tile.value_or(-1), *frame.number + distance});
    if (found == places_.end()) return std::nullopt;
    return found->second;
}

}  // namespace kxCheck
