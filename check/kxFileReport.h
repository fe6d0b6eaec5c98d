// SPDX-License-Identifier: BSD-3-Clause
// What looking into one file by itself said: which file it was, its headers, and what is wrong with it as a file.
//
// A reader makes it without knowing the other frames of the sequence; what follows from those (likeness,
// neighbours, modes, expectations) is judged later. Values only; each thread may use its own.
#pragma once

#include "check/kxFinding.h"
#include "check/kxHeaderNotes.h"
#include "check/kxPictureReport.h"
#include "image/kxExrPart.h"

#include <QByteArray>

#include <cstdint>
#include <memory>
#include <vector>

namespace kxCheck {

// Which file it was, as the system told it: through the descriptor that was read, of a file that could not be
// opened by its path.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;      // bytes
    std::int64_t modified = 0;  // nanoseconds since the Unix epoch, UTC
};

inline bool operator==(const FileIdentity& a, const FileIdentity& b) {
    return a.device == b.device && a.inode == b.inode && a.size == b.size && a.modified == b.modified;
}
inline bool operator!=(const FileIdentity& a, const FileIdentity& b) {
    return !(a == b);
}

// Chunks of one part.
struct ChunkCounts {
    std::int64_t chunks = 0;   // that the header announces
    std::int64_t present = 0;  // that have a place in the chunk table, wholly within the file as far as was looked
};

// The headers of one file. Most frames of a sequence share one such value.
using Headers = std::vector<kxExr::Part>;

struct FileReport {
    bool hasIdentity = false;  // false: no regular file is known to be there
    FileIdentity identity;
    std::shared_ptr<const Headers> headers;        // null when they could not be read
    HeaderNotes notes;                             // whatever the level; empty without headers
    std::vector<ChunkCounts> chunks;               // per part; empty below level structure or without headers
    bool decoded = false;                          // every chunk could be decoded, now or for the cache
    std::shared_ptr<const PictureReport> picture;  // what the samples say; null unless decoded
    Preview preview;  // empty: nobody wants one, or the first part makes no picture; some chunks may lack unless
                      // decoded
    bool hasZeros = false;  // where the signature or a faulty chunk should stand, as long as a file that was made
                            // at full size is written
    std::vector<Finding> findings;  // of the file by itself, at most mostFindings, in the order found
    QByteArray cacheFault;          // why the frame's cache entry could not be written; empty: nothing to tell
    double seconds = 0;             // that the check took
};

// How far and within which bounds a file is looked at.
struct FileCheck {
    QByteArray path;  // bytes, as given to the system
    Level level = Level::pixels;
    QByteArray cacheFile = {};  // of the frame's entry, which then spares the pixels; empty: without cache
    bool keepsInCache = false;  // at level pixels an entry may be written when there is none that can be used
    bool wantsPreview = false;  // at level pixels
};

}  // namespace kxCheck
