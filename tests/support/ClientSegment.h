// SPDX-License-Identifier: BSD-3-Clause
// The client's segment as plain bytes.
#pragma once

#include <cstddef>
#include <random>
#include <string>

// Bytes that encode nothing, with the format fields of a ready client and this message count.
inline std::string readySegment(int messageCount, std::size_t size = 22984, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() & 0xff);
    bytes.replace(0, 4, std::string("\x05\x02\x00\x00", 4));    // 517
    bytes.replace(928, 4, std::string("\x05\x0c\x01\x00", 4));  // 3077 and the ready marker 1
    bytes[2001] = static_cast<char>(messageCount);
    return bytes;
}

inline int messageCountOf(const std::string& segment) {
    return static_cast<unsigned char>(segment[2001]);
}

// The segment after a sender has put this job's low byte into the next slot: the rule, field by field.
inline std::string withCheckJob(std::string segment, int jobByte) {
    const std::size_t s = static_cast<unsigned char>(segment[2001]);
    segment[2001] = static_cast<char>(s + 1);
    segment[2002 + s] = 3;
    segment[2032 + s] = 3;
    segment[2062 + 2 * s] = 9;
    segment[2062 + 2 * s + 1] = 0;
    for (std::size_t i = 0; i < 8; ++i) segment[2124 + 8 * s + i] = 0;
    segment[7435 + s] = static_cast<char>(jobByte);
    segment[7465 + s] = 0;
    return segment;
}
