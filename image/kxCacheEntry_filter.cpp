// SPDX-License-Identifier: BSD-3-Clause
// The filter of a cache file's pixels, see docs/cache-file-format.md.
#include "image/KX_DataTypes_image.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace kxCHK {

unsigned char paethPredictor(int a, int b, int c) {
    // 64 bits: three extreme ints would overflow 32.
    const long long p = static_cast<long long>(a) + b - c;
    const long long pa = std::llabs(p - a);
    const long long pb = std::llabs(p - b);
    const long long pc = std::llabs(p - c);
    if (pa <= pb && pa <= pc) return static_cast<unsigned char>(a);
    return static_cast<unsigned char>(pb <= pc ? b : c);
}

namespace {

// Bytes of a row that are encoded together, from the lowest row to the uppermost.
constexpr std::size_t encodedBlock = 4096;

// `carry` holds 1 for each byte whose residual in the row below was lowered by one to make it even. `mayLower` is 1
// in rows whose residuals may be lowered, else 0. All in bytes and without branches, so that the compiler works on
// many bytes at once.
void encodeRow(unsigned char* row, const unsigned char* above, unsigned char* carry, std::size_t count,
               unsigned char mayLower) {
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned char value = row[i];
        const auto residual = static_cast<unsigned char>(value - above[i]);
        // above + residual < 255 without wrapping
        const auto fits = static_cast<unsigned char>((value >= above[i]) & (value != 255));
        const auto lowered = static_cast<unsigned char>(residual & fits & mayLower & (carry[i] ^ 1));
        row[i] = static_cast<unsigned char>(residual + carry[i] - lowered);
        carry[i] = lowered;
    }
}

void decodeRow(unsigned char* row, const unsigned char* above, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) row[i] = static_cast<unsigned char>(row[i] + above[i]);
}

}  // namespace

void encodePredictionFilter(kxP::_imgRGBABuffer8 const* image) {
    constexpr int firstLoweredRow = 3;
    const int rows = image->rowsInMemory();
    const std::size_t rowBytes = rows > 0 ? 4 * static_cast<std::size_t>(image->width) : 0;
    for (std::size_t start = 0; start < rowBytes; start += encodedBlock) {
        const std::size_t count = std::min(encodedBlock, rowBytes - start);
        unsigned char carry[encodedBlock] = {};
        for (int y = rows - 1; y >= 1; --y) {
            unsigned char* row = image->pixels + static_cast<std::size_t>(y) * rowBytes + start;
            encodeRow(row, row - rowBytes, carry, count, y >= firstLoweredRow);
        }
    }
}

void decodePredictionFilter(kxP::_imgRGBABuffer8 const* image) {
    const int rows = image->rowsInMemory();
    const std::size_t rowBytes = rows > 0 ? 4 * static_cast<std::size_t>(image->width) : 0;
    for (int y = 1; y < rows; ++y) {
        unsigned char* row = image->pixels + static_cast<std::size_t>(y) * rowBytes;
        decodeRow(row, row - rowBytes, rowBytes);
    }
}

}  // namespace kxCHK
