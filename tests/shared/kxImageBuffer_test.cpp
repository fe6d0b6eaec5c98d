// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxImageBuffer.h"

#include "tests/support/plainImage.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>

#include <sys/resource.h>

using kxP::_imgRGBABuffer8;
using kxP::_imgRGBABufferf;

namespace {

constexpr _Rgba8 red{200, 10, 20, 30};

QString text(const char* latin1) {
    return QString::fromLatin1(latin1);
}

// Sizes as a damaged file or a careless caller may leave them.
struct HostileSize {
    int width, height;
    unsigned pixelCount;
};
constexpr HostileSize hostileSizes[] = {{65537, 65537, 131073},
                                        {65536, 65536, 0},
                                        {INT_MAX, INT_MAX, 1},
                                        {INT_MIN, INT_MIN, 0},
                                        {-1, -1, 1},
                                        {-5, 7, 4294967261U},
                                        {7, -5, 4294967261U},
                                        {0, 0, UINT_MAX},
                                        {1, INT_MAX, INT_MAX},
                                        {INT_MAX, 1, UINT_MAX},
                                        {1000000, 3, UINT_MAX},
                                        {3, 1000000, 3000000},
                                        {10, 10, 0},
                                        {10, 10, UINT_MAX},
                                        {INT_MIN, 1, 2147483648U}};

void setHostile(kxP::_imgRGBABuffer_all& image, const HostileSize& size) {
    image.width = size.width;
    image.height = size.height;
    image.pixelCount = size.pixelCount;
}

void fillHeader(kxP::_imgRGBABuffer_all& image) {
    image.valid = 1;
    image.headerReserve1 = 11;
    image.sourceWidth = 1920;
    image.sourceHeight = 1080;
    image.headerReserve2 = 22;
    image.bitsPerChannel = 32;
    image.headerReserve3 = 33;
    image.formatText = text("Float RGBA");
    image.headerValue = 44;
    image.flags = KX_IMG_GAMMA22 | KX_IMG_SUPERWHITE;
}

void expectHeader(const kxP::_imgRGBABuffer_all& image) {
    EXPECT_EQ(image.valid, 1);
    EXPECT_EQ(+image.headerReserve1, 11U);
    EXPECT_EQ(+image.sourceWidth, 1920);
    EXPECT_EQ(+image.sourceHeight, 1080);
    EXPECT_EQ(image.headerReserve2, 22);
    EXPECT_EQ(image.bitsPerChannel, 32);
    EXPECT_EQ(image.headerReserve3, 33);
    EXPECT_EQ(image.formatText.toQString(), text("Float RGBA"));
    EXPECT_EQ(+image.headerValue, 44U);
    EXPECT_EQ(image.flags, KX_IMG_GAMMA22 | KX_IMG_SUPERWHITE);
}

template <class Buffer>
void expectSize(const Buffer& image, int width, int height) {
    EXPECT_EQ(+image.width, width);
    EXPECT_EQ(+image.height, height);
    EXPECT_EQ(+image.pixelCount, static_cast<unsigned>(width) * static_cast<unsigned>(height));
}

}  // namespace

// The numbers are stored in cache files.
TEST(ImageBuffer, FlagsAreBitsOneByOne) {
    EXPECT_EQ(KX_IMG_GAMMA22, 1);
    EXPECT_EQ(KX_IMG_SUPERWHITE, 2);
    EXPECT_EQ(KX_IMG_FROM_CACHE, 4);
    EXPECT_EQ(KX_IMG_CACHE_REWRITTEN, 8);
    EXPECT_EQ(KX_IMG_CACHE_FLAG, 16);
}

TEST(ImageBuffer, IsBornBlackWithoutSizeAndWithAClearedHeader) {
    const _imgRGBABuffer8 image(50U);
    expectSize(image, 0, 0);
    EXPECT_EQ(+image.capacity, 50U);
    EXPECT_EQ(image.bytesPerPixel, 4);
    const auto* header = reinterpret_cast<const unsigned char*>(&image);
    for (std::size_t i = 0; i < offsetof(_imgRGBABuffer8, bytesPerPixel); ++i) ASSERT_EQ(header[i], 0) << i;
    for (int i = 0; i < 200; ++i) ASSERT_EQ(image.pixels[i], 0) << i;
}

