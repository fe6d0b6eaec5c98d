// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFollowPace.h"

#include <algorithm>

namespace kxCheck {

void FollowPace::asked(Time begin, Time end, bool hadNews) {
    constexpr int leastShare = 10;
    constexpr Clock::duration longest = longestInterval;
    interval_ = hadNews ? Clock::duration(shortestInterval) : std::min(2 * interval_, longest);
    next_ = end + std::min(std::max(interval_, leastShare * (end - begin)), longest);
    const Time endOfPatience = lastSign_ + patience_;
    if (end < endOfPatience) next_ = std::min(next_, endOfPatience);
}

}  // namespace kxCheck
