// SPDX-License-Identifier: BSD-3-Clause
// The lines that people read: the sequence, its frames, the total, and what was kept after all.
//
// Each function gives one line without its end. Control characters in names and texts are escaped. Pure functions.
#pragma once

#include "check/kxFrameReport.h"
#include "check/kxSequenceName.h"
#include "check/kxSummary.h"

#include <QByteArray>

#include <vector>

namespace kxCheck {

struct LineStyle {
    int labelWidth = 0;      // bytes of the column of frames
    bool hasColors = false;  // verdicts in the colours of a terminal
};

// Wide enough for all these frames.
[[nodiscard]] int labelWidthOf(const std::vector<FrameReport>& frames);

// "/r/beauty.####.exr  1001-1100  1920x1080  4 channels half  zip". Behind path and frames stands what the headers
// of a frame say, null where none could be read: display window, parts if several, channels and compressions.
[[nodiscard]] QByteArray sequenceLine(const SequenceName& sequence, const Headers* headers);

// "1017  bad         truncated: rows 540 to 1079 of 1080 are missing; chunk: ... (and 3 more)": the first finding
// of each code; what is planned ends the line, "  => delete". A missing frame has no text.
[[nodiscard]] QByteArray frameLine(const FrameReport& frame, const LineStyle& style);

// Its findings alone, empty when there is none to be said of.
[[nodiscard]] QByteArray findingsText(const std::vector<Finding>& findings);

// "total 100: 96 good, 1 suspicious (1060), 2 bad (1017,1044), 1 missing (1090), 2 s". Verdicts without frames are
// left out.
[[nodiscard]] QByteArray totalLine(const Summary& summary);

// What the summary says when nothing was removed because `removable` of the checked frames are more than half.
[[nodiscard]] QByteArray heldLine(std::int64_t removable, std::int64_t checked);

// "1017  kept: Permission denied".
[[nodiscard]] QByteArray keptLine(const FrameName& frame, const QByteArray& reason, const LineStyle& style);

// "2 s", "3 min 20 s", "2 h 5 min"; rounded to what is shown.
[[nodiscard]] QByteArray durationText(double seconds);

}  // namespace kxCheck
