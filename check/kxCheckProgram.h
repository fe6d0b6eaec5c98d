// SPDX-License-Identifier: BSD-3-Clause
// What kxCheckFrames does with its settings: find the sequences, check each, say the outcome, remove what is bad.
#pragma once

#include "check/kxCheckSettings.h"
#include "check/kxWorker.h"

namespace kxCheck {

// Exit codes, beside those of the signals.
constexpr int exitGood = 0;
constexpr int exitBad = 1;      // a frame is bad or missing
constexpr int exitUsage = 2;    // the command line is wrong
constexpr int exitPartial = 3;  // something could not be checked or written

// Does it all and gives the program's exit code. Writes to the standard streams; needs a process with one thread.
// `check` looks into a file.
[[nodiscard]] int runCheck(const Settings& settings, const CheckFunction& check);

}  // namespace kxCheck
