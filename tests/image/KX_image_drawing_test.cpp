// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_image.h"
#include "tests/support/plainImage.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>

using kxP::_imgRGBABuffer8;

namespace {

constexpr _Rgba8 white{255, 255, 255, 40};
constexpr _Rgba8 opaque{10, 20, 30, 255};
constexpr _Rgba8 translucent{200, 100, 51, 128};

// One character a pixel: "." where the image has the background, "#" elsewhere.
std::string drawnPixels(const _imgRGBABuffer8& image, const _Rgba8& background) {
    std::string rows;
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            _Rgba8 p{};
            image.read(p, x, y);
            rows += std::memcmp(&p, &background, 4) == 0 ? '.' : '#';
        }
        rows += '/';
    }
    return rows;
}

int drawInt(unsigned& seed, int from, int to) {
    return from + static_cast<int>(kxRand(seed) * static_cast<float>(to - from));
}

// Alphas 0 and 255 come as often as all others together.
_Rgba8 drawColour(unsigned& seed) {
    const auto byte = [&seed] { return static_cast<unsigned char>(drawInt(seed, 0, 256)); };
    const int kind = drawInt(seed, 0, 4);
    const unsigned char alpha = kind == 0 ? 0 : kind == 1 ? 255 : byte();
    return {byte(), byte(), byte(), alpha};
}

// Calls draw(image) on two copies of one random image, with the fast and the plain operation.
template <class Fast, class Plain>
std::string compare(int width, int height, unsigned seed, Fast fast, Plain plainRule) {
    const Image8 image = makeRandomImage(width, height, seed, seed % 40);
    const Image8 expected = makeCopy(*image);
    fast(*image);
    plainRule(*expected);
    return differenceOf(*image, *expected);
}

void setHostile(_imgRGBABuffer8& image, int width, int height, unsigned pixelCount) {
    image.width = width;
    image.height = height;
    image.pixelCount = pixelCount;
}

constexpr int hostileExtents[] = {INT_MIN, -65537, -1, 0, 1, 24, 65537, INT_MAX};
constexpr int hostilePositions[] = {INT_MIN, -65537, -1, 0, 3, 24, 65537, INT_MAX};

}  // namespace

// --- Lines -----------------------------------------------------------------------------------------------------

TEST(DrawLine, PutsTheRoundedPoints) {
    const struct {
        int x0, y0, x1, y1;
        const char* rows;
    } cases[] = {{0, 0, 3, 3, "#...../.#..../..#.../...#../"},  // a tie follows y
                 {3, 3, 0, 0, "#...../.#..../..#.../...#../"},
                 {0, 0, 4, 1, "##..../..###./....../....../"},  // 0, 0.25, 0.5, 0.75, 1
                 {4, 1, 0, 0, "###.../...##./....../....../"},  // 1 - 0.5 rounds to 0 from the other end
                 {0, 3, 3, 0, "...#../..#.../.#..../#...../"},
                 {2, 0, 2, 3, "..#.../..#.../..#.../..#.../"},
                 {0, 2, 5, 2, "....../....../######/....../"},
                 {1, 0, 0, 3, ".#..../.#..../#...../#...../"},  // 0, -0.33, -0.67, -1
                 {5, 3, 5, 3, "....../....../....../.....#/"}};
    for (const auto& c : cases) {
        for (const _Rgba8& colour : {opaque, translucent}) {
            const Image8 image = makeUniformImage(6, 4, white);
            kximgRGBABuffer8_DrawLine(*image, colour, c.x0, c.y0, c.x1, c.y1);
            EXPECT_EQ(drawnPixels(*image, white), c.rows) << c.x0 << ' ' << c.y0 << ' ' << c.x1 << ' ' << c.y1;
        }
    }
}

TEST(DrawLine, OpaqueColourIsStoredWithItsAlpha) {
    const Image8 image = makeUniformImage(6, 4, white);
    kximgRGBABuffer8_DrawLine(*image, opaque, 0, 0, 5, 0);
    EXPECT_EQ(pixelText(*image, 5, 0), "10 20 30 255");
}

