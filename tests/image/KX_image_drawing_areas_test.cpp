// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_image.h"
#include "tests/support/DrawnImages.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>

using kxP::_imgRGBABuffer8;

// --- Rectangles ------------------------------------------------------------------------------------------------

TEST(FillRect, CoversColumnsAndRows) {
    const struct {
        int x, y;
        unsigned w, h;
        const char* rows;
    } cases[] = {{1, 1, 3, 2, "....../.###../.###../....../"},
                 {0, 0, 6, 4, "######/######/######/######/"},
                 {-5, -5, 2, 2, "##..../##..../....../....../"},
                 {4, 0, 10, 1, "....##/....../....../....../"},
                 {99, 1, 3, 1, "....../.....#/....../....../"},
                 {1, 99, 2, 7, "....../....../....../.##.../"},
                 {99, 99, 1, 1, "....../....../....../.....#/"},
                 {2, 1, 0, 2, "....../....../....../....../"},
                 {2, 1, 2, 0, "....../....../....../....../"},
                 {6, 4, 9, 9, "....../....../....../.....#/"},
                 {INT_MIN, 3, 3, 1, "....../....../....../###.../"},
                 {3, INT_MAX, 4294967295U, 4294967295U, "....../....../....../...###/"},
                 {1, 2, 2147483647U, 2147483648U, "....../....../.#####/.#####/"}};
    for (const auto& c : cases) {
        for (const _Rgba8& colour : {opaque, translucent}) {
            const Image8 image = makeUniformImage(6, 4, white);
            kximgRGBABuffer8_fillRect(*image, colour, c.x, c.y, c.w, c.h);
            EXPECT_EQ(drawnPixels(*image, white), c.rows) << c.x << ' ' << c.y << ' ' << c.w << ' ' << c.h;
        }
    }
}

TEST(FillRect, NegativeCornerMovesTheRectangle) {
    const Image8 image = makeUniformImage(100, 100, white);
    const Image8 expected = makeUniformImage(100, 100, white);
    kximgRGBABuffer8_fillRect(*image, opaque, -5, -5, 10, 10);
    for (int i = 0; i < 100; ++i) expected->write(i % 10, i / 10, opaque);
    EXPECT_EQ(differenceOf(*image, *expected), "");
}

TEST(FillRect, RightEdgeCutsTheRectangle) {
    const Image8 image = makeUniformImage(100, 100, white);
    const Image8 expected = makeUniformImage(100, 100, white);
    kximgRGBABuffer8_fillRect(*image, opaque, 98, 0, 10, 1);
    expected->write(98, 0, opaque);
    expected->write(99, 0, opaque);
    EXPECT_EQ(differenceOf(*image, *expected), "");
}

TEST(FillRect, NoColumnsOrNoRowsDrawNothing) {
    const Image8 image = makeUniformImage(100, 100, white);
    const Image8 before = makeCopy(*image);
    kximgRGBABuffer8_fillRect(*image, opaque, 5, 5, 0, 10);
    kximgRGBABuffer8_fillRect(*image, opaque, 5, 5, 10, 0);
    EXPECT_EQ(differenceOf(*image, *before), "");
}

TEST(FillRect, OpaqueStoresAlphaAndTranslucentKeepsIt) {
    const struct {
        _Rgba8 colour;
        const char* result;
    } cases[] = {{{1, 2, 3, 255}, "1 2 3 255"},
                 {{200, 100, 51, 0}, "255 255 255 40"},
                 {{200, 100, 51, 128}, "226 176 151 40"},
                 {{255, 255, 255, 1}, "255 255 255 40"},
                 {{0, 0, 0, 254}, "0 0 0 40"}};
    for (const auto& c : cases) {
        const Image8 image = makeUniformImage(3, 2, white);
        kximgRGBABuffer8_fillRect(*image, c.colour, 1, 0, 1, 1);
        EXPECT_EQ(pixelText(*image, 1, 0), c.result) << static_cast<int>(c.colour.a);
        EXPECT_EQ(pixelText(*image, 2, 0), "255 255 255 40");
    }
}

TEST(FillRect, EveryAlphaOverEveryValueAgreesWithThePlainRule) {
    const Image8 values = makeImage(256, 1);
    for (int x = 0; x < 256; ++x) {
        const auto value = static_cast<unsigned char>(x);
        values->write(x, 0, value, static_cast<unsigned char>(255 - x), 0, value);
    }
    for (int alpha = 0; alpha < 256; ++alpha) {
        const _Rgba8 c{255, 128, static_cast<unsigned char>(alpha), static_cast<unsigned char>(alpha)};
        const Image8 image = makeCopy(*values);
        const Image8 expected = makeCopy(*values);
        kximgRGBABuffer8_fillRect(*image, c, 0, 0, 256, 1);
        plain::fillRect(*expected, c, 0, 0, 256, 1);
        ASSERT_EQ(differenceOf(*image, *expected), "") << alpha;
    }
}