TEST(ImageBuffer, FloatsTakeSixteenBytesAPixel) {
    const _imgRGBABufferf image(50U);
    EXPECT_EQ(image.bytesPerPixel, 16);
    for (int i = 0; i < 800; ++i) ASSERT_EQ(image.pixels[i], 0) << i;
}

TEST(ImageBuffer, HasNoCapacityWhenMemoryIsNotToBeHad) {
    const auto allocateTooMuch = [] {
        rlimit before{};
        getrlimit(RLIMIT_AS, &before);
        const rlimit limit{1U << 30, before.rlim_max};
        setrlimit(RLIMIT_AS, &limit);
        const unsigned wanted = UINT_MAX;
        _imgRGBABufferf image(wanted);
        image.setWidth(10);
        image.setHeight(10);
        image.write(0, _Rgbaf{1, 1, 1, 1});
        const bool isEmpty = image.capacity == 0 && image.pixelCount == 0 && image.read(0).r == 0;
        _imgRGBABuffer8 bytes(wanted);
        bytes.setHeight(10);
        bytes.setWidth(10);
        bytes.width = bytes.height = 10;  // as a damaged file has it
        _Rgba8 pixel = red;
        bytes.read(pixel, 0, 0);
        const bool isUntouched = bytes.rowsInMemory() == 0 && pixel.r == red.r;
        setrlimit(RLIMIT_AS, &before);
        std::exit(isEmpty && isUntouched ? 0 : 1);
    };
    EXPECT_EXIT(allocateTooMuch(), testing::ExitedWithCode(0), "");
}

TEST(ImageBuffer, WidthShrinksToTheLargestThatFits) {
    _imgRGBABuffer8 image(100U);
    image.setHeight(10);
    image.setWidth(50);
    expectSize(image, 10, 10);
    image.setHeight(9);
    image.setWidth(50);
    expectSize(image, 11, 9);
}

TEST(ImageBuffer, HeightShrinksToTheLargestThatFits) {
    _imgRGBABuffer8 image(100U);
    image.setWidth(30);
    image.setHeight(50);
    expectSize(image, 30, 3);
    image.setWidth(200);  // 100 / 3
    expectSize(image, 33, 3);
}

TEST(ImageBuffer, HeightOfAnImageWithoutWidthIsSetWithoutDivision) {
    _imgRGBABuffer8 image(100U);
    image.setHeight(1000000);
    expectSize(image, 0, 1000000);
    image.setWidth(5);
    expectSize(image, 0, 1000000);
}

TEST(ImageBuffer, SizesAreComparedAsUnsignedNumbers) {
    _imgRGBABuffer8 image(200000U);
    image.setHeight(10);
    image.setWidth(-5);  // 4294967246 pixels
    expectSize(image, 20000, 10);
    image.setWidth(0);
    image.setHeight(-1);
    expectSize(image, 0, -1);
    image.setWidth(7);  // 200000 / 4294967295
    expectSize(image, 0, -1);
    image.setHeight(65537);
    image.setWidth(65537);  // 131073 pixels modulo 2^32
    expectSize(image, 65537, 65537);
}

TEST(ImageBuffer, SizeChangeKeepsTheBytes) {
    const Image8 image = makeRandomImage(6, 4, 1);
    const Image8 before = makeCopy(*image);
    image->setWidth(3);
    image->setHeight(8);
    EXPECT_EQ(std::memcmp(image->pixels, before->pixels, 96), 0);
    EXPECT_EQ(pixelText(*image, 0, 1), pixelText(*before, 3, 0));
}

TEST(ImageBuffer, TellsWhichSizesFit) {
    struct {
        unsigned w, h;
        bool fits;
    } const cases[] = {{10, 10, true},        {101, 1, false},
                       {1, 101, false},       {50, 2, true},
                       {51, 2, false},        {0, 0, true},
                       {0, UINT_MAX, true},   {UINT_MAX, 0, true},
                       {1, 100, true},        {65536, 65536, false},
                       {UINT_MAX, 1, false},  {7, 14, true},
                       {65537, 65537, false}, {UINT_MAX, UINT_MAX, false}};
    const _imgRGBABuffer8 image(100U);
    for (const auto& c : cases) EXPECT_EQ(image.doesImageSizeFit(c.w, c.h), c.fits) << c.w << " x " << c.h;
}

