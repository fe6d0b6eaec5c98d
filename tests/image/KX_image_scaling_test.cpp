// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_image.h"
#include "image/private/kxSampling.h"
#include "tests/support/plainImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>

using kxP::_imgRGBABuffer8;
using kxP::_imgRGBABufferf;

namespace {

using Scaler = std::function<bool(const _imgRGBABuffer8&, _imgRGBABuffer8&, int, int)>;

struct NamedScaler {
    const char* name;
    Scaler fast, plainRule;
    bool proportional;  // the picture keeps its proportions in the box
};

bool fastScale16(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, int w, int h) {
    return kximgRGBABuffer8_Scale16(src, dst, w, h, false);
}
bool fastScale9(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, int w, int h) {
    return kximgRGBABuffer8_Scale9(src, dst, w, h, false);
}
bool fastScale4(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, int w, int h) {
    return kximgRGBABuffer8_Scale4(src, dst, w, h, false);
}
bool plainScale4(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, int w, int h) {
    return plain::scale4(src, dst, w, h);
}

const NamedScaler scalers[] = {
    {"Scale16", fastScale16, plain::scale16, true},
    {"Scale16_noProportions", kximgRGBABuffer8_Scale16_noProportions, plain::scale16NoProportions, false},
    {"Scale9", fastScale9, plain::scale9, true},
    {"Scale4", fastScale4, plainScale4, true}};

std::string sizeOf(const _imgRGBABuffer8& image) {
    return std::to_string(image.width) + "x" + std::to_string(image.height);
}

// Every pixel holds its own column, row and both their high parts.
Image8 makeCoordinateImage(int width, int height) {
    const Image8 image = makeImage(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            image->write(x, y, static_cast<unsigned char>(x), static_cast<unsigned char>(y),
                         static_cast<unsigned char>(x / 256 * 16 + y / 256), 255);
        }
    }
    return makeCopy(*image);
}

unsigned draw(unsigned& seed, int below) {
    return static_cast<unsigned>(kxRand(seed) * static_cast<float>(below));
}
int drawInt(unsigned& seed, int below) {
    return static_cast<int>(draw(seed, below));
}

// FNV-1a over the pixels of the image.
std::uint32_t hashOf(const _imgRGBABuffer8& image) {
    std::uint32_t hash = 2166136261U;
    for (unsigned i = 0; i < 4 * image.pixelCount; ++i) hash = (hash ^ image.pixels[i]) * 16777619U;
    return hash;
}

}  // namespace

// A copy that does not fit is clipped as setWidth and setHeight clip it, and counts as done: only reductions are
// refused.
TEST(Scaling, SourceSmallerThanTheBoxIsCopied) {
    const struct {
        int width, height;
        unsigned capacity;
        const char* size;
        std::size_t copiedPixels;
    } table[] = {{100, 50, 40000, "100x50", 5000}, {10, 8, 35, "10x3", 35}};
    for (const auto& row : table) {
        const Image8 src = makeRandomImage(row.width, row.height, 1);
        for (const NamedScaler& scaler : scalers) {
            _imgRGBABuffer8 dst(row.capacity);
            EXPECT_TRUE(scaler.fast(*src, dst, 200, 200)) << scaler.name;
            EXPECT_EQ(sizeOf(dst), row.size) << scaler.name;
            EXPECT_EQ(std::memcmp(dst.pixels, src->pixels, 4 * row.copiedPixels), 0) << scaler.name;
        }
    }
}

TEST(Scaling, SourceThatReachesTheBoxInOneAxisIsScaled) {
    const Image8 src = makeCoordinateImage(10, 7);
    for (const NamedScaler& scaler : scalers) {
        _imgRGBABuffer8 dst(100U);
        EXPECT_TRUE(scaler.fast(*src, dst, 10, 20)) << scaler.name;
        EXPECT_EQ(sizeOf(dst), scaler.proportional ? "10x6" : "10x7") << scaler.name;
    }
}

