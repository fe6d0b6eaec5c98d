// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureBuilder.h"

#include "tests/support/CheckedFile.h"
#include "tests/support/ExrKinds.h"
#include "tests/support/PaintedFrames.h"
#include "tests/support/plainCheck.h"
#include "tests/support/plainPicture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using namespace kxCheck;

namespace {

const float notANumber = std::numeric_limits<float>::quiet_NaN();
const float infinity = std::numeric_limits<float>::infinity();

// What a builder makes of a file.
struct Built {
    explicit Built(const std::string& bytes) {
        EXPECT_TRUE(CheckedFile().check(bytes, Level::pixels, &builder).decoded);
        report = builder.report();
    }
    explicit Built(const PaintedPart& part) : Built(paintedBytes({part})) {}

    std::vector<unsigned char> rgba() const {
        if (!builder.picture()) return {};
        return {builder.picture()->pixels,
                builder.picture()->pixels + std::size_t{4} * builder.picture()->pixelCount};
    }
    std::vector<int> pixel(int x, int y) const {
        _Rgba8 colour{};
        builder.picture()->read(colour, x, y);
        return {colour.r, colour.g, colour.b, colour.a};
    }

    PictureBuilder builder;
    PictureReport report;
};

std::map<std::pair<int, std::string>, std::pair<long long, long long>> strangeOf(const PictureReport& report) {
    std::map<std::pair<int, std::string>, std::pair<long long, long long>> strange;
    for (const StrangeSamples& s : report.strange) strange[{s.part, s.channel.toStdString()}] = {s.nan, s.infinite};
    return strange;
}

void expectRange(const std::optional<SampleRange>& range, const std::optional<PlainRange>& expected) {
    ASSERT_EQ(range.has_value(), expected.has_value());
    if (!range) return;
    EXPECT_EQ(range->min, expected->min);
    EXPECT_EQ(range->max, expected->max);
    EXPECT_NEAR(range->mean, expected->mean, 1e-9 * std::max(std::abs(expected->min), std::abs(expected->max)));
}

void expectSearched(const PictureFacts& facts, const PlainImage& image) {
    const unsigned short errors = plainErrorBits(image);
    EXPECT_EQ(facts.isTileMissing, (errors & 1) != 0);
    EXPECT_EQ(facts.isAlphaMissing, (errors & 2) != 0);
    EXPECT_EQ(facts.histogram, plainHistogram(image));
}

void expectPlain(const std::string& bytes) {
    const Built built(bytes);
    PlainPicture plain = plainPicture(bytes);
    EXPECT_EQ(strangeOf(built.report), plain.strange);
    ASSERT_EQ(built.report.picture.has_value(), plain.isThere);
    ASSERT_EQ(built.builder.picture() != nullptr, plain.isThere);
    if (!plain.isThere) return;
    const PictureFacts& facts = *built.report.picture;
    ASSERT_EQ(built.builder.picture()->width, plain.width);
    ASSERT_EQ(built.builder.picture()->height, plain.height);
    EXPECT_EQ(built.rgba(), plain.rgba);
    EXPECT_EQ(facts.hasAlpha, plain.hasAlpha);
    EXPECT_EQ(facts.isBlack, plain.isBlack);
    EXPECT_EQ(facts.isFlat, plain.isFlat);
    for (std::size_t c = 0; c < 4; ++c) expectRange(facts.ranges[c], plain.ranges[c]);
    expectSearched(facts, {plain.rgba.data(), plain.width, plain.height, plain.hasAlpha});
}

// Numbers of every sort that a sample can be.
float randomSample(std::mt19937& random) {
    const auto number = [&] { return static_cast<float>(random() % 100000) / 50000.0F; };
    switch (random() % 20) {
        case 0:
            return notANumber;
        case 1:
            return infinity;
        case 2:
            return -infinity;
        case 3:
            return -number();
        case 4:
            return 1.0F;
        case 5:
            return 1e-6F * number();
        case 6:
            return 60000.0F;
        default:
            return number();
    }
}

int randomBelow(std::mt19937& random, int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
}

Imath::Box2i randomWindow(std::mt19937& random, int side) {
    const Imath::V2i first(randomBelow(random, 30) - 15, randomBelow(random, 30) - 15);
    return {first, first + Imath::V2i(randomBelow(random, side), randomBelow(random, side))};
}

PaintedPart randomPart(std::mt19937& random, const Imath::Box2i& display) {
    PaintedPart part;
    part.display = display;
    part.data = randomWindow(random, 40);
    const std::vector<const char*> names = {"R", "G", "B", "A", "Y", "Z", "r", "beauty.R", "AR"};
    const bool isFlat = random() % 4 != 0;
    const Imf::PixelType types[] = {Imf::HALF, Imf::FLOAT, Imf::HALF};
    for (const char* name : names)
        if (random() % 3 != 0) {
            const float plain = randomSample(random);
            const bool isPlain = random() % 6 == 0;
            part.channels.push_back(
                {name, [&random, plain, isPlain](int, int, int) { return isPlain ? plain : randomSample(random); },
                 types[random() % 3]});
        }
    if (part.channels.empty()) part.channels = {{"R", plainPaint(1)}};
    const Imf::Compression compressions[] = {Imf::NO_COMPRESSION, Imf::RLE_COMPRESSION, Imf::ZIPS_COMPRESSION,
                                             Imf::ZIP_COMPRESSION};
    part.compression = compressions[random() % (isFlat ? 4 : 3)];
    if (!isFlat) part.samples = [&random](int, int) { return randomBelow(random, 4); };
    if (isFlat && random() % 3 == 0) part.tileSize = 1 + randomBelow(random, 20);
    part.mipmap = random() % 2 == 0;
    return part;
}

PaintedPart opaquePart(const Imath::Box2i& display, const Imath::Box2i& data) {
    PaintedPart part{{{"A", plainPaint(1)}, {"B", plainPaint(0)}, {"G", plainPaint(1)}, {"R", plainPaint(1)}}};
    part.display = display;
    part.data = data;
    return part;
}

}  // namespace

