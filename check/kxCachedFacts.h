// SPDX-License-Identifier: BSD-3-Clause
// What a cache entry keeps of a picture beyond the farm's record. It stands where a short format text leaves room,
// so that other programs read the entry as ever; docs/cache-file-format.md describes it.
//
// Pure functions; each thread may use entries of its own.
#pragma once

#include "check/kxFileReport.h"
#include "image/KX_DataTypes_image.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>

namespace kxCheck {

// Characters of an entry's format text, at most; the facts lie behind them.
constexpr int longestCachedFormat = 100;

// All numbers are little-endian:
//
//   offset  size  name         unit or allowed values
//        0     4  id           "kxCF"
//        4     2  version      2; another one whenever what is said of a picture comes out otherwise than before
//        6     2  flags        bits 0 to 6: picture, alpha, missing tile, missing alpha, black, flat, dark corner;
//                              8 to 11: there is a range of r, g, b, a
//        8     4  checkSum     CRC-32 of these 296 bytes with 0 here, then of the record's file time and histogram
//       12     4  strangeSize  bytes in use of `strange`
//       16     8  fileSize     of the frame's file, bytes, however many
//       24    16  hash         of all samples
//       40    96  ranges       minimum, maximum and mean of r, g, b and a, as doubles; 0 without a range
//      136   160  strange      for each channel with NaN or infinite samples four numbers: part and channel, from 0
//                              in the headers' order, how many are NaN, how many infinite. Seven bits a byte, the
//                              lowest first; bit 7 is set when there are more.
//      296
struct CachedFacts {
    static constexpr std::uint32_t currentId = 0x4643786B;
    static constexpr std::uint16_t currentVersion = 2;

    std::uint32_t id = currentId;
    std::uint16_t version = currentVersion;
    std::uint16_t flags = 0;
    std::uint32_t checkSum = 0;
    std::uint32_t strangeSize = 0;
    std::int64_t fileSize = 0;
    std::uint64_t hash[2] = {};
    double ranges[4][3] = {};
    unsigned char strange[160] = {};
};

static_assert(sizeof(CachedFacts) == 296, "stored in the cache file");
static_assert(std::is_standard_layout<CachedFacts>::value, "offsets below are meaningful");
static_assert(std::is_trivially_copyable<CachedFacts>::value, "copied byte for byte");
static_assert(offsetof(CachedFacts, id) == 0, "stored in the cache file");
static_assert(offsetof(CachedFacts, version) == 4, "stored in the cache file");
static_assert(offsetof(CachedFacts, flags) == 6, "stored in the cache file");
static_assert(offsetof(CachedFacts, checkSum) == 8, "stored in the cache file");
static_assert(offsetof(CachedFacts, strangeSize) == 12, "stored in the cache file");
static_assert(offsetof(CachedFacts, fileSize) == 16, "stored in the cache file");
static_assert(offsetof(CachedFacts, hash) == 24, "stored in the cache file");
static_assert(offsetof(CachedFacts, ranges) == 40, "stored in the cache file");
static_assert(offsetof(CachedFacts, strange) == 136, "stored in the cache file");

// Where the facts stand in an entry: behind the format text of so many characters and its zero.
constexpr std::size_t cachedFactsOffset = 840;

// Puts what the report, of a file that could be decoded, says of its picture into an entry that holds its record
// already, and cuts the format text. False, and the entry as it was, when more channels have NaN or infinite
// samples than there is room for, or not all of them are in the headers.
[[nodiscard]] bool putFacts(const FileReport& report, kxCHK::_SingleImageFile& entry);

// The picture of `file`, whose identity and headers are known. Nothing when the entry is not of this file with this
// size and time, or has no facts that can be right. It may be any entry, also a hostile one.
[[nodiscard]] std::optional<PictureReport> cachedPicture(const FileReport& file,
                                                         const kxCHK::_SingleImageFile& entry);

}  // namespace kxCheck
