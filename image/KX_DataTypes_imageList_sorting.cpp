// SPDX-License-Identifier: BSD-3-Clause
// The orders of a record: of its slots, and of the positions that a display shows.
#include "image/KX_DataTypes_imageList.h"
#include "image/kxSlotSorting.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

using namespace kxFrames;

namespace {

struct NamedOrder {
    _SortIDs id;
    SlotOrder ascending, descending;
};

// Any other id leaves the order that sort() begins with.
constexpr NamedOrder namedOrders[] = {
    {sortMachine, machineOrder, machineOrderDescending},
    {sortDate, dateOrder, dateOrderDescending},
    {sortSize, sizeOrder, sizeOrderDescending},
    {sortImageDiff, imageDiffOrder, imageDiffOrderDescending},
};

}  // namespace

void _kxViewSequence::QSort_files(int lo, int hi) {
    if (lo < 0 || hi >= slotCount) return;
    sortSlots(images, lo, hi, [this](int a, int b) {
        std::swap(images[a], images[b]);
        std::swap(slotPaths_[a], slotPaths_[b]);
    });
}

void _kxViewSequence::sortDisplay(int lo, int hi, const SlotOrder& order) {
    if (lo >= 0 && hi < slotCount) sortPositions(images, sortOrder, lo, hi, order);
}

void _kxViewSequence::QSort_Machine(int lo, int hi) {
    sortDisplay(lo, hi, machineOrder);
}
void _kxViewSequence::QSort_Machine_des(int lo, int hi) {
    sortDisplay(lo, hi, machineOrderDescending);
}
void _kxViewSequence::QSort_Date(int lo, int hi) {
    sortDisplay(lo, hi, dateOrder);
}
void _kxViewSequence::QSort_Date_des(int lo, int hi) {
    sortDisplay(lo, hi, dateOrderDescending);
}
void _kxViewSequence::QSort_Size(int lo, int hi) {
    sortDisplay(lo, hi, sizeOrder);
}
void _kxViewSequence::QSort_Size_des(int lo, int hi) {
    sortDisplay(lo, hi, sizeOrderDescending);
}
void _kxViewSequence::QSort_ImageDiff(int lo, int hi) {
    sortDisplay(lo, hi, imageDiffOrder);
}
void _kxViewSequence::QSort_ImageDiff_des(int lo, int hi) {
    sortDisplay(lo, hi, imageDiffOrderDescending);
}

void _kxViewSequence::sort(_SortIDs id, const bool& descending) {
    sortID = id;
    // Nobody reads positions beyond the used ones. Turning round the whole list would put unused slots in front.
    std::iota(std::begin(sortOrder), descending ? sortOrder + imageCount : std::end(sortOrder), 0U);
    if (descending) std::reverse(sortOrder, sortOrder + imageCount);
    for (const NamedOrder& order : namedOrders) {
        if (order.id == id) sortDisplay(0, imageCount - 1, descending ? order.descending : order.ascending);
    }
}
