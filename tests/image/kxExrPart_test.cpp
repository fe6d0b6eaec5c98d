// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxExrPart.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

using namespace kxExr;

namespace {

TEST(ChannelList, IsSharedByCopiesUntilOneIsChanged) {
    const ChannelList first = {{"R"}, {"Z", PixelType::float32}};
    ChannelList second = first;
    EXPECT_EQ(second.shared(), first.shared());
    EXPECT_EQ(second.begin(), first.begin());
    EXPECT_EQ(second, first);
    EXPECT_EQ(ChannelList(first.shared()).begin(), first.begin());
    second.push_back({"A"});
    EXPECT_NE(second.shared(), first.shared());
    EXPECT_EQ(first.size(), 2U);
    EXPECT_EQ(second.size(), 3U);
    EXPECT_NE(first, second);
    second.edit().pop_back();
    EXPECT_EQ(first, second);
    EXPECT_NE(first.shared(), second.shared());
}

TEST(ChannelList, ThatNobodySharesIsChangedInPlace) {
    ChannelList list = {{"R"}};
    const auto* const before = &list.front();
    list.edit()[0].name = "G";
    EXPECT_EQ(&list.front(), before);
    EXPECT_EQ(list[0].name, "G");
}

TEST(ChannelList, IsEmptyUntilItIsSet) {
    ChannelList list;
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.begin(), list.end());
    EXPECT_EQ(list, ChannelList(std::vector<Channel>()));
    list.push_back({"R"});
    EXPECT_EQ(list, ChannelList{{"R"}});
}

TEST(ExrPartNames, AreTheUsualShortOnes) {
    const char* const compressions[] = {"none", "rle",  "zips", "zip",  "piz",      "pxr24",
                                        "b44",  "b44a", "dwaa", "dwab", "htj2k256", "htj2k32"};
    int number = 0;
    for (const char* name : compressions) EXPECT_STREQ(compressionName(static_cast<Compression>(number++)), name);
    EXPECT_STREQ(storageName(Storage::scanline), "scanline");
    EXPECT_STREQ(storageName(Storage::tiled), "tiled");
    EXPECT_STREQ(storageName(Storage::deepScanline), "deepscanline");
    EXPECT_STREQ(storageName(Storage::deepTiled), "deeptile");
    EXPECT_STREQ(pixelTypeName(PixelType::uint), "uint");
    EXPECT_STREQ(pixelTypeName(PixelType::half), "half");
    EXPECT_STREQ(pixelTypeName(PixelType::float32), "float");
    EXPECT_STREQ(lineOrderName(LineOrder::increasing), "increasing");
    EXPECT_STREQ(lineOrderName(LineOrder::decreasing), "decreasing");
    EXPECT_STREQ(lineOrderName(LineOrder::random), "random");
}

// As a damaged file brings them.
TEST(ExrPartNames, NumbersWithoutANameAreUnknown) {
    for (const int number : {12, 13, 255}) {
        EXPECT_STREQ(compressionName(static_cast<Compression>(number)), "unknown") << number;
        EXPECT_STREQ(storageName(static_cast<Storage>(number)), "unknown") << number;
        EXPECT_STREQ(pixelTypeName(static_cast<PixelType>(number)), "unknown") << number;
        EXPECT_STREQ(lineOrderName(static_cast<LineOrder>(number)), "unknown") << number;
    }
    EXPECT_STREQ(storageName(static_cast<Storage>(4)), "unknown");
    EXPECT_STREQ(pixelTypeName(static_cast<PixelType>(3)), "unknown");
    EXPECT_STREQ(lineOrderName(static_cast<LineOrder>(3)), "unknown");
}

TEST(ExrPartStorage, IsDeepAndTiledIndependently) {
    const struct {
        Storage storage;
        bool deep, tiled;
    } cases[] = {{Storage::scanline, false, false},
                 {Storage::tiled, false, true},
                 {Storage::deepScanline, true, false},
                 {Storage::deepTiled, true, true}};
    for (const auto& c : cases) {
        EXPECT_EQ(isDeep(c.storage), c.deep) << storageName(c.storage);
        EXPECT_EQ(isTiled(c.storage), c.tiled) << storageName(c.storage);
    }
}

TEST(ExrPartWindow, CountsBothCornersAndTakesAnyNumbers) {
    constexpr std::int32_t low = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t high = std::numeric_limits<std::int32_t>::max();
    const struct {
        Window window;
        std::int64_t width, height;
    } cases[] = {{{0, 0, 0, 0}, 1, 1},
                 {{-2, 3, 7, 4}, 10, 2},
                 {{5, 5, 4, 3}, 0, -1},
                 {{low, high, high, low}, std::int64_t{1} << 32, -(std::int64_t{1} << 32) + 2}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.window.width(), c.width);
        EXPECT_EQ(c.window.height(), c.height);
    }
}

TEST(ExrPartValues, AreEqualWhenEveryFieldIs) {
    const Window window{1, 2, 3, 4};
    EXPECT_EQ(window, (Window{1, 2, 3, 4}));
    for (const Window& other : {Window{0, 2, 3, 4}, Window{1, 0, 3, 4}, Window{1, 2, 0, 4}, Window{1, 2, 3, 0}}) {
        EXPECT_FALSE(window == other);
        EXPECT_TRUE(window != other);
    }
    const Channel channel{"R", PixelType::half, 1, 2};
    EXPECT_TRUE(channel == (Channel{"R", PixelType::half, 1, 2}));
    for (const Channel& other : {Channel{"G", PixelType::half, 1, 2}, Channel{"R", PixelType::uint, 1, 2},
                                 Channel{"R", PixelType::half, 2, 2}, Channel{"R", PixelType::half, 1, 1}}) {
        EXPECT_FALSE(channel == other);
    }
    using Tiles = TileDescription;
    const Tiles tiles{64, 32, LevelMode::mipmap, LevelRounding::up};
    EXPECT_TRUE(tiles == (Tiles{64, 32, LevelMode::mipmap, LevelRounding::up}));
    for (const Tiles& other :
         {Tiles{63, 32, LevelMode::mipmap, LevelRounding::up}, Tiles{64, 31, LevelMode::mipmap, LevelRounding::up},
          Tiles{64, 32, LevelMode::ripmap, LevelRounding::up},
          Tiles{64, 32, LevelMode::mipmap, LevelRounding::down}}) {
        EXPECT_FALSE(tiles == other);
    }
}

}  // namespace
