// SPDX-License-Identifier: BSD-3-Clause
// What a sequence's check came to: how many frames of each verdict there are, and which.
//
// Made by one thread, frame by frame.
#pragma once

#include "check/kxFrameList.h"
#include "check/kxFrameReport.h"

#include <QByteArray>

#include <array>
#include <cstdint>
#include <set>
#include <vector>

namespace kxCheck {

// How a frame is shown: its number as in the file's name, with its tile behind it; without a number, the file's
// name. Bytes as on disk.
[[nodiscard]] QByteArray frameLabel(const FrameName& frame);

class Summary {
public:
    void add(const FrameReport& frame);

    // Files, so a frame number that several of them bear counts as often.
    [[nodiscard]] std::int64_t count(Verdict verdict) const;
    [[nodiscard]] std::int64_t total() const;
    // Of all these verdicts: the frame numbers as a frame list, then the names of files without a number, joined by
    // commas. Control characters of names are escaped.
    [[nodiscard]] QByteArray frames(const std::set<Verdict>& verdicts) const;

    double seconds = 0;      // that the sequence took
    bool isHeld = false;     // nothing was removed: more than half of the checked frames would have gone
    bool isPartial = false;  // something of the sequence could not be checked or written, beside unknown frames

private:
    struct Frames {
        std::int64_t count = 0;
        FrameNumbers numbers;
        std::vector<QByteArray> names;
    };
    std::array<Frames, verdictCount> frames_;
};

// Of the sequence: 1 with bad or missing frames, or suspicious ones if `strict`; else 3 with unknown ones, or when
// it is partial; else 0.
[[nodiscard]] int exitCodeOf(const Summary& summary, bool strict);

}  // namespace kxCheck
