// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_DataTypes_image.h"

#include "tests/support/RecordBytes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

using kxCHK::_SingleImageData;
using kxCHK::_SingleImageView;

namespace {

std::string text(const QString& value) {
    return value.toLatin1().toStdString();
}

// A record with a number of its own in every field, and the same bytes written by hand.
_SingleImageData filledRecord() {
    _SingleImageData record;
    record.fileTime = _kxTime(0x0102030405060708);
    record.fileSize = 0x1112131415161718;
    record.auxValue = 0x2122;
    record.errorFlags = 0x2324;
    record.errorLevel = 0x25;
    record.infoText = "noise 3.5";
    record.averageRenderTime = 0x31323334;
    for (unsigned i = 0; i < 128; ++i) record.histogram[i / 32][i % 32] = 0x40000000U + i;
    record.histogramValid = 1;
    record.analyseValue1 = 1.5F;
    record.analyseValue2 = -2.0F;
    return record;
}

std::string filledRecordByHand() {
    using namespace std::string_literals;
    std::string bytes = "\x03\x0E\0\0"s;
    bytes += "\x08\x07\x06\x05\x04\x03\x02\x01"s;
    bytes += "\x18\x17\x16\x15\x14\x13\x12\x11"s;
    bytes += "\x22\x21"s;
    bytes += "\x24\x23"s;
    bytes += "\x25\0"s;
    bytes += "\x09\0noise 3.5"s + std::string(51 - 9, '\0') + '\0';
    bytes += "\x34\x33\x32\x31"s;
    for (int i = 0; i < 128; ++i) bytes += static_cast<char>(i) + "\0\0\x40"s;
    bytes += "\x01\0\0\0"s;
    bytes += "\0\0\xC0\x3F"s;
    bytes += "\0\0\0\xC0"s;
    return bytes;
}

void expectCleared(const _SingleImageData& record) {
    EXPECT_TRUE(record.fileTime == _kxTime());
    EXPECT_EQ(+record.fileSize, -1);
    EXPECT_EQ(record.auxValue, 0);
    EXPECT_EQ(record.errorFlags, 0);
    EXPECT_EQ(record.errorLevel, 0);
    EXPECT_TRUE(record.infoText.isEmpty());
    EXPECT_EQ(record.averageRenderTime, -1);
    EXPECT_EQ(record.histogramValid, 0);
    for (const unsigned char byte : record.histogramReserve_) EXPECT_EQ(byte, 0);
    EXPECT_EQ(record.analyseValue1, 0.0F);
    EXPECT_EQ(record.analyseValue2, 0.0F);
}

void expectCleared(const _SingleImageView& view) {
    expectCleared(static_cast<const _SingleImageData&>(view));
    EXPECT_EQ(view.thumbnail, nullptr);
    EXPECT_EQ(view.checkPending, 1);
    EXPECT_EQ(view.thumbnailLoaded, 0);
    EXPECT_FALSE(view.fileFound);
    EXPECT_EQ(view.cacheFlag, 0);
    EXPECT_EQ(view.frameNumber, 0);
    EXPECT_TRUE(view.frameText.isEmpty());
    EXPECT_TRUE(view.displayName2.isEmpty());
    for (const unsigned char byte : view.displayReserve) EXPECT_EQ(byte, 0);
}

// A view in which nothing has its default.
void fill(_SingleImageView& view) {
    static_cast<_SingleImageData&>(view) = filledRecord();
    view.ensureThumbnail().setWidth(5);
    view.checkPending = 0;
    view.thumbnailLoaded = 1;
    view.fileFound = true;
    view.cacheFlag = 1;
    view.frameNumber = 1042;
    view.frameText = "1042";
    view.displayName2 = "node17";
    std::memset(view.displayReserve, 7, sizeof view.displayReserve);
}

}  // namespace

// --- Error texts and levels ------------------------------------------------------------------------------------