TEST(PictureBuilder, MakesThePlainPictureOfEveryKindOfFile) {
    for (const Kind& kind : exrKinds()) {
        SCOPED_TRACE(kind.name);
        expectPlain(exrBytes(kind));
    }
}

TEST(PictureBuilder, MakesThePlainPictureOfRandomFiles) {
    for (unsigned seed = 0; seed < 400; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const Imath::Box2i display = randomWindow(random, 60);
        std::vector<PaintedPart> parts;
        for (int i = 1 + randomBelow(random, 3); i > 0; --i) parts.push_back(randomPart(random, display));
        expectPlain(paintedBytes(parts));
    }
}

// Whatever a header or chunk says then: a picture is made or none, of what can be decoded.
TEST(PictureBuilder, TakesDamagedFiles) {
    const CheckedFile file;
    std::mt19937 random(11);
    int whole = 0;
    for (const Kind& kind : exrKinds()) {
        SCOPED_TRACE(kind.name);
        const std::string right = exrBytes(kind);
        for (int i = 0; i < 40; ++i) {
            std::string bytes = right;
            char& spoiled = bytes[random() % bytes.size()];
            spoiled = static_cast<char>(static_cast<unsigned char>(spoiled) ^ 1U << random() % 8);
            PictureBuilder builder;
            if (!file.check(bytes, Level::pixels, &builder).decoded) continue;
            ++whole;
            const PictureReport report = builder.report();
            EXPECT_EQ(report.picture.has_value(), builder.picture() != nullptr);
        }
    }
    EXPECT_GT(whole, 100) << "some damage is only another sample";
}

TEST(Picture, HasDisplayGammaInColoursAndNoneInAlpha) {
    const Built built(
        {{{"A", plainPaint(0.25F)}, {"B", plainPaint(0.5F)}, {"G", plainPaint(0.25F)}, {"R", plainPaint(0.0F)}}});
    EXPECT_EQ(built.pixel(0, 0), (std::vector<int>{0, 136, 186, 64}));
    EXPECT_EQ(built.builder.picture()->valid, 1);
    EXPECT_EQ(built.builder.picture()->flags, KX_IMG_GAMMA22);
}

TEST(Picture, ClampsWhatIsNoShade) {
    const std::vector<float> values = {notANumber, infinity, -infinity, -1, 2, 1};
    const Paint paint = [&](int x, int, int) { return values[static_cast<std::size_t>(x)]; };
    for (const Imf::PixelType type : {Imf::HALF, Imf::FLOAT}) {
        PaintedPart part{{{"A", paint, type}, {"R", paint, type}}, {{0, 0}, {5, 0}}};
        const Built built(part);
        const int expected[] = {0, 255, 0, 0, 255, 255};
        for (int x = 0; x < 6; ++x)
            EXPECT_EQ(built.pixel(x, 0), (std::vector<int>{expected[x], 0, 0, expected[x]}));
    }
}

