// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameQueue.h"

#include <utility>

namespace kxCheck {

namespace {

// Reports that wait for one before them are bounded by memory, not by number: the reports of a whole sequence find
// room while one frame hangs, and hostile ones with thousands of tiles do not.
constexpr std::int64_t mostWaitingBytes = 16 << 20;

}  // namespace

FrameQueue::Number FrameQueue::add(FileCheck check) {
    frames_.push_back({std::move(check), std::nullopt});
    return first_ + static_cast<Number>(frames_.size()) - 1;
}

const FileCheck& FrameQueue::check(Number number) const {
    return frames_[placeOf(number)].check;
}

FrameQueue::Number FrameQueue::waiting() const {
    const Number end = first_ + static_cast<Number>(frames_.size());
    return static_cast<Number>(returned_.size()) + end - fresh_;
}

FrameQueue::Number FrameQueue::firstWaiting() const {
    return returned_.empty() ? fresh_ : *returned_.begin();
}

FrameQueue::Number FrameQueue::takeWaiting() {
    const Number number = firstWaiting();
    if (returned_.erase(number) == 0) ++fresh_;
    return number;
}

void FrameQueue::finish(Number number, FileReport report, std::int64_t bytes) {
    Frame& done = frames_[placeOf(number)];
    done.report = std::move(report);
    done.bytes = bytes;
    waitingBytes_ += bytes;
    done_.insert(number);
}

bool FrameQueue::isFull() const {
    return waitingBytes_ >= mostWaitingBytes;
}

std::optional<FileReport> FrameQueue::takeFirst() {
    if (done_.count(first_) == 0) return std::nullopt;
    return take(first_);
}

std::optional<FrameQueue::Numbered> FrameQueue::takeAny() {
    if (done_.empty()) return std::nullopt;
    const Number number = *done_.begin();
    return Numbered{number, take(number)};
}

FileReport FrameQueue::take(Number number) {
    Frame& frame = frames_[placeOf(number)];
    FileReport report = *std::move(frame.report);
    waitingBytes_ -= frame.bytes;
    done_.erase(number);
    frame = Frame();
    frame.isTaken = true;
    for (; !frames_.empty() && frames_.front().isTaken; ++first_) frames_.pop_front();
    return report;
}

}  // namespace kxCheck
