// SPDX-License-Identifier: BSD-3-Clause
// The picture that the first part of a frame makes in its display window, 8 bits a channel, built chunk by chunk.
//
// Pixels that the data window does not reach are 0 in all four channels; where it does, a part without A is opaque.
// A subsampled channel fills the pixels up to its next sample. Of a part with levels only the full resolution
// counts.
//
// Needs 4 bytes for each pixel of the display window. Each thread may use its own objects.
#pragma once

#include "check/kxDeepRow.h"
#include "check/kxPictureChannels.h"
#include "check/kxPictureReport.h"
#include "image/kxExrPart.h"
#include "shared/kxImageBuffer.h"

#include <cstdint>
#include <vector>

namespace kxCheck {

class Picture {
public:
    // Pixels of the largest display window that gets a picture: 16384 x 16384, one GiB. A header can ask for as
    // much as it likes; what is larger has no picture.
    static constexpr std::int64_t mostPixels = std::int64_t{1} << 28;

    [[nodiscard]] static bool hasRoomFor(const kxExr::Part& part);

    // There must be room for it. Throws std::bad_alloc.
    Picture(const kxExr::Part& part, const PictureChannels& channels);

    // A chunk of the part.
    void add(const DecodedChunk& chunk);

    // Once all chunks were added: all of PictureFacts but the ranges. The picture is searched for render errors.
    [[nodiscard]] PictureFacts search();
    // Whole after search(). Of its header `valid` (with alpha) and the flag of display gamma are set.
    const kxP::_imgRGBABuffer8& pixels() const { return pixels_; }

private:
    void addFlatRow(const DecodedChunk& chunk, std::size_t channel, std::int32_t y, const unsigned char* samples,
                    std::size_t count);
    void addDeepRow(const DecodedChunk& chunk, std::int32_t y, const unsigned char* samples);
    void put(std::size_t channel, std::int32_t y, std::int32_t firstX);
    void makeOpaque();
    void findUniform(PictureFacts& facts) const;
    unsigned char* pixelAt(std::int64_t x, std::int64_t y) const;

    PictureChannels channels_;
    kxExr::Window display_;
    kxExr::Window reached_;  // by the data window; below 1 in width or height when that is nothing
    kxP::_imgRGBABuffer8 pixels_;
    std::vector<unsigned char> row_;  // bytes of one channel, one for each pixel
    DeepRow deepRow_;
};

}  // namespace kxCheck
