// SPDX-License-Identifier: BSD-3-Clause
// One row of deep samples, flattened: what one sees of the samples of each pixel from the front.
//
// Samples are put over each other in the order of Z, the smallest in front, equal ones as they stand; colours are
// premultiplied, as everywhere in these files: each sample adds its values times what the alpha of those before it
// lets through. Without a channel Z the samples count as they stand, without A all are opaque. A pixel without
// samples is 0.
//
// Each thread may use its own objects.
#pragma once

#include "check/kxPictureChannels.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kxCheck {

class DeepRow {
public:
    // Row y of a deep chunk, whose samples begin at `samples`.
    void flatten(const DecodedChunk& chunk, const PictureChannels& channels, std::int32_t y,
                 const unsigned char* samples);
    // r, g, b and a of the row's pixels; 0 for channels that the part does not have.
    const std::vector<float>& channel(std::size_t index) const { return flat_[index]; }

private:
    void flattenPixel(std::size_t pixel, std::size_t begin, std::size_t end);
    void read(const DecodedChunk& chunk, std::size_t channel, std::size_t count, const unsigned char* row,
              std::vector<float>& values) const;

    std::array<std::vector<float>, 4> flat_;
    std::array<std::vector<float>, 4> samples_;  // of the whole row; empty for channels that the part does not have
    std::vector<float> depths_;                  // the same
    std::vector<std::size_t> order_;             // of one pixel's samples
};

}  // namespace kxCheck
