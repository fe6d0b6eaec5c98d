// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxDarkCorner.h"

#include <algorithm>
#include <cstddef>

namespace kxCheck {

namespace {

constexpr int blockSize = 8;
constexpr int firstCorner = 1;
constexpr int widestEdge = 3;  // pixels
constexpr unsigned char darkEnd = 16;
constexpr unsigned char brightStart = 64;
constexpr std::ptrdiff_t pixelBytes = 4;

// Whether the byte is dark, and one of the few before it bright. `step` leads from one to the next, `before` is how
// many there are.
bool isEdge(const unsigned char* value, std::ptrdiff_t step, int before) {
    if (*value >= darkEnd) return false;
    for (int i = 1; i <= std::min(before, widestEdge); ++i)
        if (*(value - i * step) >= brightStart) return true;
    return false;
}

// `corner` is the byte of the pixel (x, y).
bool isDarkCorner(const unsigned char* corner, std::ptrdiff_t rowBytes, int x, int y) {
    for (int i = 0; i < blockSize; ++i)
        if (!isEdge(corner + i * pixelBytes, rowBytes, y) || !isEdge(corner + i * rowBytes, pixelBytes, x))
            return false;
    return true;
}

}  // namespace

// The left column of each block crosses exactly one of each eight rows, so only these are walked for its edge.
bool hasDarkCorner(const kxP::_imgRGBABuffer8& image) {
    const int height = image.rowsInMemory();
    if (height < firstCorner + blockSize) return false;
    const std::ptrdiff_t rowBytes = pixelBytes * image.width;
    const unsigned char* const first = image.pixels + (image.valid ? 3 : 1);
    const auto valueAt = [&](int x, int y) { return first + y * rowBytes + x * pixelBytes; };
    for (int crossed = firstCorner + blockSize - 1; crossed < height; crossed += blockSize)
        for (int x = firstCorner; x <= image.width - blockSize; ++x) {
            if (!isEdge(valueAt(x, crossed), pixelBytes, x)) continue;
            for (int y = crossed - blockSize + 1; y <= std::min(crossed, height - blockSize); ++y)
                if (isDarkCorner(valueAt(x, y), rowBytes, x, y)) return true;
        }
    return false;
}

}  // namespace kxCheck
