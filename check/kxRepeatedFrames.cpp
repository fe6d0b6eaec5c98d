// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxRepeatedFrames.h"

namespace kxCheck {

void RepeatedFrames::add(bool isRepeated) {
    --open_;
    if (isRepeated) ++repeated_;
}

void RepeatedFrames::end(std::int64_t frames) {
    if (answer() == Answer::open) frames_ = frames;
    open_ = 0;
}

RepeatedFrames::Answer RepeatedFrames::answer() const {
    constexpr std::int64_t share = 4;
    if (frames_ < fewest || repeated_ * share > frames_) return Answer::leftOut;
    return (repeated_ + open_) * share <= frames_ ? Answer::reported : Answer::open;
}

}  // namespace kxCheck