TEST(ImageBuffer, PositionsRunRowByRow) {
    const Image8 image = makeImage(5, 3);
    image->write(3, 1, red);
    EXPECT_EQ(image->pixels[32], 200);
    EXPECT_EQ(image->pixels[33], 10);
    EXPECT_EQ(image->pixels[34], 20);
    EXPECT_EQ(image->pixels[35], 30);
    EXPECT_EQ(image->read(8U).r, 200);
    image->write(4, 2, 1, 2, 3, 4);
    EXPECT_EQ(pixelText(*image, 4, 2), "1 2 3 4");
    image->write(0, red);
    EXPECT_EQ(pixelText(*image, 0, 0), "200 10 20 30");
}

TEST(ImageBuffer, WritesOutsideTheImageDoNothing) {
    const Image8 image = makeRandomImage(5, 3, 2, 7);
    const Image8 before = makeCopy(*image);
    const int outside[][2] = {{-1, 0}, {5, 0},       {0, -1},      {0, 3},       {5, 3},
                              {-1, 2}, {INT_MAX, 0}, {0, INT_MIN}, {INT_MIN, 1}, {INT_MAX, INT_MAX}};
    for (const auto& p : outside) {
        image->write(p[0], p[1], red);
        image->write(p[0], p[1], 1, 2, 3, 4);
        image->writeMix(p[0], p[1], red, 1.0F);
    }
    for (const int index : {-1, 15, 21, 22, INT_MIN, INT_MAX}) image->write(index, red);
    EXPECT_EQ(differenceOf(*image, *before), "");
}

TEST(ImageBuffer, ReadOutsideTheImageLeavesTheColour) {
    const Image8 image = makeUniformImage(5, 3, red, 7);
    const int outside[][2] = {{-1, 0}, {5, 0}, {0, -1}, {0, 3}, {INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}};
    for (const auto& p : outside) {
        _Rgba8 colour{1, 2, 3, 4};
        image->read(colour, p[0], p[1]);
        EXPECT_EQ(colour.r, 1) << p[0] << ", " << p[1];
        EXPECT_EQ(colour.a, 4) << p[0] << ", " << p[1];
    }
}

TEST(ImageBuffer, ReadByIndexTakesTheNearestPixel) {
    const Image8 image = makeImage(2, 2, 3);
    for (int i = 0; i < 4; ++i) image->write(i, {static_cast<unsigned char>(10 * i + 5), 0, 0, 0});
    const struct {
        unsigned index;
        int r;
    } cases[] = {{0, 5}, {3, 35}, {4, 35}, {6, 35}, {INT_MAX, 35}, {2147483648U, 5}, {UINT_MAX, 5}};
    for (const auto& c : cases) EXPECT_EQ(image->read(c.index).r, c.r) << c.index;
}

TEST(ImageBuffer, ReadByIndexOfAnEmptyBufferIsAllZero) {
    const _imgRGBABuffer8 without(0U);
    const _imgRGBABuffer8 unsized(10U);
    const _imgRGBABufferf floats(10U);
    for (const unsigned index : {0U, 1U, UINT_MAX}) {
        EXPECT_EQ(without.read(index).a, 0);
        EXPECT_EQ(unsized.read(index).a, 0);
        EXPECT_EQ(floats.read(index).a, 0.0F);
    }
}

TEST(ImageBuffer, FloatsAreReadAsTheyWereWritten) {
    const ImageF image = makeFloatImage(2, 2);
    image->write(3, {-1.0F, 0.5F, 2.0F, 1.0F});
    EXPECT_EQ(image->read(3).r, -1.0F);
    EXPECT_EQ(image->read(9).g, 0.5F);
    EXPECT_EQ(image->read(3).b, 2.0F);
    EXPECT_EQ(image->read(3).a, 1.0F);
    EXPECT_EQ(image->read(UINT_MAX).a, 0.0F);
    for (const int index : {-1, 4, INT_MIN, INT_MAX}) image->write(index, {9, 9, 9, 9});
    EXPECT_EQ(image->read(0).r, 0.0F);
}

