// SPDX-License-Identifier: BSD-3-Clause
// Which channels of a part its picture is made of.
//
// R, G and B; where there is none of them Y stands for all three. A is the alpha. Names count in exactly this
// spelling: layers ("beauty.R") make no picture. What is missing beside others is 0, a missing alpha is opaque.
#pragma once

#include "check/kxChunkSink.h"

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

namespace kxCheck {

struct PictureChannels {
    std::array<std::optional<std::size_t>, 4> rgba;  // each by its place among the part's channels
    std::optional<std::size_t> depth;                // Z, by which deep samples are ordered

    [[nodiscard]] bool makePicture() const { return rgba[0] || rgba[1] || rgba[2]; }
    [[nodiscard]] bool hasAlpha() const { return rgba[3].has_value(); }
    [[nodiscard]] bool holds(std::size_t channel) const {
        for (const auto& place : rgba)
            if (place == channel) return true;
        return false;
    }
};

[[nodiscard]] PictureChannels pictureChannelsOf(const std::vector<ChunkChannel>& channels);

}  // namespace kxCheck
