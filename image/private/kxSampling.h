// SPDX-License-Identifier: BSD-3-Clause
// The sampling loop of the scalers: which source pixels a target pixel is made of, and how they are averaged.
#pragma once

#include "image/private/kxRounding.h"
#include "shared/kxImageBuffer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace kxSampling {

using kxRounding::roundToInt;
using kxRounding::truncToInt;

// Sums of 8-bit pixels: r and b, g and a share a word each, 16 bits a channel.
template <unsigned Samples>
class ByteSums {
    static_assert(Samples <= 257, "so many bytes fit 16 bits");

public:
    static constexpr unsigned pixelBytes = 4;

    void add(const unsigned char* pixel) {
        std::uint32_t word;
        std::memcpy(&word, pixel, sizeof word);
        redBlue_ += word & 0x00ff00ffU;
        greenAlpha_ += (word >> 8) & 0x00ff00ffU;
    }
    _Rgba8 average() const {
        return {static_cast<unsigned char>((redBlue_ & 0xffffU) / Samples),
                static_cast<unsigned char>((greenAlpha_ & 0xffffU) / Samples),
                static_cast<unsigned char>((redBlue_ >> 16) / Samples),
                static_cast<unsigned char>((greenAlpha_ >> 16) / Samples)};
    }

private:
    std::uint32_t redBlue_ = 0;
    std::uint32_t greenAlpha_ = 0;
};

// Four channels at once, in the vector types that g++ and clang++ share: neither vectorises these sums by itself.
using FourFloats = float __attribute__((vector_size(16)));
using FourInts = int __attribute__((vector_size(16)));
using FourUnsigned = unsigned __attribute__((vector_size(16)));

// Sums of at most four float pixels, each channel of each sample converted to an integer first, 1.0 being 255.
// Channels beyond two million times white count as the limit, NaN as the lower one, so that the sums stay within
// int.
template <unsigned Samples>
class FloatSums {
    static_assert(Samples <= 4, "the limit is a quarter of the range of int");

public:
    static constexpr unsigned pixelBytes = 16;

    void add(const unsigned char* pixel) {
        constexpr FourFloats lowest = {-536870912.0F, -536870912.0F, -536870912.0F, -536870912.0F};
        constexpr FourFloats highest = {536870848.0F, 536870848.0F, 536870848.0F, 536870848.0F};
        FourFloats channels;
        std::memcpy(&channels, pixel, sizeof channels);
        channels *= 255.0F;
        channels = channels > lowest ? channels : lowest;
        channels = channels < highest ? channels : highest;
        sums_ += __builtin_convertvector(channels, FourInts);
    }
    _Rgba8 average() const {
        constexpr int white = 255 * Samples;
        FourInts sums = sums_ > 0 ? sums_ : 0;
        sums = sums < white ? sums : white;
        const FourUnsigned means = reinterpret_cast<FourUnsigned>(sums) / Samples;
        return {static_cast<unsigned char>(means[0]), static_cast<unsigned char>(means[1]),
                static_cast<unsigned char>(means[2]), static_cast<unsigned char>(means[3])};
    }

private:
    FourInts sums_ = {0, 0, 0, 0};
};

template <class Source, unsigned Samples>
using SumsOf =
    std::conditional_t<std::is_same_v<Source, kxP::_imgRGBABufferf>, FloatSums<Samples>, ByteSums<Samples>>;

// Offsets of the samples within a target pixel, in the order of the random draws; the last is the largest.
template <std::size_t N>
using Offsets = std::array<float, N>;
constexpr Offsets<4> offsets16 = {0.0F, 0.5F, 0.25F, 0.75F};
constexpr Offsets<3> offsets9 = {0.0F, 0.333F, 0.666F};
constexpr Offsets<2> offsets4 = {0.0F, 0.5F};
constexpr Offsets<4> rowOffsetsFixed16 = {0.0F, 0.22F, 0.53F, 0.72F};
constexpr Offsets<4> columnOffsetsFixed16 = {0.0F, 0.28F, 0.47F, 0.78F};

// Source positions of the samples of one target coordinate on one axis. Each kind of axis gives them for a target
// coordinate that is not negative. `asColumns` is the axis as every row asks it, with a bound that no position is
// below.
template <std::size_t N>
using Positions = std::array<int, N>;

// Positions beyond the source's last pixel become that pixel. Negative positions, which jitter gives at large
// factors, stay: left of a row lies the end of the row above. Above the first row there is none, but the draws for
// the first target pixel after the scalers' start seed are positive on both axes, so none leads there.
template <std::size_t N>
void clampToExtent(Positions<N>& positions, int extent) {
    if (positions[N - 1] < extent) return;
    for (int& position : positions) position = std::min(position, extent - 1);
}

// The positions of an axis without random draws, computed once for all rows.
template <std::size_t N>
class PositionTable {
public:
    template <class Axis>
    PositionTable(const Axis& axis, int count) : positions_(static_cast<std::size_t>(count)) {
        for (int target = 0; target < count; ++target) positions_[static_cast<std::size_t>(target)] = axis(target);
    }
    int lowest() const { return 0; }
    const Positions<N>& operator()(int target) const { return positions_[static_cast<std::size_t>(target)]; }

private:
    std::vector<Positions<N>> positions_;
};

// Samples at the offsets themselves.
template <std::size_t N>
struct PlainAxis {
    Offsets<N> offsets;
    float factor;  // source pixels per target pixel
    int extent;    // of the source, pixels

