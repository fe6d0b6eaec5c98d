// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_image.h"
#include "image/private/kxRounding.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

using namespace kxRounding;

unsigned char gammaTable[256];

namespace {

using Table = std::array<unsigned char, 256>;

// The quotient of the two floats, one unit in the last place below the float nearest to 1 / 2.2.
constexpr float gammaExponent = 1.0F / 2.2F;

Table makeDisplayValues() {
    Table table;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const float linear = static_cast<float>(i) / 255.0F;
        table[i] = static_cast<unsigned char>(roundToInt(powf(linear, gammaExponent) * 255.0F));
    }
    std::copy(table.begin(), table.end(), gammaTable);
    return table;
}

// The contents of gammaTable, which anyone may write to, made once. The first call fills gammaTable; the others
// write to it only when it was changed, so that conversions in several threads do not disturb each other.
const Table& displayValues() {
    static const Table table = makeDisplayValues();
    if (!std::equal(table.begin(), table.end(), gammaTable)) std::copy(table.begin(), table.end(), gammaTable);
    return table;
}

void mapColourBytes(kxP::_imgRGBABuffer8& image, const Table& table) {
    unsigned char* const end = image.pixels + std::size_t{4} * image.pixelsInMemory();
    for (unsigned char* pixel = image.pixels; pixel != end; pixel += 4) {
        pixel[0] = table[pixel[0]];
        pixel[1] = table[pixel[1]];
        pixel[2] = table[pixel[2]];
    }
}

// For every value the lowest index whose entry is not below it. The table never falls and ends at 255, so the index
// only moves forward and always stops.
Table inverseOf(const Table& table) {
    Table inverse;
    unsigned char index = 0;
    for (std::size_t value = 0; value < inverse.size(); ++value) {
        while (table[index] < value) ++index;
        inverse[value] = index;
    }
    return inverse;
}

float withGamma(float value) {
    return value > 0.0F && value < 1.0F ? powf(value, gammaExponent) : value;
}

}  // namespace

void gammaTable_InitNow() {
    displayValues();
}

void kximgRGBABuffer8_doGamma22(kxP::_imgRGBABuffer8& image) {
    mapColourBytes(image, displayValues());
    image.flags |= KX_IMG_GAMMA22;
}

void kximgRGBABufferf_doGamma22(kxP::_imgRGBABufferf& image) {
    gammaTable_InitNow();
    const auto pixels = reinterpret_cast<_Rgbaf*>(image.pixels);
    const unsigned count = image.pixelsInMemory();
    for (unsigned i = 0; i < count; ++i) {
        _Rgbaf& pixel = pixels[i];
        pixel.r = withGamma(pixel.r);
        pixel.g = withGamma(pixel.g);
        pixel.b = withGamma(pixel.b);
    }
    image.flags |= KX_IMG_GAMMA22;
}

void kximgRGBABuffer8_undoGamma22(kxP::_imgRGBABuffer8& image) {
    mapColourBytes(image, inverseOf(displayValues()));
    image.flags = static_cast<unsigned char>(image.flags & ~KX_IMG_GAMMA22);
}
