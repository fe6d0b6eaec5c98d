// SPDX-License-Identifier: BSD-3-Clause
// Who wants the pixels of a file while it is being checked gets them chunk by chunk.
#pragma once

#include "check/kxChunkGrid.h"

#include <cstdint>
#include <vector>

namespace kxCheck {

// A channel of a part in the order in which chunks hold them: by the bytes of its name.
struct ChunkChannel {
    const kxExr::Channel* channel = nullptr;
    std::uint32_t sampleSize = 0;  // bytes
};

// One decoded chunk; all pointers are valid during the call only.
//
// The samples stand as in the file, little-endian: row after row, in each row channel after channel, in each
// channel its samples from left to right. Of a subsampled channel, rows and columns whose y or x is no multiple of
// its sampling have none. In deep chunks each pixel has as many samples in a row as it has, one after another.
struct DecodedChunk {
    int part = 0;
    const kxExr::Part* header = nullptr;  // of the part
    ChunkPlace place;
    const std::vector<ChunkChannel>* channels = nullptr;
    const unsigned char* samples = nullptr;  // null where there is none
    std::uint64_t size = 0;                  // bytes of the samples
    // Deep chunks: for each pixel the samples of its row up to and with it. Null for flat ones.
    const std::int32_t* counts = nullptr;
};

// Takes decoded chunks in the order of the chunk tables, while the file is being checked.
class ChunkSink {
public:
    virtual ~ChunkSink() = default;
    // What was taken is of use only when the whole file could be decoded: FileReport::decoded.
    virtual void take(const DecodedChunk& chunk) = 0;
    // The file is read once more from the beginning: nothing that was taken so far counts.
    virtual void restart() = 0;
};

}  // namespace kxCheck