TEST(ImageAnalyseError2Str, JoinsTheTextsOfTheBitsInBitOrder) {
    const std::pair<unsigned short, const char*> cases[] = {
        {0, ""},
        {1, "Tile Missing; "},
        {2, "Alpha Pixel Missing; "},
        {3, "Tile Missing; Alpha Pixel Missing; "},
        {4, "Broken line; "},
        {5, "Tile Missing; Broken line; "},
        {6, "Alpha Pixel Missing; Broken line; "},
        {7, "Tile Missing; Alpha Pixel Missing; Broken line; "},
    };
    for (const auto& [flags, expected] : cases) {
        EXPECT_EQ(text(kxCHK::imageAnalyseError2Str(flags)), expected) << flags;
    }
}

TEST(ImageAnalyseError2Str, IgnoresOtherBits) {
    EXPECT_EQ(text(kxCHK::imageAnalyseError2Str(0xFFF8)), "");
    EXPECT_EQ(text(kxCHK::imageAnalyseError2Str(0xFFFC)), "Broken line; ");
}

TEST(ErrorLevel, FollowsFlagsFirstAndMeasuresNext) {
    const float nan = std::nanf("");
    const struct {
        unsigned short flags;
        float value1, value2;
        int level;
    } cases[] = {
        {0, 0.0F, 0.0F, 0}, {0, 4.0F, 4.0F, 1},
        {0, 4.5F, 0.0F, 2}, {0, 0.0F, 4.5F, 2},
        {0, 2.0F, 2.0F, 0}, {0, 2.001F, 0.0F, 1},
        {0, 0, 2.001F, 1},  {4, 0.0F, 0.0F, 0},
        {4, 3.0F, 0.0F, 1}, {2, 0.0F, 0.0F, 2},
        {2, 9.0F, 9.0F, 2}, {6, 0.0F, 0.0F, 2},
        {1, 0.0F, 0.0F, 3}, {1, 9.0F, 9.0F, 3},
        {3, 0.0F, 0.0F, 3}, {7, 0.0F, 0.0F, 3},
        {8, 0.0F, 0.0F, 0}, {0, -9.0F, 0.0F, 0},
        {0, nan, nan, 0},   {0, nan, 5.0F, 2},
        {0, 4.0F, 2.5F, 1}, {0, std::nextafterf(4.0F, 5.0F), 0.0F, 2},
    };
    for (const auto& row : cases) {
        _SingleImageData record;
        record.errorFlags = row.flags;
        record.analyseValue1 = row.value1;
        record.analyseValue2 = row.value2;
        EXPECT_EQ(record.setAnalyseErrorLevel(), row.level) << row.flags << " " << row.value1 << " " << row.value2;
        EXPECT_EQ(record.errorLevel, row.level);
    }
}

TEST(ErrorLevel, HasAColourNameForEachLevelAndAQuestionMarkAbove) {
    const std::pair<unsigned char, const char*> cases[] = {{0, "-"},   {1, "yellow"}, {2, "orange"},
                                                           {3, "red"}, {4, "?"},      {255, "?"}};
    for (const auto& [level, name] : cases) {
        _SingleImageData record;
        record.errorLevel = level;
        EXPECT_EQ(text(record.analyseErrorLevelAsColorString()), name);
    }
}

// --- The record ------------------------------------------------------------------------------------------------

TEST(SingleImageData, LiesInMemoryAsWrittenByHand) {
    const std::string byHand = filledRecordByHand();
    ASSERT_EQ(byHand.size(), 608U);
    EXPECT_EQ(recordBytes(filledRecord()), byHand);
}

TEST(SingleImageData, StartsClearedWithTheCurrentId) {
    const _SingleImageData record;
    EXPECT_EQ(record.recordId, 3587);
    expectCleared(record);
}

TEST(SingleImageData, ClearBaseKeepsIdAndHistogram) {
    _SingleImageData record = filledRecord();
    record.recordId = 99;
    record.clearBase();
    expectCleared(record);
    EXPECT_EQ(record.recordId, 99);
    for (unsigned i = 0; i < 128; ++i) EXPECT_EQ(record.histogram[i / 32][i % 32], 0x40000000U + i);
}

