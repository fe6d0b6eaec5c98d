// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_image.h"

#include "image/kxRounding.h"
#include "image/kxSampling.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

using namespace kxRounding;

// --- Gamma 2.2 -------------------------------------------------------------------------------------------------

unsigned char gammaTable[256];

namespace {

using Table = std::array<unsigned char, 256>;

// The quotient of the two floats, one unit in the last place below the float nearest to 1 / 2.2.
constexpr float gammaExponent = 1.0f / 2.2f;

Table makeDisplayValues() {
    Table table;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const float linear = static_cast<float>(i) / 255.0f;
        table[i] = static_cast<unsigned char>(roundToInt(powf(linear, gammaExponent) * 255.0f));
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
    return value > 0.0f && value < 1.0f ? powf(value, gammaExponent) : value;
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

// --- Scaling ---------------------------------------------------------------------------------------------------

namespace {

using namespace kxSampling;

// How a source is reduced into a box.
struct Reduction {
    float factorX, factorY;  // source pixels per target pixel
    int width, height;       // of the target
};

// Never below 1: the box scalers only reduce. A box of size 0 gives infinity. A source of size 0 as well gives NaN,
// which std::max passes over for its first argument.
float reductionFactor(int extent, int box) {
    return std::max(1.0f, static_cast<float>(extent) / static_cast<float>(box));
}

int evenExtent(int extent, float factor) {
    float reduced = static_cast<float>(extent) / factor;
    if (truncToInt(reduced) % 2 != 0) reduced -= 1.0f;
    return truncToInt(reduced);
}

Reduction proportionalReduction(int sourceWidth, int sourceHeight, int w, int h) {
    const float factor = std::max(reductionFactor(sourceWidth, w), reductionFactor(sourceHeight, h));
    return {factor, factor, evenExtent(sourceWidth, factor), evenExtent(sourceHeight, factor)};
}

Reduction freeReduction(int sourceWidth, int sourceHeight, int w, int h) {
    const float factorX = reductionFactor(sourceWidth, w);
    const float factorY = reductionFactor(sourceHeight, h);
    return {factorX, factorY, truncToInt(static_cast<float>(sourceWidth) / factorX),
            truncToInt(static_cast<float>(sourceHeight) / factorY)};
}

bool setTargetSize(kxP::_imgRGBABuffer8& dst, const Reduction& reduction) {
    const bool fits =
        dst.doesImageSizeFit(static_cast<unsigned>(reduction.width), static_cast<unsigned>(reduction.height));
    if (fits) {
        dst.setWidth(reduction.width);
        dst.setHeight(reduction.height);
    }
    return fits;
}

Area wholeArea(const kxP::_imgRGBABuffer8& image) {
    return {0, 0, image.width, image.height};
}

// The first steps of every box scaler. True when the source is smaller than the box in both axes: its bytes are
// copied as they lie, whatever they stand for. Otherwise it has to be reduced, and h is the height of the box.
template <class Source>
bool copySmallSource(const Source& src, kxP::_imgRGBABuffer8& dst, int w, int& h) {
    dst.copyHeaderFrom(src);
    if (h < 1) h = w;
    if (src.width >= w || src.height >= h) return false;
    const auto count = static_cast<int>(std::min<unsigned>(src.pixelsInMemory(), INT_MAX));
    dst.setWidth(src.width);
    dst.setHeight(src.height);
    dst.writeMulti(0, src.pixels, count);
    return true;
}

template <std::size_t N>
bool scaleJittered(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h,
                   const Offsets<N>& offsets, double spread) {
    const Reduction reduction = proportionalReduction(src.width, src.height, w, h);
    if (!setTargetSize(dst, reduction)) return false;
    unsigned seed = jitterSeed;
    sampleArea<N>(src, dst, wholeArea(dst), JitteredAxis<N>{offsets, reduction.factorY, src.height, spread, seed},
                  JitteredAxis<N>{offsets, reduction.factorX, src.width, spread, seed});
    return true;
}

template <std::size_t N, class Source>
bool scalePlain(const Source& src, kxP::_imgRGBABuffer8& dst, const Reduction& reduction,
                const Offsets<N>& rowOffsets, const Offsets<N>& columnOffsets) {
    if (!setTargetSize(dst, reduction)) return false;
    sampleArea<N>(src, dst, wholeArea(dst), PlainAxis<N>{rowOffsets, reduction.factorY, src.height},
                  PlainAxis<N>{columnOffsets, reduction.factorX, src.width});
    return true;
}

template <class Source>
bool scale4(const Source& src, kxP::_imgRGBABuffer8& dst, int w, int h) {
    if (copySmallSource(src, dst, w, h)) return true;
    return scalePlain(src, dst, proportionalReduction(src.width, src.height, w, h), offsets4, offsets4);
}

// True for reductions of less than two and a half times in both axes.
bool isSmallReduction(const kxP::_imgRGBABuffer8& src, int w, int h) {
    return src.width < w * 5LL / 2 && src.height < h * 5LL / 2;
}

// The part of the area that lies on the target; the area's corner is not negative.
Area clippedArea(const Area& area, const kxP::_imgRGBABuffer8& dst) {
    const long long columns = std::min<long long>(area.width, 0LL + dst.width - area.x);
    const long long rows = std::min<long long>(area.height, 0LL + dst.rowsInMemory() - area.y);
    return {area.x, area.y, static_cast<int>(std::max(columns, 0LL)), static_cast<int>(std::max(rows, 0LL))};
}

// First source pixel of an axis when the other axis gives the step of both.
int centredStart(float stepX, float stepY, int extent) {
    return std::max(0, roundToInt((1.0f - stepX * stepY) * (static_cast<float>(extent) * 0.5f)));
}

}  // namespace

bool kximgRGBABuffer8_Scale16(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h, bool) {
    if (copySmallSource(src, dst, w, h)) return true;
    return scaleJittered(src, dst, w, h, offsets16, static_cast<double>(0.14f));
}

bool kximgRGBABuffer8_Scale16_noProportions(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w,
                                            int h) {
    if (copySmallSource(src, dst, w, h)) return true;
    return scalePlain(src, dst, freeReduction(src.width, src.height, w, h), rowOffsetsFixed16,
                      columnOffsetsFixed16);
}

bool kximgRGBABuffer8_Scale9(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h, bool) {
    if (copySmallSource(src, dst, w, h)) return true;
    if (isSmallReduction(src, w, h)) return scale4(src, dst, w, h);
    return scaleJittered(src, dst, w, h, offsets9, static_cast<double>(0.15f));
}

bool kximgRGBABuffer8_Scale4(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h, bool) {
    return scale4(src, dst, w, h);
}

bool kximgRGBABuffer8_Scale4(const kxP::_imgRGBABufferf& src, kxP::_imgRGBABuffer8& dst, int w, int h, bool) {
    return scale4(src, dst, w, h);
}

void kximgRGBABuffer8_Scale9(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, float sx, float sy, int x,
                             int y, bool keepAspect) {
    dst.copyHeaderFrom(src);
    float stepX = 1.0f / sx;
    float stepY = 1.0f / sy;
    const Area area{std::max(x, 0), std::max(y, 0), roundToInt(static_cast<float>(src.width) / stepX),
                    roundToInt(static_cast<float>(src.height) / stepY)};
    // The start multiplies the steps where one would expect their quotient: only an enlargement is centred.
    int startX = 0;
    int startY = 0;
    if (keepAspect && stepX > stepY) {
        startX = centredStart(stepX, stepY, src.width);
        stepX = stepY;
    } else if (keepAspect) {
        startY = centredStart(stepX, stepY, src.height);
        stepY = stepX;
    }
    const bool fits = dst.doesImageSizeFit(static_cast<unsigned>(area.x) + static_cast<unsigned>(area.width),
                                           static_cast<unsigned>(area.y) + static_cast<unsigned>(area.height));
    if (!fits || area.height < 1 || src.width < 1 || src.height < 1) return;
    sampleArea<3>(src, dst, clippedArea(area, dst), RoundedAxis<3>{offsets9, stepY, src.height, startY},
                  RoundedAxis<3>{offsets9, stepX, src.width, startX});
}

// --- Drawing ---------------------------------------------------------------------------------------------------

namespace {

float opacityOf(const _Rgba8& colour) {
    return static_cast<float>(colour.a) / 255.0f;
}

// What is left of a byte under a translucent colour, trunc(byte * share), as a multiplier: byte * multiplier >> 16.
// One of the two whole numbers about share * 65536 gives it for every byte, the one that is right for white.
std::uint16_t multiplierOf(float share) {
    const auto below = static_cast<unsigned>(share * 65536.0f);
    const bool isRight = 255 * below >> 16 == static_cast<unsigned>(255.0f * share);
    return static_cast<std::uint16_t>(isRight ? below : below + 1);
}

// A translucent colour (alpha 1 .. 254) laid over pixels: each channel is cut to a byte twice, once for what is
// left of the pixel and once for what the colour adds. The pixel's alpha stays. The numbers of the four channels
// stand there once for each pixel of a block, so that a block is one piece of vector arithmetic.
class Glaze {
public:
    explicit Glaze(const _Rgba8& colour) {
        const float opacity = opacityOf(colour);
        const std::uint16_t multiplier = multiplierOf(1.0f - opacity);
        const auto part = [&](int channel) { return static_cast<float>(channel) * opacity; };
        const float added[3] = {part(colour.r), part(colour.g), part(colour.b)};
        for (int i = 0; i < blockBytes; ++i) {
            const bool isAlpha = i % 4 == 3;
            multipliers_[i] = isAlpha ? 0 : multiplier;
            kept_[i] = isAlpha ? 255 : 0;
            added_[i] = isAlpha ? 0 : static_cast<unsigned char>(added[i % 4]);
        }
    }

    // Out of line, because compilers find the vector arithmetic only where the numbers come from memory.
    [[gnu::noinline]] void layOver(unsigned char* pixel, std::size_t count) const {
        for (; count >= blockBytes / 4; count -= blockBytes / 4, pixel += blockBytes) {
            layOverBytes<blockBytes>(pixel);
        }
        for (; count > 0; --count, pixel += 4) layOverBytes<4>(pixel);
    }

private:
    static constexpr int blockBytes = 16;

    template <int Bytes>
    void layOverBytes(unsigned char* bytes) const {
        unsigned char mixed[Bytes];
        for (int i = 0; i < Bytes; ++i) {
            const std::uint16_t byte = bytes[i];
            const unsigned left = 1u * byte * multipliers_[i] >> 16;
            mixed[i] = static_cast<unsigned char>((left | (byte & kept_[i])) + added_[i]);
        }
        std::memcpy(bytes, mixed, Bytes);
    }

    std::uint16_t multipliers_[blockBytes];
    unsigned char kept_[blockBytes];
    unsigned char added_[blockBytes];
};

void fillRun(unsigned char* pixel, std::size_t count, const _Rgba8& colour) {
    for (std::size_t i = 0; i < count; ++i) std::memcpy(pixel + 4 * i, &colour, 4);
}

// Lines of more points are followed only up to so many pixels of linear index beyond either end of the memory.
constexpr long long longestLine = 1 << 25;
constexpr long long lineReach = 1 << 24;

// One axis of a line: `stride` is what a step of one pixel adds to the linear index.
struct LineAxis {
    long long from, to;
    unsigned stride;
};

// Calls put(linear index) for every point, ends included, by rising major coordinate. The index is 32-bit and
// wraps. A line may be four thousand million points long: of such lines the points whose major coordinate alone is
// worth more than lineReach beyond the memory are left out. They could only be in memory when their minor
// coordinate leads as far in the other direction.
template <class Put>
void forEachPoint(const LineAxis& major, const LineAxis& minor, unsigned pixelsInMemory, Put put) {
    const float slope = static_cast<float>(minor.from - minor.to) / static_cast<float>(major.from - major.to);
    long long first = std::min(major.from, major.to);
    long long last = std::max(major.from, major.to);
    if (last - first >= longestLine) {
        const long long reach = (pixelsInMemory + lineReach) / major.stride;
        first = std::max(first, -reach);
        last = std::min(last, reach);
    }
    for (long long i = first; i <= last; ++i) {
        const double offset = halfAwayFromZero(static_cast<float>(i - major.from) * slope);
        const long long j = minor.from + static_cast<long long>(offset);
        put(static_cast<unsigned>(i) * major.stride + static_cast<unsigned>(j) * minor.stride);
    }
}

template <class Put>
void forEachLinePoint(const kxP::_imgRGBABuffer8& image, int x0, int y0, int x1, int y1, Put put) {
    const LineAxis x{x0, x1, 1};
    const LineAxis y{y0, y1, static_cast<unsigned>(image.width)};
    const unsigned count = image.pixelsInMemory();
    if (x0 == x1 && y0 == y1) {
        put(static_cast<unsigned>(y0) * y.stride + static_cast<unsigned>(x0));
    } else if (std::llabs(y.to - y.from) < std::llabs(x.to - x.from)) {
        forEachPoint(x, y, count, put);
    } else {
        forEachPoint(y, x, count, put);
    }
}

// Calls mix(major, minor, coverage) for the two pixels beside the line at every whole major coordinate that is in
// the image; `extent` is the image's on the major axis.
template <class Mix>
void forEachCoveredPair(float major0, float minor0, float major1, float minor1, long long extent, Mix mix) {
    const int start = roundToInt(major0);
    const int end = roundToInt(major1);
    const float slope = (minor0 - minor1) / (major0 - major1);
    const auto first = std::max<long long>(std::min(start, end), 0);
    const auto last = std::min<long long>(std::max(start, end), extent - 1);
    for (long long i = first; i <= last; ++i) {
        const float minor = (static_cast<float>(i) - major0) * slope + minor0;
        const float below = floorf(minor);
        const float fraction = minor - below;
        const int pixel = truncToInt(below);
        mix(static_cast<int>(i), pixel, 1.0f - fraction);
        mix(static_cast<int>(i), pixel + 1, fraction);
    }
}

// Where a placed image and its target meet. The first source pixel drawn lands on (targetX, targetY).
struct Overlap {
    long long sourceX, sourceY, targetX, targetY, columns, rows;
};

Overlap overlapOf(const kxP::_imgRGBABuffer8& dst, const kxP::_imgRGBABuffer8& src, long long left, long long top) {
    const long long targetX = std::max(left, 0LL);
    const long long targetY = std::max(top, 0LL);
    return {targetX - left,
            targetY - top,
            targetX,
            targetY,
            std::min<long long>(left + src.width, dst.width) - targetX,
            std::min<long long>(top + src.rowsInMemory(), dst.rowsInMemory()) - targetY};
}

void placePixel(unsigned char* target, const unsigned char* source) {
    const unsigned char alpha = source[3];
    if (alpha == 0) return;
    if (alpha == 255) {
        std::memmove(target, source, 4);
        return;
    }
    const float opacity = static_cast<float>(alpha) / 255.0f;
    for (int i = 0; i < 3; ++i) {
        target[i] = static_cast<unsigned char>(static_cast<float>(source[i]) * opacity +
                                               static_cast<float>(target[i]) * (1.0f - opacity));
    }
}

long long anchorOffsetX(const kxP::_imgRGBABuffer8& src, int mode) {
    if (mode & alignRight) return -static_cast<long long>(src.width);
    return mode & alignHorizontalCentre ? -static_cast<long long>(src.width / 2) : 0;
}

long long anchorOffsetY(const kxP::_imgRGBABuffer8& src, int mode) {
    if (mode & alignVerticalCentre) return -static_cast<long long>(src.height / 2);
    return mode & alignBottom ? -static_cast<long long>(src.height) : 0;
}

}  // namespace

void kximgRGBABuffer8_DrawLine(kxP::_imgRGBABuffer8& image, _Rgba8 c, int x0, int y0, int x1, int y1) {
    if (c.a == 0 || image.width < 1) return;
    if (c.a < 255) {
        const Glaze glaze(c);
        const unsigned count = image.pixelsInMemory();
        forEachLinePoint(image, x0, y0, x1, y1, [&](unsigned index) {
            if (index < count) glaze.layOver(image.pixels + std::size_t{4} * index, 1);
        });
    } else if (x0 == x1 && y0 == y1) {
        image.write(x0, y0, c);
    } else {
        forEachLinePoint(image, x0, y0, x1, y1, [&](unsigned index) { image.write(static_cast<int>(index), c); });
    }
}

void kximgRGBABuffer8_DrawLineAA(kxP::_imgRGBABuffer8& image, _Rgba8 c, float x0, float y0, float x1, float y1) {
    if (c.a == 0) return;
    const float opacity = opacityOf(c);
    const long long columns = std::min<long long>(image.width, image.capacity);
    const long long rows = std::min<long long>(image.height, image.capacity);
    if (!(fabsf(x1 - x0) >= fabsf(y1 - y0))) {
        forEachCoveredPair(y0, x0, y1, x1, rows,
                           [&](int y, int x, float coverage) { image.writeMix(x, y, c, coverage * opacity); });
    } else if (roundToInt(x0) == roundToInt(x1)) {
        image.writeMix(roundToInt(x0), roundToInt(y0), c, opacity);
    } else {
        forEachCoveredPair(x0, y0, x1, y1, columns,
                           [&](int x, int y, float coverage) { image.writeMix(x, y, c, coverage * opacity); });
    }
}

void kximgRGBABuffer8_fillRect(kxP::_imgRGBABuffer8& image, _Rgba8 c, int x, int y, unsigned w, unsigned h) {
    if (c.a == 0 || w == 0 || h == 0 || image.width < 1 || image.height < 1) return;
    const int left = std::clamp(x, 0, image.width - 1);
    const int top = std::clamp(y, 0, image.height - 1);
    const auto columns = std::min<long long>(w, image.width - left);
    const auto rows = std::min<long long>(h, image.rowsInMemory() - top);
    if (rows < 1) return;
    const auto rowAt = [&](long long row) { return image.pixels + 4 * ((top + row) * image.width + left); };
    const auto count = static_cast<std::size_t>(columns);
    if (c.a == 255) {
        fillRun(rowAt(0), count, c);
        for (long long row = 1; row < rows; ++row) std::memcpy(rowAt(row), rowAt(0), 4 * count);
    } else {
        const Glaze glaze(c);
        for (long long row = 0; row < rows; ++row) glaze.layOver(rowAt(row), count);
    }
}

// Column by column: that shows only when an image is placed onto itself, where pixels that were drawn before are
// read again. All other images are walked row by row, as they lie in memory.
void kximgRGBABuffer8_drawImage(kxP::_imgRGBABuffer8& dst, kxP::_imgRGBABuffer8& src, int x, int y,
                                const int& mode) {
    if (src.width < 1) return;
    const Overlap area = overlapOf(dst, src, x + anchorOffsetX(src, mode), y + anchorOffsetY(src, mode));
    if (area.columns < 1 || area.rows < 1) return;
    const auto place = [&](long long column, long long row) {
        placePixel(dst.pixels + 4 * ((area.targetY + row) * dst.width + area.targetX + column),
                   src.pixels + 4 * ((area.sourceY + row) * src.width + area.sourceX + column));
    };
    if (src.pixels == dst.pixels) {
        for (long long column = 0; column < area.columns; ++column) {
            for (long long row = 0; row < area.rows; ++row) place(column, row);
        }
    } else {
        for (long long row = 0; row < area.rows; ++row) {
            for (long long column = 0; column < area.columns; ++column) place(column, row);
        }
    }
}
