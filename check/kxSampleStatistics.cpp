// SPDX-License-Identifier: BSD-3-Clause
// Nearly all samples are finite: a block of them is first asked whether it has any other, all at once. The loops
// over finite samples have no branch, and compare them as whole numbers in the same order.
#include "check/kxSampleStatistics.h"

#include "check/kxSampleValue.h"

#include <algorithm>
#include <type_traits>

namespace kxCheck {

namespace {

// Where sign and exponent stand in the bits of a half and a float.
template <class Bits>
struct Layout;
template <>
struct Layout<std::uint16_t> {
    static constexpr std::uint16_t magnitude = 0x7FFF;
    static constexpr std::uint16_t infinity = 0x7C00;
    static float value(std::uint16_t bits) { return floatOfHalf(bits); }
};
template <>
struct Layout<std::uint32_t> {
    static constexpr std::uint32_t magnitude = 0x7FFFFFFF;
    static constexpr std::uint32_t infinity = 0x7F800000;
    static float value(std::uint32_t bits) { return floatOfBits(bits); }
};

template <class Bits>
Bits magnitudeOf(Bits bits) {
    return static_cast<Bits>(bits & Layout<Bits>::magnitude);
}

template <class Bits>
bool areAllFinite(const Bits* samples, std::size_t count) {
    // Added to an exponent of ones, this carries into the sign.
    constexpr auto carry = static_cast<Bits>(Layout<Bits>::magnitude + 1U - Layout<Bits>::infinity);
    Bits together = 0;
    for (std::size_t i = 0; i < count; ++i)
        together = static_cast<Bits>(together | static_cast<Bits>(magnitudeOf(samples[i]) + carry));
    return together <= Layout<Bits>::magnitude;
}

// A whole number that orders finite samples as their values do; and back.
template <class Bits>
auto keyOf(Bits bits) {
    using Key = std::make_signed_t<Bits>;
    const auto key = static_cast<Key>(bits);
    return static_cast<Key>(key < 0 ? key ^ static_cast<Key>(Layout<Bits>::magnitude) : key);
}
template <class Bits>
double valueOfKey(std::make_signed_t<Bits> key) {
    const float value = Layout<Bits>::value(static_cast<Bits>(keyOf(static_cast<Bits>(key))));
    return static_cast<double>(value) + 0.0;  // the negative zero becomes the other one
}

// Four sums side by side, so that no addition waits for the one before.
double sumOf(const float* values, std::size_t count) {
    double sums[4] = {};
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4)
        for (std::size_t lane = 0; lane < 4; ++lane) sums[lane] += static_cast<double>(values[i + lane]);
    for (; i < count; ++i) sums[0] += static_cast<double>(values[i]);
    return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

}  // namespace

void SampleStatistics::add(const unsigned char* samples, std::size_t count) {
    const auto addBlock = [this](const auto* block, std::size_t size) { addFloats(block, size); };
    switch (type_) {
        case kxExr::PixelType::half:
            return forEachBlock<std::uint16_t>(samples, count, addBlock);
        case kxExr::PixelType::float32:
            return forEachBlock<std::uint32_t>(samples, count, addBlock);
        case kxExr::PixelType::uint:
            if (!withRange_) return;
            return forEachBlock<std::uint32_t>(
                samples, count, [this](const std::uint32_t* block, std::size_t size) { addNumbers(block, size); });
    }
}

template <class Bits>
void SampleStatistics::addFloats(const Bits* samples, std::size_t count) {
    if (areAllFinite(samples, count)) return addFinite(samples, count);
    Bits finite[sampleBlock];
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const Bits magnitude = magnitudeOf(samples[i]);
        nan_ += magnitude > Layout<Bits>::infinity ? 1 : 0;
        infinite_ += magnitude == Layout<Bits>::infinity ? 1 : 0;
        if (magnitude < Layout<Bits>::infinity) finite[kept++] = samples[i];
    }
    addFinite(finite, kept);
}

template <class Bits>
void SampleStatistics::addFinite(const Bits* samples, std::size_t count) {
    if (!withRange_ || count == 0) return;
    auto least = keyOf(samples[0]);
    auto most = least;
    for (std::size_t i = 0; i < count; ++i) {
        const auto key = keyOf(samples[i]);
        least = key < least ? key : least;
        most = key > most ? key : most;
    }
    float values[sampleBlock];
    for (std::size_t i = 0; i < count; ++i) values[i] = Layout<Bits>::value(samples[i]);
    extend(valueOfKey<Bits>(least), valueOfKey<Bits>(most), sumOf(values, count), count);
}

void SampleStatistics::addNumbers(const std::uint32_t* samples, std::size_t count) {
    std::uint32_t least = samples[0];
    std::uint32_t most = samples[0];
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        least = std::min(least, samples[i]);
        most = std::max(most, samples[i]);
        sum += samples[i];
    }
    extend(least, most, static_cast<double>(sum), count);
}

void SampleStatistics::extend(double least, double most, double sum, std::size_t count) {
    min_ = std::min(min_, least);
    max_ = std::max(max_, most);
    sum_ += sum;
    finite_ += static_cast<std::int64_t>(count);
}

// A sum of many equal samples is not exactly their number times one: the mean is kept within the range.
std::optional<SampleRange> SampleStatistics::range() const {
    if (finite_ == 0) return std::nullopt;
    const double mean = sum_ / static_cast<double>(finite_);
    return SampleRange{min_, max_, std::clamp(mean, min_, max_)};
}

}  // namespace kxCheck
