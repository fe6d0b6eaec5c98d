// SPDX-License-Identifier: BSD-3-Clause
// The range of a record, the step between its frames, and empty slots for those that are missing.
#include "image/KX_DataTypes_imageList.h"
#include "image/kxFrameRestriction.h"

#include <algorithm>
#include <numeric>
#include <utility>

using namespace kxFrames;

namespace {

// The longest sequence that gap filling aims at: as many slots as discovery fills from disk.
constexpr int mostFrames = _kxViewSequence::slotCount - 1;

}  // namespace

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
