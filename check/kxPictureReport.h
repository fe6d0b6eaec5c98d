// SPDX-License-Identifier: BSD-3-Clause
// What the decoded samples of one file say by themselves: the picture of its first part, reduced to what is
// compared and shown, and what was counted over the samples of all parts.
//
// A worker makes it while the chunks arrive; what follows from neighbours (missing tiles, repeated, jump) is judged
// later. Values only; each thread may use its own.
#pragma once

#include "image/kxHistogram.h"

#include <QByteArray>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace kxCheck {

// Of the finite samples of a channel, as they are in the file.
struct SampleRange {
    double min = 0;
    double max = 0;
    double mean = 0;
};

// Samples of one channel, of the full resolution, that are no finite numbers.
struct StrangeSamples {
    int part = 0;
    QByteArray channel;
    std::int64_t nan = 0;
    std::int64_t infinite = 0;
};

// The first part's R, G, B and A in the display window, 8 bits a channel.
struct PictureFacts {
    kxCHK::Histogram histogram{};  // counts per million pixels
    bool hasAlpha = false;         // the first part has an A
    bool isTileMissing = false;    // as the render-error search says
    bool hasDarkCorner = false;    // what may look like a missing tile, see kxDarkCorner.h
    bool isAlphaMissing = false;
    bool isBlack = false;  // r, g and b are 0 everywhere
    bool isFlat = false;   // r, g and b are the same everywhere in the data window
    std::array<std::optional<SampleRange>, 4>
        ranges;  // r, g, b, a; none: no such channel, or no finite sample in it
};

// The longer side of a preview's small form, in pixels, at most.
constexpr int smallPreviewSide = 160;
// Bytes of a preview and of its small form, at most.
constexpr int mostPreviewBytes = 512 << 10;
constexpr int mostSmallPreviewBytes = 64 << 10;

// A picture reduced to be looked at, in two sizes: JPEG, sRGB without alpha. Both are there, or none. What could
// not be decoded is black.
struct Preview {
    QByteArray jpeg;  // empty: none was asked for, or there is no picture
    int width = 0;    // pixels, of `jpeg`; the product is kxCHK::thumbnailCapacity at most
    int height = 0;
    QByteArray small;  // the same for a page that shows thousands: a few KB
};

// Of a file of which every chunk could be decoded.
struct PictureReport {
    std::optional<PictureFacts> picture;  // none: the first part has neither R, G, B nor Y
    std::vector<StrangeSamples> strange;  // only channels that have some, in the order of parts and channels
    std::array<std::uint64_t, 2> hash{};  // of all samples of all parts; equal for equal samples
    bool isCached = false;                // it comes from the cache; nothing was decoded
};

}  // namespace kxCheck
