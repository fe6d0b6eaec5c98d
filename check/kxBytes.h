// SPDX-License-Identifier: BSD-3-Clause
// The bytes of a file at their offsets: what the readers of EXR files look at, whatever they come from.
#pragma once

#include <QtEndian>

#include <cstddef>
#include <cstdint>

namespace kxCheck {

class Bytes {
public:
    // The largest piece that can be viewed.
    static constexpr std::size_t mostViewed = std::size_t{64} * 1024;

    virtual ~Bytes() = default;

    virtual std::uint64_t size() const = 0;
    // `count` bytes at `offset`, valid until the next call. Null when they do not all lie within the file, are more
    // than `mostViewed`, or can't be read.
    virtual const char* view(std::uint64_t offset, std::size_t count) = 0;

    bool holds(std::uint64_t offset, std::uint64_t count) const {
        return offset <= size() && count <= size() - offset;
    }
};

// The numbers of an EXR file are little-endian and stand at any address.
template <class Number>
Number numberAt(const char* bytes) {
    return qFromLittleEndian<Number>(bytes);
}

}  // namespace kxCheck
