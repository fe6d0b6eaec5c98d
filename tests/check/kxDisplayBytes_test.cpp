// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxDisplayBytes.h"

#include <gtest/gtest.h>
#include <half.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

using namespace kxCheck;
using kxExr::PixelType;

namespace {

template <class Number>
std::vector<unsigned char> bytesOf(PixelType type, Transfer transfer, const std::vector<Number>& samples) {
    std::vector<unsigned char> bytes(samples.size());
    toBytes(type, transfer, reinterpret_cast<const unsigned char*>(samples.data()), samples.size(), bytes.data());
    return bytes;
}

unsigned char plainByte(float value, Transfer transfer) {
    if (!(value > 0)) return 0;
    if (value >= 1) return 255;
    if (transfer == Transfer::display) value = powf(value, 0.45454543828964233F);
    return static_cast<unsigned char>(static_cast<double>(value * 255.0F) + 0.5);
}

void expectPlain(const std::vector<float>& values) {
    for (const Transfer transfer : {Transfer::display, Transfer::linear}) {
        const std::vector<unsigned char> bytes = bytesOf(PixelType::float32, transfer, values);
        for (std::size_t i = 0; i < values.size(); ++i)
            EXPECT_EQ(int{bytes[i]}, int{plainByte(values[i], transfer)}) << values[i];
    }
}

}  // namespace

TEST(DisplayBytes, OfEveryHalfAreThePlainOnes) {
    std::vector<std::uint16_t> halves;
    for (unsigned bits = 0; bits < 65536; ++bits) halves.push_back(static_cast<std::uint16_t>(bits));
    for (const Transfer transfer : {Transfer::display, Transfer::linear}) {
        const std::vector<unsigned char> bytes = bytesOf(PixelType::half, transfer, halves);
        for (const std::uint16_t bits : halves) {
            half value;
            value.setBits(bits);
            ASSERT_EQ(int{bytes[bits]}, int{plainByte(value, transfer)}) << bits;
        }
    }
}

TEST(DisplayBytes, OfFloatsOfAllSortsAreThePlainOnes) {
    using Limits = std::numeric_limits<float>;
    expectPlain({0.0F, -0.0F, 1.0F, -1.0F, 2.0F, Limits::min(), Limits::denorm_min(), Limits::max(), -Limits::max(),
                 Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(), -Limits::quiet_NaN(),
                 std::nextafter(1.0F, 0.0F), std::nextafter(1.0F, 2.0F)});
    std::mt19937 random(3);
    std::vector<float> values;
    for (int i = 0; i < 200000; ++i) {
        const auto bits = static_cast<std::uint32_t>(random());
        float value;
        std::memcpy(&value, &bits, sizeof value);
        values.push_back(value);
        values.push_back(static_cast<float>(random() % 1000000) / 1000000.0F);
    }
    expectPlain(values);
}

// Where one byte goes over to the next: some hundred floats on either side of each step.
TEST(DisplayBytes, OfFloatsAroundEachStepAreThePlainOnes) {
    std::vector<float> values;
    for (int byte = 0; byte < 255; ++byte)
        for (const bool isDisplay : {true, false}) {
            const double step = (byte + 0.5) / 255;
            const auto value = static_cast<float>(isDisplay ? std::pow(step, 2.2) : step);
            float around = value;
            for (int i = 0; i < 200; ++i) around = std::nextafter(around, 0.0F);
            for (int i = 0; i < 400; ++i) values.push_back(around = std::nextafter(around, 1.0F));
        }
    expectPlain(values);
}

TEST(DisplayBytes, NeverFallAndReachAll) {
    std::vector<float> values;
    for (int i = 0; i <= 1000000; ++i) values.push_back(static_cast<float>(i) / 1000000.0F);
    const std::vector<unsigned char> bytes = bytesOf(PixelType::float32, Transfer::display, values);
    int steps = 0;
    for (std::size_t i = 1; i < bytes.size(); ++i) {
        ASSERT_GE(bytes[i], bytes[i - 1]);
        steps += bytes[i] > bytes[i - 1] ? 1 : 0;
    }
    EXPECT_EQ(bytes.front(), 0);
    EXPECT_EQ(bytes.back(), 255);
    EXPECT_GE(steps, 250);
}

TEST(DisplayBytes, OfWholeNumbersAreBlackAndWhite) {
    const std::vector<std::uint32_t> numbers = {0, 1, 255, 0xFFFFFFFF, 0x80000000, 0x7FC00000};
    for (const Transfer transfer : {Transfer::display, Transfer::linear})
        EXPECT_EQ(bytesOf(PixelType::uint, transfer, numbers),
                  (std::vector<unsigned char>{0, 255, 255, 255, 255, 255}));
}
