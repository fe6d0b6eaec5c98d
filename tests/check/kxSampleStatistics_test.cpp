// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxSampleStatistics.h"

#include "check/kxSampleValue.h"

#include <gtest/gtest.h>
#include <half.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

using namespace kxCheck;
using kxExr::PixelType;

namespace {

template <class Number>
void add(SampleStatistics& statistics, const std::vector<Number>& samples, std::size_t offset = 0) {
    std::vector<unsigned char> bytes(offset + samples.size() * sizeof(Number));
    if (!samples.empty()) std::memcpy(bytes.data() + offset, samples.data(), samples.size() * sizeof(Number));
    statistics.add(bytes.data() + offset, samples.size());
}

std::vector<std::uint16_t> allHalves() {
    std::vector<std::uint16_t> halves;
    for (unsigned bits = 0; bits < 65536; ++bits) halves.push_back(static_cast<std::uint16_t>(bits));
    return halves;
}

}  // namespace

TEST(SampleValue, OfEveryHalfIsThatOfTheLibrary) {
    for (const std::uint16_t bits : allHalves()) {
        half expected;
        expected.setBits(bits);
        const float value = floatOfHalf(bits);
        if (expected.isNan())
            EXPECT_TRUE(std::isnan(value)) << bits;
        else
            EXPECT_EQ(value, static_cast<float>(expected)) << bits;
        EXPECT_EQ(std::signbit(value), (bits & 0x8000) != 0) << bits;
    }
}

TEST(SampleStatistics, CountEveryHalf) {
    SampleStatistics statistics(PixelType::half, true);
    add(statistics, allHalves());
    EXPECT_EQ(statistics.nan(), 2 * 1023);
    EXPECT_EQ(statistics.infinite(), 2);
    ASSERT_TRUE(statistics.range());
    EXPECT_EQ(statistics.range()->min, -65504);
    EXPECT_EQ(statistics.range()->max, 65504);
    EXPECT_EQ(statistics.range()->mean, 0);
}

TEST(SampleStatistics, CountStrangeFloatsOfAllSorts) {
    SampleStatistics statistics(PixelType::float32, true);
    const std::vector<std::uint32_t> samples = {0x7F800000, 0xFF800000, 0x7F800001, 0x7FC00000, 0xFFFFFFFF,
                                                0x7F7FFFFF, 0xFF7FFFFF, 0x00000001, 0x80000001, 0x00000000};
    add(statistics, samples);
    EXPECT_EQ(statistics.infinite(), 2);
    EXPECT_EQ(statistics.nan(), 3);
    const auto most = static_cast<double>(std::numeric_limits<float>::max());
    EXPECT_EQ(statistics.range()->min, -most);
    EXPECT_EQ(statistics.range()->max, most);
}

TEST(SampleStatistics, HaveARangeOnlyOfWhatTheyWereAskedFor) {
    SampleStatistics none(PixelType::half, true);
    EXPECT_FALSE(none.range());
    add(none, std::vector<std::uint16_t>{});
    EXPECT_FALSE(none.range());
    SampleStatistics unasked(PixelType::half, false);
    add(unasked, std::vector<std::uint16_t>{0x3C00, 0x7E00});
    EXPECT_FALSE(unasked.range());
    EXPECT_EQ(unasked.nan(), 1);
    SampleStatistics numbers(PixelType::uint, false);
    add(numbers, std::vector<std::uint32_t>{0x7FC00000});
    EXPECT_FALSE(numbers.range());
    EXPECT_EQ(numbers.nan(), 0);
}

TEST(SampleStatistics, TakeWholeNumbersWithAllTheirBits) {
    SampleStatistics statistics(PixelType::uint, true);
    add(statistics, std::vector<std::uint32_t>(3000, 0xFFFFFFFFU));
    add(statistics, std::vector<std::uint32_t>{1});
    EXPECT_EQ(statistics.range()->min, 1);
    EXPECT_EQ(statistics.range()->max, 4294967295.0);
    EXPECT_EQ(statistics.nan() + statistics.infinite(), 0);
}

TEST(SampleStatistics, KeepTheMeanOfEqualSamplesWithinTheRange) {
    SampleStatistics statistics(PixelType::float32, true);
    for (int i = 0; i < 1001; ++i) add(statistics, std::vector<float>(1001, 0.1F));
    EXPECT_EQ(statistics.range()->mean, static_cast<double>(0.1F));
}

// Rows of lengths around the size of a block, at addresses that fit no number.
TEST(SampleStatistics, AreThoseOfAPlainLoop) {
    std::mt19937 random(5);
    for (const std::size_t size :
         {1U, 2U, 3U, 4U, 5U, 7U, 9U, 100U, 1023U, 1024U, 1025U, 1026U, 2048U, 2049U, 2999U}) {
        SampleStatistics statistics(PixelType::float32, true);
        std::vector<float> samples;
        long double sum = 0;
        double min = HUGE_VAL;
        double max = -HUGE_VAL;
        std::int64_t nan = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const bool isNan = random() % 50 == 0;
            samples.push_back(isNan ? std::nanf("") : static_cast<float>(random() % 1000) - 400.0F);
            nan += isNan ? 1 : 0;
            if (isNan) continue;
            sum += static_cast<long double>(samples.back());
            min = std::min(min, static_cast<double>(samples.back()));
            max = std::max(max, static_cast<double>(samples.back()));
        }
        add(statistics, samples, size % 4);
        EXPECT_EQ(statistics.nan(), nan);
        const std::int64_t finite = static_cast<std::int64_t>(size) - nan;
        ASSERT_EQ(statistics.range().has_value(), finite > 0) << size;
        if (finite == 0) continue;
        EXPECT_EQ(statistics.range()->min, min);
        EXPECT_EQ(statistics.range()->max, max);
        EXPECT_EQ(statistics.range()->mean, static_cast<double>(sum / static_cast<long double>(finite)))
            << "whole numbers add up exactly";
    }
}
