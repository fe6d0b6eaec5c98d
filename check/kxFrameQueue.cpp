// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameQueue.h"

#include <utility>

namespace kxCheck {

namespace {

// Reports that wait for one before them are bounded by memory, not by number: the reports of a whole sequence find
// room while one frame hangs, and hostile ones with thousands of tiles do not.
constexpr std::int64_t mostWaitingBytes = 16 << 20;

}  // namespace

void FrameQueue::add(FileCheck check) {
    frames_.push_back({std::move(check), std::nullopt, 0});
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
}

bool FrameQueue::isFull() const {
    return waitingBytes_ >= mostWaitingBytes;
}

std::optional<FileReport> FrameQueue::takeFirst() {
    if (frames_.empty() || !frames_.front().report) return std::nullopt;
    std::optional<FileReport> report = std::move(frames_.front().report);
    waitingBytes_ -= frames_.front().bytes;
    frames_.pop_front();
    ++first_;
    return report;
}

}  // namespace kxCheck
