// SPDX-License-Identifier: BSD-3-Clause
// How long ago a file was changed: young ones may still be written.
#pragma once

#include "check/kxFileReport.h"

#include <chrono>
#include <cstdint>
#include <limits>

namespace kxCheck {

constexpr std::int64_t nanosecondsPerSecond = 1000000000;

// Nanoseconds since the Unix epoch, as FileIdentity::modified. The system's clock may be set meanwhile.
inline std::int64_t systemTime() {
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
}

// The same as long as nobody sets the clock. Never later than the system's time at the first call and what has
// passed since: a clock that is set forward makes no file old, and one that is set back makes all of them younger.
// Any thread.
[[nodiscard]] std::int64_t timeForAges();

// Whether the file was changed less than `minAge` seconds before `now` (as timeForAges()). One that
// bears a time to come was changed just now, so that none is young with a minimum age of 0.
inline bool isYoung(const FileIdentity& file, std::int64_t now, int minAge) {
    if (file.modified >= now) return minAge > 0;
    // Without a difference of the two, which can be greater than the type.
    return file.modified > now - minAge * nanosecondsPerSecond;
}

// The first time at which it is not young any more.
inline std::int64_t endOfYouth(const FileIdentity& file, int minAge) {
    constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();
    const std::int64_t age = minAge * nanosecondsPerSecond;
    return file.modified > never - age ? never : file.modified + age;
}

}  // namespace kxCheck
