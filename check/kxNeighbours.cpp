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

std::vector<std::size_t> placesAround(const std::vector<FrameReport>& frames, const Neighbours& neighbours,
                                      std::size_t place) {
    std::vector<std::size_t> places;
    for (auto at = neighbours.before(frames[place].name); at && places.size() < 2;
         at = neighbours.before(frames[*at].name))
        places.push_back(*at);
    const std::size_t before = places.size();
    for (auto at = neighbours.after(frames[place].name); at && places.size() < before + 2;
         at = neighbours.after(frames[*at].name))
        places.push_back(*at);
    return places;
}

}  // namespace kxCheck
