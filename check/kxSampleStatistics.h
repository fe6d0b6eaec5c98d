// SPDX-License-Identifier: BSD-3-Clause
// What is counted over the samples of one channel: how many are no finite numbers, and the range of the others.
//
// Equal samples in equal rows give the same bits on every machine. Each thread may use its own objects.
#pragma once

#include "check/kxPictureReport.h"
#include "image/kxExrPart.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace kxCheck {

class SampleStatistics {
public:
    // The range costs as much again as all the rest: it is only counted when asked for.
    SampleStatistics(kxExr::PixelType type, bool withRange) : type_(type), withRange_(withRange) {}

    // A row of little-endian samples at any address.
    void add(const unsigned char* samples, std::size_t count);

    std::int64_t nan() const { return nan_; }
    std::int64_t infinite() const { return infinite_; }
    // Of the finite samples; nothing when there is none, or it was not asked for.
    std::optional<SampleRange> range() const;

private:
    template <class Bits>
    void addFloats(const Bits* samples, std::size_t count);
    template <class Bits>
    void addFinite(const Bits* samples, std::size_t count);
    void addNumbers(const std::uint32_t* samples, std::size_t count);
    void extend(double least, double most, double sum, std::size_t count);

    kxExr::PixelType type_;
    bool withRange_;
    std::int64_t nan_ = 0;
    std::int64_t infinite_ = 0;
    std::int64_t finite_ = 0;
    double sum_ = 0;
    double min_ = std::numeric_limits<double>::infinity();
    double max_ = -std::numeric_limits<double>::infinity();
};

}  // namespace kxCheck
