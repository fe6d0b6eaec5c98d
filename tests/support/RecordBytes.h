// SPDX-License-Identifier: BSD-3-Clause
// Records and pictures as their bytes, to be compared whole.
#pragma once

#include "image/KX_DataTypes_image.h"

#include <cstddef>
#include <string>

inline std::string recordBytes(const kxCHK::_SingleImageData& record) {
    return std::string(reinterpret_cast<const char*>(&record), sizeof record);
}

// The pixels of the picture, not of the whole memory.
inline std::string pixelsOf(const kxP::_imgRGBABuffer8& image) {
    return std::string(reinterpret_cast<const char*>(image.pixels), 4 * static_cast<std::size_t>(image.pixelCount));
}