TEST(Scaling, TargetSizes) {
    const struct {
        int width, height, w, h;
        const char* even;
        const char* each;  // each axis on its own
    } cases[] = {{1000, 500, 300, 0, "300x150", "300x300"},
                 {1001, 1001, 100, 100, "100x100", "100x100"},
                 {1000, 1000, 333, 333, "332x332", "333x333"},
                 {640, 480, 101, 101, "100x74", "101x101"},
                 {1000, 500, 300, -7, "300x150", "300x300"},
                 {500, 1000, 300, 0, "150x300", "300x300"},
                 {300, 10, 100, 100, "100x2", "100x10"},
                 {300, 1, 100, 100, "100x0", "100x1"},
                 {12, 13, 12, 13, "12x12", "12x13"},
                 {3, 3, 2, 2, "2x2", "2x2"},
                 {1, 1, 1, 1, "0x0", "1x1"},
                 {9, 9, 0, 0, "0x0", "0x0"},
                 {9, 9, 0, 5, "0x0", "0x5"},
                 {8, 6, -3, -3, "8x6", "8x6"}};
    for (const auto& c : cases) {
        const Image8 src = makeImage(c.width, c.height);
        for (const NamedScaler& scaler : scalers) {
            _imgRGBABuffer8 dst(200000U);
            EXPECT_TRUE(scaler.fast(*src, dst, c.w, c.h));
            EXPECT_EQ(sizeOf(dst), scaler.proportional ? c.even : c.each)
                << scaler.name << ' ' << c.width << 'x' << c.height << " into " << c.w << 'x' << c.h;
        }
    }
}

TEST(Scaling, FloatTargetSizesAreThoseOfBytes) {
    const ImageF src = makeFloatImage(640, 480);
    _imgRGBABuffer8 dst(200000U);
    EXPECT_TRUE(kximgRGBABuffer8_Scale4(*src, dst, 101, 0, true));
    EXPECT_EQ(sizeOf(dst), "100x74");
}

TEST(Scaling, Scale9TakesScale4ForSmallReductions) {
    const Image8 src = makeRandomImage(240, 240, 2);
    const struct {
        int box;
        bool isScale4;
    } cases[] = {{100, true}, {97, true}, {96, false}, {90, false}};  // 97 * 5 / 2 = 242, 96 * 5 / 2 = 240
    for (const auto& c : cases) {
        _imgRGBABuffer8 nine(20000U), four(20000U);
        EXPECT_TRUE(fastScale9(*src, nine, c.box, 0));
        EXPECT_TRUE(fastScale4(*src, four, c.box, 0));
        EXPECT_EQ(differenceOf(nine, four).empty(), c.isScale4) << c.box;
    }
}

TEST(Scaling, Scale9TakesScale4OnlyWhenBothReductionsAreSmall) {
    const Image8 wide = makeRandomImage(240, 100, 3);
    const Image8 high = makeRandomImage(100, 240, 3);
    for (const Image8* src : {&wide, &high}) {
        _imgRGBABuffer8 nine(20000U), four(20000U);
        EXPECT_TRUE(fastScale9(**src, nine, 90, 90));
        EXPECT_TRUE(fastScale4(**src, four, 90, 90));
        EXPECT_NE(differenceOf(nine, four), "");
    }
}

TEST(Scaling, TwoCallsGiveTheSame) {
    const Image8 src = makeRandomImage(123, 77, 4);
    for (const NamedScaler& scaler : scalers) {
        _imgRGBABuffer8 first(5000U), second(5000U);
        EXPECT_TRUE(scaler.fast(*src, first, 40, 40));
        EXPECT_TRUE(scaler.fast(*src, second, 40, 40));
        EXPECT_EQ(differenceOf(first, second), "") << scaler.name;
    }
}

TEST(Scaling, OpaqueStaysOpaqueAndUniformStaysUniform) {
    const _Rgba8 colour{12, 255, 77, 255};
    const Image8 small = makeUniformImage(61, 47, colour);
    const Image8 large = makeUniformImage(1700, 900, colour);
    for (const Image8* src : {&small, &large}) {
        for (const NamedScaler& scaler : scalers) {
            // Factors of up to 425: beyond 18 samples left of and above the image are read.
            for (const int box : {4, 9, 20, 40, 60, 90}) {
                _imgRGBABuffer8 dst(10000U);
                ASSERT_TRUE(scaler.fast(**src, dst, box, box)) << scaler.name;
                ASSERT_GT(+dst.pixelCount, 0U);
                for (unsigned i = 0; i < dst.pixelCount; ++i) {
                    ASSERT_EQ(std::memcmp(dst.pixels + std::size_t{4} * i, &colour, 4), 0)
                        << scaler.name << ' ' << box;
                }
            }
        }
    }
}

