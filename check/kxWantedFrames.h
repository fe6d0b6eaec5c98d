// SPDX-License-Identifier: BSD-3-Clause
// Which frames of a sequence are to be checked: those with a file, those that must be there and have none, and the
// run of them that is this program's share.
//
// Pure functions over values; any thread may call them.
#pragma once

#include "check/kxCheckSettings.h"
#include "check/kxFrameList.h"
#include "check/kxFrameReport.h"
#include "check/kxSequenceArgument.h"
#include "check/kxSequenceName.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace kxCheck {

struct WantedFrame {
    enum class Source {
        file,        // an entry of the directory: what it is shows when it is opened
        none,        // the frame is missing
        longNumber,  // a file whose number has more than longestFrameText characters: not opened, nothing is known
    };
    FrameName name;
    Source source = Source::file;
};

struct WantedFrames {
    SequenceName sequence;
    // All of the sequence in the order of the lines: by number, tile and length of the text; last those without.
    std::vector<WantedFrame> frames;
    // The run that is checked and reported, [first, last) of `frames`; the others serve as neighbours and likes.
    std::size_t runFirst = 0;
    std::size_t runLast = 0;
    std::int64_t step = 1;     // of neighbours, at least 1
    bool gapsUnknown = false;  // first to last is more than a sequence holds: no frame in between is missing
    std::int64_t leftOut = 0;  // frames beyond the mostFrames that a sequence holds, not among `frames`
};

// Without `asked` the frames are those found, first to last, by their step, at most mostFrames; with tiles, those
// of each tile from the lowest to the highest found. With it they are the list's, for each such tile, and of those,
// there or missing, the first mostFrames; files of others are left alone; a single file is no frame of a list.
//
// The step is the first difference of numbers, replaced by its greatest common divisor with each that is smaller; 1
// with fewer than three frames.
WantedFrames wantedFrames(const FoundSequence& found, const std::optional<FrameNumbers>& asked,
                          ChunkOfFrames chunk);

}  // namespace kxCheck
