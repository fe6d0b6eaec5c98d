// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFileAge.h"

#include <algorithm>

#include <time.h>

namespace kxCheck {

namespace {

// Goes on while the machine sleeps, and can't be set.
std::int64_t timeSinceBoot() {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return std::int64_t{time.tv_sec} * nanosecondsPerSecond + time.tv_nsec;
}

}  // namespace

std::int64_t timeForAges() {
    static const std::int64_t boot = systemTime() - timeSinceBoot();
    return std::min(systemTime(), boot + timeSinceBoot());
}

}  // namespace kxCheck