TEST(Scaling, TargetThatIsTooSmallIsRefusedAndKeepsItsPixels) {
    const Image8 src = makeRandomImage(100, 100, 5);
    src->sourceWidth = 1234;
    src->flags = KX_IMG_GAMMA22;
    for (const NamedScaler& scaler : scalers) {
        const Image8 dst = makeRandomImage(7, 9, 6, 2336);  // 2399 pixels: one too few for 48 x 50
        const Image8 before = makeCopy(*dst);
        before->copyHeaderFrom(*src);
        EXPECT_FALSE(scaler.fast(*src, *dst, 50, 50)) << scaler.name;
        EXPECT_EQ(differenceOf(*dst, *before), "") << scaler.name;
        EXPECT_EQ(+dst->sourceWidth, 1234);
    }
}

TEST(Scaling, HeaderIsTakenFromTheSource) {
    const Image8 src = makeRandomImage(100, 60, 7);
    src->valid = 1;
    src->sourceWidth = 1920;
    src->bitsPerChannel = 16;
    src->flags = KX_IMG_GAMMA22 | KX_IMG_SUPERWHITE;
    for (const NamedScaler& scaler : scalers) {
        for (const int box : {200, 30}) {
            _imgRGBABuffer8 dst(10000U);
            EXPECT_TRUE(scaler.fast(*src, dst, box, 0));
            EXPECT_EQ(dst.valid, 1);
            EXPECT_EQ(+dst.sourceWidth, 1920);
            EXPECT_EQ(dst.bitsPerChannel, 16);
            EXPECT_EQ(dst.flags, KX_IMG_GAMMA22 | KX_IMG_SUPERWHITE);
            EXPECT_EQ(+dst.capacity, 10000U);
        }
    }
}

TEST(Scaling, FloatSourceSmallerThanTheBoxIsCopiedAsBytes) {
    const ImageF src = makeRandomFloatImage(5, 3, 8);
    src->flags = KX_IMG_SUPERWHITE;
    _imgRGBABuffer8 dst(100U);
    EXPECT_TRUE(kximgRGBABuffer8_Scale4(*src, dst, 6, 6, false));
    EXPECT_EQ(sizeOf(dst), "5x3");
    EXPECT_EQ(std::memcmp(dst.pixels, src->pixels, 60), 0);
    EXPECT_EQ(dst.pixels[60], 0);
    EXPECT_EQ(dst.flags, KX_IMG_SUPERWHITE);
    EXPECT_EQ(dst.bytesPerPixel, 4);
}

TEST(Scaling, FloatSamplesAreCutOneByOneAndTheirSumIsClamped) {
    const struct {
        float samples[4];
        int result;
    } cases[] = {{{1.0F, 1.0F, 1.0F, 1.2F}, 255},
                 {{-0.001F, -0.001F, -0.001F, -0.001F}, 0},
                 {{1.0F, 1.0F, 1.0F, 1.0F}, 255},
                 {{0.5F, 0.5F, 0.5F, 0.5F}, 127},
                 {{0.0F, 0.0F, 0.0F, 0.01F}, 0},           // 2 / 4
                 {{0.016F, 0.0F, 0.0F, 0.0F}, 1},          // 4 / 4
                 {{-0.016F, 0.0F, 0.0F, 0.0F}, 0},         // -4
                 {{-0.012F, 0.0F, 0.0F, 0.0F}, 0},         // -3 / 4
                 {{-1.0F, 3.0F, 0.0F, 0.0F}, 127},         // 510 / 4
                 {{1.003F, 1.003F, 1.003F, 1.003F}, 255},  // 255 each
                 {{1e30F, 0.0F, 0.0F, 0.0F}, 255},
                 {{-1e30F, 1.0F, 1.0F, 1.0F}, 0},
                 {{INFINITY, -1.0F, 0.0F, 0.0F}, 255},
                 {{-INFINITY, 1.0F, 1.0F, 1.0F}, 0},
                 {{NAN, 1.0F, 1.0F, 1.0F}, 0}};
    for (const auto& c : cases) {
        const ImageF src = makeFloatImage(4, 4);
        // The four samples of the only pixel pair: a 4 x 4 source in a 2 x 2 box, sampled at every pixel.
        for (int i = 0; i < 16; ++i) {
            const float value = c.samples[i / 4 % 2 * 2 + i % 2];
            src->write(i, {value, 0.0F, value, value});
        }
        _imgRGBABuffer8 dst(4U);
        ASSERT_TRUE(kximgRGBABuffer8_Scale4(*src, dst, 2, 2, false));
        const std::string value = std::to_string(c.result);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(pixelText(dst, i % 2, i / 2), value + " 0 " + value + " " + value) << c.samples[0];
        }
    }
}

