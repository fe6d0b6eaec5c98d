// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxThumbnail.h"

#include "image/KX_image.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include <turbojpeg.h>

namespace kxCheck {

namespace {

constexpr int jpegQuality = 80;

void clear(kxP::_imgRGBABuffer8& image) {
    image.setWidth(0);
    image.setHeight(0);
}

// Into a box of that size. The scaler that keeps proportions has no sides of one pixel.
void reduce(const kxP::_imgRGBABuffer8& from, kxP::_imgRGBABuffer8& to, int width, int height) {
    clear(to);
    const bool isScaled = kximgRGBABuffer8_Scale16(from, to, width, height, false);
    if (isScaled && to.width > 0 && to.height > 0) return;
    clear(to);
    kximgRGBABuffer8_Scale16_noProportions(from, to, width, height);
}

QByteArray jpegOf(const kxP::_imgRGBABuffer8& image) {
    const std::unique_ptr<void, int (*)(tjhandle)> compressor(tjInitCompress(), tjDestroy);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const bool isMade = compressor && tjCompress2(compressor.get(), image.pixels, image.width, 0, image.height,
                                                  TJPF_RGBX, &bytes, &size, TJSAMP_420, jpegQuality, 0) == 0;
    const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owner(bytes, tjFree);
    if (!isMade || size > static_cast<unsigned long>(mostPreviewBytes)) return {};
    return QByteArray(reinterpret_cast<const char*>(bytes), static_cast<int>(size));
}

}  // namespace

// A box one larger than the picture lets the scaler copy it.
bool makeThumbnail(const kxP::_imgRGBABuffer8& picture, kxP::_imgRGBABuffer8& thumbnail) {
    clear(thumbnail);
    thumbnail.copyHeaderFrom(picture);
    if (picture.pixelsInMemory() == 0 || thumbnail.capacity == 0) return false;
    const double surplus = picture.pixelCount / static_cast<double>(thumbnail.capacity);
    if (surplus <= 1)
        return kximgRGBABuffer8_Scale16(picture, thumbnail, picture.width + 1, picture.height + 1, false);
    const auto capacity = static_cast<int>(thumbnail.capacity);
    const int height = std::clamp(static_cast<int>(picture.height / std::sqrt(surplus)), 1, capacity);
    const int width = std::clamp(static_cast<int>(picture.width / std::sqrt(surplus)), 1, capacity / height);
    reduce(picture, thumbnail, width, height);
    return true;
}

Preview makePreview(const kxP::_imgRGBABuffer8& thumbnail) {
    if (thumbnail.pixelsInMemory() == 0) return {};
    kxP::_imgRGBABuffer8 small(smallPreviewSide * smallPreviewSide);
    reduce(thumbnail, small, smallPreviewSide, smallPreviewSide);
    Preview preview;
    preview.jpeg = jpegOf(thumbnail);
    preview.small = jpegOf(small);
    preview.width = thumbnail.width;
    preview.height = thumbnail.height;
    if (preview.jpeg.isEmpty() || preview.small.isEmpty()) return {};
    return preview;
}

}  // namespace kxCheck
