// SPDX-License-Identifier: BSD-3-Clause
// Which frames keep their preview until they are given: a frame that repeats another may let thousands wait behind
// it, and their previews would take more memory than all else of a run.
//
// What is kept depends on the frames and their order alone. Not thread-safe.
#pragma once

#include "check/kxFrameReport.h"

#include <cstddef>
#include <cstdint>

namespace kxCheck {

class WaitingPreviews {
public:
    // Of a longer run nobody looks at the good frames.
    static constexpr std::size_t mostGood = 2000;
    // Of all frames that wait; those for which there is no room lose theirs.
    static constexpr std::int64_t mostBytes = 16 << 20;

    explicit WaitingPreviews(std::size_t framesOfRun) : keepsGood_(framesOfRun <= mostGood) {}

    // A frame was judged; while its verdict is open, a good one may still become another.
    void enter(FrameReport& frame, bool isOpen);
    // The same frame, when its verdict is certain and it is given.
    void leave(FrameReport& frame);

    // Takes the preview from the frame's report. Others that have the same report keep it.
    static void remove(FrameReport& frame);

private:
    [[nodiscard]] bool isNeedless(const FrameReport& frame) const {
        return frame.verdict == Verdict::good && !keepsGood_;
    }

    bool keepsGood_;
    std::int64_t bytes_ = 0;
};

}  // namespace kxCheck
