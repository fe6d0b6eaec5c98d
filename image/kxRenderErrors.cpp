// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxRenderErrors.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace kxCHK {

namespace {

constexpr int tileSize = 8;
constexpr unsigned char brightMinimum = 128;
// Tile corners are looked for from this position on, and at least this far from the right and lower side.
constexpr int tileFirst = 2;
constexpr int tileMargin = 10;
// Alpha pixels count as missing only in a frame whose top alpha bin holds more than 99.9 % of a million.
constexpr unsigned opaqueMinimum = 999001;
constexpr unsigned char holeGreenMinimum = 11;

// The pixels of an image as rows; `height` counts the rows that are in memory.
struct PixelRows {
    explicit PixelRows(const kxP::_imgRGBABuffer8& image)
        : pixels(image.pixels), width(image.width), height(image.rowsInMemory()) {}

    const unsigned char* at(int x, int y) const {
        return pixels +
               4 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x));
    }
    std::size_t rowBytes() const { return 4 * static_cast<std::size_t>(width); }

    const unsigned char* pixels;
    int width;
    int height;
};

// `corner` is the test channel's byte of a block's top left pixel.
bool isMissingTile(const unsigned char* corner, std::size_t rowBytes) {
    const unsigned char* above = corner - rowBytes;
    for (std::size_t i = 0; i < tileSize; ++i) {
        const unsigned char* column = corner + i * rowBytes;
        if (corner[4 * i] != 0 || column[0] != 0) return false;
        if (above[4 * i] < brightMinimum || column[-4] < brightMinimum) return false;
    }
    return true;
}

// Looks for the left side of a block that crosses row y: a zero with a bright pixel to its left. The block's corner
// is in one of the `tileSize` rows that end here.
bool rowCrossesMissingTile(const PixelRows& rows, int channel, int y) {
    const unsigned char* row = rows.at(0, y) + channel;
    const int lastCorner = std::min(y, rows.height - tileMargin - 1);
    for (int x = tileFirst; x < rows.width - tileMargin; ++x) {
        const unsigned char* value = row + 4 * static_cast<std::size_t>(x);
        if (value[0] != 0 || value[-4] < brightMinimum) continue;
        for (int corner = y - tileSize + 1; corner <= lastCorner; ++corner) {
            if (isMissingTile(rows.at(x, corner) + channel, rows.rowBytes())) return true;
        }
    }
    return false;
}

bool isOpaqueRow(const unsigned char* row, int width) {
    unsigned together = ~0U;
    for (int x = 0; x < width; ++x) {
        unsigned pixel;
        std::memcpy(&pixel, row + 4 * static_cast<std::size_t>(x), sizeof pixel);
        together &= pixel;
    }
    unsigned char rgba[4];
    std::memcpy(rgba, &together, sizeof rgba);
    return rgba[3] == 255;
}

bool isAlphaHole(const unsigned char* pixel, std::size_t rowBytes) {
    const unsigned char* alpha = pixel + 3;
    return alpha[0] != 255 && alpha[-4] == 255 && alpha[4] == 255 && (alpha - rowBytes)[0] == 255 &&
           alpha[rowBytes] == 255 && pixel[1] >= holeGreenMinimum;
}

}  // namespace

// Every block crosses exactly one of each eight rows, so only these are walked.
bool hasMissingTile(const kxP::_imgRGBABuffer8& image) {
    const PixelRows rows(image);
    const int channel = image.valid ? 3 : 1;
    for (int corner = tileFirst; corner < rows.height - tileMargin; corner += tileSize) {
        if (rowCrossesMissingTile(rows, channel, corner + tileSize - 1)) return true;
    }
    return false;
}

bool isPracticallyOpaque(const Histogram& histogram) {
    return histogram[3][histogramBins - 1] >= opaqueMinimum;
}

bool hasMissingAlpha(const kxP::_imgRGBABuffer8& image) {
    const PixelRows rows(image);
    for (int y = 1; y < rows.height - 1; ++y) {
        if (isOpaqueRow(rows.at(0, y), rows.width)) continue;
        for (int x = 1; x < rows.width - 1; ++x) {
            if (isAlphaHole(rows.at(x, y), rows.rowBytes())) return true;
        }
    }
    return false;
}

}  // namespace kxCHK
