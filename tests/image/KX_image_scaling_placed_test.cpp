// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_image.h"
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

struct Placement {
    float sx, sy;
    int x, y;
    bool keepAspect;
};

void scaleAt(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, const Placement& p) {
    kximgRGBABuffer8_Scale9(src, dst, p.sx, p.sy, p.x, p.y, p.keepAspect);
}

void plainScaleAt(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, const Placement& p) {
    plain::scale9At(src, dst, p.sx, p.sy, p.x, p.y, p.keepAspect);
}

}  // namespace

TEST(PlacedScaling, DrawsTheScaledSizeAtThePosition) {
    const Image8 src = makeUniformImage(10, 8, {9, 9, 9, 9});
    const Image8 dst = makeUniformImage(20, 20, {1, 2, 3, 4});
    scaleAt(*src, *dst, {0.5F, 0.25F, 3, 4, false});
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 20; ++x) {
            const bool drawn = x >= 3 && x < 8 && y >= 4 && y < 6;
            EXPECT_EQ(pixelText(*dst, x, y), drawn ? "9 9 9 9" : "1 2 3 4") << x << ", " << y;
        }
    }
    EXPECT_EQ(dst->width, 20);
    EXPECT_EQ(dst->height, 20);
}

TEST(PlacedScaling, NegativePositionsBecomeZero) {
    const Image8 src = makeCoordinateImage(12, 12);
    const Image8 at = makeImage(10, 10);
    const Image8 negative = makeImage(10, 10);
    scaleAt(*src, *at, {0.5F, 0.5F, 0, 0, false});
    scaleAt(*src, *negative, {0.5F, 0.5F, -5, INT_MIN, false});
    EXPECT_EQ(differenceOf(*at, *negative), "");
    EXPECT_NE(pixelText(*at, 5, 5), "0 0 0 0");
}

TEST(PlacedScaling, HeaderIsCopiedEvenWhenNothingIsDrawn) {
    const Image8 src = makeRandomImage(10, 10, 1);
    src->sourceHeight = 555;
    const Image8 dst = makeRandomImage(5, 5, 2);
    const Image8 expected = makeCopy(*dst);
    expected->sourceHeight = 555;
    scaleAt(*src, *dst, {1.0F, 1.0F, 0, 0, false});  // 10 x 10 into 25 pixels
    EXPECT_EQ(differenceOf(*dst, *expected), "");
    scaleAt(*src, *dst, {0.5F, 0.04F, 0, 0, false});  // height 0
    EXPECT_EQ(differenceOf(*dst, *expected), "");
    scaleAt(*src, *dst, {0.5F, 0.5F, 1, 0, false});  // 6 x 5 pixels from the corner on
    EXPECT_EQ(differenceOf(*dst, *expected), "");
    scaleAt(*src, *dst, {0.5F, 0.5F, 0, 0, false});  // fits
    EXPECT_NE(differenceOf(*dst, *expected), "");
}

TEST(PlacedScaling, EnlargementsThatKeepAspectStartInside) {
    const Image8 src = makeCoordinateImage(10, 10);
    const struct {
        Placement at;
        const char* first;
    } cases[] = {// steps 0.5 and 0.25: the start is round((1 - 0.125) * 5) = 4 columns, the step 0.25
                 {{2.0F, 4.0F, 0, 0, true}, "4 0 0 255"},
                 {{4.0F, 2.0F, 0, 0, true}, "0 4 0 255"},
                 // equal steps count for the rows: round(0.75 * 5) = 4
                 {{2.0F, 2.0F, 0, 0, true}, "0 4 0 255"},
                 {{2.0F, 2.0F, 0, 0, false}, "0 0 0 255"}};
    for (const auto& c : cases) {
        const Image8 dst = makeImage(40, 40);
        scaleAt(*src, *dst, c.at);
        EXPECT_EQ(pixelText(*dst, 0, 0), c.first) << c.at.sx << ' ' << c.at.sy;
    }
}

TEST(PlacedScaling, ReductionsThatKeepAspectStartAtTheCorner) {
    const Image8 src = makeCoordinateImage(40, 40);
    const Image8 dst = makeImage(20, 20);
    scaleAt(*src, *dst, {0.25F, 0.5F, 0, 0, true});  // steps 4 and 2 become 2
    EXPECT_EQ(pixelText(*dst, 0, 0), "0 0 0 255");   // columns 0, 1 and 1
    EXPECT_EQ(pixelText(*dst, 9, 19), "18 38 0 255");
    EXPECT_EQ(pixelText(*dst, 10, 0), "0 0 0 0");  // the drawn size is that of the factors
}

