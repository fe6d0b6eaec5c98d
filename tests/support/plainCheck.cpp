// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/plainCheck.h"

#include <zlib.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

PlainHistogram plainHistogram(const PlainImage& image) {
    PlainHistogram bins{};
    const int count = image.width * image.height;
    if (count == 0) return bins;
    for (int i = 0; i < count; ++i) {
        const unsigned char* rgba = image.bytes + 4 * static_cast<std::size_t>(i);
        ++bins[0][rgba[0] >> 3];
        ++bins[1][rgba[1] >> 3];
        ++bins[2][rgba[2] >> 3];
        ++bins[3][rgba[3] >> 3];
    }
    float factor = 1000000.0F / static_cast<float>(count);
    if (factor < 0.01F) factor = 0.01F;
    if (factor > 10.0F) factor = 10.0F;
    for (auto& channel : bins) {
        for (unsigned& bin : channel) {
            const float scaled = static_cast<float>(bin) * factor;
            bin = static_cast<unsigned>(static_cast<double>(scaled) + 0.5);
        }
    }
    return bins;
}

namespace {

bool isTileCorner(const PlainImage& image, int x, int y, int channel) {
    if (image.at(x, y, channel) != 0) return false;
    for (int i = 1; i <= 7; ++i) {
        if (image.at(x + i, y, channel) != 0) return false;
        if (image.at(x, y + i, channel) != 0) return false;
    }
    for (int i = 0; i <= 7; ++i) {
        if (image.at(x + i, y - 1, channel) < 128) return false;
        if (image.at(x - 1, y + i, channel) < 128) return false;
    }
    return true;
}

bool isHole(const PlainImage& image, int x, int y) {
    return image.at(x, y, 3) <= 254 && image.at(x - 1, y, 3) == 255 && image.at(x + 1, y, 3) == 255 &&
           image.at(x, y - 1, 3) == 255 && image.at(x, y + 1, 3) == 255 && image.at(x, y, 1) >= 11;
}

}  // namespace

unsigned plainMissingTiles(const PlainImage& image) {
    unsigned hits = 0;
    if (image.width < 13 || image.height < 13) return hits;
    const int channel = image.valid ? 3 : 1;
    for (int x = 2; x < image.width - 10; ++x) {
        for (int y = 2; y < image.height - 10; ++y) {
            if (isTileCorner(image, x, y, channel)) ++hits;
        }
    }
    return hits;
}

unsigned plainAlphaHoles(const PlainImage& image) {
    unsigned holes = 0;
    for (int x = 1; x <= image.width - 2; ++x) {
        for (int y = 1; y <= image.height - 2; ++y) {
            if (isHole(image, x, y)) ++holes;
        }
        if (holes > 0) break;
    }
    return holes;
}

unsigned short plainErrorBits(const PlainImage& image) {
    unsigned short bits = 0;
    if (plainMissingTiles(image) > 0) bits |= 1;
    const bool opaque = plainHistogram(image)[3][31] >= 999001;
    if (image.valid && opaque && plainAlphaHoles(image) > 0) bits |= 2;
    return bits;
}

void plainEncode(const PlainImage& image) {
    for (int x = image.width - 1; x >= 0; --x) {
        bool carry[4] = {};
        for (int y = image.height - 1; y >= 1; --y) {
            for (int channel = 0; channel < 4; ++channel) {
                const int above = image.at(x, y - 1, channel);
                int residual = (image.at(x, y, channel) - above + 256) % 256;
                if (carry[channel]) {
                    residual = (residual + 1) % 256;
                    carry[channel] = false;
                } else if (residual % 2 == 1 && y >= 3 && above + residual < 255) {
                    residual -= 1;
                    carry[channel] = true;
                }
                image.at(x, y, channel) = static_cast<unsigned char>(residual);
            }
        }
    }
}

void plainDecode(const PlainImage& image) {
    for (int y = 1; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            for (int channel = 0; channel < 4; ++channel) {
                const int sum = image.at(x, y, channel) + image.at(x, y - 1, channel);
                image.at(x, y, channel) = static_cast<unsigned char>(sum % 256);
            }
        }
    }
}