TEST(Scaling, Scale4AveragesTwoByTwoPixelsAtHalfSize) {
    const Image8 src = makeCoordinateImage(8, 4);
    _imgRGBABuffer8 dst(8U);
    ASSERT_TRUE(fastScale4(*src, dst, 4, 4));
    EXPECT_EQ(sizeOf(dst), "4x2");
    EXPECT_EQ(pixelText(dst, 0, 0), "0 0 0 255");  // columns 0 and 1, rows 0 and 1
    EXPECT_EQ(pixelText(dst, 3, 1), "6 2 0 255");  // columns 6 and 7: 26 / 4
}

TEST(Scaling, KnownPictures) {
    const Image8 src = makeCoordinateImage(300, 200);
    const std::uint32_t hashes[] = {3092649756U, 36204417U, 212056493U, 1714005869U};
    for (std::size_t i = 0; i < std::size(scalers); ++i) {
        _imgRGBABuffer8 dst(10000U);
        ASSERT_TRUE(scalers[i].fast(*src, dst, 77, 50));
        EXPECT_EQ(hashOf(dst), hashes[i]) << scalers[i].name;
    }
}

TEST(Scaling, AllSmallSizesAgreeWithThePlainRule) {
    for (int width = 0; width <= 13; ++width) {
        for (int height = 0; height <= 13; ++height) {
            const Image8 src = makeCoordinateImage(width, height);
            for (int box = 1; box < 200; box += 3) {
                const int w = box / 14;
                const int h = box % 14;
                for (const NamedScaler& scaler : scalers) {
                    _imgRGBABuffer8 dst(100U), expected(100U);
                    ASSERT_EQ(scaler.fast(*src, dst, w, h), scaler.plainRule(*src, expected, w, h));
                    ASSERT_EQ(differenceOf(dst, expected), "")
                        << scaler.name << ' ' << width << 'x' << height << " into " << w << 'x' << h;
                }
            }
        }
    }
}

TEST(Scaling, RandomImagesAgreeWithThePlainRule) {
    unsigned seed = 99;
    for (int i = 0; i < 150; ++i) {
        const Image8 src = makeRandomImage(1 + drawInt(seed, 400), 1 + drawInt(seed, 300), seed, draw(seed, 50));
        const int w = drawInt(seed, 120) - 5;
        const int h = drawInt(seed, 120) - 5;
        const unsigned capacity = draw(seed, 20000);
        for (const NamedScaler& scaler : scalers) {
            _imgRGBABuffer8 dst(capacity), expected(capacity);
            ASSERT_EQ(scaler.fast(*src, dst, w, h), scaler.plainRule(*src, expected, w, h));
            ASSERT_EQ(differenceOf(dst, expected), "")
                << scaler.name << ' ' << sizeOf(*src) << " into " << w << 'x' << h;
        }
    }
}

TEST(Scaling, LargeFactorsAgreeWithThePlainRule) {
    const Image8 src = makeRandomImage(1500, 1000, 10);
    for (const int box : {3, 10, 20, 40, 60, 80}) {
        for (const NamedScaler& scaler : scalers) {
            _imgRGBABuffer8 dst(10000U), expected(10000U);
            ASSERT_TRUE(scaler.fast(*src, dst, box, 0));
            ASSERT_TRUE(scaler.plainRule(*src, expected, box, 0));
            ASSERT_EQ(differenceOf(dst, expected), "") << scaler.name << ' ' << box;
        }
    }
}

TEST(Scaling, RandomFloatImagesAgreeWithThePlainRule) {
    unsigned seed = 98;
    for (int i = 0; i < 200; ++i) {
        const ImageF src = makeRandomFloatImage(drawInt(seed, 90), drawInt(seed, 90), seed);
        const int w = drawInt(seed, 60) - 3;
        const int h = drawInt(seed, 60) - 3;
        _imgRGBABuffer8 dst(3000U), expected(3000U);
        ASSERT_EQ(kximgRGBABuffer8_Scale4(*src, dst, w, h, false), plain::scale4(*src, expected, w, h));
        ASSERT_EQ(differenceOf(dst, expected), "") << w << 'x' << h;
    }
}

