// SPDX-License-Identifier: BSD-3-Clause
// The properties in which the headers of a sequence's frames are compared, and what differs between two of them, in
// words. Pure functions.
#pragma once

#include "check/kxFileReport.h"
#include "check/kxFinding.h"

#include <array>
#include <vector>

namespace kxCheck {

// Headers have at least one part.
struct HeaderProperty {
    Code code;         // of the finding: differs or differsCoding
    const char* name;  // "display window"
    bool ofFirstPart;  // the other parts' values are not looked at
    bool (*isSameInPart)(const kxExr::Part&, const kxExr::Part&);
    QByteArray (*textOf)(const kxExr::Part&);  // null where a list says more than both values
    // Of headers that are not the same in the property; empty where only parts are too many or too few.
    std::vector<Finding> (*differences)(const HeaderProperty&, const Headers& headers, const Headers& common);

    // In the first part or in all, in their order. An equivalence: not-a-number is the same as not-a-number.
    [[nodiscard]] bool isSame(const Headers& a, const Headers& b) const;
};

// Display window, pixel aspect, parts, channels; compression, line order, tile size.
const std::array<HeaderProperty, 7>& headerProperties();

}  // namespace kxCheck
