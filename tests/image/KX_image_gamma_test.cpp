// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_image.h"
#include "tests/support/plainImage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

namespace {

std::uint32_t bitsOf(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

float floatOf(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

const float exponent = floatOf(0x3ee8ba2e);

}  // namespace

TEST(Gamma, TableHoldsTheCheckValues) {
    const int checks[][2] = {{0, 0},     {1, 21},    {2, 28},    {3, 34},    {64, 136},
                             {128, 186}, {192, 224}, {248, 252}, {249, 252}, {250, 253},
                             {251, 253}, {252, 254}, {253, 254}, {254, 255}, {255, 255}};
    std::memset(gammaTable, 99, sizeof gammaTable);
    gammaTable_InitNow();
    for (const auto& check : checks) EXPECT_EQ(gammaTable[check[0]], check[1]) << check[0];
}

TEST(Gamma, TableNeverFallsAndRepeatsFromIndex73On) {
    gammaTable_InitNow();
    int repeats = 0, firstRepeat = 0;
    for (int i = 1; i < 256; ++i) {
        ASSERT_GE(gammaTable[i], gammaTable[i - 1]) << i;
        if (gammaTable[i] != gammaTable[i - 1]) continue;
        if (repeats++ == 0) firstRepeat = i;
    }
    EXPECT_EQ(repeats, 72);
    EXPECT_EQ(firstRepeat, 73);
}

TEST(Gamma, TableIsTheRoundedPower) {
    gammaTable_InitNow();
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(gammaTable[i], std::lround(255.0 * std::pow(i / 255.0, 1 / 2.2))) << i;
    }
}

TEST(Gamma, ExponentIsTheSinglePrecisionQuotient) {
    EXPECT_EQ(bitsOf(1.0F / 2.2F), 0x3ee8ba2eU);
    EXPECT_EQ(exponent, 0.45454543828964233F);
}

TEST(Gamma, BytesGoThereAndBackToTheLowestIndex) {
    const Image8 image = makeUniformImage(1, 1, {0, 1, 255, 7});
    image->flags = KX_IMG_SUPERWHITE;
    kximgRGBABuffer8_doGamma22(*image);
    EXPECT_EQ(pixelText(*image, 0, 0), "0 21 255 7");
    EXPECT_EQ(image->flags, KX_IMG_SUPERWHITE | KX_IMG_GAMMA22);
    // White comes back as 254, the lower of the two indices that the table maps to 255.
    kximgRGBABuffer8_undoGamma22(*image);
    EXPECT_EQ(pixelText(*image, 0, 0), "0 1 254 7");
    EXPECT_EQ(image->flags, KX_IMG_SUPERWHITE);
}

TEST(Gamma, InverseTakesTheLowestIndexNotBelow) {
    const struct {
        _Rgba8 display;
        const char* linear;
    } cases[] = {{{20, 22, 72, 200}, "1 2 16 200"},
                 {{21, 28, 34, 0}, "1 2 3 0"},
                 {{252, 253, 254, 255}, "248 250 252 255"},
                 {{255, 0, 19, 1}, "254 0 1 1"}};
    for (const auto& c : cases) {
        const Image8 image = makeUniformImage(2, 1, c.display);
        kximgRGBABuffer8_undoGamma22(*image);
        EXPECT_EQ(pixelText(*image, 1, 0), c.linear);
    }
}

TEST(Gamma, RepeatedTableEntriesComeBackAsTheLowestIndex) {
    gammaTable_InitNow();
    for (int i = 0; i < 256; ++i) {
        const auto value = static_cast<unsigned char>(i);
        const Image8 image = makeUniformImage(1, 1, {value, value, value, value});
        kximgRGBABuffer8_doGamma22(*image);
        kximgRGBABuffer8_undoGamma22(*image);
        int expected = i;
        while (expected > 0 && gammaTable[expected - 1] == gammaTable[i]) --expected;
        EXPECT_EQ(image->pixels[0], expected);
        EXPECT_EQ(image->pixels[3], i);
        if (i == 73) {
            EXPECT_EQ(image->pixels[0], 72);
        }
    }
}

TEST(Gamma, SecondCallAppliesTheCurveAgain) {
    const Image8 image = makeUniformImage(1, 1, {1, 1, 1, 1});
    kximgRGBABuffer8_doGamma22(*image);
    kximgRGBABuffer8_doGamma22(*image);
    EXPECT_EQ(image->pixels[0], gammaTable[21]);
    EXPECT_GT(image->pixels[0], 21);
    EXPECT_EQ(image->flags, KX_IMG_GAMMA22);
}

TEST(Gamma, EveryConversionFillsTheTableFirst) {
    const auto isFilled = [] { return gammaTable[1] == 21 && gammaTable[255] == 255; };
    const Image8 bytes = makeUniformImage(1, 1, {1, 1, 1, 1});
    const ImageF floats = makeFloatImage(1, 1);
    std::memset(gammaTable, 0, sizeof gammaTable);
    kximgRGBABuffer8_doGamma22(*bytes);
    EXPECT_TRUE(isFilled());
    EXPECT_EQ(bytes->pixels[0], 21);
    std::memset(gammaTable, 0, sizeof gammaTable);
    kximgRGBABuffer8_undoGamma22(*bytes);
    EXPECT_TRUE(isFilled());
    EXPECT_EQ(bytes->pixels[0], 1);
    std::memset(gammaTable, 0, sizeof gammaTable);
    kximgRGBABufferf_doGamma22(*floats);
    EXPECT_TRUE(isFilled());
}

// Thread checkers see whether a thread writes to what another one reads. All start together, and with the table's
// first filling: no conversion may come before.
TEST(Gamma, BuffersAreConvertedInSeveralThreadsAtOnce) {
    std::vector<std::string> results(4);
    std::atomic<std::size_t> ready{0};
    std::vector<std::thread> threads;
    for (std::string& result : results) {
        threads.emplace_back([&] {
            const Image8 bytes = makeImage(1, 1);
            const ImageF floats = makeFloatImage(1, 1);
            ready.fetch_add(1, std::memory_order_relaxed);
            while (ready.load(std::memory_order_relaxed) < results.size()) std::this_thread::yield();
            for (int round = 0; round < 1000; ++round) {
                bytes->write(0, {0, 1, 255, 7});
                kximgRGBABuffer8_doGamma22(*bytes);
                kximgRGBABufferf_doGamma22(*floats);
                result = pixelText(*bytes, 0, 0);
                kximgRGBABuffer8_undoGamma22(*bytes);
                result += ", " + pixelText(*bytes, 0, 0);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::string& result : results) EXPECT_EQ(result, "0 21 255 7, 0 1 254 7");
    EXPECT_EQ(gammaTable[1], 21);
}

TEST(Gamma, FloatsBetweenBlackAndWhiteAreRaised) {
    const ImageF image = makeFloatImage(2, 1);
    image->write(0, {0.0F, 0.5F, 1.5F, 0.25F});
    image->write(1, {-0.5F, 1.0F, floatOf(1), 0.5F});
    kximgRGBABufferf_doGamma22(*image);
    EXPECT_EQ(image->flags, KX_IMG_GAMMA22);
    const _Rgbaf first = image->read(0);
    EXPECT_EQ(bitsOf(first.r), 0U);
    EXPECT_EQ(bitsOf(first.g), bitsOf(powf(0.5F, exponent)));
    EXPECT_EQ(bitsOf(first.g), 0x3f3ad03fU);
    EXPECT_EQ(first.b, 1.5F);
    EXPECT_EQ(first.a, 0.25F);
    const _Rgbaf second = image->read(1);
    EXPECT_EQ(second.r, -0.5F);
    EXPECT_EQ(second.g, 1.0F);
    EXPECT_EQ(second.b, powf(floatOf(1), exponent));
    EXPECT_EQ(second.a, 0.5F);
}

TEST(Gamma, FloatsThatAreNoNumberStay) {
    const ImageF image = makeFloatImage(1, 1);
    image->write(0, {NAN, INFINITY, -INFINITY, NAN});
    kximgRGBABufferf_doGamma22(*image);
    EXPECT_TRUE(std::isnan(image->read(0).r));
    EXPECT_EQ(image->read(0).g, INFINITY);
    EXPECT_EQ(image->read(0).b, -INFINITY);
}

TEST(Gamma, EmptyBufferChangesItsFlagOnly) {
    kxP::_imgRGBABuffer8 bytes(4U);
    kximgRGBABuffer8_doGamma22(bytes);
    EXPECT_EQ(bytes.flags, KX_IMG_GAMMA22);
    bytes.flags = 255;
    kximgRGBABuffer8_undoGamma22(bytes);
    EXPECT_EQ(bytes.flags, 254);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(bytes.pixels[i], 0);
    kxP::_imgRGBABufferf floats(0U);
    kximgRGBABufferf_doGamma22(floats);
    EXPECT_EQ(floats.flags, KX_IMG_GAMMA22);
}

TEST(Gamma, PixelsBeyondTheImageStay) {
    const Image8 image = makeUniformImage(3, 2, {1, 1, 1, 1}, 2);
    kximgRGBABuffer8_doGamma22(*image);
    EXPECT_EQ(image->pixels[20], 21);
    EXPECT_EQ(image->pixels[24], 1);
    image->pixels[24] = 21;
    kximgRGBABuffer8_undoGamma22(*image);
    EXPECT_EQ(image->pixels[20], 1);
    EXPECT_EQ(image->pixels[24], 21);
}

TEST(Gamma, PixelCountBeyondTheCapacityIsCut) {
    const Image8 bytes = makeUniformImage(3, 2, {1, 1, 1, 1});
    const ImageF floats = makeFloatImage(3, 2);
    bytes->pixelCount = 4000000000U;
    floats->pixelCount = 4000000000U;
    kximgRGBABuffer8_doGamma22(*bytes);
    kximgRGBABufferf_doGamma22(*floats);
    EXPECT_EQ(bytes->pixels[20], 21);
    kximgRGBABuffer8_undoGamma22(*bytes);
    EXPECT_EQ(bytes->pixels[20], 1);
}

TEST(Gamma, AgreesWithThePlainRule) {
    for (int i = 0; i < 200; ++i) {
        const auto seed = static_cast<unsigned>(i);
        const Image8 image = makeRandomImage(i % 14, i % 9, seed, seed % 3);
        const Image8 expected = makeCopy(*image);
        kximgRGBABuffer8_doGamma22(*image);
        plain::doGamma22(*expected);
        ASSERT_EQ(differenceOf(*image, *expected), "") << i;
        kximgRGBABuffer8_undoGamma22(*image);
        plain::undoGamma22(*expected);
        ASSERT_EQ(differenceOf(*image, *expected), "") << i;
    }
}

TEST(Gamma, FloatsAgreeWithThePlainRule) {
    for (unsigned seed = 0; seed < 50; ++seed) {
        const ImageF image = makeRandomFloatImage(13, 12, seed);
        const ImageF expected = makeRandomFloatImage(13, 12, seed);
        kximgRGBABufferf_doGamma22(*image);
        plain::doGamma22(*expected);
        ASSERT_EQ(std::memcmp(image->pixels, expected->pixels, std::size_t{13} * 12 * 16), 0) << seed;
    }
}