// The target's old height takes part in the clipping of its new width, as for every change of size.
TEST(Scaling, TargetsWithAnOldSizeAgreeWithThePlainRule) {
    const Image8 src = makeRandomImage(60, 60, 11);
    unsigned seed = 97;
    for (int i = 0; i < 200; ++i) {
        const Image8 dst = makeRandomImage(1 + drawInt(seed, 30), 1 + drawInt(seed, 30), seed, draw(seed, 900));
        const int box = 1 + drawInt(seed, 40);
        for (const NamedScaler& scaler : scalers) {
            const Image8 fast = makeCopy(*dst);
            const Image8 expected = makeCopy(*dst);
            ASSERT_EQ(scaler.fast(*src, *fast, box, box), scaler.plainRule(*src, *expected, box, box));
            ASSERT_EQ(differenceOf(*fast, *expected), "") << scaler.name << ' ' << sizeOf(*dst);
        }
    }
}

TEST(Scaling, ImageMayBeScaledIntoItself) {
    for (const NamedScaler& scaler : scalers) {
        for (const int box : {70, 40, 15}) {
            const Image8 fast = makeRandomImage(60, 50, 12, 10);
            const Image8 expected = makeCopy(*fast);
            ASSERT_EQ(scaler.fast(*fast, *fast, box, 0), scaler.plainRule(*expected, *expected, box, 0));
            ASSERT_EQ(differenceOf(*fast, *expected), "") << scaler.name << ' ' << box;
        }
    }
}

TEST(Scaling, SourceWithoutPixelsGivesATargetWithoutPixels) {
    const _imgRGBABuffer8 src(0U);
    for (const NamedScaler& scaler : scalers) {
        const Image8 dst = makeUniformImage(3, 3, {1, 2, 3, 4});
        EXPECT_TRUE(scaler.fast(src, *dst, 10, 10)) << scaler.name;
        EXPECT_EQ(sizeOf(*dst), "0x0");
    }
}

// Run under the sanitizers: sizes and boxes of any kind stay in memory and come to an end.
TEST(Scaling, NonsenseSizesAndBoxesAreHarmless) {
    const int extents[] = {INT_MIN, -65537, -1, 0, 1, 24, 65537, INT_MAX};
    const int boxes[][2] = {{INT_MIN, INT_MIN}, {-1, 0},     {0, 0}, {1, 1}, {5, 3}, {65536, 1},
                            {INT_MAX, INT_MAX}, {INT_MAX, 2}};
    for (const int width : extents) {
        for (const int height : extents) {
            _imgRGBABuffer8 src(24U);
            _imgRGBABufferf floats(24U);
            src.width = floats.width = width;
            src.height = floats.height = height;
            src.pixelCount = floats.pixelCount = UINT_MAX;
            for (const auto& box : boxes) {
                for (const NamedScaler& scaler : scalers) {
                    _imgRGBABuffer8 dst(30U);
                    dst.width = height;
                    dst.height = width;
                    scaler.fast(src, dst, box[0], box[1]);
                    EXPECT_EQ(dst.pixels[119], 0);
                    kximgRGBABuffer8_Scale4(floats, dst, box[0], box[1], false);
                    EXPECT_EQ(dst.pixels[119], 0);
                }
            }
        }
    }
}

namespace {

// The lowest of the positions that the first target pixel is made of.
template <std::size_t N>
int lowestFirstPosition(const kxSampling::Offsets<N>& offsets, double spread, float factor) {
    unsigned seed = kxSampling::jitterSeed;
    const kxSampling::JitteredAxis<N> axis{offsets, factor, INT_MAX, spread, seed};
    const auto rows = axis(0);
    const auto columns = axis(0);
    return std::min(*std::min_element(rows.begin(), rows.end()), *std::min_element(columns.begin(), columns.end()));
}

}  // namespace

TEST(Scaling, JitterOfTheFirstPixelNeverLeadsAboveTheImage) {
    float factor = 1.0F;
    for (int step = 0; step < 19; ++step) {
        EXPECT_GE(lowestFirstPosition(kxSampling::offsets16, static_cast<double>(0.14F), factor), 0) << factor;
        EXPECT_GE(lowestFirstPosition(kxSampling::offsets9, static_cast<double>(0.15F), factor), 0) << factor;
        factor *= 3.0F;
    }
}
