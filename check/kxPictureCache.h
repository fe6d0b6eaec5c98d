// SPDX-License-Identifier: BSD-3-Clause
// The entries of a cache: what the samples of frames said, so that they are decoded once. Each is a file of the
// farm's own format (docs/cache-file-format.md) with a few facts more.
//
// An entry is trusted for one file of one size and time only. Whatever is wrong with it, or with writing it, costs
// no more than decoding the frame. Any thread and any process may call these for the same entry at the same time:
// files are replaced as a whole.
#pragma once

#include "check/kxFileReport.h"
#include "image/KX_DataTypes_image.h"

#include <QByteArray>

#include <memory>
#include <optional>

namespace kxCheck {

// An entry that was read.
class CachedFrame {
public:
    // Reads `path`, with the thumbnail only if it is wanted. Nothing when there is no entry, or none that can be
    // read. Throws std::bad_alloc.
    [[nodiscard]] static std::optional<CachedFrame> load(const QByteArray& path, bool wantsPreview);

    // Adds what the entry says to the report of a file that was looked at down to its structure: it counts as
    // decoded then. False, and the report as it was, when the file has a finding or the entry is not of this file
    // with this size and time, or lacks anything.
    [[nodiscard]] bool addTo(FileReport& report) const;

private:
    std::unique_ptr<kxCHK::_SingleImageFile> entry_;
    bool wantsPreview_ = false;
};

// Seconds since its last change that make a file old enough for an entry: one that is changed after it was checked
// must have another time, and the clocks of file systems go in steps.
constexpr int leastAgeInCache = 2;

// Whether a report may become an entry: that of a sound frame without missing tile, all of which could be decoded,
// and whose file is old enough at `now` (nanoseconds since the Unix epoch).
[[nodiscard]] bool mayBeCached(const FileReport& report, std::int64_t now);

// Writes the entry of such a report, and makes its directory, but not the one above that. `view` has the frame's
// thumbnail, if it has a picture; its record is overwritten. Empty when all is well, also when the format has no
// room for what was found and nothing was written; otherwise the reason.
[[nodiscard]] QByteArray storeInCache(const QByteArray& path, const FileReport& report,
                                      kxCHK::_SingleImageView& view);

}  // namespace kxCheck
