// SPDX-License-Identifier: BSD-3-Clause
// From the names on the command line to the files of the sequences that they mean.
//
// Each directory is listed once, and the system is asked about no file in it. Used by one thread at a time.
#pragma once

#include "check/kxFileSequence.h"

#include <QByteArray>

#include <vector>

namespace kxCheck {

// A sequence, and those of its files that are there: whatever kind of entry bears a frame's name.
struct FoundSequence {
    QByteArray directory;  // ends with "/"; empty: the current one, not written
    FileSequence name;
    std::vector<FrameFile> files;  // in their order; may be none
};

struct FoundSequences {
    std::vector<FoundSequence> sequences;  // each once, in the order of the arguments
    std::vector<QByteArray> problems;      // lines for standard error, without control characters, each once
    bool isComplete = true;                // no directory was kept from being listed
};

// Which names are what of a sequence.
enum class NamesMean {
    sequences,          // those without frame number a single file
    numberedSequences,  // the same, but a directory means only those with frame numbers
    singleFiles,        // each one file, its digits are no frame number
};

// What the arguments mean. A directory means every sequence of its files that end in ".exr", in any letter case,
// and do not begin with a dot, in byte order; anything else the one sequence that a frame's name or a pattern
// names, or with a wildcard for which several separators are found, one for each of these.
// A name that is in its directory is no pattern, whatever signs are in it.
FoundSequences findSequences(const std::vector<QByteArray>& arguments, NamesMean mean);

// "/r/beauty.####.exr"; of a single file its path.
QByteArray shownPath(const FoundSequence& sequence);

}  // namespace kxCheck
