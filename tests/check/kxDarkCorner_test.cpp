// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxDarkCorner.h"

#include "image/kxRenderErrors.h"
#include "tests/support/RenderedFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>

using kxCheck::hasDarkCorner;

namespace {

// The sentence of the header, pixel by pixel.
bool plainHasDarkCorner(const kxP::_imgRGBABuffer8& image) {
    const auto valueAt = [&image](int x, int y) {
        const _Rgba8 pixel = image.read(static_cast<unsigned>(y * image.width + x));
        return image.valid ? pixel.a : pixel.g;
    };
    const auto hasBright = [&](int x, int y, int dx, int dy) {
        for (int i = 1; i <= 3; ++i)
            if (x - i * dx >= 0 && y - i * dy >= 0 && valueAt(x - i * dx, y - i * dy) >= 64) return true;
        return false;
    };
    for (int y = 1; y <= image.height - 8; ++y)
        for (int x = 1; x <= image.width - 8; ++x) {
            bool isCorner = true;
            for (int i = 0; i < 8 && isCorner; ++i)
                isCorner = valueAt(x + i, y) < 16 && hasBright(x + i, y, 0, 1) && valueAt(x, y + i) < 16 &&
                           hasBright(x, y + i, 1, 0);
            if (isCorner) return true;
        }
    return false;
}

constexpr _Rgba8 grey(unsigned char value) {
    return {value, value, value, 255};
}

}  // namespace

TEST(DarkCorner, IsFoundWhereverItIs) {
    constexpr int size = 24;
    for (int top = 0; top <= size - 8; ++top)
        for (int left = 0; left <= size - 8; ++left) {
            RenderedFrame image(size, size, white, false);
            image.square(left, top, 8, black);
            EXPECT_EQ(hasDarkCorner(image), top > 0 && left > 0) << left << ' ' << top;
        }
}

// Each step of the edge as soft as it may be, and one more.
TEST(DarkCorner, MayHaveASoftEdge) {
    for (const int edge : {0, 1, 2, 3}) {
        RenderedFrame image(60, 60, white, false);
        image.square(20 - edge, 20 - edge, 16 + edge, grey(63));
        image.square(20, 20, 16, grey(15));
        EXPECT_EQ(hasDarkCorner(image), edge <= 2) << edge;
    }
}

TEST(DarkCorner, HasLimitsOfDarkAndBright) {
    const struct {
        unsigned char wall;
        unsigned char block;
        bool isFound;
    } cases[] = {{64, 15, true}, {63, 15, false}, {64, 16, false}, {255, 0, true}};
    for (const auto& c : cases) {
        RenderedFrame image(60, 60, grey(c.wall), false);
        image.square(20, 20, 8, grey(c.block));
        EXPECT_EQ(hasDarkCorner(image), c.isFound) << int{c.wall} << ' ' << int{c.block};
    }
}

TEST(DarkCorner, IsLookedForInAlphaOfAValidPicture) {
    RenderedFrame image(60, 60, white, true);
    image.square(20, 20, 8, black);
    EXPECT_FALSE(hasDarkCorner(image)) << "the black is opaque";
    image.square(20, 20, 8, {255, 255, 255, 0});
    EXPECT_TRUE(hasDarkCorner(image));
}

TEST(DarkCorner, IsInNoPictureThatIsTooSmall) {
    EXPECT_FALSE(hasDarkCorner(kxP::_imgRGBABuffer8(0)));
    for (const auto& [width, height] : {std::pair{1, 1}, {7, 7}, {8, 8}, {8, 40}, {40, 8}, {5, 40}, {40, 5}}) {
        RenderedFrame image(width, height, white, false);
        image.square(1, 1, std::min(width, height) - 1, black);
        EXPECT_FALSE(hasDarkCorner(image)) << width << ' ' << height;
    }
}

TEST(DarkCorner, IsWhatAPlainSearchFinds) {
    std::mt19937 random(11);
    const auto below = [&random](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    int found = 0;
    int lost = 0;
    for (int turn = 0; turn < 3000; ++turn) {
        const int width = 9 + below(24);
        const int height = 9 + below(24);
        RenderedFrame image(width, height, grey(static_cast<unsigned char>(50 + below(100))), below(4) == 0);
        for (int i = below(3); i >= 0; --i) {
            const auto value = static_cast<unsigned char>(below(3) == 0 ? 0 : below(20));
            const int left = below(width);
            const int top = below(height);
            const int size = std::min({5 + below(12), width - left, height - top});
            image.square(left, top, size, {value, value, value, value});
        }
        const bool isDark = plainHasDarkCorner(image);
        ASSERT_EQ(hasDarkCorner(image), isDark) << turn;
        const bool isLost = kxCHK::hasMissingTile(image);
        ASSERT_TRUE(isDark || !isLost) << turn;
        found += isDark ? 1 : 0;
        lost += isLost ? 1 : 0;
    }
    EXPECT_GT(found, 300);
    EXPECT_LT(found, 2700);
    EXPECT_GT(lost, 50);
}