TEST(FillRect, AgreesWithThePlainRule) {
    unsigned seed = 79;
    for (int i = 0; i < 3000; ++i) {
        const int width = drawInt(seed, 1, 40);
        const int height = drawInt(seed, 1, 14);
        const int x = drawInt(seed, -9, 50), y = drawInt(seed, -9, 20);
        const auto w = static_cast<unsigned>(drawInt(seed, 0, 60));
        const auto h = static_cast<unsigned>(drawInt(seed, 0, 20));
        const _Rgba8 c = drawColour(seed);
        const std::string difference = compare(
            width, height, seed, [&](auto& image) { kximgRGBABuffer8_fillRect(image, c, x, y, w, h); },
            [&](auto& image) { plain::fillRect(image, c, x, y, w, h); });
        ASSERT_EQ(difference, "") << x << ' ' << y << ' ' << w << ' ' << h;
    }
}

// Run under the sanitizers.
TEST(FillRect, NonsenseSizesAreHarmless) {
    for (const int width : hostileExtents) {
        for (const int height : hostileExtents) {
            _imgRGBABuffer8 image(24U);
            setHostile(image, width, height, UINT_MAX);
            for (const int p : hostilePositions) {
                for (const _Rgba8& c : {opaque, translucent}) {
                    kximgRGBABuffer8_fillRect(image, c, p, p, UINT_MAX, UINT_MAX);
                    kximgRGBABuffer8_fillRect(image, c, p, 0, 2147483648U, 30);
                    kximgRGBABuffer8_fillRect(image, c, 0, p, 3, 2147483648U);
                }
            }
            EXPECT_LE(image.pixelsInMemory(), 24U);
        }
    }
}

// --- Images ----------------------------------------------------------------------------------------------------

TEST(DrawImage, ModePlacesThePosition) {
    const struct {
        int mode, left, top;
    } cases[] = {{0, 50, 50},
                 {1 | 4, 40, 47},
                 {1, 50, 47},
                 {2, 50, 44},
                 {3, 50, 47},
                 {4, 40, 50},
                 {8, 45, 50},
                 {12, 40, 50},
                 {2 | 8, 45, 44},
                 {15, 40, 47},
                 {16, 50, 50},
                 {-1, 40, 47},
                 {alignVerticalCentre | alignHorizontalCentre, 45, 47}};
    for (const auto& c : cases) {
        const Image8 src = makeUniformImage(10, 6, opaque);
        const Image8 dst = makeUniformImage(100, 100, white);
        const Image8 expected = makeUniformImage(100, 100, white);
        kximgRGBABuffer8_drawImage(*dst, *src, 50, 50, c.mode);
        for (int i = 0; i < 60; ++i) expected->write(c.left + i % 10, c.top + i / 10, opaque);
        EXPECT_EQ(differenceOf(*dst, *expected), "") << c.mode;
    }
}

TEST(DrawImage, HalvesOfOddSizesAreCut) {
    const Image8 src = makeUniformImage(3, 5, opaque);
    const Image8 dst = makeUniformImage(6, 6, white);
    kximgRGBABuffer8_drawImage(*dst, *src, 3, 3, alignVerticalCentre | alignHorizontalCentre);
    EXPECT_EQ(drawnPixels(*dst, white), "....../..###./..###./..###./..###./..###./");
}

TEST(DrawImage, PixelsGoByTheirAlpha) {
    const struct {
        _Rgba8 pixel;
        const char* result;
    } cases[] = {{{10, 20, 30, 0}, "100 150 200 40"},
                 {{10, 20, 30, 255}, "10 20 30 255"},
                 {{200, 50, 0, 51}, "120 130 160 40"},  // a fifth
                 {{200, 50, 0, 254}, "199 50 0 40"}};
    for (const auto& c : cases) {
        const Image8 src = makeUniformImage(1, 1, c.pixel);
        const Image8 dst = makeUniformImage(2, 1, {100, 150, 200, 40});
        kximgRGBABuffer8_drawImage(*dst, *src, 1, 0, 0);
        EXPECT_EQ(pixelText(*dst, 1, 0), c.result);
        EXPECT_EQ(pixelText(*dst, 0, 0), "100 150 200 40");
    }
}