    PositionTable<N> asColumns(int count) const { return {*this, count}; }
    Positions<N> operator()(int target) const {
        Positions<N> positions;
        for (std::size_t i = 0; i < N; ++i) {
            positions[i] = truncToInt((static_cast<float>(target) + offsets[i]) * factor);
        }
        clampToExtent(positions, extent);
        return positions;
    }
};

// Every jittered scaling draws from this seed on, so that it gives the same picture again.
constexpr unsigned jitterSeed = 4325;

// Samples scattered about the offsets by -0.4 .. 0.6 of `spread`, one draw each.
template <std::size_t N>
struct JitteredAxis {
    Offsets<N> offsets;
    float factor;
    int extent;
    double spread;
    unsigned& seed;

    float jitter(float random) const { return static_cast<float>((static_cast<double>(random) - 0.4) * spread); }
    int lowest() const { return truncToInt(jitter(0.0F) * factor); }
    const JitteredAxis& asColumns(int) const { return *this; }
    Positions<N> operator()(int target) const {
        Positions<N> positions;
        for (std::size_t i = 0; i < N; ++i) {
            const float position = static_cast<float>(target) + offsets[i] + jitter(kxRand(seed));
            positions[i] = truncToInt(position * factor);
        }
        clampToExtent(positions, extent);
        return positions;
    }
};

// Rounded samples from a source offset on.
template <std::size_t N>
struct RoundedAxis {
    Offsets<N> offsets;
    float step;  // source pixels per target pixel
    int extent;
    int start;  // first source pixel, not negative

    PositionTable<N> asColumns(int count) const { return {*this, count}; }
    Positions<N> operator()(int target) const {
        Positions<N> positions;
        for (std::size_t i = 0; i < N; ++i) {
            const int distance = roundToInt((static_cast<float>(target) + offsets[i]) * step);
            positions[i] = static_cast<int>(std::min<long long>(0LL + distance + start, extent));
        }
        clampToExtent(positions, extent);
        return positions;
    }
};

struct Area {
    int x, y, width, height;
};

// Linear indices of the first pixels of the sampled rows.
template <std::size_t N>
using RowStarts = std::array<unsigned, N>;

template <std::size_t N>
RowStarts<N> rowStartsOf(const Positions<N>& rows, int width) {
    RowStarts<N> starts;
    for (std::size_t i = 0; i < N; ++i) {
        starts[i] = static_cast<unsigned>(rows[i]) * static_cast<unsigned>(width);
    }
    return starts;
}

// True when no sample of these rows lies outside the source's memory.
template <std::size_t N, class Source>
bool areInMemory(const Source& src, const Positions<N>& rows, int lowestColumn) {
    const auto [first, last] = std::minmax_element(rows.begin(), rows.end());
    return static_cast<long long>(*first) * src.width + lowestColumn >= 0 &&
           (*last + 1LL) * src.width <= src.pixelsInMemory();
}

template <std::size_t N, class Sums, class Columns, class PixelAt>
void sampleRow(const RowStarts<N> rowStarts, const Columns& columnsAt, PixelAt pixelAt, unsigned char* target,
               int width) {
    for (int x = 0; x < width; ++x, target += 4) {
        const Positions<N>& columns = columnsAt(x);
        Sums sums;
        for (const unsigned rowStart : rowStarts) {
            for (const int column : columns) sums.add(pixelAt(rowStart + static_cast<unsigned>(column)));
        }
        const _Rgba8 average = sums.average();
        std::memcpy(target, &average, sizeof average);
    }
}

// The one sampling loop: every pixel of the area becomes the average of the N x N source pixels where the sample
// rows and sample columns meet. Rows are asked for once a target row, columns for every pixel, in that order,
// because both may draw from one random sequence. Only rows whose samples may lie outside the memory are read
// through the buffer's own bounds. The area lies within the target's pixels.
template <std::size_t N, class Source, class Rows, class Columns>
void sampleArea(const Source& src, kxP::_imgRGBABuffer8& dst, const Area& area, const Rows& rowsAt,
                const Columns& columnAxis) {
    using Sums = SumsOf<Source, N * N>;
    constexpr unsigned char black[Sums::pixelBytes] = {};
    if (area.width < 1 || area.height < 1) return;
    const auto& columnsAt = columnAxis.asColumns(area.width);
    const auto pixelAt = [pixels = src.pixels](unsigned index) {
        return pixels + std::size_t{Sums::pixelBytes} * index;
    };
    const auto nearestPixel = [&](unsigned index) {
        const unsigned char* pixel = src.nearestPixel(index, Sums::pixelBytes);
        return pixel ? pixel : black;
    };
    for (int y = 0; y < area.height; ++y) {
        const Positions<N> rows = rowsAt(y);
        const RowStarts<N> starts = rowStartsOf(rows, src.width);
        unsigned char* const target =
            dst.pixels + 4 * (static_cast<std::size_t>(area.y + y) * static_cast<unsigned>(dst.width) +
                              static_cast<unsigned>(area.x));
        if (areInMemory(src, rows, columnsAt.lowest())) {
            sampleRow<N, Sums>(starts, columnsAt, pixelAt, target, area.width);
        } else {
            sampleRow<N, Sums>(starts, columnsAt, nearestPixel, target, area.width);
        }
    }
}

}  // namespace kxSampling