TEST(Picture, TakesWholeNumbersAsBlackAndWhite) {
    const Paint paint = [](int x, int, int) { return static_cast<float>(x) * 1000.0F; };
    const Built built({{{"A", plainPaint(1), Imf::UINT}, {"Y", paint, Imf::UINT}}, {{0, 0}, {1, 0}}});
    EXPECT_EQ(built.pixel(0, 0), (std::vector<int>{0, 0, 0, 255}));
    EXPECT_EQ(built.pixel(1, 0), (std::vector<int>{255, 255, 255, 255}));
    EXPECT_EQ(built.report.picture->ranges[0]->max, 1000);
}

TEST(Picture, IsZeroWhereTheDataWindowDoesNotReach) {
    const Built built(opaquePart({{0, 0}, {9, 9}}, {{3, 4}, {20, 5}}));
    EXPECT_EQ(built.pixel(3, 4), (std::vector<int>{255, 255, 0, 255}));
    EXPECT_EQ(built.pixel(9, 5), (std::vector<int>{255, 255, 0, 255}));
    for (const auto& [x, y] : {std::pair{2, 4}, {3, 3}, {9, 6}, {0, 0}})
        EXPECT_EQ(built.pixel(x, y), (std::vector<int>{0, 0, 0, 0}));
    EXPECT_TRUE(built.report.picture->isFlat);
}

TEST(Picture, OfADataWindowElsewhereIsBlack) {
    const Built built(opaquePart({{0, 0}, {9, 9}}, {{10, 0}, {20, 9}}));
    EXPECT_TRUE(built.report.picture->isBlack);
    EXPECT_FALSE(built.report.picture->isFlat);
    EXPECT_EQ(built.report.picture->ranges[0]->max, 1) << "of all samples in the file";
}

TEST(Picture, TakesYForAllColoursOnlyWhereThereIsNone) {
    EXPECT_EQ(Built({{{"Y", plainPaint(1)}}}).pixel(0, 0), (std::vector<int>{255, 255, 255, 255}));
    EXPECT_EQ(Built({{{"R", plainPaint(0)}, {"Y", plainPaint(1)}}}).pixel(0, 0), (std::vector<int>{0, 0, 0, 255}));
    const Built luminance({{{"Y", plainPaint(0.5F)}}});
    for (std::size_t c = 0; c < 3; ++c) EXPECT_EQ(luminance.report.picture->ranges[c]->mean, 0.5);
    EXPECT_FALSE(luminance.report.picture->ranges[3]);
}

TEST(Picture, IsThereFromOneColourOn) {
    EXPECT_EQ(Built({{{"G", plainPaint(1)}}}).pixel(0, 0), (std::vector<int>{0, 255, 0, 255}));
    for (const std::vector<const char*>& names : {std::vector<const char*>{"A"},
                                                  {"Z"},
                                                  {"r", "g", "b"},
                                                  {"beauty.R", "beauty.G", "beauty.B"},
                                                  {"RY", "BY"}}) {
        PaintedPart part;
        for (const char* name : names) part.channels.push_back({name, plainPaint(notANumber)});
        const Built built(part);
        EXPECT_FALSE(built.report.picture);
        EXPECT_FALSE(built.builder.picture());
        EXPECT_EQ(built.report.strange.size(), names.size()) << "samples count without a picture too";
        EXPECT_NE(built.report.hash, (std::array<std::uint64_t, 2>{}));
    }
}

TEST(Picture, WithoutAlphaIsOpaqueAndSaysSo) {
    const Built built({{{"R", plainPaint(1)}}, {{0, 0}, {3, 3}}, {{1, 1}, {2, 2}}});
    EXPECT_EQ(built.builder.picture()->valid, 0);
    EXPECT_FALSE(built.report.picture->hasAlpha);
    EXPECT_EQ(built.pixel(1, 1), (std::vector<int>{255, 0, 0, 255}));
    EXPECT_EQ(built.pixel(0, 1), (std::vector<int>{0, 0, 0, 0}));
}

TEST(Picture, IsThatOfTheFirstPart) {
    const PaintedPart first{{{"Z", plainPaint(1)}}};
    const PaintedPart second{{{"R", plainPaint(1)}}};
    EXPECT_FALSE(Built(paintedBytes({first, second})).report.picture);
    const Built built(paintedBytes({second, first}));
    ASSERT_TRUE(built.report.picture);
    EXPECT_EQ(built.pixel(0, 0), (std::vector<int>{255, 0, 0, 255}));
}

