// SPDX-License-Identifier: BSD-3-Clause
// How long ago a file was changed: young ones may still be written.
#pragma once

#include "check/kxFileReport.h"

#include <chrono>
#include <cstdint>

namespace kxCheck {

// Nanoseconds since the Unix epoch, as FileIdentity::modified. The system's clock may be set meanwhile.
inline std::int64_t systemTime() {
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
}

// Whether the file was changed less than `minAge` seconds before `now` (as systemTime()). One that
// bears a time to come was changed just now, so that none is young with a minimum age of 0.
inline bool isYoung(const FileIdentity& file, std::int64_t now, int minAge) {
    constexpr std::int64_t nanoseconds = 1000000000;
    if (file.modified >= now) return minAge > 0;
    // Without a difference of the two, which can be greater than the type.
    return file.modified > now - minAge * nanoseconds;
}

}  // namespace kxCheck
