// SPDX-License-Identifier: BSD-3-Clause
// The image checks and the cache file once more, written as simply as their rules read, and independent of the
// system's own headers: the fast code is compared with this, bit for bit.
#pragma once

#include <array>
#include <cstddef>
#include <string>

// Four bytes r g b a a pixel, row by row.
struct PlainImage {
    unsigned char* bytes;
    int width;
    int height;
    bool valid;

    unsigned char& at(int x, int y, int channel) const {
        return bytes[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) *
                         4 +
                     static_cast<std::size_t>(channel)];
    }
};

// Bins of r, g, b and a, counts per million pixels.
using PlainHistogram = std::array<std::array<unsigned, 32>, 4>;
PlainHistogram plainHistogram(const PlainImage& image);

// Top left corners of dark 8 x 8 blocks with a bright border above and to the left, column by column.
unsigned plainMissingTiles(const PlainImage& image);
// Transparent pixels in opaque surroundings, column by column up to the first column that has one.
unsigned plainAlphaHoles(const PlainImage& image);
// What both searches and the histogram make of an image: 1 a missing tile, 2 an alpha hole.
unsigned short plainErrorBits(const PlainImage& image);

// The lossy vertical filter, column by column from the lowest row up, and its undoing.
void plainEncode(const PlainImage& image);
void plainDecode(const PlainImage& image);

// A zlib stream of the bytes, and back; empty for a stream that is damaged, cut, followed by more or longer than
// `sizeLimit`.
std::string plainDeflate(const std::string& bytes, int level = 6);
std::string plainInflate(const std::string& stream, std::size_t sizeLimit);

// Little-endian numbers of `size` bytes.
long long plainNumber(const std::string& bytes, std::size_t offset, std::size_t size);
void plainSetNumber(std::string& bytes, std::size_t offset, std::size_t size, long long value);

// A cache file as another program reads it, from the offsets of docs/cache-file-format.md alone.
struct PlainCacheFile {
    long long recordId;
    long long fileTime;
    long long fileSize;
    long long errorFlags;
    long long errorLevel;
    std::string infoText;
    long long averageRenderTime;
    PlainHistogram histogram;
    bool histogramValid;
    float analyseValue1;
    float analyseValue2;
    bool filtered;
    bool cacheFlag;
    bool valid;
    long long sourceWidth;
    long long sourceHeight;
    long long bitsPerChannel;
    std::string formatText;  // low byte of each character
    long long flags;
    long long width;
    long long height;
    std::string pixels;  // width * height * 4 bytes, decoded
};
// False for everything that is not a whole cache file of the current layout.
bool readPlainCacheFile(const std::string& fileBytes, PlainCacheFile& file);
