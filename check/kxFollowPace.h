// SPDX-License-Identifier: BSD-3-Clause
// When a run that waits for frames asks the directories again, and when it has waited long enough.
//
// Shares do not tell of new files, so directories are asked: soon again after one had news, less often while
// nothing comes, and not so often that asking takes more than a tenth of the time, as far as two seconds of pause
// allow that; soon also when all seems to be done, and at last when the run has waited long enough. Values only;
// one thread at a time.
#pragma once

#include <algorithm>
#include <chrono>

namespace kxCheck {

class FollowPace {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    static constexpr std::chrono::milliseconds shortestInterval{250};
    static constexpr std::chrono::milliseconds longestInterval{2000};

    // `patience`: time without a sign of life that is too long.
    FollowPace(std::chrono::seconds patience, Time now) : patience_(patience), lastSign_(now), next_(now) {}

    // A frame came, changed, went or was done.
    void sign(Time now) { lastSign_ = now; }
    // All seems to be done: the asking that makes sure of it comes soon.
    void hasten(Time now) { next_ = std::min<Time>(next_, now + shortestInterval); }
    // The directories were asked, in this time, and had news or not.
    void asked(Time begin, Time end, bool hadNews);

    [[nodiscard]] Time nextAsking() const { return next_; }
    [[nodiscard]] bool isPatienceOver(Time now) const { return now - lastSign_ >= patience_; }

private:
    std::chrono::seconds patience_;
    Time lastSign_;
    Time next_;
    Clock::duration interval_ = shortestInterval;
};

}  // namespace kxCheck
