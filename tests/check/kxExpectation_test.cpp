// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxExpectation.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using kxCheck::Expectation;
using kxCheck::Finding;
using kxCheck::Headers;
using kxCheck::parseExpectation;
using kxCheck::unmetExpectation;
using Key = kxCheck::Expectation::Key;

Expectation parsed(const QByteArray& text) {
    const auto result = parseExpectation(text);
    if (const auto* const fault = std::get_if<QByteArray>(&result)) {
        ADD_FAILURE() << text.constData() << ": " << fault->constData();
        return {};
    }
    return std::get<Expectation>(result);
}

std::string faultOf(const QByteArray& text) {
    const auto result = parseExpectation(text);
    const auto* const fault = std::get_if<QByteArray>(&result);
    return fault ? fault->toStdString() : "none";
}

kxExr::Part partOf(int width, int height) {
    kxExr::Part part;
    part.displayWindow = {0, 0, width - 1, height - 1};
    part.dataWindow = part.displayWindow;
    part.compression = kxExr::Compression::zip;
    for (const char* const name : {"A", "B", "G", "R"})
        part.channels.push_back({name, kxExr::PixelType::half, 1, 1});
    return part;
}

Headers onePart() {
    return {partOf(1920, 1080)};
}

// The finding's text; empty when all is as expected.
std::string unmet(const QByteArray& text, const Headers& headers) {
    const auto finding = unmetExpectation(parsed(text), headers);
    if (finding) {
        EXPECT_EQ(finding->code, kxCheck::Code::expected);
        EXPECT_EQ(finding->severity, kxCheck::Severity::error);
    }
    return finding ? finding->text.toStdString() : "";
}

TEST(ExpectationTest, EveryKeyHasItsValues) {
    EXPECT_EQ(parsed("size=1920x1080"), (Expectation{Key::size, {"1920x1080"}}));
    EXPECT_EQ(parsed("data-window=10x20,30x40"), (Expectation{Key::dataWindow, {"10x20", "30x40"}}));
    EXPECT_EQ(parsed("compression=zip,zips"), (Expectation{Key::compression, {"zip", "zips"}}));
    EXPECT_EQ(parsed("storage=deeptile"), (Expectation{Key::storage, {"deeptile"}}));
    EXPECT_EQ(parsed("type=half"), (Expectation{Key::type, {"half"}}));
    EXPECT_EQ(parsed("parts=2"), (Expectation{Key::parts, {"2"}}));
    EXPECT_EQ(parsed("pixel-aspect=1.33"), (Expectation{Key::pixelAspect, {"1.33"}}));
    EXPECT_EQ(parsed("channels=R,diffuse.R"), (Expectation{Key::channels, {"R", "diffuse.R"}}));
}

TEST(ExpectationTest, NumbersLoseLeadingZeros) {
    EXPECT_EQ(parsed("size=01920x01080").values.front(), "1920x1080");
    EXPECT_EQ(parsed("parts=02").values.front(), "2");
}

TEST(ExpectationTest, EveryNameOfAnEnumerationIsAValue) {
    for (const char* const name :
         {"none", "rle", "zips", "zip", "piz", "pxr24", "b44", "b44a", "dwaa", "dwab", "htj2k256", "htj2k32"})
        EXPECT_EQ(faultOf(QByteArray("compression=") + name), "none") << name;
    for (const char* const name : {"scanline", "tiled", "deepscanline", "deeptile"})
        EXPECT_EQ(faultOf(QByteArray("storage=") + name), "none") << name;
    for (const char* const name : {"half", "float", "uint"})
        EXPECT_EQ(faultOf(QByteArray("type=") + name), "none") << name;
}

TEST(ExpectationTest, UnknownKeysAreRefusedWithTheKnown) {
    const std::string known =
        "' is nothing to expect; known are size, data-window, compression, storage, type, parts, pixel-aspect, "
        "channels";
    for (const char* const name : {"", "Size", "resolution"}) {
        EXPECT_EQ(faultOf(QByteArray(name) + "=1"), "'" + std::string(name) + known);
        EXPECT_EQ(faultOf(name), "'" + std::string(name) + known);
    }
}