TEST(SingleImageData, ClearBaseLeavesNothingOfTheInfoText) {
    _SingleImageData record = filledRecord();
    record.clearBase();
    EXPECT_EQ(recordBytes(record).substr(26, 54), std::string(54, '\0'));
}

// --- The view --------------------------------------------------------------------------------------------------

TEST(SingleImageView, StartsCleared) {
    const _SingleImageView view;
    EXPECT_EQ(view.recordId, 3587);
    expectCleared(view);
}

TEST(SingleImageView, BeginsWithTheRecord) {
    _SingleImageView view;
    fill(view);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&view), 608), filledRecordByHand());
}

TEST(SingleImageView, ClearFreesTheThumbnailAndKeepsTheHistogram) {
    _SingleImageView view;
    fill(view);
    view.clear();
    expectCleared(view);
    EXPECT_EQ(view.recordId, 3587);
    EXPECT_EQ(view.histogram[3][31], 0x4000007FU);
}

TEST(SingleImageView, MakesOneThumbnailOfFullCapacity) {
    _SingleImageView view;
    kxP::_imgRGBABuffer8& thumbnail = view.ensureThumbnail();
    EXPECT_EQ(thumbnail.capacity, 190000U);
    EXPECT_EQ(&view.ensureThumbnail(), &thumbnail);
    EXPECT_EQ(view.thumbnail, &thumbnail);
    view.releaseThumbnail();
    EXPECT_EQ(view.thumbnail, nullptr);
}

TEST(SingleImageView, MovingHandsTheThumbnailOn) {
    _SingleImageView source;
    fill(source);
    const kxP::_imgRGBABuffer8* const thumbnail = source.thumbnail;
    const _SingleImageView& sourceAfter = source;

    _SingleImageView constructed(std::move(source));
    EXPECT_EQ(constructed.thumbnail, thumbnail);
    EXPECT_EQ(sourceAfter.thumbnail, nullptr);
    EXPECT_EQ(sourceAfter.thumbnailLoaded, 0);

    const _SingleImageView& constructedAfter = constructed;
    _SingleImageView assigned;
    assigned.ensureThumbnail();
    assigned = std::move(constructed);
    EXPECT_EQ(assigned.thumbnail, thumbnail);
    EXPECT_EQ(constructedAfter.thumbnail, nullptr);
}

TEST(SingleImageView, MovingTakesEveryField) {
    _SingleImageView source;
    fill(source);
    _SingleImageView view;
    view = std::move(source);
    EXPECT_EQ(recordBytes(view), filledRecordByHand());
    EXPECT_EQ(view.checkPending, 0);
    EXPECT_EQ(view.thumbnailLoaded, 1);
    EXPECT_TRUE(view.fileFound);
    EXPECT_EQ(view.cacheFlag, 1);
    EXPECT_EQ(view.frameNumber, 1042);
    EXPECT_EQ(text(view.frameText.toQString()), "1042");
    EXPECT_EQ(text(view.displayName2.toQString()), "node17");
    EXPECT_EQ(std::string(view.displayReserve, view.displayReserve + 24), std::string(24, '\x07'));
}

TEST(SingleImageView, SurvivesBeingMovedToItself) {
    _SingleImageView view;
    fill(view);
    const kxP::_imgRGBABuffer8* const thumbnail = view.thumbnail;
    _SingleImageView& same = view;
    view = std::move(same);
    EXPECT_EQ(view.thumbnail, thumbnail);
    EXPECT_EQ(view.thumbnailLoaded, 1);
    EXPECT_EQ(text(view.frameText.toQString()), "1042");
}

TEST(SingleImageView, SwappingExchangesThumbnails) {
    _SingleImageView first;
    _SingleImageView second;
    fill(first);
    const kxP::_imgRGBABuffer8* const thumbnail = first.thumbnail;
    std::swap(first, second);
    EXPECT_EQ(first.thumbnail, nullptr);
    EXPECT_EQ(second.thumbnail, thumbnail);
    EXPECT_EQ(first.frameNumber, 0);
    EXPECT_EQ(second.frameNumber, 1042);
}
