// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxHistogram.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace kxCHK {

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

}  // namespace kxCHK