TEST(DrawLine, HalfOpaqueOverWhite) {
    const Image8 image = makeUniformImage(6, 4, white);
    kximgRGBABuffer8_DrawLine(*image, translucent, 0, 0, 5, 0);
    // In single precision 255 * 0.49804 stays just below 127.
    const float a = 128 / 255.0F;
    const int left = static_cast<int>(255.0F * (1.0F - a));
    EXPECT_EQ(left, 126);
    EXPECT_EQ(pixelText(*image, 3, 0), "226 176 151 40");
}

TEST(DrawLine, SinglePointOpaque) {
    const Image8 image = makeUniformImage(8, 8, white);
    kximgRGBABuffer8_DrawLine(*image, opaque, 5, 5, 5, 5);
    const std::string rows = drawnPixels(*image, white);
    EXPECT_EQ(std::count(rows.begin(), rows.end(), '#'), 1);
    EXPECT_EQ(pixelText(*image, 5, 5), "10 20 30 255");
}

TEST(DrawLine, SinglePointBesideTheImage) {
    const Image8 image = makeUniformImage(6, 4, white);
    kximgRGBABuffer8_DrawLine(*image, opaque, 7, 1, 7, 1);  // by position: nothing
    EXPECT_EQ(drawnPixels(*image, white), "....../....../....../....../");
    kximgRGBABuffer8_DrawLine(*image, translucent, 7, 1, 7, 1);  // by index: in the next row
    EXPECT_EQ(drawnPixels(*image, white), "....../....../.#..../....../");
}

TEST(DrawLine, TransparentDrawsNothing) {
    const Image8 image = makeUniformImage(6, 4, white);
    kximgRGBABuffer8_DrawLine(*image, {1, 2, 3, 0}, 0, 0, 5, 3);
    kximgRGBABuffer8_DrawLine(*image, {1, 2, 3, 0}, 2, 2, 2, 2);
    EXPECT_EQ(drawnPixels(*image, white), "....../....../....../....../");
}

TEST(DrawLine, PointsBesideARowLandOnItsNeighbour) {
    for (const _Rgba8& colour : {opaque, translucent}) {
        const Image8 image = makeUniformImage(6, 4, white);
        kximgRGBABuffer8_DrawLine(*image, colour, 4, 1, 8, 1);
        EXPECT_EQ(drawnPixels(*image, white), "....../....##/###.../....../");
        kximgRGBABuffer8_DrawLine(*image, colour, -2, 0, 1, 0);
        EXPECT_EQ(drawnPixels(*image, white), "##..../....##/###.../....../");
        kximgRGBABuffer8_DrawLine(*image, colour, 4, 3, 20, 3);
        EXPECT_EQ(drawnPixels(*image, white), "##..../....##/###.../....##/");
    }
}

TEST(DrawLine, LinesOutsideTheMemoryDrawNothing) {
    const int lines[][4] = {{0, 4, 5, 9}, {0, -1, 5, -1}, {-3, -3, -1, -1}, {0, 4, 5, 4}, {100, 100, 120, 110}};
    for (const auto& l : lines) {
        for (const _Rgba8& colour : {opaque, translucent}) {
            const Image8 image = makeUniformImage(6, 4, white, 30);
            const Image8 before = makeCopy(*image);
            kximgRGBABuffer8_DrawLine(*image, colour, l[0], l[1], l[2], l[3]);
            EXPECT_EQ(differenceOf(*image, *before), "") << l[0] << ' ' << l[1];
        }
    }
}

