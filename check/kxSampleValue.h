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

// The value of a half, exactly; infinities and NaN included.
inline float floatOfHalf(std::uint16_t half) {
    constexpr std::uint32_t firstNormal = 0x0400;
    constexpr std::uint32_t firstStrange = 0x7C00;
    const std::uint32_t magnitude = half & 0x7FFFU;
    const std::uint32_t sign = (half & 0x8000U) << 16U;
    // Exponents are counted from 15 in a half and from 127 in a float; the largest one stands for no number.
    const std::uint32_t exponentShift = magnitude >= firstStrange ? 2 * (127U - 15U) : 127U - 15U;
    const std::uint32_t normal = (magnitude << 13U) + (exponentShift << 23U);
    const float small = static_cast<float>(static_cast<std::int32_t>(magnitude)) * (1.0F / 16777216.0F);
    std::uint32_t smallBits;
    std::memcpy(&smallBits, &small, sizeof smallBits);
    const std::uint32_t bits = (magnitude < firstNormal ? smallBits : normal) | sign;
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

inline float floatOfBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
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