TEST(Picture, FillsSubsampledPixelsUpToTheNextSample) {
    const Paint paint = [](int x, int y, int) { return x == 2 && y == 2 ? 1.0F : 0.0F; };
    const PaintedPart part{{{"Y", paint, Imf::HALF, 2, 2}}, {{1, 1}, {6, 6}}, {{0, 0}, {7, 7}}};
    const Built built(part);
    for (int y = 1; y <= 6; ++y)
        for (int x = 1; x <= 6; ++x) {
            const int expected = (x == 2 || x == 3) && (y == 2 || y == 3) ? 255 : 0;
            EXPECT_EQ(built.pixel(x - 1, y - 1), (std::vector<int>{expected, expected, expected, 255}))
                << x << ' ' << y;
        }
}

TEST(Picture, IsTheFullResolutionOfTiles) {
    PaintedPart part = opaquePart({{0, 0}, {15, 11}}, {{0, 0}, {15, 11}});
    part.tileSize = 4;
    part.mipmap = true;
    const Built built(part);
    EXPECT_EQ(built.pixel(0, 0), (std::vector<int>{255, 255, 0, 255}));
    EXPECT_TRUE(built.report.strange.empty()) << "lower levels hold NaN";
    EXPECT_TRUE(built.report.picture->isFlat);
}

TEST(Picture, OfDeepSamplesIsWhatIsSeenFromTheFront) {
    // Half covered red before opaque green before blue, stored in another order.
    const float red[] = {0, 0.5F, 0};
    const float green[] = {1, 0, 0};
    const float blue[] = {0, 0, 1};
    const float alpha[] = {1, 0.5F, 1};
    const float depth[] = {20, 10, 30};
    const auto ofSample = [](const float(&values)[3]) { return [&values](int, int, int i) { return values[i]; }; };
    PaintedPart part{{{"A", ofSample(alpha)},
                      {"B", ofSample(blue)},
                      {"G", ofSample(green)},
                      {"R", ofSample(red)},
                      {"Z", ofSample(depth), Imf::FLOAT}}};
    part.compression = Imf::ZIPS_COMPRESSION;
    part.samples = [](int x, int) { return x == 0 ? 0 : 3; };
    const Built built(part);
    EXPECT_EQ(built.pixel(1, 0), (std::vector<int>{186, 186, 0, 255}));
    EXPECT_EQ(built.pixel(0, 0), (std::vector<int>{0, 0, 0, 0}));
    EXPECT_EQ(built.report.picture->ranges[0]->max, 0.5) << "of the samples, not of what is seen";

    part.channels.pop_back();  // no depth: as they stand
    EXPECT_EQ(Built(part).pixel(1, 0), (std::vector<int>{0, 255, 0, 255}));
    part.channels.erase(part.channels.begin());  // no alpha: all opaque
    EXPECT_EQ(Built(part).pixel(1, 0), (std::vector<int>{0, 255, 0, 255}));
}

TEST(Picture, OfAHugeDisplayWindowIsNone) {
    PaintedPart part = opaquePart({{0, 0}, {16383, 16384}}, {{0, 0}, {1, 1}});
    part.channels[0].paint = plainPaint(notANumber);
    for (const Imath::Box2i& window : {Imath::Box2i{{0, 0}, {16383, 16384}},
                                       {{0, 0}, {1000000000, 1000000000}},
                                       {{-1000000000, 5}, {1000000000, 5}}}) {
        part.display = window;
        const Built built(part);
        EXPECT_FALSE(built.report.picture);
        EXPECT_EQ(built.report.strange.size(), 1U);
    }
}

TEST(Picture, IsBlackWhereNoColourIsAboveZero) {
    PaintedPart part{{{"A", plainPaint(1)}, {"R", plainPaint(-3)}, {"G", plainPaint(notANumber)}}};
    EXPECT_TRUE(Built(part).report.picture->isBlack);
    part.channels[1].paint = [](int x, int y, int) { return x == 15 && y == 11 ? 0.01F : 0.0F; };
    EXPECT_FALSE(Built(part).report.picture->isBlack);
    EXPECT_FALSE(Built(part).report.picture->isFlat);
    part.channels[1].paint = plainPaint(1e-7F);
    EXPECT_TRUE(Built(part).report.picture->isBlack) << "darker than the darkest shade";
}