TEST(ExpectationTest, KeysWithoutValueAreRefused) {
    EXPECT_EQ(faultOf("size"), "'size' lacks a value; write it like size=1920x1080");
    EXPECT_EQ(faultOf("parts="), "'' is no value of parts; write it like parts=2");
}

TEST(ExpectationTest, WrongValuesAreRefusedWithTheRight) {
    for (const char* const value :
         {"", "1920", "1920x", "x1080", "0x1", "1x-1", "1x1x1", "1920X1080", "a x b", "99999999999999999999x1"}) {
        EXPECT_EQ(faultOf(QByteArray("size=") + value),
                  "'" + std::string(value) + "' is no value of size; write it like size=1920x1080");
        EXPECT_EQ(faultOf(QByteArray("data-window=1x1,") + value),
                  "'" + std::string(value) + "' is no value of data-window; write it like data-window=1920x1080");
    }
    EXPECT_EQ(
        faultOf("compression=zip,Zips"),
        "'Zips' is no value of compression; known are none, rle, zips, zip, piz, pxr24, b44, b44a, dwaa, dwab, "
        "htj2k256, htj2k32");
    EXPECT_EQ(faultOf("storage=tile"),
              "'tile' is no value of storage; known are scanline, tiled, deepscanline, deeptile");
    EXPECT_EQ(faultOf("type=int"), "'int' is no value of type; known are half, float, uint");
    EXPECT_EQ(faultOf("type=unknown"), "'unknown' is no value of type; known are half, float, uint");
    for (const char* const value : {"0", "-1", "two", "1.5"})
        EXPECT_EQ(faultOf(QByteArray("parts=") + value),
                  "'" + std::string(value) + "' is no value of parts; write it like parts=2");
    for (const char* const value : {"", "0", "-1", "nan", "inf", "1:1"})
        EXPECT_EQ(faultOf(QByteArray("pixel-aspect=") + value),
                  "'" + std::string(value) + "' is no value of pixel-aspect; write it like pixel-aspect=1");
    EXPECT_EQ(faultOf("channels=R,,B"), "'' is no value of channels; write them like channels=R,G,B,A");
}

TEST(ExpectationTest, NothingIsFoundWhereAllIsAsExpected) {
    for (const char* const text : {"size=1920x1080", "size=1280x720,1920x1080", "data-window=1920x1080",
                                   "compression=zips,zip", "storage=scanline", "type=half", "parts=1",
                                   "pixel-aspect=1", "pixel-aspect=2,1.0", "channels=R,G,B,A", "channels=A"})
        EXPECT_EQ(unmet(text, onePart()), "") << text;
}

TEST(ExpectationTest, WhatIsUnlikeIsNamedBesideWhatWasExpected) {
    EXPECT_EQ(unmet("size=1280x720", onePart()), "size is 1920x1080, not 1280x720");
    EXPECT_EQ(unmet("data-window=1x1", onePart()), "data window is 1920x1080, not 1x1");
    EXPECT_EQ(unmet("compression=piz,zips,rle", onePart()), "compression is zip, not piz, zips or rle");
    EXPECT_EQ(unmet("storage=tiled,deeptile", onePart()), "storage is scanline, not tiled or deeptile");
    EXPECT_EQ(unmet("parts=2", onePart()), "number of parts is 1, not 2");
    EXPECT_EQ(unmet("pixel-aspect=2", onePart()), "pixel aspect is 1, not 2");
    EXPECT_EQ(unmet("channels=R,Z", onePart()), "channel Z is not there");
    EXPECT_EQ(unmet("channels=Z,R,id", onePart()), "channels Z, id are not there");
}

