// SPDX-License-Identifier: BSD-3-Clause
// What a path says about the image sequence that it belongs to. Text only: the disk is not looked at.
//
// Functions without state on values: any thread may call them at any time.
#pragma once

#include <QString>

#include <optional>

namespace kxFrames {

// Sequences rendered in tiles have a file per tile and frame. A tile's frames are keyed frame number + tile *
// tileKeyStep, so that they sort tile by tile.
constexpr long long tileKeyStep = 10000000;
// Tiles are numbered 00 .. 29; a higher number is no tile's.
constexpr int tileCount = 30;

// What stands between prefix and frame number.
enum class TileMarker : unsigned char {
    none,
    plain,     // "_tile03_"
    separated  // "_tile03_." or "_tile03__", see tileSeparator()
};

// The name of a sequence: each of its files is directory + prefix + frame text + suffix.
struct FramePath {
    QString directory;  // ends with "/"
    QString prefix;     // before the frame number, without tile marker
    QString suffix;     // all after the frame number
    TileMarker tile = TileMarker::none;

    // One file whose name holds no frame number: the prefix is the whole name.
    bool isSingleFile() const { return suffix.isEmpty(); }
};

// Splits a path. The frame number may be written "*" or "#". Nothing when the path has no "/" or none of "*", "#",
// ".".
//   /r/beauty.0042.exr          /r/  beauty.   .exr
//   /r/beauty_0042_diffuse.exr  /r/  beauty_   _diffuse.exr
//   /r/beauty.0042_v2.exr       /r/  beauty.0042_v  .exr  (the last group of digits is the frame number)
//   /r/beauty_tile03_.0042.exr  /r/  beauty    .exr       (tiled)
//   /r/comp.exr                 /r/  comp.exr             (a single file)
[[nodiscard]] std::optional<FramePath> splitFramePath(const QString& path);

// The same for a name that was found in `directory` (ends with "/"): "*", "#" and "\" are characters like others.
// Nothing for a name without ".".
[[nodiscard]] std::optional<FramePath> splitFrameName(const QString& directory, const QString& name);

// Letter case ignored.
[[nodiscard]] bool isSameSequence(const FramePath& a, const FramePath& b);

// "_" behind a prefix that ends with it, otherwise ".".
[[nodiscard]] QLatin1Char tileSeparator(const FramePath& path);

struct FrameNumber {
    long long frame = 0;
    int tile = 0;

    // Wraps where frame numbers fill 64 bits.
    long long key() const;
};

// The number that `middle` stands for: what lies between prefix and suffix, tile marker included, and without a
// separator in front. Nothing when it is no number, or for a tiled path when it has no marker of a tile.
[[nodiscard]] std::optional<FrameNumber> readFrameNumber(const QString& middle, const FramePath& path);

// A file of a sequence.
struct FrameName {
    FrameNumber number;
    QString text;  // between prefix and suffix, tile marker and separator included
};

// The frame that a file name stands for when it belongs to the sequence in exact letter case, otherwise nothing. A
// single file has no frames.
//   beauty.0042.exr          in /r/beauty.####.exr           42          "0042"
//   beauty.0042.exr          in /r/beauty*.exr               42          ".0042"
//   beauty_tile03_.0042.exr  in /r/beauty_tile00_.####.exr   42, tile 3  "_tile03_.0042"
[[nodiscard]] std::optional<FrameName> frameOf(const QString& name, const FramePath& path);

}  // namespace kxFrames
