// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxThumbnail.h"

#include "image/KX_DataTypes_image.h"
#include "tests/support/JpegPicture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <utility>
#include <vector>

using namespace kxCheck;

namespace {

std::unique_ptr<kxP::_imgRGBABuffer8> pictureOf(int width, int height) {
    auto picture =
        std::make_unique<kxP::_imgRGBABuffer8>(static_cast<unsigned>(width) * static_cast<unsigned>(height));
    picture->setWidth(width);
    picture->setHeight(height);
    return picture;
}

// Every pixel another colour.
std::unique_ptr<kxP::_imgRGBABuffer8> numberedPicture(int width, int height) {
    auto picture = pictureOf(width, height);
    for (int i = 0; i < width * height; ++i)
        picture->write(i, {static_cast<unsigned char>(i), static_cast<unsigned char>(i >> 8), 77, 255});
    return picture;
}

}  // namespace

TEST(Thumbnail, HasAsManyPixelsAsThereIsRoomForInTheirProportions) {
    for (const auto& [width, height] :
         {std::pair{1920, 1080}, {3840, 2160}, {1080, 1920}, {437, 436}, {2000, 2000}, {8192, 256}, {999, 191}}) {
        const auto picture = pictureOf(width, height);
        kxP::_imgRGBABuffer8 thumbnail(kxCHK::thumbnailCapacity);
        ASSERT_TRUE(makeThumbnail(*picture, thumbnail));
        const double pixels = thumbnail.width * thumbnail.height;
        EXPECT_LE(pixels, kxCHK::thumbnailCapacity);
        // Both sides are even: at most two pixels less than they could be.
        EXPECT_GE((thumbnail.width + 2) * (thumbnail.height + 2), kxCHK::thumbnailCapacity * 0.98)
            << width << ' ' << height;
        const double factor = static_cast<double>(width) / thumbnail.width;
        EXPECT_NEAR(height / factor, thumbnail.height, 3);
    }
}

TEST(Thumbnail, OfAPictureThatFitsIsThePicture) {
    for (const auto& [width, height] :
         {std::pair{1, 1}, {500, 380}, {380, 500}, {190000, 1}, {1, 190000}, {63, 35}}) {
        const auto picture = numberedPicture(width, height);
        kxP::_imgRGBABuffer8 thumbnail(kxCHK::thumbnailCapacity);
        ASSERT_TRUE(makeThumbnail(*picture, thumbnail));
        ASSERT_EQ(thumbnail.width, width);
        ASSERT_EQ(thumbnail.height, height);
        EXPECT_EQ(std::memcmp(thumbnail.pixels, picture->pixels, std::size_t{4} * picture->pixelCount), 0);
    }
}

TEST(Thumbnail, OfAThinPictureHasOnePixelAtLeast) {
    for (const auto& [width, height] :
         {std::pair{1000000, 1}, {1, 1000000}, {500000, 3}, {190001, 1}, {2, 1000000}}) {
        const auto picture = pictureOf(width, height);
        kxP::_imgRGBABuffer8 thumbnail(kxCHK::thumbnailCapacity);
        ASSERT_TRUE(makeThumbnail(*picture, thumbnail));
        EXPECT_GE(thumbnail.width, 1);
        EXPECT_GE(thumbnail.height, 1);
        EXPECT_LE(thumbnail.pixelCount, kxCHK::thumbnailCapacity);
    }
}

TEST(Thumbnail, IsThatOfAnyOtherUse) {
    kxP::_imgRGBABuffer8 thumbnail(kxCHK::thumbnailCapacity);
    ASSERT_TRUE(makeThumbnail(*pictureOf(1, 190000), thumbnail));
    ASSERT_TRUE(makeThumbnail(*pictureOf(1920, 1080), thumbnail));
    EXPECT_EQ(thumbnail.width, 578);
    EXPECT_EQ(thumbnail.height, 326);
}

TEST(Thumbnail, TakesTheHeader) {
    const auto picture = pictureOf(1000, 1000);
    picture->valid = 1;
    picture->flags = KX_IMG_GAMMA22;
    picture->sourceWidth = 1234;
    kxP::_imgRGBABuffer8 thumbnail(kxCHK::thumbnailCapacity);
    ASSERT_TRUE(makeThumbnail(*picture, thumbnail));
    EXPECT_EQ(thumbnail.valid, 1);
    EXPECT_EQ(thumbnail.flags, KX_IMG_GAMMA22);
    EXPECT_EQ(thumbnail.sourceWidth, 1234);
}

TEST(Thumbnail, OfNoPixelsIsNone) {
    const kxP::_imgRGBABuffer8 empty(0);
    kxP::_imgRGBABuffer8 thumbnail(kxCHK::thumbnailCapacity);
    ASSERT_TRUE(makeThumbnail(*pictureOf(10, 10), thumbnail));
    EXPECT_FALSE(makeThumbnail(empty, thumbnail));
    EXPECT_EQ(thumbnail.pixelCount, 0U);
    EXPECT_TRUE(makePreview(thumbnail).jpeg.isEmpty());
}

TEST(Preview, IsTheThumbnailInTwoSizes) {
    const auto picture = pictureOf(580, 326);
    for (int i = 0; i < 580 * 326; ++i)
        picture->write(i, {200, 100, static_cast<unsigned char>(i % 580 < 290 ? 0 : 250), 0});
    const Preview preview = makePreview(*picture);
    EXPECT_EQ(preview.width, 580);
    EXPECT_EQ(preview.height, 326);
    const JpegPicture large = decodedJpeg(preview.jpeg);
    EXPECT_EQ(large.width, 580);
    EXPECT_EQ(large.height, 326);
    const JpegPicture small = decodedJpeg(preview.small);
    EXPECT_EQ(small.width, 160);
    EXPECT_EQ(small.height, 88);
    for (const JpegPicture& shown : {large, small}) {
        ASSERT_FALSE(shown.rgb.empty());
        EXPECT_NEAR(shown.rgb[0], 200, 6);
        EXPECT_NEAR(shown.rgb[1], 100, 6);
        EXPECT_NEAR(shown.rgb[2], 0, 6);
        EXPECT_NEAR(shown.rgb[static_cast<std::size_t>(shown.width) * 3 - 1], 250, 6);
    }
}

TEST(Preview, OfNoiseIsWithinItsBounds) {
    std::mt19937 random(1);
    const auto picture = pictureOf(500, 380);
    for (int i = 0; i < 500 * 380; ++i) {
        const auto bits = static_cast<std::uint32_t>(random());
        picture->write(i, {static_cast<unsigned char>(bits), static_cast<unsigned char>(bits >> 8U),
                           static_cast<unsigned char>(bits >> 16U), 255});
    }
    const Preview preview = makePreview(*picture);
    EXPECT_GT(preview.jpeg.size(), 1000);
    EXPECT_LE(preview.jpeg.size(), mostPreviewBytes);
    EXPECT_LE(preview.small.size(), mostSmallPreviewBytes);
}

TEST(Preview, IsBothOrNone) {
    for (const auto& [width, height] :
         {std::pair{1, 1}, {190000, 1}, {65500, 1}, {65501, 1}, {3, 60000}, {160, 160}, {161, 1}}) {
        const Preview preview = makePreview(*pictureOf(width, height));
        EXPECT_EQ(preview.jpeg.isEmpty(), width > 65500) << width;
        EXPECT_EQ(preview.jpeg.isEmpty(), preview.small.isEmpty());
        EXPECT_EQ(preview.width, preview.jpeg.isEmpty() ? 0 : width);
    }
}
