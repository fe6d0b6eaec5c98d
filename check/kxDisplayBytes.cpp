// SPDX-License-Identifier: BSD-3-Clause
// A half has so few values that a table holds the byte of each. For floats a table holds the byte at every 65536th
// value; between two of these lies at most one value from which on the byte is greater by one, because a float's
// upper 16 bits leave steps of 1/128 and the byte changes by less than one in such a step.
#include "check/kxDisplayBytes.h"

#include "check/kxSampleValue.h"
#include "image/KX_image.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>
#include <vector>

namespace kxCheck {

namespace {

constexpr std::uint32_t bitsOfOne = 0x3F800000;
constexpr std::uint32_t bitsOfInfinity = 0x7F800000;

unsigned char byteOf(float value) {
    if (!(value > 0.0F)) return 0;  // NaN too
    return static_cast<unsigned char>(static_cast<double>(std::min(value, 1.0F) * 255.0F) + 0.5);
}

// Many at once, by the farm's own gamma.
std::vector<unsigned char> displayBytesOf(const std::vector<float>& values) {
    const auto count = static_cast<unsigned>(values.size());
    kxP::_imgRGBABufferf pixels(count);
    if (pixels.capacity < count) throw std::bad_alloc();
    pixels.setWidth(static_cast<int>(count));
    pixels.setHeight(1);
    for (unsigned i = 0; i < count; ++i) pixels.write(static_cast<int>(i), {values[i], 0, 0, 0});
    kximgRGBABufferf_doGamma22(pixels);
    std::vector<unsigned char> bytes;
    for (unsigned i = 0; i < count; ++i) bytes.push_back(byteOf(pixels.read(i).r));
    return bytes;
}

// By the bits of a half.
struct HalfBytes {
    HalfBytes() {
        std::vector<float> values;
        for (std::uint32_t bits = 0; bits < 65536; ++bits)
            values.push_back(floatOfHalf(static_cast<std::uint16_t>(bits)));
        display = displayBytesOf(values);
        for (const float value : values) linear.push_back(byteOf(value));
    }

    std::vector<unsigned char> display;
    std::vector<unsigned char> linear;
};

class FloatBytes {
public:
    FloatBytes() {
        std::vector<float> values;
        for (std::uint32_t upper = 0; upper < bitsOfOne >> 16U; ++upper)
            values.push_back(floatOfBits(upper << 16U));
        bytes_ = displayBytesOf(values);
        findSteps();
    }

    unsigned char at(std::uint32_t bits) const {
        if (bits >= bitsOfOne) return bits <= bitsOfInfinity ? 255 : 0;  // NaN and what is below 0 come behind
        const unsigned char byte = bytes_[bits >> 16U];
        return static_cast<unsigned char>(byte + (bits >= steps_[byte] ? 1 : 0));
    }

private:
    // Halves the way to each step 30 times, which takes it from the bits of 1 to a single one.
    void findSteps() {
        std::array<std::uint32_t, 256> below{};  // bits whose byte is not above the index
        steps_.fill(bitsOfOne);
        for (int round = 0; round < 30; ++round) {
            std::array<std::uint32_t, 256> middle{};
            std::vector<float> values;
            for (std::size_t i = 0; i < middle.size(); ++i) {
                middle[i] = below[i] + (steps_[i] - below[i]) / 2;
                values.push_back(floatOfBits(middle[i]));
            }
            const std::vector<unsigned char> bytes = displayBytesOf(values);
            for (std::size_t i = 0; i < middle.size(); ++i) (bytes[i] > i ? steps_ : below)[i] = middle[i];
        }
    }

    std::vector<unsigned char> bytes_;           // of the floats with lower bits of 0, below 1
    std::array<std::uint32_t, 256> steps_ = {};  // the lowest bits whose byte is above the index
};

const HalfBytes& halfBytes() {
    static const HalfBytes bytes;
    return bytes;
}

const FloatBytes& floatBytes() {
    static const FloatBytes bytes;
    return bytes;
}

void halvesToBytes(Transfer transfer, const unsigned char* samples, std::size_t count, unsigned char* to) {
    const HalfBytes& bytes = halfBytes();
    const unsigned char* table = transfer == Transfer::display ? bytes.display.data() : bytes.linear.data();
    for (std::size_t i = 0; i < count; ++i) to[i] = table[qFromLittleEndian<std::uint16_t>(samples + 2 * i)];
}

void floatsToBytes(Transfer transfer, const unsigned char* samples, std::size_t count, unsigned char* to) {
    const FloatBytes& bytes = floatBytes();
    for (std::size_t i = 0; i < count; ++i) {
        const auto bits = qFromLittleEndian<std::uint32_t>(samples + 4 * i);
        to[i] = transfer == Transfer::display ? bytes.at(bits) : byteOf(floatOfBits(bits));
    }
}

void numbersToBytes(const unsigned char* samples, std::size_t count, unsigned char* to) {
    for (std::size_t i = 0; i < count; ++i) to[i] = qFromLittleEndian<std::uint32_t>(samples + 4 * i) > 0 ? 255 : 0;
}

}  // namespace

void toBytes(kxExr::PixelType type, Transfer transfer, const unsigned char* samples, std::size_t count,
             unsigned char* to) {
    switch (type) {
        case kxExr::PixelType::half:
            return halvesToBytes(transfer, samples, count, to);
        case kxExr::PixelType::float32:
            return floatsToBytes(transfer, samples, count, to);
        case kxExr::PixelType::uint:
            return numbersToBytes(samples, count, to);
    }
}

}  // namespace kxCheck
