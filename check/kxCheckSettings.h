// SPDX-License-Identifier: BSD-3-Clause
// What one run is asked to do: the command line as values, each with the default of an option that is not given.
//
// Texts are bytes as they were given. Read by all threads of a run, written by none once it has begun.
#pragma once

#include "check/kxExpectation.h"
#include "check/kxFinding.h"
#include "check/kxFrameReport.h"
#include "image/kxExrModes.h"

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

namespace kxCheck {

// The index-th of `count` runs of frames that follow each other, 1 <= index <= count.
struct ChunkOfFrames {
    int index = 1;
    int count = 1;
};

// The order of the lines for people. Equal keys stand by frame.
enum class SortKey {
    frame,
    machine,     // that made the frame, by its name
    date,        // newest first
    size,        // smallest first
    difference,  // of picture or size from the neighbours, largest first
};

// `automatic`: only on a terminal.
enum class When { automatic, always, never };

// What becomes of bad frames.
enum class Removal { none, remove, move };

struct Settings {
    std::vector<QByteArray> arguments;  // frames and directories, at least one

    Level level = Level::pixels;
    std::optional<std::vector<std::int64_t>> frames;  // that must be there, ascending, each once; none: those found
    ChunkOfFrames chunk;
    QByteArray cacheDirectory;  // where what pixels said is kept and looked for; empty: nowhere
    bool single = false;        // the name is one file's, its digits are no frame number
    std::optional<int> jobs;    // frames checked at once, at least 1; none: depends on level and processors

    kxExr::Modes modes;                     // that every frame must have
    std::vector<Expectation> expectations;  // all must hold
    std::set<Code> failOn;                  // warnings that are errors; no code is in both sets
    std::set<Code> ignored;                 // neither reported nor counted
    bool strict = false;                    // a suspicious frame counts as bad in the exit code

    bool verbose = false;  // a line for every frame
    bool info = false;     // and under each line that is printed what is known of the frame
    SortKey sortKey = SortKey::frame;
    bool sortDescending = false;              // the other way round
    std::optional<std::set<Verdict>> listed;  // only the frames with these verdicts are printed, a line a sequence
    QByteArray jsonFile;                      // empty: none; "-": standard output, without lines for people
    QByteArray reportFile;                    // of the page; empty: none
    When progress = When::automatic;
    When color = When::automatic;

    Removal removal = Removal::none;
    QByteArray moveTo;        // directory, for Removal::move
    bool removeMost = false;  // also when more than half of the checked frames would go
    int minAge = 60;          // seconds; younger files are not removed and may be unfinished; at least 0

    bool follow = false;  // go on as frames arrive; `frames` says which
    int timeout = 3600;   // seconds without news after which a run that follows ends, at least 1

    int timeLimit = 300;             // seconds for one frame, at least 1
    std::optional<int> memoryLimit;  // MiB for one frame, at least 1; none: by what is free and the jobs
};

}  // namespace kxCheck
