// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxRenderErrors.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace kxCHK {

// --- Histogram -------------------------------------------------------------------------------------------------

namespace {

constexpr std::size_t binCount = histogramBins;

// How many pixels have which pair of bins: in red and green, in blue and alpha. Counting pairs halves the
// increments of a pixel, and neighbouring pixels count in tables of their own: in a uniform area, an increment
// would otherwise wait for the store of the one before. The gaps keep equal bins of two tables from lying a
// multiple of 4096 bytes apart, which processors take for the same address at first.
struct PairCounts {
    unsigned redGreen[binCount * binCount];
    unsigned gap1[16];
    unsigned blueAlpha[binCount * binCount];
    unsigned gap2[16];
};

// Pixels whose pairs are found in one go, many bytes at once, before they are counted.
constexpr std::size_t pixelBlock = 1024;

// Two pairs a pixel: the bin of the first channel in the lower five bits, that of the second above. Two bytes are a
// little-endian word, as in all records here.
void findPairs(const unsigned char* rgba, std::size_t pixels, unsigned short (&pairs)[2 * pixelBlock]) {
    for (std::size_t i = 0; i < 2 * pixels; ++i) {
        unsigned short channels;
        std::memcpy(&channels, rgba + 2 * i, sizeof channels);
        pairs[i] = static_cast<unsigned short>((channels >> 3 & 0x1F) | (channels >> 6 & 0x3E0));
    }
}

void countPairs(const unsigned short* pair, PairCounts& counts) {
    ++counts.redGreen[pair[0]];
    ++counts.blueAlpha[pair[1]];
}

void countPixels(const unsigned char* rgba, std::size_t count, PairCounts (&counts)[2]) {
    unsigned short pairs[2 * pixelBlock];
    while (count > 0) {
        const std::size_t pixels = std::min(count, pixelBlock);
        findPairs(rgba, pixels, pairs);
        for (std::size_t i = 0; i + 1 < pixels; i += 2) {
            countPairs(pairs + 2 * i, counts[0]);
            countPairs(pairs + 2 * i + 2, counts[1]);
        }
        if (pixels % 2 == 1) countPairs(pairs + 2 * (pixels - 1), counts[0]);
        rgba += 4 * pixels;
        count -= pixels;
    }
}

void sumPairs(const PairCounts& counts, Histogram& histogram) {
    for (std::size_t pair = 0; pair < binCount * binCount; ++pair) {
        histogram[0][pair % binCount] += counts.redGreen[pair];
        histogram[1][pair / binCount] += counts.redGreen[pair];
        histogram[2][pair % binCount] += counts.blueAlpha[pair];
        histogram[3][pair / binCount] += counts.blueAlpha[pair];
    }
}

// The product is rounded to single precision before it is rounded half up to a whole number.
unsigned normalised(unsigned count, float factor) {
    const float scaled = static_cast<float>(count) * factor;
    return static_cast<unsigned>(static_cast<double>(scaled) + 0.5);
}

}  // namespace

Histogram histogramOf(const kxP::_imgRGBABuffer8& image) {
    Histogram histogram{};
    const unsigned count = image.pixelsInMemory();
    if (count == 0) return histogram;

    PairCounts counts[2] = {};
    countPixels(image.pixels, count, counts);
    sumPairs(counts[0], histogram);
    sumPairs(counts[1], histogram);

    const float factor = std::clamp(1000000.0F / static_cast<float>(count), 0.01F, 10.0F);
    for (auto& channel : histogram) {
        for (unsigned& bin : channel) bin = normalised(bin, factor);
    }
    return histogram;
}

// --- Error search ----------------------------------------------------------------------------------------------

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
    return histogram[3][binCount - 1] >= opaqueMinimum;
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