TEST(DrawLine, AgreesWithThePlainRule) {
    unsigned seed = 77;
    for (int i = 0; i < 3000; ++i) {
        const int width = drawInt(seed, 0, 14);
        const int height = drawInt(seed, 0, 14);
        const int reach = i % 10 == 0 ? 5000 : 20;
        const int x0 = drawInt(seed, -reach, reach), y0 = drawInt(seed, -reach, reach);
        const int x1 = drawInt(seed, -reach, reach), y1 = drawInt(seed, -reach, reach);
        const _Rgba8 c = drawColour(seed);
        const std::string difference = compare(
            width, height, seed, [&](auto& image) { kximgRGBABuffer8_DrawLine(image, c, x0, y0, x1, y1); },
            [&](auto& image) { plain::drawLine(image, c, x0, y0, x1, y1); });
        ASSERT_EQ(difference, "") << x0 << ' ' << y0 << ' ' << x1 << ' ' << y1;
    }
}

TEST(DrawLine, LongLinesAgreeWithThePlainRule) {
    const int lines[][4] = {{-3000000, 1, 3000000, 2},  {-3000000, -3000000, 3000000, 3000000},
                            {5, -2000000, -5, 2000000}, {-2000000, 2000000, 2000000, -2000000},
                            {0, 0, 8000000, 3},         {3, 8000000, 0, 0}};
    for (const auto& l : lines) {
        for (const _Rgba8& c : {opaque, translucent}) {
            const std::string difference = compare(
                30, 20, 1, [&](auto& image) { kximgRGBABuffer8_DrawLine(image, c, l[0], l[1], l[2], l[3]); },
                [&](auto& image) { plain::drawLine(image, c, l[0], l[1], l[2], l[3]); });
            EXPECT_EQ(difference, "") << l[0] << ' ' << l[1];
        }
    }
}

// The test program's time limit stands for the moment.
TEST(DrawLine, ExtremeCoordinatesTakeAMomentAndReachTheImage) {
    const int lines[][4] = {{INT_MIN, 5, INT_MAX, 5},
                            {5, INT_MAX, 5, INT_MIN},
                            {INT_MIN, INT_MIN, INT_MAX, INT_MAX},
                            {INT_MIN, INT_MAX, INT_MAX, INT_MIN}};
    for (const auto& l : lines) {
        for (const _Rgba8& c : {opaque, translucent}) {
            const Image8 image = makeUniformImage(30, 20, white);
            kximgRGBABuffer8_DrawLine(*image, c, l[0], l[1], l[2], l[3]);
            EXPECT_NE(drawnPixels(*image, white).find('#'), std::string::npos) << l[0] << ' ' << l[1];
        }
    }
}

// All points of these lines are in the middle of the image by their linear index, however far their x is.
TEST(DrawLine, LinesFarBesideTheImageAreFollowed) {
    for (const int from : {-2147483640, -100000000, -20000000, 20000000, 100000000, 2147483600}) {
        const Image8 image = makeUniformImage(10, 10, white);
        kximgRGBABuffer8_DrawLine(*image, opaque, from, 5 - from / 10, from + 40, 5 - (from + 40) / 10);
        EXPECT_NE(drawnPixels(*image, white).find('#'), std::string::npos) << from;
    }
}

// In lines of more than 2^25 points those that are further beyond the memory than 2^24 by their x alone are left
// out.
TEST(DrawLine, LongestLinesEndBeyondTheirReach) {
    const int far = (1 << 24) + 1000, points = 1 << 25;
    const struct {
        int from, to;
        bool drawn;
    } rows[] = {{far, far + points, false},
                {far, far + points - 1, true},
                {-far, -far - points, false},
                {-far, -far - points + 1, true},
                {far - 2000, far + points, true}};
    for (const auto& row : rows) {
        const Image8 image = makeUniformImage(10, 10, white);
        kximgRGBABuffer8_DrawLine(*image, opaque, row.from, 5 - row.from / 10, row.to, 5 - row.to / 10);
        EXPECT_EQ(drawnPixels(*image, white).find('#') != std::string::npos, row.drawn) << row.from;
    }
}

