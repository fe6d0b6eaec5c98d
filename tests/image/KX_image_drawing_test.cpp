// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_image.h"
#include "tests/support/DrawnImages.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>

using kxP::_imgRGBABuffer8;

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