TEST(DrawImage, IsClippedOnEverySide) {
    const struct {
        int x, y;
        const char* rows;
    } cases[] = {{-2, -1, "#...../....../....../....../"},
                 {4, 3, "....../....../....../....##/"},
                 {-3, 0, "....../....../....../....../"},
                 {6, 0, "....../....../....../....../"},
                 {0, -2, "....../....../....../....../"},
                 {0, 4, "....../....../....../....../"},
                 {2, 1, "....../..###./..###./....../"},
                 {INT_MAX, INT_MAX, "....../....../....../....../"},
                 {INT_MIN, INT_MIN, "....../....../....../....../"}};
    for (const auto& c : cases) {
        for (const int mode : {0, 1 | 8}) {
            const Image8 src = makeUniformImage(3, 2, opaque);
            const Image8 dst = makeUniformImage(6, 4, white, 20);
            const Image8 before = makeCopy(*dst);
            const bool isFar = c.x == INT_MIN || c.x == INT_MAX;
            const int shift = mode != 0 && !isFar ? 1 : 0;  // half of either size is 1
            kximgRGBABuffer8_drawImage(*dst, *src, c.x + shift, c.y + shift, mode);
            EXPECT_EQ(drawnPixels(*dst, white), c.rows) << c.x << ' ' << c.y;
            EXPECT_EQ(std::memcmp(dst->pixels + 96, before->pixels + 96, 80), 0);
        }
    }
}

TEST(DrawImage, LargeImageCoversTheWholeTarget) {
    const Image8 src = makeUniformImage(300, 200, opaque);
    const Image8 dst = makeUniformImage(6, 4, white);
    kximgRGBABuffer8_drawImage(*dst, *src, 3, 2, alignVerticalCentre | alignHorizontalCentre);
    EXPECT_EQ(drawnPixels(*dst, white), "######/######/######/######/");
}

TEST(DrawImage, SourceWithoutPixelsDrawsNothing) {
    _imgRGBABuffer8 empty(10U);
    const Image8 dst = makeUniformImage(6, 4, white);
    kximgRGBABuffer8_drawImage(*dst, empty, 0, 0, 0);
    empty.setHeight(5);
    kximgRGBABuffer8_drawImage(*dst, empty, 0, 0, 0);
    EXPECT_EQ(drawnPixels(*dst, white).find('#'), std::string::npos);
}

TEST(DrawImage, AgreesWithThePlainRule) {
    unsigned seed = 80;
    for (int i = 0; i < 2000; ++i) {
        const Image8 src = makeRandomImage(drawInt(seed, 0, 20), drawInt(seed, 0, 20), seed);
        for (unsigned p = 0; p < src->pixelCount; ++p) {
            if (p % 3 != 0) src->pixels[4 * p + 3] = p % 3 == 1 ? 0 : 255;
        }
        const int width = drawInt(seed, 0, 20), height = drawInt(seed, 0, 20);
        const int x = drawInt(seed, -30, 40), y = drawInt(seed, -30, 40), mode = drawInt(seed, 0, 16);
        const std::string difference = compare(
            width, height, seed, [&](auto& image) { kximgRGBABuffer8_drawImage(image, *src, x, y, mode); },
            [&](auto& image) { plain::drawImage(image, *src, x, y, mode); });
        ASSERT_EQ(difference, "") << x << ' ' << y << ' ' << mode;
    }
}

TEST(DrawImage, ImageMayBePlacedOntoItself) {
    unsigned seed = 81;
    for (int i = 0; i < 500; ++i) {
        const int x = drawInt(seed, -9, 9), y = drawInt(seed, -9, 9), mode = drawInt(seed, 0, 16);
        const std::string difference = compare(
            13, 12, seed, [&](auto& image) { kximgRGBABuffer8_drawImage(image, image, x, y, mode); },
            [&](auto& image) { plain::drawImage(image, image, x, y, mode); });
        ASSERT_EQ(difference, "") << x << ' ' << y << ' ' << mode;
    }
}

// Run under the sanitizers.
TEST(DrawImage, NonsenseSizesAreHarmless) {
    for (const int width : hostileExtents) {
        for (const int height : hostileExtents) {
            _imgRGBABuffer8 src(24U);
            _imgRGBABuffer8 dst(30U);
            const Image8 sane = makeUniformImage(5, 4, opaque);
            setHostile(src, width, height, UINT_MAX);
            setHostile(dst, height, width, UINT_MAX);
            for (const int x : hostilePositions) {
                for (const int mode : {0, 1 | 4, 2 | 8}) {
                    kximgRGBABuffer8_drawImage(*sane, src, x, x, mode);
                    kximgRGBABuffer8_drawImage(dst, *sane, x, 0, mode);
                    kximgRGBABuffer8_drawImage(dst, src, 0, x, mode);
                    kximgRGBABuffer8_drawImage(dst, dst, x, 1, mode);
                }
            }
            EXPECT_LE(dst.pixelsInMemory(), 30U);
        }
    }
}
