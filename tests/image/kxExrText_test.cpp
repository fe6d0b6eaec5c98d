// SPDX-License-Identifier: BSD-3-Clause
// The texts of headers that need no file. tests/tool/process_lines_test.cpp has those of real ones.
#include "image/kxExrText.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

using kxExr::Channel;
using kxExr::Compression;
using kxExr::Headers;
using kxExr::Part;
using kxExr::PixelType;
using kxExr::Storage;
using kxExr::Window;

// A scan-line part of 64 x 36 pixels, ZIP, with these channels.
Part partOf(const std::vector<Channel>& channels) {
    Part part;
    part.displayWindow = part.dataWindow = {0, 0, 63, 35};
    part.compression = Compression::zip;
    part.channels = channels;
    return part;
}

const std::vector<Channel> fourChannels = {{"A"}, {"B"}, {"G"}, {"R"}};

std::string summary(const Headers& headers) {
    return bytesOf(kxExr::summaryText(headers));
}

std::string channels(const Headers& headers) {
    return bytesOf(kxExr::channelText(headers));
}

TEST(ExrSummaryText, TellsSizeStorageCompressionAndChannels) {
    Part part = partOf(fourChannels);
    EXPECT_EQ(summary({part}), "  imagesize: 64x36 scanline  Zip-16line    4 channels ");
    part.storage = Storage::tiled;
    EXPECT_EQ(summary({part}), "  imagesize: 64x36 tiled     Zip-16line    4 channels ");
    part.storage = Storage::deepScanline;
    EXPECT_EQ(summary({part}), "  imagesize: 64x36 scanline  Zip-16line    deep  4 channels ");
    part.storage = Storage::deepTiled;
    EXPECT_EQ(summary({part}), "  imagesize: 64x36 tiled     Zip-16line    deep  4 channels ");
}

TEST(ExrSummaryText, TellsOtherPartsByTheirNumberAndChannels) {
    const Part first = partOf(fourChannels);
    Part second = partOf({{"Z"}});
    second.storage = Storage::deepTiled;
    second.compression = Compression::none;
    second.displayWindow = {0, 0, 9, 9};
    EXPECT_EQ(summary({first, second}), "  imagesize: 64x36 scanline  Zip-16line    5 channels   2 parts");
}

TEST(ExrSummaryText, CroppedIsAnotherSizeAndNotAnotherPlace) {
    Part part = partOf(fourChannels);
    part.dataWindow = {10, 10, 73, 45};
    EXPECT_EQ(summary({part}), "  imagesize: 64x36 scanline  Zip-16line    4 channels ");
    part.dataWindow = {-5, 2, 9, 7};
    EXPECT_EQ(summary({part}),
              "  imagesize: 64x36 (data: [-5;2]-[9;7] 15x6) scanline  Zip-16line    cropped  4 channels ");
    Part last = partOf({});
    last.dataWindow = {1, 2, 3, 4};
    EXPECT_EQ(summary({part, last}),
              "  imagesize: 64x36 (data: [1;2]-[3;4] 15x6) scanline  Zip-16line    cropped  4 channels   2 parts");
}

TEST(ExrSummaryText, SizesWrapAround32Bits) {
    const struct {
        Window window;
        std::string size;
    } cases[] = {
        {{0, 0, INT_MAX, 0}, "-2147483648x1"},
        {{INT_MIN, -1, INT_MAX, 0}, "0x2"},
        {{INT_MIN, 0, 0, -1}, "-2147483647x0"},
        {{5, 5, 3, 3}, "-1x-1"},
    };
    for (const auto& c : cases) {
        Part part = partOf(fourChannels);
        part.displayWindow = part.dataWindow = c.window;
        EXPECT_EQ(summary({part}), "  imagesize: " + c.size + " scanline  Zip-16line    4 channels ");
    }
}

TEST(ExrSummaryText, CompressionsHaveTheFarmsNames) {
    const struct {
        Compression compression;
        std::string text;
    } cases[] = {{Compression::none, " uncompr.   "},
                 {Compression::rle, " RLE  "},
                 {Compression::zips, " Zip-1line  "},
                 {Compression::zip, " Zip-16line  "},
                 {Compression::piz, " Wavelet  "},
                 {Compression::pxr24, " lossy float  "},
                 {Compression::b44, " lossy 4-by-4 static  "},
                 {Compression::b44a, " lossy 4-by-4 variable  "},
                 {Compression::dwaa, " unknown compr.  "},
                 {Compression::htj2k32, " unknown compr.  "},
                 {static_cast<Compression>(255), " unknown compr.  "}};
    for (const auto& c : cases) {
        Part part = partOf(fourChannels);
        part.compression = c.compression;
        EXPECT_EQ(summary({part}), "  imagesize: 64x36 scanline " + c.text + "  4 channels ");
    }
}

// The channels of one part, all half unless a type is given.
TEST(ExrChannelText, GroupsByTypeAndLayer) {
    const struct {
        std::vector<Channel> channels;
        std::string text;
    } cases[] = {
        {{}, "]"},
        {fourChannels, "[|half: A, B, G, R]"},
        {{{"A"}, {"Z", PixelType::float32}, {"id", PixelType::uint}}, "[|half: A, |float: Z, |int: id]"},
        {{{"x", static_cast<PixelType>(3)}}, "[x]"},
        {{{"a.G"}, {"a.R"}, {"b.R"}, {"c"}}, "[|half: a.GR, b.R, c]"},
        {{{"spec.green"}, {"spec.red"}}, "[|half: spec.greenR]"},
        {{{"spec.a"}, {"spec.ALPHA"}, {"spec.Red"}}, "[|half: spec.aAR]"},
        {{{"a.b.R"}, {"a.b.G"}, {"a.c.G"}}, "[|half: a.b.RG, a.c.G]"},
        // What is cut off is the end of the type.
        {{{"diffuse.G"}, {"diffuse.R", PixelType::float32}}, "[|half: diffuse.G, |floatR]"},
        {{{"\xe9%s%1"}}, "[|half: \xe9%s%1]"},
    };
    for (const auto& c : cases) EXPECT_EQ(channels({partOf(c.channels)}), c.text);
}

TEST(ExrChannelText, PartsHaveABracketEachAndTheLastLayerIsNotForgotten) {
    EXPECT_EQ(channels({partOf(fourChannels), partOf({{"Z", PixelType::float32}})}),
              "[|half: A, B, G, R] [|float: Z]");
    EXPECT_EQ(channels({partOf({{"l.R"}}), partOf({{"l.G"}})}), "[|half: l.R] [|halfG]");
}

}  // namespace
