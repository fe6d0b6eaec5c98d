// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureChannels.h"

namespace kxCheck {

namespace {

std::optional<std::size_t> placeOf(const char* name, const std::vector<ChunkChannel>& channels) {
    for (std::size_t i = 0; i < channels.size(); ++i)
        if (channels[i].channel->name == name) return i;
    return std::nullopt;
}

}  // namespace

PictureChannels pictureChannelsOf(const std::vector<ChunkChannel>& channels) {
    PictureChannels found;
    found.rgba = {placeOf("R", channels), placeOf("G", channels), placeOf("B", channels), placeOf("A", channels)};
    found.depth = placeOf("Z", channels);
    if (!found.makePicture()) found.rgba[0] = found.rgba[1] = found.rgba[2] = placeOf("Y", channels);
    return found;
}

}  // namespace kxCheck
