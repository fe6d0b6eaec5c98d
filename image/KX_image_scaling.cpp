// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_image.h"
#include "image/private/kxRounding.h"
#include "image/private/kxSampling.h"

#include <algorithm>
#include <climits>
#include <cstddef>

using namespace kxRounding;

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
    return std::max(1.0F, static_cast<float>(extent) / static_cast<float>(box));
}

int evenExtent(int extent, float factor) {
    float reduced = static_cast<float>(extent) / factor;
    if (truncToInt(reduced) % 2 != 0) reduced -= 1.0F;
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
    return std::max(0, roundToInt((1.0F - stepX * stepY) * (static_cast<float>(extent) * 0.5F)));
}

}  // namespace

bool kximgRGBABuffer8_Scale16(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h, bool) {
    if (copySmallSource(src, dst, w, h)) return true;
    return scaleJittered(src, dst, w, h, offsets16, static_cast<double>(0.14F));
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
    return scaleJittered(src, dst, w, h, offsets9, static_cast<double>(0.15F));
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
    float stepX = 1.0F / sx;
    float stepY = 1.0F / sy;
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
