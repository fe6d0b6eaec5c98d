// SPDX-License-Identifier: BSD-3-Clause
// Which frames are to be removed, by verdict and findings alone. Pure functions.
//
// Whether a file may go after all (its age, whether it is still the one that was checked) shows when it is removed.
#pragma once

#include "check/kxCheckSettings.h"
#include "check/kxFrameReport.h"

#include <cstdint>
#include <vector>

namespace kxCheck {

// What is to be done with the judged frame's file: nothing unless removing was asked for, the frame is bad by an
// error that concerns the file itself or by one that was failed on, and the file was opened. Errors of the picture
// alone are none of the file. What is no EXR file must at least be named like one (".exr", in any letter case).
[[nodiscard]] Action plannedAction(const FrameReport& frame, const Settings& settings);

// How many frames of a sequence are to be removed, of how many whose file could be checked.
struct RemovalCount {
    std::int64_t removable = 0;
    std::int64_t checked = 0;  // without missing and unknown frames

    // More than half would go: more likely than so many bad frames is a mistake in what was asked for.
    [[nodiscard]] bool isMost() const { return removable > checked - removable; }
};
// By the frames' planned actions.
[[nodiscard]] RemovalCount countRemovals(const std::vector<FrameReport>& frames);

}  // namespace kxCheck