// Run under the sanitizers.
TEST(DrawLine, NonsenseSizesAreHarmless) {
    for (const int width : hostileExtents) {
        for (const int height : hostileExtents) {
            _imgRGBABuffer8 image(24U);
            setHostile(image, width, height, UINT_MAX);
            for (const int x : hostilePositions) {
                for (const _Rgba8& c : {opaque, translucent}) {
                    kximgRGBABuffer8_DrawLine(image, c, x, 3, x > 0 ? x - 20 : x + 20, -5);
                    kximgRGBABuffer8_DrawLine(image, c, 3, x, 0, x > 0 ? x - 20 : x + 20);
                    kximgRGBABuffer8_DrawLine(image, c, x, x, x, x);
                }
            }
            EXPECT_LE(image.pixelsInMemory(), 24U);
        }
    }
}

// --- Anti-aliased lines ----------------------------------------------------------------------------------------

TEST(DrawLineAA, HorizontalBetweenTwoRowsGivesEachHalf) {
    const Image8 image = makeUniformImage(6, 5, {0, 0, 0, 7});
    kximgRGBABuffer8_DrawLineAA(*image, {200, 100, 50, 255}, 0.0F, 2.5F, 5.0F, 2.5F);
    for (int x = 0; x < 6; ++x) {
        EXPECT_EQ(pixelText(*image, x, 1), "0 0 0 7");
        EXPECT_EQ(pixelText(*image, x, 2), "100 50 25 7");
        EXPECT_EQ(pixelText(*image, x, 3), "100 50 25 7");
        EXPECT_EQ(pixelText(*image, x, 4), "0 0 0 7");
    }
}

TEST(DrawLineAA, OpacityWeighsTheCoverage) {
    const Image8 image = makeUniformImage(6, 5, {0, 0, 0, 7});
    kximgRGBABuffer8_DrawLineAA(*image, {200, 100, 51, 51}, 0.0F, 2.25F, 5.0F, 2.25F);
    EXPECT_EQ(pixelText(*image, 3, 2), "30 15 7 7");  // 0.75 * 0.2
    EXPECT_EQ(pixelText(*image, 3, 3), "10 5 2 7");   // 0.25 * 0.2
}

TEST(DrawLineAA, CoversPairsAlongTheLongerAxis) {
    const struct {
        float x0, y0, x1, y1;
        const char* rows;
    } cases[] = {{0, 0, 4, 4, "#...../.#..../..#.../...#../....#./"},  // a tie follows x
                 {4, 4, 0, 0, "#...../.#..../..#.../...#../....#./"},
                 {0, 0, 4, 1, "####../.####./....../....../....../"},
                 {1, 0, 1, 4, ".#..../.#..../.#..../.#..../.#..../"},
                 {1.5F, 0, 1.5F, 4, ".##.../.##.../.##.../.##.../.##.../"},
                 {2.4F, 1.4F, 2.4F, 1.4F, "....../..#.../....../....../....../"},
                 {2, 1.2F, 2.4F, 1.6F, "....../..#.../....../....../....../"},  // one column: one pixel
                 {-3, 2, 20, 2, "....../....../######/....../....../"},
                 {3, -9, 3, 90, "...#../...#../...#../...#../...#../"},
                 {0, -3, 5, -3, "....../....../....../....../....../"},
                 {7, 0, 9, 3, "....../....../....../....../....../"},
                 {0, -0.5F, 5, -0.5F, "######/....../....../....../....../"},
                 {-0.5F, 0, -0.5F, 4, "#...../#...../#...../#...../#...../"},
                 {0, 4.5F, 5, 4.5F, "....../....../....../....../######/"}};
    for (const auto& c : cases) {
        const Image8 image = makeUniformImage(6, 5, white);
        kximgRGBABuffer8_DrawLineAA(*image, opaque, c.x0, c.y0, c.x1, c.y1);
        EXPECT_EQ(drawnPixels(*image, white), c.rows) << c.x0 << ' ' << c.y0 << ' ' << c.x1 << ' ' << c.y1;
    }
}

