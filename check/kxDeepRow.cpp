// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxDeepRow.h"

#include "check/kxSampleRows.h"
#include "check/kxSampleValue.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace kxCheck {

namespace {

float valueAt(kxExr::PixelType type, const unsigned char* sample) {
    switch (type) {
        case kxExr::PixelType::half:
            return floatOfHalf(qFromLittleEndian<std::uint16_t>(sample));
        case kxExr::PixelType::float32:
            return floatOfBits(qFromLittleEndian<std::uint32_t>(sample));
        case kxExr::PixelType::uint:
            return static_cast<float>(qFromLittleEndian<std::uint32_t>(sample));
    }
    return 0;
}

}  // namespace

void DeepRow::flatten(const DecodedChunk& chunk, const PictureChannels& channels, std::int32_t y,
                      const unsigned char* samples) {
    const std::int32_t* const counts = countsOfRow(chunk, y);
    const auto width = static_cast<std::size_t>(chunk.place.width);
    const auto total = static_cast<std::size_t>(counts[width - 1]);
    for (std::size_t c = 0; c < flat_.size(); ++c) {
        flat_[c].assign(width, 0.0F);
        samples_[c].clear();
        if (channels.rgba[c]) read(chunk, *channels.rgba[c], total, samples, samples_[c]);
    }
    depths_.clear();
    if (channels.depth) read(chunk, *channels.depth, total, samples, depths_);
    std::size_t begin = 0;
    for (std::size_t x = 0; x < width; ++x) {
        const auto end = static_cast<std::size_t>(counts[x]);
        flattenPixel(x, begin, end);
        begin = end;
    }
}

// A row holds the samples of one channel after those of another.
void DeepRow::read(const DecodedChunk& chunk, std::size_t channel, std::size_t count, const unsigned char* row,
                   std::vector<float>& values) const {
    for (std::size_t c = 0; c < channel; ++c) row += count * (*chunk.channels)[c].sampleSize;
    const ChunkChannel& entry = (*chunk.channels)[channel];
    values.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        values.push_back(valueAt(entry.channel->type, row + i * entry.sampleSize));
}

// A depth that is no number lies behind all others. Nothing shines through an alpha of 1, or one that is no number.
void DeepRow::flattenPixel(std::size_t pixel, std::size_t begin, std::size_t end) {
    order_.resize(end - begin);
    std::iota(order_.begin(), order_.end(), begin);
    const auto isBefore = [this](std::size_t a, std::size_t b) {
        return depths_[a] < depths_[b] || (std::isnan(depths_[b]) && !std::isnan(depths_[a]));
    };
    if (!depths_.empty() && !std::is_sorted(order_.begin(), order_.end(), isBefore))
        std::stable_sort(order_.begin(), order_.end(), isBefore);
    float alpha = 0;
    for (std::size_t i = 0; i < order_.size() && alpha < 1; ++i) {
        const float through = 1.0F - alpha;
        for (std::size_t c = 0; c < flat_.size(); ++c)
            if (!samples_[c].empty()) flat_[c][pixel] += through * samples_[c][order_[i]];
        alpha = samples_[3].empty() ? 1.0F : flat_[3][pixel];
    }
}

}  // namespace kxCheck
