// SPDX-License-Identifier: BSD-3-Clause
// What the tests of lines and areas draw with and compare.
#pragma once

#include "tests/support/plainImage.h"

#include <climits>
#include <cstring>
#include <string>

inline constexpr _Rgba8 white{255, 255, 255, 40};
inline constexpr _Rgba8 opaque{10, 20, 30, 255};
inline constexpr _Rgba8 translucent{200, 100, 51, 128};

// One character a pixel: "." where the image has the background, "#" elsewhere.
inline std::string drawnPixels(const kxP::_imgRGBABuffer8& image, const _Rgba8& background) {
    std::string rows;
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            _Rgba8 p{};
            image.read(p, x, y);
            rows += std::memcmp(&p, &background, 4) == 0 ? '.' : '#';
        }
        rows += '/';
    }
    return rows;
}

inline int drawInt(unsigned& seed, int from, int to) {
    return from + static_cast<int>(kxRand(seed) * static_cast<float>(to - from));
}

// Alphas 0 and 255 come as often as all others together.
inline _Rgba8 drawColour(unsigned& seed) {
    const auto byte = [&seed] { return static_cast<unsigned char>(drawInt(seed, 0, 256)); };
    const int kind = drawInt(seed, 0, 4);
    const unsigned char alpha = kind == 0 ? 0 : kind == 1 ? 255 : byte();
    return {byte(), byte(), byte(), alpha};
}

// Calls draw(image) on two copies of one random image, with the fast and the plain operation.
template <class Fast, class Plain>
std::string compare(int width, int height, unsigned seed, Fast fast, Plain plainRule) {
    const Image8 image = makeRandomImage(width, height, seed, seed % 40);
    const Image8 expected = makeCopy(*image);
    fast(*image);
    plainRule(*expected);
    return differenceOf(*image, *expected);
}

inline void setHostile(kxP::_imgRGBABuffer8& image, int width, int height, unsigned pixelCount) {
    image.width = width;
    image.height = height;
    image.pixelCount = pixelCount;
}

inline constexpr int hostileExtents[] = {INT_MIN, -65537, -1, 0, 1, 24, 65537, INT_MAX};
inline constexpr int hostilePositions[] = {INT_MIN, -65537, -1, 0, 3, 24, 65537, INT_MAX};
