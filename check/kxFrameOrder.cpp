// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameOrder.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace kxCheck {

namespace {

// What ascends in the order of the key.
std::int64_t sizeOf(const FrameReport& frame) {
    return frame.file.identity.size;
}

std::int64_t ageOf(const FrameReport& frame) {
    // Not the negative, which the earliest time has not.
    return ~frame.file.identity.modified;
}

bool hasFile(const FrameReport& frame) {
    return frame.file.hasIdentity;
}

}  // namespace

std::vector<std::size_t> frameOrder(const std::vector<FrameReport>& frames, SortKey key, bool descending) {
    std::vector<std::size_t> places(frames.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    if (key == SortKey::frame) {
        if (descending) std::reverse(places.begin(), places.end());
        return places;
    }
    std::int64_t (*const valueOf)(const FrameReport&) = key == SortKey::size ? sizeOf : ageOf;
    std::stable_sort(places.begin(), places.end(), [&](std::size_t a, std::size_t b) {
        if (!hasFile(frames[a]) || !hasFile(frames[b])) return hasFile(frames[a]) && !hasFile(frames[b]);
        const std::int64_t valueA = valueOf(frames[a]);
        const std::int64_t valueB = valueOf(frames[b]);
        return descending ? valueA > valueB : valueA < valueB;
    });
    return places;
}

}  // namespace kxCheck
