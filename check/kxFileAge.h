// SPDX-License-Identifier: BSD-3-Clause
// How long ago a file was changed: young ones may still be written.
#pragma once

#include "check/kxFileReport.h"

#include <cstdint>

namespace kxCheck {

// Whether the file was changed less than `minAge` seconds before `now` (nanoseconds since the Unix epoch). One that
// bears a time to come was changed just now, so that none is young with a minimum age of 0.
inline bool isYoung(const FileIdentity& file, std::int64_t now, int minAge) {
    constexpr std::int64_t nanoseconds = 1000000000;
    if (file.modified >= now) return minAge > 0;
    // Without a difference of the two, which can be greater than the type.
    return file.modified > now - minAge * nanoseconds;
}

}  // namespace kxCheck
