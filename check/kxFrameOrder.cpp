// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameOrder.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace kxCheck {

namespace {

bool hasFile(const FrameReport& frame) {
    return frame.file.hasIdentity;
}

bool hasMachine(const FrameReport& frame) {
    return !frame.file.notes.infoText.isEmpty();
}

double differenceOf(const FrameReport& frame) {
    return std::max(frame.jump, frame.sizeJump);
}

bool isOfEarlierMachine(const FrameReport& a, const FrameReport& b) {
    return a.file.notes.infoText < b.file.notes.infoText;
}

bool isNewer(const FrameReport& a, const FrameReport& b) {
    return a.file.identity.modified > b.file.identity.modified;
}

bool isSmaller(const FrameReport& a, const FrameReport& b) {
    return a.file.identity.size < b.file.identity.size;
}

bool isMoreDifferent(const FrameReport& a, const FrameReport& b) {
    return differenceOf(a) > differenceOf(b);
}

struct Order {
    bool (*hasKey)(const FrameReport& frame);
    bool (*isBefore)(const FrameReport& a, const FrameReport& b);
};

// In the order of the keys; the first is that of the frames themselves.
constexpr Order orders[] = {{nullptr, nullptr},
                            {hasMachine, isOfEarlierMachine},
                            {hasFile, isNewer},
                            {hasFile, isSmaller},
                            {hasFile, isMoreDifferent}};
static_assert(std::size(orders) == static_cast<std::size_t>(SortKey::difference) + 1, "each key has an order");

}  // namespace

std::vector<std::size_t> frameOrder(const std::vector<FrameReport>& frames, SortKey key, bool descending) {
    std::vector<std::size_t> places(frames.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    if (key == SortKey::frame) {
        if (descending) std::reverse(places.begin(), places.end());
        return places;
    }
    const Order& order = orders[static_cast<std::size_t>(key)];
    const auto isKeyless = std::stable_partition(places.begin(), places.end(),
                                                 [&](std::size_t place) { return order.hasKey(frames[place]); });
    std::stable_sort(places.begin(), isKeyless, [&](std::size_t a, std::size_t b) {
        return descending ? order.isBefore(frames[b], frames[a]) : order.isBefore(frames[a], frames[b]);
    });
    return places;
}

}  // namespace kxCheck
