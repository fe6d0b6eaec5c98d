// SPDX-License-Identifier: BSD-3-Clause
// Into which chunks the picture of one part is cut: how many there are, what lies in each, and how large it is
// unpacked. The chunks are numbered as in the part's chunk table.
//
// Made from a valid header. Values only; each thread may use its own.
#pragma once

#include "check/kxFinding.h"
#include "image/kxExrPart.h"

#include <cstdint>
#include <vector>

namespace kxCheck {

// Where one chunk lies in the picture.
struct ChunkPlace {
    std::int32_t firstX = 0;  // in the data window; for tiles in their level, whose first corner is that of the
    std::int32_t firstY = 0;  // data window too
    std::int32_t width = 0;
    std::int32_t height = 0;
    Tile tile;  // of tiled storage
};

class ChunkGrid {
public:
    // More chunks than a file of any size could have.
    static constexpr std::uint64_t countless = std::uint64_t{1} << 62;

    explicit ChunkGrid(const kxExr::Part& part);

    // Number of chunks, `countless` at most.
    std::uint64_t count() const { return count_; }
    // `index` below count(), which must be below 2^31.
    ChunkPlace at(std::uint32_t index) const;
    // Bytes of a flat chunk before compression.
    std::uint64_t unpackedSize(const ChunkPlace& place) const;
    // Bytes of one sample in all channels.
    std::uint64_t sampleSize() const { return sampleSize_; }

private:
    struct Level {
        std::int32_t x = 0;
        std::int32_t y = 0;
        std::int64_t width = 0;  // pixels
        std::int64_t height = 0;
        std::uint64_t columns = 0;  // of tiles
        std::uint64_t first = 0;    // index of its first chunk
    };

    void cutRows();
    void cutTiles();
    void addLevel(std::int32_t x, std::int32_t y);
    ChunkPlace rowsAt(std::uint32_t index) const;
    ChunkPlace tileAt(std::uint32_t index) const;

    kxExr::Part part_;
    std::int32_t rowsPerChunk_ = 1;
    std::vector<Level> levels_;
    std::uint64_t count_ = 0;
    std::uint64_t sampleSize_ = 0;
    bool isSubsampled_ = false;
};

// Bytes of one sample of that type.
inline std::uint32_t sizeOf(kxExr::PixelType type) {
    return type == kxExr::PixelType::half ? 2 : 4;
}

// How many of `count` rows from `first` on have samples of a channel with that sampling: those whose y is a
// multiple of it.
std::int32_t sampledRows(std::int32_t first, std::int32_t count, std::int32_t sampling);

}  // namespace kxCheck
