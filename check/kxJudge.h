// SPDX-License-Identifier: BSD-3-Clause
// Judges a frame: what its file says by itself, what was asked for, and how it stands among the others.
//
// Pure functions over values; threads may judge different frames at the same time.
#pragma once

#include "check/kxCheckSettings.h"
#include "check/kxFrameReport.h"
#include "check/kxLikeness.h"
#include "check/kxPictureFindings.h"
#include "check/kxSizeJump.h"

#include <cstdint>
#include <optional>

namespace kxCheck {

// A frame that must be there and has no file.
[[nodiscard]] FrameReport missingFrame(FrameName name);

// How a frame stands beside its neighbours.
struct Comparison {
    SizeJump size;
    PictureJudgement picture;
};

// Fills `findings`, `verdict`, `level`, `sizeJump` and `jump` (and whether there are such) of the frame from its
// `file` and the comparison, and nothing else. `now` (nanoseconds since the Unix epoch) decides whether a file that
// ends too early is young enough to be unfinished. May be repeated.
void judge(FrameReport& frame, const Settings& settings, const Likeness& likeness, const Comparison& comparison,
           std::int64_t now);

// Adds a finding to a frame that was judged, with what follows from it.
void addFinding(FrameReport& frame, Finding finding, const Settings& settings);

// What of the modes asked for a file with these headers (of at least one part) fails: each only as far as a file
// can be asked for it, so several layers are expected of a single part only. None when all hold.
[[nodiscard]] std::optional<Finding> unmetModes(const kxExr::Modes& modes, const Headers& headers);

}  // namespace kxCheck
