// SPDX-License-Identifier: BSD-3-Clause
// The nine orders of a sequence's slots: one of the slots themselves, eight of a display list that names them.
//
// All are one quicksort (Hoare's partition), which is not stable: where neither key nor tie-break tells two slots
// apart, their order is that of the partition. Functions without state; any thread may call them on data of its
// own.
#pragma once

#include "image/KX_DataTypes_image.h"

#include <functional>

namespace kxFrames {

enum class SlotKey : unsigned char {
    machine,   // infoText, byte by byte; a text that another one begins with stands before it
    date,      // fileTime
    size,      // fileSize
    imageDiff  // analyseValue1; NaN is neither before nor after anything, and stays where the partition leaves it
};

enum class Direction : unsigned char { ascending, descending };

// By a key, and where that is equal by frame number.
struct SlotOrder {
    SlotKey key;
    Direction keyDirection;
    Direction frameDirection;
};

// Both date orders put the newest file first.
constexpr SlotOrder machineOrder{SlotKey::machine, Direction::ascending, Direction::ascending};
constexpr SlotOrder machineOrderDescending{SlotKey::machine, Direction::descending, Direction::descending};
constexpr SlotOrder dateOrder{SlotKey::date, Direction::descending, Direction::ascending};
constexpr SlotOrder dateOrderDescending{SlotKey::date, Direction::descending, Direction::descending};
constexpr SlotOrder sizeOrder{SlotKey::size, Direction::ascending, Direction::ascending};
constexpr SlotOrder sizeOrderDescending{SlotKey::size, Direction::descending, Direction::descending};
constexpr SlotOrder imageDiffOrder{SlotKey::imageDiff, Direction::ascending, Direction::ascending};
constexpr SlotOrder imageDiffOrderDescending{SlotKey::imageDiff, Direction::descending, Direction::descending};

// Sorts the positions lo .. hi of a display list of slots. Frame numbers beyond 32 bits are told apart by their low
// 32 bits only.
void sortPositions(const kxCHK::_SingleImageView* images, unsigned* positions, int lo, int hi,
                   const SlotOrder& order);

// Sorts the slots lo .. hi by frame number, and where that is equal by the length of the frame text. `exchange`
// swaps two slots with all that belongs to them.
void sortSlots(const kxCHK::_SingleImageView* images, int lo, int hi,
               const std::function<void(int, int)>& exchange);

}  // namespace kxFrames
