// SPDX-License-Identifier: BSD-3-Clause
// One sequence as a page shows it: summary, strip, curves, the frames that are not good, and the contact sheet.
//
// Values and functions without state, apart from the functions they are given.
#pragma once

#include "check/kxPageFrame.h"
#include "check/kxSequenceName.h"
#include "check/kxSummary.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace kxCheck {

struct PageSequence {
    int number = 1;  // on the page, from 1
    SequenceName name;
    QByteArray line;  // as sequenceLine makes it
    std::vector<PageFrame> frames;
    Summary summary;
    std::map<Code, std::int64_t> causes;          // frames that have such a finding
    std::map<QByteArray, std::int64_t> machines;  // frames that are not good by what made them, where they name it
    std::vector<QByteArray> notes;                // what was said about the sequence as a whole
    std::int64_t withoutPictures = 0;  // frames that have but a row because the page has too many sections
};

// Frames of a sequence that have a section in full, of each level; more of them have one in short.
constexpr int mostDetailedFrames = 200;
// Sections of a page; frames beyond have a row.
constexpr int mostSections = 2000;

// What the contact sheet has at most: good frames, evenly chosen where there are more; others, the first ones.
constexpr std::size_t mostGoodTiles = 2000;
constexpr std::size_t mostOtherTiles = 2000;

// The places of the frames in the contact sheet, ascending. Nothing without a single picture.
[[nodiscard]] std::vector<std::size_t> sheetPlaces(const std::vector<PageFrame>& frames);

// Frames [first, last) that share a section or a row.
struct PageGroup {
    std::size_t first = 0;
    std::size_t last = 0;
};

// All that have a section or a row. Those with a section stand alone; others that follow each other and of which
// the same is to be said stand together.
[[nodiscard]] std::vector<PageGroup> pageGroups(const PageSequence& sequence);

// "deleted", "to be deleted", "not deleted: Permission denied"; empty where nothing was planned. `isHeld`: nothing
// of the sequence was removed.
[[nodiscard]] QByteArray outcomeOf(const PageFrame& frame, bool isHeld);

// Pictures of good frames can be done without.
enum class PictureUse { evidence, goodTile };

// Gives the bytes of a stored picture; empty where there is none, or no room for it on the page.
using LoadPicture = std::function<QByteArray(const StoredBytes&, PictureUse)>;
using HtmlSink = std::function<void(const QByteArray&)>;

// Writes the sequence's section piece by piece: with its pictures it can be larger than what should be in memory.
void writeSequence(const PageSequence& sequence, const LoadPicture& load, const HtmlSink& sink);

}  // namespace kxCheck