TEST(ImageBuffer, WriteMultiStopsAtTheCapacity) {
    unsigned char bytes[40];
    for (int i = 0; i < 40; ++i) bytes[i] = static_cast<unsigned char>(i + 1);
    struct {
        int start, count, firstWritten, written;
    } const cases[] = {
        {0, 3, 0, 3},  {4, 10, 4, 2},      {5, INT_MAX, 5, 1},       {6, 1, 0, 0}, {-1, 3, 0, 0}, {0, 0, 0, 0},
        {0, -3, 0, 0}, {INT_MIN, 5, 0, 0}, {INT_MAX, INT_MAX, 0, 0}, {2, 1, 2, 1}};
    for (const auto& c : cases) {
        _imgRGBABuffer8 image(6U);
        image.writeMulti(c.start, bytes, c.count);
        for (int i = 0; i < 24; ++i) {
            const int from = i - 4 * c.firstWritten;
            EXPECT_EQ(image.pixels[i], from >= 0 && from < 4 * c.written ? from + 1 : 0) << c.start << ' ' << i;
        }
    }
    _imgRGBABuffer8 image(6U);
    image.writeMulti(0, nullptr, 3);
    EXPECT_EQ(image.pixels[0], 0);
}

TEST(ImageBuffer, WriteMixWeighsColoursAndKeepsAlpha) {
    const struct {
        float amount;
        const char* result;
    } cases[] = {{0.0F, "100 200 0 77"},   {1.0F, "200 10 255 77"},     {0.5F, "150 105 127 77"},
                 {0.25F, "125 152 63 77"}, {-3.0F, "100 200 0 77"},     {2.0F, "200 10 255 77"},
                 {NAN, "100 200 0 77"},    {INFINITY, "200 10 255 77"}, {-INFINITY, "100 200 0 77"},
                 {0.1F, "110 181 25 77"},  {1e-30F, "100 200 0 77"}};
    for (const auto& c : cases) {
        const Image8 image = makeUniformImage(2, 1, {100, 200, 0, 77});
        image->writeMix(1, 0, {200, 10, 255, 3}, c.amount);
        EXPECT_EQ(pixelText(*image, 1, 0), c.result) << c.amount;
        EXPECT_EQ(pixelText(*image, 0, 0), "100 200 0 77") << c.amount;
    }
}

TEST(ImageBuffer, CopyTakesSizeHeaderAndPixels) {
    for (const bool withPixels : {true, false}) {
        const Image8 image = makeRandomImage(5, 3, 3);
        fillHeader(*image);
        _imgRGBABuffer8 target(100U);
        image->copyTo(target, withPixels);
        expectSize(target, 5, 3);
        expectHeader(target);
        EXPECT_EQ(+target.capacity, 100U);
        EXPECT_EQ(std::memcmp(target.pixels, image->pixels, 60), 0);
    }
}

TEST(ImageBuffer, CopyTakesASinglePixelAndNone) {
    const Image8 pixel = makeUniformImage(1, 1, {1, 2, 3, 4});
    _imgRGBABuffer8 target(100U);
    pixel->copyTo(target, true);
    expectSize(target, 1, 1);
    EXPECT_EQ(std::memcmp(target.pixels, pixel->pixels, 4), 0);
    const _imgRGBABuffer8 empty(0U);
    empty.copyTo(target, true);
    expectSize(target, 0, 0);
}

TEST(ImageBuffer, CopyOfFloatsTakesAllBytes) {
    const ImageF image = makeRandomFloatImage(5, 3, 3);
    _imgRGBABufferf target(15U);
    image->copyTo(target, true);
    expectSize(target, 5, 3);
    EXPECT_EQ(std::memcmp(target.pixels, image->pixels, 240), 0);
}

TEST(ImageBuffer, CopyToASmallerBufferKeepsWholeRows) {
    const Image8 image = makeRandomImage(5, 3, 4);
    const struct {
        unsigned capacity;
        int rows;
    } cases[] = {{15, 3}, {14, 2}, {10, 2}, {9, 1}, {4, 0}, {0, 0}};
    for (const auto& c : cases) {
        _imgRGBABuffer8 target(c.capacity);
        image->copyTo(target, true);
        expectSize(target, 5, c.rows);
        if (c.rows > 0) {
            EXPECT_EQ(std::memcmp(target.pixels, image->pixels, static_cast<std::size_t>(c.rows) * 20), 0);
        }
    }
}

