// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPicture.h"

#include "check/kxDarkCorner.h"
#include "check/kxDisplayBytes.h"
#include "check/kxSampleRows.h"
#include "image/KX_DataTypes_image.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace kxCheck {

namespace {

constexpr std::size_t alphaChannel = 3;

kxExr::Window sharedWindow(const kxExr::Window& a, const kxExr::Window& b) {
    return {std::max(a.minX, b.minX), std::max(a.minY, b.minY), std::min(a.maxX, b.maxX), std::min(a.maxY, b.maxY)};
}

// From one byte for each sample to one for each pixel.
void repeatEach(std::vector<unsigned char>& bytes, std::size_t times) {
    if (times == 1) return;
    const std::size_t count = bytes.size();
    bytes.resize(count * times);
    for (std::size_t i = count; i-- > 0;) {
        const unsigned char byte = bytes[i];
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(i * times), times, byte);
    }
}

// r, g and b as a number.
std::uint32_t colourAt(const unsigned char* pixel) {
    return pixel[0] | std::uint32_t{pixel[1]} << 8U | std::uint32_t{pixel[2]} << 16U;
}

}  // namespace

bool Picture::hasRoomFor(const kxExr::Part& part) {
    return part.displayWindow.width() <= mostPixels / part.displayWindow.height();
}

Picture::Picture(const kxExr::Part& part, const PictureChannels& channels)
    : channels_(channels),
      display_(part.displayWindow),
      reached_(sharedWindow(part.displayWindow, part.dataWindow)),
      pixels_(static_cast<unsigned>(display_.width() * display_.height())) {
    if (pixels_.capacity == 0) throw std::bad_alloc();
    pixels_.setWidth(static_cast<int>(display_.width()));
    pixels_.setHeight(static_cast<int>(display_.height()));
    pixels_.valid = channels.hasAlpha() ? 1 : 0;
    pixels_.flags = KX_IMG_GAMMA22;
}

void Picture::add(const DecodedChunk& chunk) {
    if (!isFullResolution(chunk)) return;
    forEachRow(chunk, [&](const SampleRow& row) {
        if (chunk.counts && row.channel == 0) addDeepRow(chunk, row.y, row.samples);
        if (!chunk.counts && row.count > 0 && channels_.holds(row.channel))
            addFlatRow(chunk, row.channel, row.y, row.samples, row.count);
    });
}

void Picture::addFlatRow(const DecodedChunk& chunk, std::size_t channel, std::int32_t y,
                         const unsigned char* samples, std::size_t count) {
    const kxExr::Channel& header = *(*chunk.channels)[channel].channel;
    if (std::int64_t{y} + header.ySampling <= reached_.minY || y > reached_.maxY) return;
    const bool isAlpha = channels_.rgba[alphaChannel] == channel;
    row_.resize(count);
    toBytes(header.type, isAlpha ? Transfer::linear : Transfer::display, samples, count, row_.data());
    repeatEach(row_, static_cast<std::size_t>(header.xSampling));
    const std::int64_t last = std::min<std::int64_t>(std::int64_t{y} + header.ySampling - 1, reached_.maxY);
    for (std::int32_t filled = std::max(y, reached_.minY); filled <= last; ++filled)
        for (std::size_t c = 0; c < channels_.rgba.size(); ++c)
            if (channels_.rgba[c] == channel) put(c, filled, chunk.place.firstX);
}

void Picture::addDeepRow(const DecodedChunk& chunk, std::int32_t y, const unsigned char* samples) {
    if (y < reached_.minY || y > reached_.maxY) return;
    deepRow_.flatten(chunk, channels_, y, samples);
    for (std::size_t c = 0; c < channels_.rgba.size(); ++c) {
        if (!channels_.rgba[c]) continue;
        const std::vector<float>& values = deepRow_.channel(c);
        row_.resize(values.size());
        toBytes(kxExr::PixelType::float32, c == alphaChannel ? Transfer::linear : Transfer::display,
                reinterpret_cast<const unsigned char*>(values.data()), values.size(), row_.data());
        put(c, y, chunk.place.firstX);
    }
}

// Writes what of the row is in the picture. Row y is.
void Picture::put(std::size_t channel, std::int32_t y, std::int32_t firstX) {
    const std::int64_t first = std::max(firstX, reached_.minX);
    const std::int64_t end =
        std::min<std::int64_t>(firstX + static_cast<std::int64_t>(row_.size()), std::int64_t{reached_.maxX} + 1);
    if (first >= end) return;
    const unsigned char* from = row_.data() + (first - firstX);
    unsigned char* to = pixelAt(first, y) + channel;
    const auto count = static_cast<std::size_t>(end - first);
    for (std::size_t i = 0; i < count; ++i) to[4 * i] = from[i];
}

unsigned char* Picture::pixelAt(std::int64_t x, std::int64_t y) const {
    return pixels_.pixels + 4 * ((y - display_.minY) * display_.width() + (x - display_.minX));
}

void Picture::makeOpaque() {
    row_.assign(static_cast<std::size_t>(std::max<std::int64_t>(reached_.width(), 0)), 255);
    for (std::int64_t y = reached_.minY; y <= reached_.maxY; ++y)
        put(alphaChannel, static_cast<std::int32_t>(y), reached_.minX);
}

PictureFacts Picture::search() {
    if (!channels_.hasAlpha()) makeOpaque();
    PictureFacts facts;
    facts.hasAlpha = channels_.hasAlpha();
    kxCHK::_SingleImageData record;
    const unsigned short errors = kxCHK::doErrorSearch(pixels_, &record);
    facts.isTileMissing = (errors & kxCHK::errorTileMissing) != 0;
    facts.hasDarkCorner = facts.isTileMissing || kxCheck::hasDarkCorner(pixels_);
    facts.isAlphaMissing = (errors & kxCHK::errorAlphaPixelMissing) != 0;
    static_assert(sizeof facts.histogram == sizeof record.histogram, "bin by bin");
    std::memcpy(facts.histogram.data(), record.histogram, sizeof record.histogram);
    findUniform(facts);
    return facts;
}

// Around the part that the data window reaches the picture is 0: black is one colour of that part, as flat is.
void Picture::findUniform(PictureFacts& facts) const {
    if (reached_.width() < 1 || reached_.height() < 1) {
        facts.isBlack = true;
        return;
    }
    const std::uint32_t colour = colourAt(pixelAt(reached_.minX, reached_.minY));
    std::uint32_t difference = 0;
    for (std::int64_t y = reached_.minY; y <= reached_.maxY && difference == 0; ++y) {
        const unsigned char* pixel = pixelAt(reached_.minX, y);
        for (std::int64_t x = 0; x < reached_.width(); ++x) difference |= colourAt(pixel + 4 * x) ^ colour;
    }
    facts.isBlack = difference == 0 && colour == 0;
    facts.isFlat = difference == 0 && colour != 0 && (reached_.width() > 1 || reached_.height() > 1);
}

}  // namespace kxCheck
