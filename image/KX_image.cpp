#include "image/KX_image.h"

#include <cmath>
#include <limits>

namespace {

// Truncates toward zero; beyond the range of int the nearest int, NaN is 0.
template <class Float>
int truncToInt(Float value) {
    constexpr Float limit = static_cast<Float>(2147483648.0);
    if (value >= limit) return std::numeric_limits<int>::max();
    if (value > -limit) return static_cast<int>(value);
    return value < 0 ? std::numeric_limits<int>::min() : 0;
}

// Rounds half away from zero.
int roundToInt(float value) {
    return truncToInt(static_cast<double>(value) + (value < 0 ? -0.5 : 0.5));
}

}  // namespace

// --- Gamma 2.2 -------------------------------------------------------------------------------------------------

unsigned char gammaTable[256];

namespace {

// The quotient of the two floats, one unit in the last place below the float nearest to 1 / 2.2.
constexpr float gammaExponent = 1.0f / 2.2f;

void mapColourBytes(kxP::_imgRGBABuffer8& image, const unsigned char (&table)[256]) {
    unsigned char* const end = image.pixels + std::size_t{4} * image.pixelsInMemory();
    for (unsigned char* pixel = image.pixels; pixel != end; pixel += 4) {
        pixel[0] = table[pixel[0]];
        pixel[1] = table[pixel[1]];
        pixel[2] = table[pixel[2]];
    }
}

// For every value the lowest index whose gammaTable entry is not below it. The table never falls and ends at
// 255, so the index only moves forward and always stops.
void invertGammaTable(unsigned char (&inverse)[256]) {
    unsigned char index = 0;
    for (unsigned value = 0; value < 256; ++value) {
        while (gammaTable[index] < value) ++index;
        inverse[value] = index;
    }
}

float withGamma(float value) {
    return value > 0.0f && value < 1.0f ? powf(value, gammaExponent) : value;
}

}  // namespace

void gammaTable_InitNow() {
    for (int i = 0; i < 256; ++i) {
        const float linear = static_cast<float>(i) / 255.0f;
        gammaTable[i] = static_cast<unsigned char>(roundToInt(powf(linear, gammaExponent) * 255.0f));
    }
}

void kximgRGBABuffer8_doGamma22(kxP::_imgRGBABuffer8& image) {
    gammaTable_InitNow();
    mapColourBytes(image, gammaTable);
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
    gammaTable_InitNow();
    unsigned char inverse[256];
    invertGammaTable(inverse);
    mapColourBytes(image, inverse);
    image.flags = static_cast<unsigned char>(image.flags & ~KX_IMG_GAMMA22);
}