TEST(DrawLineAA, TransparentDrawsNothing) {
    const Image8 image = makeUniformImage(6, 5, white);
    kximgRGBABuffer8_DrawLineAA(*image, {0, 0, 0, 0}, 0, 0, 5, 4);
    EXPECT_EQ(drawnPixels(*image, white).find('#'), std::string::npos);
}

TEST(DrawLineAA, KnownPixels) {
    const Image8 image = makeUniformImage(6, 5, {100, 150, 200, 7});
    kximgRGBABuffer8_DrawLineAA(*image, {255, 0, 99, 177}, 0.3F, 0.7F, 4.9F, 3.1F);
    EXPECT_EQ(pixelText(*image, 1, 1) + "/" + pixelText(*image, 1, 2) + "/" + pixelText(*image, 3, 2),
              "200 52 134 7/107 143 195 7/195 57 137 7");
}

TEST(DrawLineAA, AgreesWithThePlainRule) {
    unsigned seed = 78;
    const auto position = [&seed](float reach) { return (kxRand(seed) * 2 - 1) * reach + 5; };
    for (int i = 0; i < 3000; ++i) {
        const int width = drawInt(seed, 0, 14);
        const int height = drawInt(seed, 0, 14);
        const float reach = i % 10 == 0 ? 3000.0F : 15.0F;
        float x0 = position(reach), y0 = position(reach), x1 = position(reach), y1 = position(reach);
        if (i % 3 == 0) x0 = floorf(x0);
        if (i % 5 == 0) y1 = y0;
        if (i % 7 == 0) x1 = x0;
        const _Rgba8 c = drawColour(seed);
        const std::string difference = compare(
            width, height, seed, [&](auto& image) { kximgRGBABuffer8_DrawLineAA(image, c, x0, y0, x1, y1); },
            [&](auto& image) { plain::drawLineAA(image, c, x0, y0, x1, y1); });
        ASSERT_EQ(difference, "") << x0 << ' ' << y0 << ' ' << x1 << ' ' << y1;
    }
}

TEST(DrawLineAA, EndlessAndUndefinedPositionsDrawNothingOrTheirPart) {
    const float positions[] = {-INFINITY, INFINITY, NAN, -3e38F, 3e38F, 2147483648.0F, -2147483648.0F, 1.0F};
    for (const float x0 : positions) {
        for (const float y0 : positions) {
            for (const float x1 : positions) {
                for (const float y1 : positions) {
                    const Image8 image = makeUniformImage(6, 5, white);
                    kximgRGBABuffer8_DrawLineAA(*image, opaque, x0, y0, x1, y1);
                    if (std::isnan(x0) || std::isnan(y0) || std::isnan(x1) || std::isnan(y1)) {
                        EXPECT_EQ(drawnPixels(*image, white).find('#'), std::string::npos);
                    }
                }
            }
        }
    }
    const Image8 image = makeUniformImage(6, 5, white);
    kximgRGBABuffer8_DrawLineAA(*image, opaque, -3e9F, 2, 3e9F, 2);
    EXPECT_EQ(drawnPixels(*image, white), "....../....../######/....../....../");
}

// Run under the sanitizers.
TEST(DrawLineAA, NonsenseSizesAreHarmless) {
    for (const int width : hostileExtents) {
        for (const int height : hostileExtents) {
            _imgRGBABuffer8 image(24U);
            setHostile(image, width, height, UINT_MAX);
            for (const float p : {-3e38F, -1.0F, 0.0F, 70000.0F, 3e38F}) {
                kximgRGBABuffer8_DrawLineAA(image, opaque, p, 0, 3, p);
                kximgRGBABuffer8_DrawLineAA(image, opaque, -3e9F, p, 3e9F, p);
                kximgRGBABuffer8_DrawLineAA(image, opaque, p, -3e9F, p, 3e9F);
            }
            EXPECT_LE(image.pixelsInMemory(), 24U);
        }
    }
}

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
