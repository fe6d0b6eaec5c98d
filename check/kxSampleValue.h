// SPDX-License-Identifier: BSD-3-Clause
// Samples as numbers: what the bits of a half stand for, and samples that stand at any address of a chunk.
//
// Written so that compilers make loops over many samples of it. Any thread may call it.
#pragma once

#include <QtEndian>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kxCheck {

inline float floatOfBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

inline std::uint32_t bitsOfFloat(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// All bits where that is true, else none: a choice without a branch.
inline std::uint32_t maskIf(bool isTrue) {
    return 0U - static_cast<std::uint32_t>(isTrue);
}

// The value of a half, exactly; infinities and NaN included.
//
// Exponents are counted from 15 in a half and from 127 in a float. Below the first normal half they are all 0, and
// the value is so many times 2^-24; the largest one stands for no number, and is the largest of a float too.
inline float floatOfHalf(std::uint16_t half) {
    const std::uint32_t magnitude = half & 0x7FFFU;
    const std::uint32_t isSmall = maskIf(magnitude < 0x0400U);
    const std::uint32_t isStrange = maskIf(magnitude >= 0x7C00U);
    const std::uint32_t normal = (magnitude << 13U) + ((112U + (112U & isStrange)) << 23U);
    const std::uint32_t small = bitsOfFloat(static_cast<float>(static_cast<std::int32_t>(magnitude)) / 16777216.0F);
    return floatOfBits((small & isSmall) | (normal & ~isSmall) | (half & 0x8000U) << 16U);
}

// Samples that are looked at in one go: they stay in the fastest memory.
constexpr std::size_t sampleBlock = 1024;

// Calls take(const Bits*, count) for `count` little-endian samples, block by block and aligned.
template <class Bits, class Take>
void forEachBlock(const unsigned char* samples, std::size_t count, Take take) {
    Bits block[sampleBlock];
    while (count > 0) {
        const std::size_t part = std::min(count, sampleBlock);
        qFromLittleEndian<Bits>(samples, static_cast<qsizetype>(part), block);
        take(static_cast<const Bits*>(block), part);
        samples += part * sizeof(Bits);
        count -= part;
    }
}

}  // namespace kxCheck
