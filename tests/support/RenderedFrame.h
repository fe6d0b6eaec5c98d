// SPDX-License-Identifier: BSD-3-Clause
// Pictures to look into, and the plain twins' view of them.
#pragma once

#include "image/KX_DataTypes_image.h"
#include "tests/support/plainCheck.h"

#include <gtest/gtest.h>

#include <cstring>

inline constexpr _Rgba8 white{255, 255, 255, 255};
inline constexpr _Rgba8 black{0, 0, 0, 255};

inline PlainImage plain(const kxP::_imgRGBABuffer8& image) {
    return {image.pixels, image.width, image.height, image.valid != 0};
}

inline void resize(kxP::_imgRGBABuffer8& image, int width, int height) {
    image.setWidth(0);
    image.setHeight(height);
    image.setWidth(width);
    ASSERT_EQ(image.width, width);
}

inline void fillWith(kxP::_imgRGBABuffer8& image, const _Rgba8& colour) {
    for (unsigned i = 0; i < image.pixelCount; ++i) image.write(static_cast<int>(i), colour);
}

// An image of its own memory in one colour.
struct RenderedFrame : kxP::_imgRGBABuffer8 {
    RenderedFrame(int w, int h, const _Rgba8& colour, bool isValid)
        : kxP::_imgRGBABuffer8(static_cast<unsigned>(w) * static_cast<unsigned>(h)) {
        resize(*this, w, h);
        fillWith(*this, colour);
        valid = isValid ? 1 : 0;
    }
    void square(int left, int top, int size, const _Rgba8& colour) {
        for (int i = 0; i < size * size; ++i) write(left + i % size, top + i / size, colour);
    }
};

inline PlainHistogram binsOf(const kxCHK::_SingleImageData& record) {
    PlainHistogram bins;
    std::memcpy(bins.data(), record.histogram, sizeof record.histogram);
    return bins;
}
