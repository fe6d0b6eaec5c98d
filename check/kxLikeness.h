// SPDX-License-Identifier: BSD-3-Clause
// What the headers of most frames of a sequence have in common, and in what a frame is unlike them.
//
// Each property is judged by itself: display window, pixel aspect, names and types of the parts, channels (name,
// type, sampling), compression, line order and tile size. The common value of a property is that of three in four
// of the frames, of four frames at least; where there is none, no frame is unlike the others.
#pragma once

#include "check/kxFileReport.h"
#include "check/kxFinding.h"

#include <array>
#include <memory>
#include <vector>

namespace kxCheck {

class Likeness {
public:
    // Of the whole sequence; frames whose headers could not be read are null and have no vote. Headers that frames
    // share are compared once.
    explicit Likeness(const std::vector<std::shared_ptr<const Headers>>& frames);

    // Findings `differs` and `differs-coding`, with text and part: what the frame has and what the others have.
    // Parts that only one of both has are named once and not looked into. Threads may ask at the same time.
    [[nodiscard]] std::vector<Finding> deviations(const Headers& headers) const;

private:
    static constexpr std::size_t propertyCount = 7;
    // Headers that have the common value; null where there is none.
    std::array<std::shared_ptr<const Headers>, propertyCount> common_;
};

}  // namespace kxCheck
