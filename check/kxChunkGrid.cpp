// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxChunkGrid.h"

#include <algorithm>

namespace kxCheck {

namespace {

using kxExr::Compression;
using kxExr::LevelMode;
using kxExr::LevelRounding;

std::int32_t rowsPerChunk(Compression compression) {
    switch (compression) {
        case Compression::none:
        case Compression::rle:
        case Compression::zips:
            return 1;
        case Compression::zip:
        case Compression::pxr24:
            return 16;
        case Compression::piz:
        case Compression::b44:
        case Compression::b44a:
        case Compression::dwaa:
        case Compression::htj2k32:
            return 32;
        case Compression::dwab:
        case Compression::htj2k256:
            return 256;
    }
    return 1;
}

// Pixels of a side in that level.
std::int64_t sideAt(std::int64_t side, std::int32_t level, LevelRounding rounding) {
    const std::int64_t divisor = std::int64_t{1} << level;
    const std::int64_t rest = rounding == LevelRounding::up ? divisor - 1 : 0;
    return std::max<std::int64_t>((side + rest) / divisor, 1);
}

// Levels until one pixel is left.
std::int32_t levelsOf(std::int64_t side, LevelRounding rounding) {
    std::int32_t level = 0;
    while (sideAt(side, level, rounding) > 1) ++level;
    return level + 1;
}

std::uint64_t dividedUp(std::int64_t a, std::uint64_t b) {
    return (static_cast<std::uint64_t>(a) + b - 1) / b;
}

}  // namespace

ChunkGrid::ChunkGrid(const kxExr::Part& part) : part_(part) {
    for (const kxExr::Channel& channel : part_.channels) {
        sampleSize_ += sizeOf(channel.type);
        isSubsampled_ = isSubsampled_ || channel.xSampling > 1 || channel.ySampling > 1;
    }
    if (isTiled(part_.storage))
        cutTiles();
    else
        cutRows();
}

void ChunkGrid::cutRows() {
    rowsPerChunk_ = rowsPerChunk(part_.compression);
    count_ = dividedUp(part_.dataWindow.height(), static_cast<std::uint64_t>(rowsPerChunk_));
}

// A mipmap halves both sides at a time, as often as the longer one needs; in a ripmap each goes by itself, and the
// levels of x run faster.
void ChunkGrid::cutTiles() {
    const kxExr::TileDescription& tiles = *part_.tiles;
    const std::int64_t width = part_.dataWindow.width();
    const std::int64_t height = part_.dataWindow.height();
    if (tiles.levels == LevelMode::one) {
        addLevel(0, 0);
    } else if (tiles.levels == LevelMode::mipmap) {
        const std::int32_t levels = levelsOf(std::max(width, height), tiles.rounding);
        for (std::int32_t level = 0; level < levels; ++level) addLevel(level, level);
    } else {
        const std::int32_t columns = levelsOf(width, tiles.rounding);
        const std::int32_t rows = levelsOf(height, tiles.rounding);
        for (std::int32_t y = 0; y < rows; ++y)
            for (std::int32_t x = 0; x < columns; ++x) addLevel(x, y);
    }
}

// A level has less than 2^62 tiles, so that neither the product nor the sum overflows.
void ChunkGrid::addLevel(std::int32_t x, std::int32_t y) {
    const kxExr::TileDescription& tiles = *part_.tiles;
    Level level;
    level.x = x;
    level.y = y;
    level.width = sideAt(part_.dataWindow.width(), x, tiles.rounding);
    level.height = sideAt(part_.dataWindow.height(), y, tiles.rounding);
    level.columns = dividedUp(level.width, tiles.width);
    level.first = count_;
    levels_.push_back(level);
    count_ = std::min(count_ + level.columns * dividedUp(level.height, tiles.height), countless);
}

ChunkPlace ChunkGrid::at(std::uint32_t index) const {
    return isTiled(part_.storage) ? tileAt(index) : rowsAt(index);
}

ChunkPlace ChunkGrid::rowsAt(std::uint32_t index) const {
    const std::int64_t first = std::int64_t{index} * rowsPerChunk_;
    ChunkPlace place;
    place.firstX = part_.dataWindow.minX;
    place.firstY = static_cast<std::int32_t>(part_.dataWindow.minY + first);
    place.width = static_cast<std::int32_t>(part_.dataWindow.width());
    place.height =
        static_cast<std::int32_t>(std::min<std::int64_t>(rowsPerChunk_, part_.dataWindow.height() - first));
    return place;
}

ChunkPlace ChunkGrid::tileAt(std::uint32_t index) const {
    const auto after = std::upper_bound(levels_.begin(), levels_.end(), index,
                                        [](std::uint32_t i, const Level& level) { return i < level.first; });
    const Level& level = *(after - 1);
    const std::uint64_t inLevel = index - level.first;
    const auto x = static_cast<std::int64_t>(inLevel % level.columns);
    const auto y = static_cast<std::int64_t>(inLevel / level.columns);
    const std::int64_t pixelX = x * part_.tiles->width;
    const std::int64_t pixelY = y * part_.tiles->height;
    ChunkPlace place;
    place.firstX = static_cast<std::int32_t>(part_.dataWindow.minX + pixelX);
    place.firstY = static_cast<std::int32_t>(part_.dataWindow.minY + pixelY);
    place.width = static_cast<std::int32_t>(std::min<std::int64_t>(part_.tiles->width, level.width - pixelX));
    place.height = static_cast<std::int32_t>(std::min<std::int64_t>(part_.tiles->height, level.height - pixelY));
    place.tile = {static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), level.x, level.y};
    return place;
}

std::uint64_t ChunkGrid::unpackedSize(const ChunkPlace& place) const {
    const auto width = static_cast<std::uint64_t>(place.width);
    if (!isSubsampled_) return width * static_cast<std::uint64_t>(place.height) * sampleSize_;
    std::uint64_t size = 0;
    for (const kxExr::Channel& channel : part_.channels)
        size += sizeOf(channel.type) * (width / static_cast<std::uint64_t>(channel.xSampling)) *
                static_cast<std::uint64_t>(sampledRows(place.firstY, place.height, channel.ySampling));
    return size;
}

std::int32_t sampledRows(std::int32_t first, std::int32_t count, std::int32_t sampling) {
    const auto floored = [sampling](std::int64_t y) {
        return y >= 0 ? y / sampling : -((sampling - 1 - y) / sampling);
    };
    return static_cast<std::int32_t>(floored(std::int64_t{first} + count - 1) - floored(std::int64_t{first} - 1));
}

}  // namespace kxCheck
