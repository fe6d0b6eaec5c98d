// SPDX-License-Identifier: BSD-3-Clause
// Draws the bar that shows how far a run is on one line of a terminal, over and over again.
//
// One thread at a time.
#pragma once

#include "check/kxCheckRun.h"
#include "check/kxOutput.h"

#include <chrono>

namespace kxCheck {

class ProgressBar {
public:
    // Nothing is ever written unless `isShown`. `output` must live longer.
    ProgressBar(Output& output, bool isShown) : output_(output), isShown_(isShown) {}
    ~ProgressBar() { clear(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // Draws the bar, some times a second at most. A pass begins with no frame done, the
    // first one with the bar.
    void show(const RunProgress& progress);
    // Takes the bar away, so that a line can be written in its place.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    Output& output_;
    bool isShown_;
    bool isDrawn_ = false;
    Clock::time_point passBegan_ = Clock::now();
    Clock::time_point drawn_;
};

}  // namespace kxCheck
