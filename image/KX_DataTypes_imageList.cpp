// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_DataTypes_imageList.h"

#include "image/kxFrameRestriction.h"
#include "image/kxSlotSorting.h"
#include "image/private/kxNameParts.h"

#include <QStringBuilder>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

#include <sys/mman.h>

using namespace kxFrames;

namespace {

// The longest sequence that gap filling aims at: as many slots as discovery fills from disk.
constexpr int mostFrames = _kxViewSequence::slotCount - 1;

constexpr std::size_t largePage = std::size_t{1} << 21;

}  // namespace

// Construction writes all of the record. Nine large pages are had many times faster than 4500 small ones.
void* _kxViewSequence::operator new(std::size_t size) {
    const std::size_t rounded = (size + largePage - 1) / largePage * largePage;
    void* const record = ::operator new (rounded, std::align_val_t{largePage});
    madvise(record, rounded, MADV_HUGEPAGE);  // only a hint: without large pages there are small ones
    return record;
}

void* _kxViewSequence::operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void _kxViewSequence::operator delete(void* record) {
    ::operator delete (record, std::align_val_t{largePage});
}

_kxViewSequence::_kxViewSequence() {
    std::iota(std::begin(sortOrder), std::end(sortOrder), 0U);
}

// --- The path --------------------------------------------------------------------------------------------------

bool _kxViewSequence::imageDirFileFromString(QString path) {
    const std::optional<FramePath> parts = splitFramePath(path);
    if (parts) setFramePath(*parts);
    return parts.has_value();
}

void _kxViewSequence::setFramePath(const FramePath& path) {
    sameSequence = isSameSequence(path, framePath());
    maxTileIndex = 0;
    isTiled = path.tile != TileMarker::none;
    tileDotSeparator = path.tile != TileMarker::plain;
    extension = path.suffix;
    dirName = path.directory;
    fileName = path.prefix;
}

FramePath _kxViewSequence::framePath() const {
    const TileMarker marker = tileDotSeparator ? TileMarker::separated : TileMarker::plain;
    return {dirName, fileName, extension, isTiled ? marker : TileMarker::none};
}

QString _kxViewSequence::getDirFileName(const int& index) const {
    if (extension.isEmpty()) return dirName + fileName;
    const _kxString8_allSize<15>& frameText = images[index].frameText;
    return dirName % fileName % QLatin1String(frameText.data(), frameText.length()) % extension;
}

bool _kxViewSequence::hasFile(const int& index) const {
    if (!images[index].fileFound || slotPaths_[index] == SlotPath::cut) return false;
    return slotPaths_[index] == SlotPath::asListed || DiskFrameSource().find(getDirFileName(index)).has_value();
}

// --- Slots -----------------------------------------------------------------------------------------------------

void _kxViewSequence::resetToEmpty(int slot, long long frame) {
    images[slot].clear();
    images[slot].frameNumber = frame;
    slotPaths_[slot] = SlotPath::unknown;
}

// Only a smaller difference changes the step: 1, 3, 6 gives 2. Differences below 1 are those of two files of one
// frame and of numbers so far apart that the difference wrapped.
void _kxViewSequence::measureRange() {
    seqStart = 0;
    seqEnd = 0;
    seqStep = 1;
    if (imageCount == 0) return;

    const auto difference = [this](int slot) {
        return wrappingDifference(images[slot].frameNumber, images[slot - 1].frameNumber);
    };
    seqStart = images[0].frameNumber;
    seqEnd = images[imageCount - 1].frameNumber;
    if (isTiled) seqEnd %= tileKeyStep;
    if (imageCount < 3) return;
    seqStep = std::max(difference(1), 1LL);
    for (int slot = 2; slot < imageCount; ++slot) {
        const long long d = difference(slot);
        if (d >= 1 && d < seqStep) seqStep = std::gcd(seqStep, d);
    }
}

long long _kxViewSequence::missingAfter(int slot) const {
    const long long frame = images[slot].frameNumber;
    const long long next = images[slot + 1].frameNumber;
    // Tiles follow each other in the slots. Where one ends before the sequence does, a single frame is added to say
    // so, however many are missing; frames that are missing at the beginning of the next tile are not.
    if (isTiled && maxTileIndex >= 1 && frame / tileKeyStep != next / tileKeyStep) {
        return frame % tileKeyStep < seqEnd ? 1 : 0;
    }
    return std::max(wrappingDifference(next, frame) / seqStep, 1LL) - 1;
}

void _kxViewSequence::fillGaps() {
    // Steps from the first frame to the last, one less than there are frames. Beyond what the slots hold it does
    // not matter by how much; cut there, the product below stays in range.
    const long long steps = std::clamp<long long>(wrappingDifference(seqEnd, seqStart) / seqStep, -1, mostFrames);
    const long long wanted = (steps + 1) * (isTiled ? maxTileIndex + 1 : 1);
    if (imageCount >= wanted || wanted > mostFrames) return;

    // Several files of one frame, or numbers below 0 in a tile, can need more slots than there are frames.
    int filled = imageCount;
    for (int slot = 0; slot + 1 < imageCount; ++slot) {
        const long long missing = missingAfter(slot);
        if (missing > slotCount - filled) return;
        filled += static_cast<int>(missing);
    }

    // From the end backwards each slot moves once, to its final place.
    int target = filled - 1;
    for (int slot = imageCount - 1; slot < target; --slot) {
        long long missing = missingAfter(slot - 1);
        images[target] = std::move(images[slot]);
        slotPaths_[target--] = slotPaths_[slot];
        const long long frame = images[slot - 1].frameNumber;
        for (; missing > 0; --missing) resetToEmpty(target--, wrappingSum(frame, missing * seqStep));
    }
    imageCount = filled;
}

// A null name is an empty one here, other than for QString::startsWith.
// --- Sorting ---------------------------------------------------------------------------------------------------

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

void _kxViewSequence::sort(_SortIDs id, const bool& descending) {
    sortID = id;
    // Nobody reads positions beyond the used ones. Turning round the whole list would put unused slots in front.
    std::iota(std::begin(sortOrder), descending ? sortOrder + imageCount : std::end(sortOrder), 0U);
    if (descending) std::reverse(sortOrder, sortOrder + imageCount);
    for (const NamedOrder& order : namedOrders) {
        if (order.id == id) sortDisplay(0, imageCount - 1, descending ? order.descending : order.ascending);
    }
}

// --- Name tests ------------------------------------------------------------------------------------------------

bool kxcjFileNameIsRight(QString& name, const QString& prefix, const QString& suffix, const bool& keepSeparator) {
    if (name.size() < prefix.size() + suffix.size()) return false;
    name = name.toLower();
    if (!hasEnds(name, prefix, suffix)) return false;
    auto first = prefix.size();
    const auto end = name.size() - suffix.size();
    if (!keepSeparator && first < end && isSeparator(name.at(first))) ++first;
    name = name.mid(first, end - first);
    return true;
}

bool kxcjStartsWith(QString& name, const QString& prefix) {
    if (!beginsWith(name, prefix)) return false;
    name.remove(0, prefix.size());
    name.remove(0, leadingSeparator(name));
    return true;
}