std::string plainDeflate(const std::string& bytes, int level) {
    uLongf size = compressBound(bytes.size());
    std::string stream(size, '\0');
    if (compress2(reinterpret_cast<Bytef*>(stream.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
                  bytes.size(), level) != Z_OK) {
        std::abort();
    }
    stream.resize(size);
    return stream;
}

std::string plainInflate(const std::string& stream, std::size_t sizeLimit) {
    std::string bytes(sizeLimit, '\0');
    uLongf size = sizeLimit;
    uLong used = stream.size();
    const int result = uncompress2(reinterpret_cast<Bytef*>(bytes.data()), &size,
                                   reinterpret_cast<const Bytef*>(stream.data()), &used);
    if (result != Z_OK || used != stream.size()) return {};
    bytes.resize(size);
    return bytes;
}

long long plainNumber(const std::string& bytes, std::size_t offset, std::size_t size) {
    unsigned long long value = 0;
    for (std::size_t i = size; i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(bytes.at(offset + i));
    }
    // Sign of the highest byte.
    const std::size_t unused = 64 - 8 * size;
    return static_cast<long long>(value << unused) >> unused;
}

void plainSetNumber(std::string& bytes, std::size_t offset, std::size_t size, long long value) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes.at(offset + i) = static_cast<char>(static_cast<unsigned long long>(value) >> (8 * i));
    }
}

namespace {

float plainFloat(const std::string& bytes, std::size_t offset) {
    const auto bits = static_cast<unsigned>(plainNumber(bytes, offset, 4));
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// 16-bit length, then characters of `unit` bytes.
std::string plainText(const std::string& bytes, std::size_t offset, std::size_t unit) {
    std::string text;
    const long long length = plainNumber(bytes, offset, 2);
    for (long long i = 0; i < length; ++i) text += bytes.at(offset + 2 + static_cast<std::size_t>(i) * unit);
    return text;
}

PlainHistogram plainBins(const std::string& bytes, std::size_t offset) {
    PlainHistogram bins;
    for (auto& channel : bins) {
        for (unsigned& bin : channel) {
            bin = static_cast<unsigned>(plainNumber(bytes, offset, 4));
            offset += 4;
        }
    }
    return bins;
}

}  // namespace

bool readPlainCacheFile(const std::string& fileBytes, PlainCacheFile& file) {
    constexpr std::size_t headerSize = 1188;
    constexpr std::size_t wholeSize = 761188;
    const std::string bytes = plainInflate(fileBytes, wholeSize);
    if (bytes.size() != wholeSize) return false;
    file.recordId = plainNumber(bytes, 0, 2);
    if (file.recordId != 3587) return false;
    file.fileTime = plainNumber(bytes, 4, 8);
    file.fileSize = plainNumber(bytes, 12, 8);
    file.errorFlags = plainNumber(bytes, 22, 2);
    file.errorLevel = plainNumber(bytes, 24, 1);
    file.infoText = plainText(bytes, 26, 1);
    file.averageRenderTime = plainNumber(bytes, 80, 4);
    file.histogram = plainBins(bytes, 84);
    file.histogramValid = bytes[596] != 0;
    file.analyseValue1 = plainFloat(bytes, 600);
    file.analyseValue2 = plainFloat(bytes, 604);
    file.filtered = bytes[612] & 1;
    file.cacheFlag = bytes[612] & 2;
    file.valid = bytes[616] != 0;
    file.sourceWidth = plainNumber(bytes, 624, 4);
    file.sourceHeight = plainNumber(bytes, 628, 4);
    file.bitsPerChannel = plainNumber(bytes, 633, 1);
    file.formatText = plainText(bytes, 636, 2);
    file.flags = plainNumber(bytes, 1148, 1);
    file.width = plainNumber(bytes, 1160, 4);
    file.height = plainNumber(bytes, 1164, 4);
    file.pixels = bytes.substr(headerSize, static_cast<std::size_t>(file.width * file.height) * 4);
    const PlainImage image{reinterpret_cast<unsigned char*>(file.pixels.data()), static_cast<int>(file.width),
                           static_cast<int>(file.height), file.valid};
    if (file.filtered) plainDecode(image);
    return true;
}
