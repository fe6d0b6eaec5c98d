// SPDX-License-Identifier: BSD-3-Clause
// The page that a run can leave behind: one file of HTML that needs nothing from elsewhere and no script.
//
// It is pageStart, the sections of its sequences (writeSequence) and pageEnd. A script adds only that the strip can
// be walked along with the keyboard; a content security policy allows this script and nothing from anywhere. The
// markup is well-formed XML but for the script and the style. Pure functions.
#pragma once

#include "check/kxFinding.h"
#include "check/kxFrameReport.h"

#include <QByteArray>

#include <array>
#include <cstdint>
#include <vector>

namespace kxCheck {

// A sequence in the table at the top.
struct PageOverviewRow {
    QByteArray path;
    std::array<std::int64_t, verdictCount> counts{};  // frames of each verdict
};

struct PageFacts {
    Level level = Level::pixels;
    std::int64_t written = 0;          // nanoseconds since the Unix epoch, UTC
    bool isInterrupted = false;        // before all was checked
    bool isWithoutRoom = false;        // pictures are left out, because the page would have become too large
    std::vector<QByteArray> problems;  // as they were said on standard error
    std::vector<PageOverviewRow> sequences;
};

[[nodiscard]] QByteArray pageStart(const PageFacts& facts);
[[nodiscard]] QByteArray pageEnd();

}  // namespace kxCheck