TEST(Picture, IsFlatWhereTwoPixelsOrMoreAreTheSame) {
    const PaintedPart flat{
        {{"A", [](int x, int, int) { return static_cast<float>(x % 2); }}, {"R", plainPaint(1)}}};
    EXPECT_TRUE(Built(flat).report.picture->isFlat) << "alpha does not count";
    EXPECT_FALSE(Built(flat).report.picture->isBlack);
    for (const auto& [last, isFlat] :
         {std::pair{Imath::V2i(4, 4), false}, {Imath::V2i(5, 4), true}, {Imath::V2i(4, 5), true}}) {
        const Built built(opaquePart({{0, 0}, {9, 9}}, {{4, 4}, last}));
        EXPECT_EQ(built.report.picture->isFlat, isFlat) << last.x << ' ' << last.y;
    }
}

TEST(Picture, ShowsAMissingTile) {
    const Paint paint = [](int x, int y, int) { return x >= 16 && x < 32 && y >= 16 && y < 32 ? 0.0F : 1.0F; };
    PaintedPart part{{{"G", paint}}, {{0, 0}, {63, 63}}};
    EXPECT_TRUE(Built(part).report.picture->isTileMissing);
    part.channels.push_back({"A", plainPaint(1)});
    EXPECT_FALSE(Built(part).report.picture->isTileMissing) << "alpha says that the black is meant";
    part.channels[1].paint = paint;
    EXPECT_TRUE(Built(part).report.picture->isTileMissing);
}

TEST(Picture, ShowsMissingAlpha) {
    const auto alpha = [](int x, int y, int) { return x == 50 && y == 60 ? 0.5F : 1.0F; };
    const PaintedPart part{{{"A", alpha}, {"G", plainPaint(1)}}, {{0, 0}, {399, 299}}};
    EXPECT_TRUE(Built(part).report.picture->isAlphaMissing);
    EXPECT_FALSE(Built(part).report.picture->isTileMissing);
}

TEST(Samples, ThatAreStrangeAreCountedInAllParts) {
    const Paint paint = [](int x, int y, int) { return x == 0 ? notANumber : y == 0 ? -infinity : 1.0F; };
    const PaintedPart first{{{"A", plainPaint(1)}, {"R", paint}}};
    const PaintedPart second{{{"diffuse.G", paint, Imf::FLOAT}, {"id", plainPaint(7), Imf::UINT}}};
    const Built built(paintedBytes({first, second}));
    ASSERT_EQ(built.report.strange.size(), 2U);
    EXPECT_EQ(built.report.strange[0].part, 0);
    EXPECT_EQ(built.report.strange[0].channel, "R");
    EXPECT_EQ(built.report.strange[1].part, 1);
    EXPECT_EQ(built.report.strange[1].channel, "diffuse.G");
    for (const StrangeSamples& strange : built.report.strange) {
        EXPECT_EQ(strange.nan, 12);
        EXPECT_EQ(strange.infinite, 15);
    }
    EXPECT_EQ(built.report.picture->ranges[0]->min, 1) << "of the finite samples";
}

TEST(Samples, OfWhichNoneIsFiniteHaveNoRange) {
    const Built built({{{"R", plainPaint(infinity)}, {"G", plainPaint(notANumber)}, {"B", plainPaint(-0.0F)}}});
    EXPECT_FALSE(built.report.picture->ranges[0]);
    EXPECT_FALSE(built.report.picture->ranges[1]);
    ASSERT_TRUE(built.report.picture->ranges[2]);
    EXPECT_FALSE(std::signbit(built.report.picture->ranges[2]->min));
}

TEST(PictureBuilder, ForgetsWhatItTookWhenTheFileIsReadAgain) {
    const std::string strange = paintedBytes({{{{"R", plainPaint(notANumber)}}}, {{{"G", plainPaint(infinity)}}}});
    const std::string good = paintedBytes({{{{"Y", plainPaint(0.5F)}}, {{0, 0}, {7, 7}}}});
    PictureBuilder builder;
    const CheckedFile file;
    ASSERT_TRUE(file.check(strange, Level::pixels, &builder).decoded);
    builder.restart();
    ASSERT_TRUE(file.check(good, Level::pixels, &builder).decoded);
    const PictureReport again = builder.report();
    const Built once(good);
    EXPECT_EQ(again.hash, once.report.hash);
    EXPECT_TRUE(again.strange.empty());
    ASSERT_TRUE(again.picture);
    EXPECT_EQ(again.picture->histogram, once.report.picture->histogram);
    EXPECT_EQ(again.picture->ranges[1]->mean, 0.5);
}
