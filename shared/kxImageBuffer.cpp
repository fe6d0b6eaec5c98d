// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxImageBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace kxP {

namespace {

// 0 .. 1; NaN is 0.
float clampedAmount(float amount) {
    return amount > 0.0F ? std::min(amount, 1.0F) : 0.0F;
}

unsigned char mixed(unsigned char oldValue, unsigned char newValue, float amount) {
    return static_cast<unsigned char>(static_cast<float>(newValue) * amount +
                                      static_cast<float>(oldValue) * (1.0F - amount));
}

}  // namespace

_imgRGBABuffer_all::_imgRGBABuffer_all(unsigned wantedCapacity, unsigned char pixelBytes)
    : valid(0),
      reserved1_{},
      headerReserve1(0),
      sourceWidth(0),
      sourceHeight(0),
      headerReserve2(0),
      bitsPerChannel(0),
      headerReserve3(0),
      reserved2_(0),
      headerValue(0),
      reserved3_{},
      flags(0),
      reserved4_{},
      bytesPerPixel(pixelBytes),
      reserved5_{},
      capacity(wantedCapacity),
      width(0),
      height(0),
      pixelCount(0),
      pixels(static_cast<unsigned char*>(std::calloc(wantedCapacity, pixelBytes))),
      ownedMemory(pixels) {
    if (!pixels) capacity = 0;
}

_imgRGBABuffer_all::~_imgRGBABuffer_all() {
    std::free(ownedMemory);
}

// All in unsigned 32-bit numbers. The product is above the capacity only when the other extent is not 0, and
// capacity / extent * extent never is, so the second call is the last.
void _imgRGBABuffer_all::setWidth(const int& w) {
    width = w;
    const auto rows = static_cast<unsigned>(height);
    pixelCount = static_cast<unsigned>(width) * rows;
    if (pixelCount > capacity) setWidth(static_cast<int>(capacity / rows));
}

void _imgRGBABuffer_all::setHeight(const int& h) {
    height = h;
    const auto columns = static_cast<unsigned>(width);
    pixelCount = static_cast<unsigned>(height) * columns;
    if (pixelCount > capacity) setHeight(static_cast<int>(capacity / columns));
}

bool _imgRGBABuffer_all::doesImageSizeFit(unsigned w, unsigned h) const {
    return static_cast<unsigned long long>(w) * h <= capacity;
}

// What lies before `capacity` describes the picture, but for the bytes per pixel: these belong to the memory.
void _imgRGBABuffer_all::copyHeaderFrom(const _imgRGBABuffer_all& source) {
    const unsigned char ownBytesPerPixel = bytesPerPixel;
    std::memmove(static_cast<void*>(this), static_cast<const void*>(&source),
                 offsetof(_imgRGBABuffer_all, capacity));
    bytesPerPixel = ownBytesPerPixel;
}

int _imgRGBABuffer_all::rowsInMemory() const {
    if (!pixels || width < 1 || height < 1) return 0;
    const unsigned rows = capacity / static_cast<unsigned>(width);
    return static_cast<int>(std::min(rows, static_cast<unsigned>(height)));
}

long long _imgRGBABuffer_all::indexOf(int x, int y) const {
    if (!pixels || x < 0 || x >= width || y < 0 || y >= height) return -1;
    const long long index = static_cast<long long>(y) * width + x;
    return index < capacity ? index : -1;
}

void _imgRGBABuffer_all::copyAllTo(_imgRGBABuffer_all& target) const {
    if (&target == this) return;
    target.copyHeaderFrom(*this);
    const auto columns = static_cast<unsigned>(std::max(width, 0));
    // Sizes may be nonsense: what is not in this memory can't be copied, and what the target has no room for goes.
    auto rows = static_cast<unsigned>(std::max(height, 0));
    if (columns > 0) rows = std::min(static_cast<unsigned>(rowsInMemory()), target.capacity / columns);
    target.width = static_cast<int>(columns);
    target.height = static_cast<int>(rows);
    target.pixelCount = columns * rows;
    if (target.pixelCount > 0) {
        std::memcpy(target.pixels, pixels, static_cast<std::size_t>(target.pixelCount) * bytesPerPixel);
    }
}

void _imgRGBABuffer8::read(_Rgba8& p, const int& x, const int& y) const {
    const long long index = indexOf(x, y);
    if (index >= 0) std::memcpy(&p, pixels + 4 * index, 4);
}

void _imgRGBABuffer8::write(const int& x, const int& y, const unsigned char& r, const unsigned char& g,
                            const unsigned char& b, const unsigned char& a) {
    write(x, y, _Rgba8{r, g, b, a});
}

void _imgRGBABuffer8::write(const int& x, const int& y, const _Rgba8& colour) {
    const long long index = indexOf(x, y);
    if (index >= 0) std::memcpy(pixels + 4 * index, &colour, 4);
}

void _imgRGBABuffer8::write(int index, const _Rgba8& colour) {
    if (index < 0 || static_cast<unsigned>(index) >= pixelsInMemory()) return;
    std::memcpy(pixels + std::size_t{4} * static_cast<unsigned>(index), &colour, 4);
}

void _imgRGBABuffer8::writeMulti(int start, const unsigned char* bytes, int count) {
    if (!pixels || !bytes || start < 0 || count < 1 || static_cast<unsigned>(start) >= capacity) return;
    const unsigned room = capacity - static_cast<unsigned>(start);
    const std::size_t fitting = std::min(static_cast<unsigned>(count), room);
    // The bytes may be this image's own.
    std::memmove(pixels + std::size_t{4} * static_cast<unsigned>(start), bytes, 4 * fitting);
}

void _imgRGBABuffer8::writeMix(const int& x, const int& y, const _Rgba8& colour, const float& amount) {
    const long long index = indexOf(x, y);
    if (index < 0) return;
    const float weight = clampedAmount(amount);
    unsigned char* pixel = pixels + 4 * index;
    pixel[0] = mixed(pixel[0], colour.r, weight);
    pixel[1] = mixed(pixel[1], colour.g, weight);
    pixel[2] = mixed(pixel[2], colour.b, weight);
}

void _imgRGBABuffer8::copyTo(_imgRGBABuffer8& target, bool) const {
    copyAllTo(target);
}

void _imgRGBABufferf::write(int index, const _Rgbaf& colour) {
    if (index < 0 || static_cast<unsigned>(index) >= pixelsInMemory()) return;
    std::memcpy(pixels + sizeof(_Rgbaf) * static_cast<unsigned>(index), &colour, sizeof(_Rgbaf));
}

void _imgRGBABufferf::copyTo(_imgRGBABufferf& target, bool) const {
    copyAllTo(target);
}

}  // namespace kxP
