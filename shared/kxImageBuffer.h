// SPDX-License-Identifier: BSD-3-Clause
// RGBA pixel buffers of fixed capacity.
//
// A buffer is created with room for `capacity` pixels and never grows: every size change is clipped to that. The
// fixed part of the 8-bit buffer is stored as it lies in the image cache file, so its layout is a file format.
//
//           x = 0        1        2 .. width-1
//   y = 0   r g b a   r g b a   r g b a          one pixel: four channels (bytes, or floats of 0.0 .. 1.0)
//       1   r g b a   ...                        linear index = y * width + x
//       ..                                       rows top to bottom, no gaps between them
//
// Positions outside the image are harmless everywhere: writes do nothing, read(p, x, y) leaves p as it was, and
// read(index) takes the nearest pixel in memory. Sizes that a caller or a file sets to nonsense are harmless too:
// nothing beyond the capacity is ever touched.
//
// Threads: a buffer is used by one thread at a time, or by several that only read it.
#pragma once

#include "shared/kxString.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

// Bits of _imgRGBABuffer_all::flags.
constexpr unsigned char KX_IMG_GAMMA22 = 1;          // pixel values carry gamma 1/2.2
constexpr unsigned char KX_IMG_SUPERWHITE = 2;       // values above white were kept when the picture was made
constexpr unsigned char KX_IMG_FROM_CACHE = 4;       // the picture comes from a cache file
constexpr unsigned char KX_IMG_CACHE_REWRITTEN = 8;  // the picture's cache file was written anew
constexpr unsigned char KX_IMG_CACHE_FLAG = 16;      // the cache file carried the view's cache flag

// One colour; as a 32-bit little-endian word r is the lowest byte. Alpha 255 is opaque.
struct _Rgba8 {
    unsigned char r, g, b, a;
};
static_assert(sizeof(_Rgba8) == 4, "four bytes a pixel");

// One colour in floats: 0.0 black, 1.0 white, above is super-white.
struct _Rgbaf {
    float r, g, b, a;
};
static_assert(sizeof(_Rgbaf) == 16, "four floats a pixel");

namespace kxP {

// What both buffer types share: the header, the size and the pixel memory.
//
//   offset  size  name            meaning
//        0     1  valid           1 when the buffer holds a loaded image
//        1     3  -
//        4     4  headerReserve1  copied with the header
//        8     4  sourceWidth     resolution of the image file that was read, pixels
//       12     4  sourceHeight
//       16     1  headerReserve2  copied with the header
//       17     1  bitsPerChannel  of that file; 32 means float
//       18     1  headerReserve3  copied with the header
//       19     1  -
//       20   504  formatText      the source format in words
//      524     4  headerValue     copied with the header
//      528     4  -
//      532     1  flags           KX_IMG_ bits
//      533     4  -
//      537     1  bytesPerPixel   4 or 16, fixed at construction
//      538     2  -
//      540     4  capacity        pixels, fixed at construction
//      544     4  width           pixels
//      548     4  height          pixels
//      552     4  pixelCount      width * height modulo 2^32, kept by setWidth and setHeight
//      556     8  pixels          first byte of the pixel memory
//      564     8  ownedMemory     the memory that the destructor frees
//      572
//
// The header is everything before `capacity`.
#pragma pack(push, 4)
class _imgRGBABuffer_all {
public:
    _imgRGBABuffer_all(const _imgRGBABuffer_all&) = delete;
    _imgRGBABuffer_all& operator=(const _imgRGBABuffer_all&) = delete;

    // Set one extent and pixelCount. A size beyond the capacity shrinks this extent to the largest that fits. The
    // pixel memory is not touched: its bytes are reinterpreted under the new size.
    void setWidth(const int& w);
    void setHeight(const int& h);

    // True when w x h pixels fit the capacity; a zero size fits.
    bool doesImageSizeFit(unsigned w, unsigned h) const;

    // Takes the other buffer's header, all but bytesPerPixel.
    void copyHeaderFrom(const _imgRGBABuffer_all& source);

    // Pixels that are in memory under the current size: pixelCount, at most capacity; 0 without memory.
    unsigned pixelsInMemory() const { return pixels ? std::min(+pixelCount, +capacity) : 0; }
    // Whole rows of `width` pixels that are in memory, at most height; 0 when the width is below 1.
    int rowsInMemory() const;

    // First byte of the pixel in memory that is nearest to `index`, taken as signed; null when there is none.
    const unsigned char* nearestPixel(unsigned index, std::size_t pixelBytes) const {
        const unsigned count = pixelsInMemory();
        if (count == 0) return nullptr;
        const unsigned nearest = static_cast<int>(index) < 0 ? 0 : std::min(index, count - 1);
        return pixels + pixelBytes * nearest;
    }

