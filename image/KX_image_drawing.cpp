// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_image.h"
#include "image/private/kxRounding.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

using namespace kxRounding;

namespace {

float opacityOf(const _Rgba8& colour) {
    return static_cast<float>(colour.a) / 255.0F;
}

// What is left of a byte under a translucent colour, trunc(byte * share), as a multiplier: byte * multiplier >> 16.
// One of the two whole numbers about share * 65536 gives it for every byte, the one that is right for white.
std::uint16_t multiplierOf(float share) {
    const auto below = static_cast<unsigned>(share * 65536.0F);
    const bool isRight = 255 * below >> 16 == static_cast<unsigned>(255.0F * share);
    return static_cast<std::uint16_t>(isRight ? below : below + 1);
}

// A translucent colour (alpha 1 .. 254) laid over pixels: each channel is cut to a byte twice, once for what is
// left of the pixel and once for what the colour adds. The pixel's alpha stays. The numbers of the four channels
// stand there once for each pixel of a block, so that a block is one piece of vector arithmetic.
class Glaze {
public:
    explicit Glaze(const _Rgba8& colour) {
        const float opacity = opacityOf(colour);
        const std::uint16_t multiplier = multiplierOf(1.0F - opacity);
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
            const unsigned left = 1U * byte * multipliers_[i] >> 16;
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
        mix(static_cast<int>(i), pixel, 1.0F - fraction);
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
    const float opacity = static_cast<float>(alpha) / 255.0F;
    for (int i = 0; i < 3; ++i) {
        target[i] = static_cast<unsigned char>(static_cast<float>(source[i]) * opacity +
                                               static_cast<float>(target[i]) * (1.0F - opacity));
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
    // Steps along x when the line is at least as wide as high. NaN among the coordinates makes that false, and the
    // line steps along y; "<" for the opposite would send it along x.
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