TEST(PlacedScaling, PixelsBesideTheTargetAreLeftOut) {
    const Image8 src = makeUniformImage(10, 10, {9, 9, 9, 9});
    const Image8 dst = makeUniformImage(4, 30, {1, 2, 3, 4}, 100);
    scaleAt(*src, *dst, {1.0F, 1.0F, 2, 1, false});
    EXPECT_EQ(pixelText(*dst, 1, 1), "1 2 3 4");
    EXPECT_EQ(pixelText(*dst, 3, 10), "9 9 9 9");
    EXPECT_EQ(pixelText(*dst, 0, 2), "1 2 3 4");
    EXPECT_EQ(pixelText(*dst, 3, 11), "1 2 3 4");
}

TEST(PlacedScaling, AgreesWithThePlainRule) {
    unsigned seed = 96;
    for (int i = 0; i < 600; ++i) {
        const Image8 src = makeRandomImage(drawInt(seed, 60), drawInt(seed, 60), seed);
        const Image8 dst = makeRandomImage(1 + drawInt(seed, 90), 1 + drawInt(seed, 90), seed, draw(seed, 900));
        const Image8 expected = makeCopy(*dst);
        const Placement at{0.02F + kxRand(seed) * 2, 0.02F + kxRand(seed) * 2, drawInt(seed, 50) - 10,
                           drawInt(seed, 50) - 10, i % 2 == 0};
        scaleAt(*src, *dst, at);
        plainScaleAt(*src, *expected, at);
        ASSERT_EQ(differenceOf(*dst, *expected), "") << at.sx << ' ' << at.sy << ' ' << at.x << ' ' << at.y;
    }
}

TEST(PlacedScaling, ImageMayBePlacedOntoItself) {
    for (const float factor : {0.3F, 0.5F, 1.0F}) {
        const Image8 fast = makeRandomImage(40, 40, 3, 400);
        const Image8 expected = makeCopy(*fast);
        const Placement at{factor, factor, 3, 2, false};
        scaleAt(*fast, *fast, at);
        plainScaleAt(*expected, *expected, at);
        ASSERT_EQ(differenceOf(*fast, *expected), "") << factor;
    }
}

TEST(PlacedScaling, NonsenseFactorsDrawNothing) {
    const Image8 src = makeRandomImage(10, 10, 4);
    const float nonsense[] = {0.0F, -0.0F, -1.0F, -1e30F, 1e-30F, 1e30F, INFINITY, -INFINITY, NAN, 1e-45F};
    for (const float sx : nonsense) {
        for (const float sy : {0.5F, 0.0F, -1.0F, 1e30F, INFINITY, NAN}) {
            for (const bool keepAspect : {false, true}) {
                const Image8 dst = makeRandomImage(10, 10, 5);
                const Image8 before = makeCopy(*dst);
                before->copyHeaderFrom(*src);
                scaleAt(*src, *dst, {sx, sy, 0, 0, keepAspect});
                EXPECT_EQ(differenceOf(*dst, *before), "") << sx << ' ' << sy;
                scaleAt(*src, *dst, {sy, sx, INT_MAX, INT_MAX, keepAspect});
                EXPECT_EQ(differenceOf(*dst, *before), "") << sy << ' ' << sx;
            }
        }
    }
}

// Run under the sanitizers.
TEST(PlacedScaling, NonsenseSizesAreHarmless) {
    const int extents[] = {INT_MIN, -65537, -1, 0, 1, 24, 65537, INT_MAX};
    const float factors[] = {-1.0F, -1e-6F, 0.0F, 1e-9F, 0.4F, 1.0F, 3.0F, 1e9F, NAN, INFINITY};
    for (const int width : extents) {
        for (const int height : extents) {
            _imgRGBABuffer8 src(24U);
            _imgRGBABuffer8 dst(30U);
            src.width = dst.height = width;
            src.height = dst.width = height;
            src.pixelCount = dst.pixelCount = UINT_MAX;
            for (const float sx : factors) {
                for (const float sy : factors) {
                    for (const int at : {0, 3, INT_MAX}) {
                        scaleAt(src, dst, {sx, sy, at, at, false});
                        scaleAt(src, dst, {sx, sy, at, at, true});
                        EXPECT_EQ(dst.pixels[119], 0);
                    }
                }
            }
        }
    }
}