    unsigned char valid;
    unsigned char reserved1_[3];
    unsigned headerReserve1;
    int sourceWidth;
    int sourceHeight;
    unsigned char headerReserve2;
    signed char bitsPerChannel;
    unsigned char headerReserve3;
    unsigned char reserved2_;
    _kxString<250> formatText;
    unsigned headerValue;
    unsigned char reserved3_[4];
    unsigned char flags;
    unsigned char reserved4_[4];
    unsigned char bytesPerPixel;
    unsigned char reserved5_[2];
    unsigned capacity;
    int width;
    int height;
    unsigned pixelCount;
    unsigned char* pixels;
    unsigned char* ownedMemory;

protected:
    // Zeroed memory for `wantedCapacity` pixels, size 0 x 0, header cleared. When the memory can't be had the
    // capacity is 0.
    _imgRGBABuffer_all(unsigned wantedCapacity, unsigned char pixelBytes);
    ~_imgRGBABuffer_all();

    // Linear index of (x, y) when it is in the image and in memory, otherwise -1.
    long long indexOf(int x, int y) const;
    // Copies size, header and pixels; a target too small keeps as many whole rows as it has room for.
    void copyAllTo(_imgRGBABuffer_all& target) const;
};
#pragma pack(pop)

// Four 8-bit channels a pixel.
class _imgRGBABuffer8 : public _imgRGBABuffer_all {
public:
    explicit _imgRGBABuffer8(const unsigned& wantedCapacity) : _imgRGBABuffer_all(wantedCapacity, 4) {}

    // The nearest pixel in memory (index taken as signed: below 0 the first, above the last); _Rgba8{} when empty.
    _Rgba8 read(unsigned index) const {
        _Rgba8 colour{};
        if (const unsigned char* pixel = nearestPixel(index, 4)) std::memcpy(&colour, pixel, 4);
        return colour;
    }
    void read(_Rgba8& p, const int& x, const int& y) const;
    void write(const int& x, const int& y, const unsigned char& r, const unsigned char& g, const unsigned char& b,
               const unsigned char& a);
    void write(const int& x, const int& y, const _Rgba8& colour);
    void write(int index, const _Rgba8& colour);
    // Copies `count` pixels from `bytes` to the pixels from `start` on; what lies beyond the capacity is left out.
    void writeMulti(int start, const unsigned char* bytes, int count);
    // Blends r, g and b into the pixel with weight `amount` (0 keeps the pixel, 1 replaces it; clamped to that,
    // NaN counts as 0): trunc(new * amount + old * (1 - amount)). The pixel's alpha stays.
    void writeMix(const int& x, const int& y, const _Rgba8& colour, const float& amount);
    // Copies size, header and pixels. A target too small keeps as many whole rows as it has room for. The flag is
    // kept for the callers' sake.
    void copyTo(_imgRGBABuffer8& target, bool withPixels) const;
};

// Four 32-bit float channels a pixel; `pixels` points at them as bytes.
class _imgRGBABufferf : public _imgRGBABuffer_all {
public:
    explicit _imgRGBABufferf(const unsigned& wantedCapacity) : _imgRGBABuffer_all(wantedCapacity, 16) {}

    // As for the 8-bit buffer; all zero when empty.
    _Rgbaf read(unsigned index) const {
        _Rgbaf colour{};
        if (const unsigned char* pixel = nearestPixel(index, 16)) std::memcpy(&colour, pixel, 16);
        return colour;
    }
    void write(int index, const _Rgbaf& colour);
    void copyTo(_imgRGBABufferf& target, bool withPixels) const;
};

static_assert(sizeof(_imgRGBABuffer8) == 572 && alignof(_imgRGBABuffer8) == 4, "stored in the cache file");
static_assert(std::is_standard_layout<_imgRGBABuffer8>::value, "offsets below are meaningful");
static_assert(offsetof(_imgRGBABuffer8, valid) == 0, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, headerReserve1) == 4, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, sourceWidth) == 8, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, sourceHeight) == 12, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, headerReserve2) == 16, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, bitsPerChannel) == 17, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, headerReserve3) == 18, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, formatText) == 20, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, headerValue) == 524, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, flags) == 532, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, bytesPerPixel) == 537, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, capacity) == 540, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, width) == 544, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, height) == 548, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, pixelCount) == 552, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, pixels) == 556, "stored in the cache file");
static_assert(offsetof(_imgRGBABuffer8, ownedMemory) == 564, "stored in the cache file");

}  // namespace kxP

// The next pseudo-random float in [0, 1), advancing the seed; the same sequence on every platform (the linear
// congruential generator of Numerical Recipes, upper 24 bits).
inline float kxRand(unsigned& seed) {
    seed = seed * 1664525U + 1013904223U;
    return static_cast<float>(seed >> 8) * (1.0F / 16777216.0F);
}