TEST(ImageBuffer, CopyToItselfChangesNothing) {
    const Image8 image = makeRandomImage(5, 3, 5, 4);
    const Image8 before = makeCopy(*image);
    image->copyTo(*image, true);
    EXPECT_EQ(differenceOf(*image, *before), "");
}

TEST(ImageBuffer, HeaderGoesBetweenBufferTypesWithoutThePixelSize) {
    const ImageF floats = makeFloatImage(2, 2);
    fillHeader(*floats);
    _imgRGBABuffer8 bytes(9U);
    bytes.setWidth(3);
    bytes.setHeight(1);
    bytes.copyHeaderFrom(*floats);
    expectHeader(bytes);
    EXPECT_EQ(bytes.bytesPerPixel, 4);
    EXPECT_EQ(+bytes.capacity, 9U);
    expectSize(bytes, 3, 1);
    bytes.copyHeaderFrom(bytes);
    expectHeader(bytes);
}

// Run under the sanitizers: no combination of sizes leads outside the memory of 24 pixels.
TEST(ImageBuffer, NonsenseSizesNeverLeadOutsideTheMemory) {
    const int positions[] = {INT_MIN, -65537, -1, 0, 1, 5, 23, 24, 65536, 65537, 1000000, INT_MAX};
    const unsigned char bytes[400] = {};
    for (const HostileSize& size : hostileSizes) {
        _imgRGBABuffer8 image(24U);
        setHostile(image, size);
        EXPECT_LE(image.pixelsInMemory(), 24U);
        EXPECT_LE(1LL * image.rowsInMemory() * std::max(+image.width, 0), 24) << size.width;
        for (const int p : positions) {
            EXPECT_EQ(image.read(static_cast<unsigned>(p)).r, 0);
            image.write(p, _Rgba8{});
            image.writeMulti(p, bytes, 100);
            for (const int q : positions) {
                _Rgba8 colour{};
                image.read(colour, p, q);
                EXPECT_EQ(colour.r, 0);
                image.write(p, q, colour);
                image.writeMix(p, q, colour, 0.5F);
            }
        }
    }
}

TEST(ImageBuffer, NonsenseSizesAreCopiedAsFarAsTheyAreInMemory) {
    for (const HostileSize& size : hostileSizes) {
        _imgRGBABuffer8 image(24U);
        _imgRGBABuffer8 target(20U);
        setHostile(image, size);
        image.copyTo(target, true);
        EXPECT_LE(+target.pixelCount, 20U) << size.width << " x " << size.height;
        EXPECT_EQ(1LL * target.width * target.height, +target.pixelCount);
        EXPECT_GE(+target.width, 0);
        EXPECT_GE(+target.height, 0);
    }
}

TEST(ImageBuffer, NonsenseSizesAreOverwrittenBySettingASize) {
    for (const HostileSize& size : hostileSizes) {
        _imgRGBABuffer8 image(24U);
        setHostile(image, size);
        image.setWidth(0);
        image.setHeight(4);
        image.setWidth(6);
        expectSize(image, 6, 4);
    }
}

TEST(Rand, GivesTheSameSequenceEverywhere) {
    unsigned seed = 4325;
    const float expected[] = {15304717 / 16777216.0F, 9602460 / 16777216.0F, 3067070 / 16777216.0F,
                              12811911 / 16777216.0F};
    for (const float value : expected) EXPECT_EQ(kxRand(seed), value);
}

TEST(Rand, StaysBelowOneAndReachesBothEnds) {
    unsigned seed = 1;
    float lowest = 1, highest = 0;
    for (int i = 0; i < 200000; ++i) {
        const float value = kxRand(seed);
        ASSERT_GE(value, 0.0F);
        ASSERT_LT(value, 1.0F);
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
    }
    EXPECT_LT(lowest, 0.0001F);
    EXPECT_GT(highest, 0.9999F);
}
