// SPDX-License-Identifier: BSD-3-Clause
// Walks through a decoded chunk row by row, and in each row channel by channel: the order in which samples stand.
#pragma once

#include "check/kxChunkSink.h"

#include <cstddef>
#include <cstdint>

namespace kxCheck {

struct SampleRow {
    std::size_t channel = 0;  // in DecodedChunk::channels
    std::int32_t y = 0;
    const unsigned char* samples = nullptr;  // little-endian, at any address
    std::size_t count = 0;                   // samples; 0 where the channel has none in this row
};

// For each pixel of a deep chunk's row the samples up to and with it; null in flat chunks.
inline const std::int32_t* countsOfRow(const DecodedChunk& chunk, std::int32_t y) {
    if (!chunk.counts) return nullptr;
    return chunk.counts + std::ptrdiff_t{y - chunk.place.firstY} * chunk.place.width;
}

// Samples of that channel in row y.
inline std::size_t samplesInRow(const DecodedChunk& chunk, const kxExr::Channel& channel, std::int32_t y) {
    const auto width = static_cast<std::size_t>(chunk.place.width);
    if (chunk.counts) return static_cast<std::size_t>(countsOfRow(chunk, y)[width - 1]);
    return y % channel.ySampling == 0 ? width / static_cast<std::size_t>(channel.xSampling) : 0;
}

// Calls take(const SampleRow&) for every channel of every row.
template <class Take>
void forEachRow(const DecodedChunk& chunk, Take take) {
    SampleRow row;
    row.samples = chunk.samples;
    for (std::int32_t i = 0; i < chunk.place.height; ++i) {
        row.y = chunk.place.firstY + i;
        for (row.channel = 0; row.channel < chunk.channels->size(); ++row.channel) {
            const ChunkChannel& channel = (*chunk.channels)[row.channel];
            row.count = samplesInRow(chunk, *channel.channel, row.y);
            take(static_cast<const SampleRow&>(row));
            if (row.count > 0) row.samples += row.count * channel.sampleSize;
        }
    }
}

// Whether a chunk holds pixels of the full resolution.
inline bool isFullResolution(const DecodedChunk& chunk) {
    return chunk.place.tile.levelX == 0 && chunk.place.tile.levelY == 0;
}

}  // namespace kxCheck
