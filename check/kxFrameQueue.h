// SPDX-License-Identifier: BSD-3-Clause
// The frames of a WorkerPool, from the first whose report was not taken yet: which wait for a worker, and which
// reports wait to be taken, in the order of the frames or as they come.
//
// Pure: no processes, no files. Each thread may use its own objects.
#pragma once

#include "check/kxFileReport.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <set>

namespace kxCheck {

class FrameQueue {
public:
    using Number = std::int64_t;  // of a frame, in the order of add(), from 0
    struct Numbered {
        Number number = 0;
        FileReport report;
    };

    Number add(FileCheck check);
    // True when the report of every frame was taken.
    [[nodiscard]] bool isEmpty() const { return frames_.empty(); }
    [[nodiscard]] bool isFirst(Number number) const { return number == first_; }
    [[nodiscard]] const FileCheck& check(Number number) const;

    // Frames that no worker has and that have no report.
    [[nodiscard]] Number waiting() const;
    // The first of them; behind all frames where none waits.
    [[nodiscard]] Number firstWaiting() const;
    // Gives that one to a worker.
    Number takeWaiting();
    // It waits again, at its old place.
    void giveBack(Number number) { returned_.insert(number); }

    // Keeps the report of a frame that was given to a worker. `bytes`: what it counts for while it waits.
    void finish(Number number, FileReport report, std::int64_t bytes);
    // True when the reports that wait take as much memory as they may.
    [[nodiscard]] bool isFull() const;
    // The first frame's report, and the next frame is the first; nothing while it has none.
    [[nodiscard]] std::optional<FileReport> takeFirst();
    // That of the first frame that has one; nothing while none has.
    [[nodiscard]] std::optional<Numbered> takeAny();

private:
    struct Frame {
        FileCheck check;
        std::optional<FileReport> report;
        std::int64_t bytes = 0;  // that count as waiting with the report
        bool isTaken = false;
    };

    [[nodiscard]] FileReport take(Number number);
    [[nodiscard]] std::size_t placeOf(Number number) const { return static_cast<std::size_t>(number - first_); }

    std::deque<Frame> frames_;
    Number first_ = 0;           // the number of the first of them
    Number fresh_ = 0;           // the first that was never given to a worker
    std::set<Number> returned_;  // given, and back without a report
    std::set<Number> done_;      // have a report that was not taken
    std::int64_t waitingBytes_ = 0;
};

}  // namespace kxCheck
