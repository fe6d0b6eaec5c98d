// SPDX-License-Identifier: BSD-3-Clause
// Which sequence it is, as it is shown to people and scripts.
#pragma once

#include <QByteArray>

#include <cstdint>
#include <optional>

namespace kxCheck {

// The frames that must be there.
struct FrameRange {
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::int64_t step = 1;  // at least 1; neighbours are one step apart
};

// Texts are bytes as on disk, and together the path: "/r/" "beauty." "0042" ".exr".
struct SequenceName {
    QByteArray path;                  // "/r/beauty.####.exr"; of a single file its own
    QByteArray directory;             // ends with "/"; empty: the current one, not written
    QByteArray prefix;                // before the frame number; of a single file its name
    QByteArray suffix;                // behind it
    std::optional<FrameRange> range;  // none: a single file
    std::int64_t frames = 0;          // how many there are or must be
};

}  // namespace kxCheck