TEST(ExpectationTest, SizeAndPixelAspectAreThoseOfTheFirstPart) {
    Headers headers{partOf(1920, 1080), partOf(10, 10)};
    headers[1].pixelAspectRatio = 2;
    EXPECT_EQ(unmet("size=1920x1080", headers), "");
    EXPECT_EQ(unmet("pixel-aspect=1", headers), "");
    EXPECT_EQ(unmet("size=10x10", headers), "size of part 0 is 1920x1080, not 10x10");
}

TEST(ExpectationTest, EveryPartMustHaveDataWindowCompressionAndStorage) {
    Headers headers{partOf(8, 8), partOf(8, 8), partOf(8, 8)};
    headers[1].dataWindow = {2, 2, 4, 3};
    headers[1].compression = kxExr::Compression::dwaa;
    headers[2].compression = kxExr::Compression::none;
    headers[2].storage = kxExr::Storage::deepScanline;
    EXPECT_EQ(unmet("data-window=8x8", headers), "data window of part 1 is 3x2, not 8x8");
    EXPECT_EQ(unmet("compression=zip", headers), "compression of part 1 is dwaa, not zip; 1 more likewise");
    EXPECT_EQ(unmet("compression=zip,dwaa,none", headers), "");
    EXPECT_EQ(unmet("storage=scanline", headers), "storage of part 2 is deepscanline, not scanline");
}

TEST(ExpectationTest, EveryChannelMustHaveTheType) {
    Headers headers{partOf(8, 8), partOf(8, 8)};
    headers[0].channels.push_back({"Z", kxExr::PixelType::float32, 1, 1});
    EXPECT_EQ(unmet("type=half", headers), "type of channel Z of part 0 is float, not half");
    headers[1].channels.push_back({"id", kxExr::PixelType::uint, 1, 1});
    EXPECT_EQ(unmet("type=half", headers), "type of channel Z of part 0 is float, not half; 1 more likewise");
    EXPECT_EQ(unmet("type=half,float,uint", headers), "");
}

TEST(ExpectationTest, ChannelsOfAllPartsCountTogether) {
    Headers headers{partOf(8, 8), partOf(8, 8)};
    headers[1].channels = {{"Z", kxExr::PixelType::float32, 1, 1}};
    EXPECT_EQ(unmet("channels=R,Z", headers), "");
    EXPECT_EQ(unmet("channels=z", headers), "channel z is not there");
}

TEST(ExpectationTest, FindingTellsPlaceAndNumber) {
    Headers headers{partOf(8, 8), partOf(8, 8)};
    headers[1].channels.push_back({"Z", kxExr::PixelType::float32, 1, 1});
    headers[1].channels.push_back({"id", kxExr::PixelType::uint, 1, 1});
    const auto types = unmetExpectation(parsed("type=half"), headers);
    ASSERT_TRUE(types);
    EXPECT_EQ(types->part, 1);
    EXPECT_EQ(types->channel, "Z");
    EXPECT_EQ(types->count, 2);

    const auto channels = unmetExpectation(parsed("channels=R,x,y"), headers);
    ASSERT_TRUE(channels);
    EXPECT_EQ(channels->part, std::nullopt);
    EXPECT_EQ(channels->channel, "");
    EXPECT_EQ(channels->count, 2);
}

TEST(ExpectationTest, PixelAspectsAreEqualWithinOnePartInTenThousand) {
    Headers headers = onePart();
    headers[0].pixelAspectRatio = 1.3333334F;
    EXPECT_EQ(unmet("pixel-aspect=1.3333", headers), "");
    EXPECT_EQ(unmet("pixel-aspect=1.33", headers), "pixel aspect is 1.33333, not 1.33");
    headers[0].pixelAspectRatio = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(unmet("pixel-aspect=1", headers), "pixel aspect is nan, not 1");
}

TEST(ExpectationTest, WindowsWithTheirCornersInTheWrongOrderAreUnlikeAny) {
    Headers headers = onePart();
    headers[0].displayWindow = {0, 0, std::numeric_limits<int>::min(), -1};
    EXPECT_EQ(unmet("size=1x1", headers), "size is -2147483647x0, not 1x1");
}

}  // namespace
