// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxSlotSorting.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

namespace kxFrames {

namespace {

using kxCHK::_SingleImageView;

// How one element stands to another. `none` is NaN's: neither before nor after anything, itself included.
enum class Order { before, same, after, none };

template <class T>
Order orderOf(const T& a, const T& b) {
    return a < b ? Order::before : b < a ? Order::after : a == b ? Order::same : Order::none;
}

// Byte by byte; a text that another one begins with stands before it.
Order orderOf(const _kxString8_allSize<50>& a, const _kxString8_allSize<50>& b) {
    const int common = std::memcmp(a.data(), b.data(), static_cast<std::size_t>(std::min(a.length(), b.length())));
    return common != 0 ? orderOf(common, 0) : orderOf(a.length(), b.length());
}

Order directed(Order order, Direction direction) {
    if (direction == Direction::descending && order == Order::before) return Order::after;
    if (direction == Direction::descending && order == Order::after) return Order::before;
    return order;
}

// Hoare's partition around the middle element. The recursion takes the smaller part, so its depth stays below
// log2(hi - lo + 1). Neither scan leaves lo .. hi whatever the keys: an element need not be the same as its own
// pivot (NaN, frame numbers beyond 32 bits), so nothing else would stop it.
//
// `elements` offers pivotAt(position), orderAt(position, pivot) and swap(position, position).
template <class Elements>
void quicksort(Elements elements, int lo, int hi) {
    while (lo < hi) {
        const auto pivot = elements.pivotAt((lo + hi) / 2);
        int i = lo;
        int j = hi;
        while (i <= j) {
            while (i < hi && elements.orderAt(i, pivot) == Order::before) ++i;
            while (j > lo && elements.orderAt(j, pivot) == Order::after) --j;
            if (i > j) break;
            if (i < j) elements.swap(i, j);
            ++i;
            --j;
        }
        if (j - lo < hi - i) {
            quicksort(elements, lo, j);
            lo = i;
        } else {
            quicksort(elements, i, hi);
            hi = j;
        }
    }
}

// The slots themselves, by frame number and then by the length of its text.
struct Slots {
    const _SingleImageView* images;
    const std::function<void(int, int)>& swap;

    std::pair<long long, int> pivotAt(int position) const {
        return {images[position].frameNumber, images[position].frameText.length()};
    }
    Order orderAt(int position, const std::pair<long long, int>& pivot) const {
        return orderOf(pivotAt(position), pivot);
    }
};

// Keys by value where the record packs them tighter than a reference may point.
const _kxString8_allSize<50>& machineOf(const _SingleImageView& slot) {
    return slot.infoText;
}
_kxTime dateOf(const _SingleImageView& slot) {
    return slot.fileTime;
}
long long sizeOf(const _SingleImageView& slot) {
    return slot.fileSize;
}
float imageDiffOf(const _SingleImageView& slot) {
    return slot.analyseValue1;
}

// Positions of a display list, by a key of the slot and then by its frame number.
template <auto keyOf>
struct Positions {
    const _SingleImageView* images;
    unsigned* positions;
    const SlotOrder& order;

    struct Pivot {
        std::decay_t<decltype(keyOf(*images))> key;
        int frame;  // cut to 32 bits: frames beyond are told apart by sortSlots alone
    };

    const _SingleImageView& slotAt(int position) const { return images[positions[position]]; }
    Pivot pivotAt(int position) const {
        return {keyOf(slotAt(position)), static_cast<int>(slotAt(position).frameNumber)};
    }
    Order orderAt(int position, const Pivot& pivot) const {
        const _SingleImageView& slot = slotAt(position);
        const Order byKey = directed(orderOf(keyOf(slot), pivot.key), order.keyDirection);
        if (byKey != Order::same) return byKey;
        return directed(orderOf<long long>(slot.frameNumber, pivot.frame), order.frameDirection);
    }
    void swap(int a, int b) { std::swap(positions[a], positions[b]); }
};

}  // namespace

void sortPositions(const _SingleImageView* images, unsigned* positions, int lo, int hi, const SlotOrder& order) {
    switch (order.key) {
        case SlotKey::machine:
            return quicksort(Positions<machineOf>{images, positions, order}, lo, hi);
        case SlotKey::date:
            return quicksort(Positions<dateOf>{images, positions, order}, lo, hi);
        case SlotKey::size:
            return quicksort(Positions<sizeOf>{images, positions, order}, lo, hi);
        case SlotKey::imageDiff:
            return quicksort(Positions<imageDiffOf>{images, positions, order}, lo, hi);
    }
}

void sortSlots(const _SingleImageView* images, int lo, int hi, const std::function<void(int, int)>& exchange) {
    quicksort(Slots{images, exchange}, lo, hi);
}

}  // namespace kxFrames
