// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_DataTypes_image.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

using kxCHK::_SingleImageData;
using kxCHK::_SingleImageFile;
using kxCHK::_SingleImageView;

namespace {

const _kxTime oldTime(1111);
const _kxTime newTime(2222);

void makePicture(kxP::_imgRGBABuffer8& image, int width, int height) {
    image.setWidth(width);
    image.setHeight(height);
    for (unsigned i = 0; i < image.pixelCount * 4; ++i) image.pixels[i] = static_cast<unsigned char>(i * 7);
    image.valid = 1;
    image.sourceWidth = 1920;
    image.sourceHeight = 1080;
    image.formatText = QStringLiteral("EXR");
}

// A cache entry with a picture and a record that differs from the views of these tests.
struct Entry {
    Entry() {
        makePicture(file.image, 6, 5);
        file.data.fileTime = newTime;
        file.data.fileSize = 5000;
        file.data.auxValue = 77;
        file.data.infoText = "from cache";
        file.data.averageRenderTime = 30;
        file.data.analyseValue1 = 3.0F;
        std::memset(file.data.histogram, 0x11, sizeof file.data.histogram);
        file.data.histogramValid = 1;
    }
    _SingleImageFile file;
};

struct View : _SingleImageView {
    View() {
        fileTime = newTime;
        fileSize = 5000;
        infoText = "of view";
        averageRenderTime = 99;
        frameNumber = 42;
        frameText = "0042";
        std::memset(histogram, 0x22, sizeof histogram);
    }
};

std::string text(const _kxString8_allSize<50>& value) {
    return bytesOf(value.toQString());
}

}  // namespace

// --- exportTo --------------------------------------------------------------------------------------------------

TEST(ExportTo, HandsRecordAndThumbnailOver) {
    Entry entry;
    View view;
    entry.file.exportTo(view);
    EXPECT_TRUE(view.fileTime == newTime);
    EXPECT_EQ(+view.fileSize, 5000);
    EXPECT_EQ(view.auxValue, 77);
    EXPECT_EQ(view.histogram[3][31], 0x11111111U);
    EXPECT_EQ(text(view.infoText), "from cache");
    EXPECT_EQ(view.averageRenderTime, 30);
    ASSERT_NE(view.thumbnail, nullptr);
    EXPECT_EQ(view.thumbnail->capacity, 190000U);
    EXPECT_EQ(view.thumbnail->width, 6);
    EXPECT_EQ(view.thumbnail->sourceWidth, 1920);
    EXPECT_EQ(pixelsOf(*view.thumbnail), pixelsOf(entry.file.image));
    EXPECT_TRUE(view.fileFound);
    EXPECT_EQ(view.thumbnailLoaded, 1);
    EXPECT_EQ(view.checkPending, 0);
    EXPECT_EQ(view.cacheFlag, 0);
    EXPECT_EQ(view.frameNumber, 42);
    EXPECT_EQ(bytesOf(view.frameText.toQString()), "0042");
}

TEST(ExportTo, UsesTheViewsOwnThumbnail) {
    Entry entry;
    View view;
    const kxP::_imgRGBABuffer8* const thumbnail = &view.ensureThumbnail();
    entry.file.exportTo(view);
    EXPECT_EQ(view.thumbnail, thumbnail);
    EXPECT_EQ(view.thumbnail->height, 5);
}

TEST(ExportTo, KeepsTheViewsInfoTextAndRenderTimeWhereTheFileHasNone) {
    Entry entry;
    entry.file.data.infoText.clear();
    entry.file.data.averageRenderTime = -1;
    View view;
    entry.file.exportTo(view);
    EXPECT_EQ(text(view.infoText), "of view");
    EXPECT_EQ(view.averageRenderTime, 99);
}

TEST(ExportTo, TakesARenderTimeOfZeroAsGiven) {
    Entry entry;
    entry.file.data.averageRenderTime = 0;
    View view;
    entry.file.exportTo(view);
    EXPECT_EQ(view.averageRenderTime, 0);
}

TEST(ExportTo, ShowsThePictureAsFromTheCache) {
    Entry entry;
    entry.file.image.flags = KX_IMG_GAMMA22;
    View view;
    entry.file.exportTo(view);
    EXPECT_EQ(view.thumbnail->flags, KX_IMG_GAMMA22 | KX_IMG_FROM_CACHE | KX_IMG_CACHE_REWRITTEN);
    EXPECT_EQ(entry.file.image.flags, KX_IMG_GAMMA22);
    EXPECT_TRUE(view.imageInfoLines().contains(QStringLiteral("\n gamma (kxCache)\n")));
}

TEST(ExportTo, SetsTheCacheFlagAndNeverClearsIt) {
    for (unsigned char before = 0; before < 2; ++before) {
        for (unsigned char flags = 0; flags < 4; ++flags) {
            Entry entry;
            entry.file.fileFlags = flags;
            View view;
            view.cacheFlag = before;
            entry.file.exportTo(view);
            EXPECT_EQ(view.cacheFlag, before || (flags & 2) ? 1 : 0);
        }
    }
}

TEST(ExportTo, AsksForANewCheckUnlessAllIsKnownAndUnchanged) {
    constexpr long long beyond32Bits = (1LL << 32) + 5000;
    const struct {
        const char* name;
        unsigned short errors;
        int width;
        _kxTime viewTime;
        long long viewSize, fileSize;
        int pending;
    } cases[] = {
        {"unchanged", 0, 6, newTime, 5000, 5000, 0},
        {"two pixels wide", 0, 2, newTime, 5000, 5000, 0},
        {"one pixel wide", 0, 1, newTime, 5000, 5000, 1},
        {"tile missing", 1, 6, newTime, 5000, 5000, 1},
        {"broken line", 4, 6, newTime, 5000, 5000, 1},
        {"another time", 0, 6, oldTime, 5000, 5000, 1},
        {"another size", 0, 6, newTime, 5001, 5000, 1},
        {"unknown size", 0, 6, newTime, -1, -1, 1},
        {"low 32 bits agree", 0, 6, newTime, beyond32Bits, 5000, 0},
        {"more than four gigabytes", 0, 6, newTime, beyond32Bits, beyond32Bits, 1},
        {"marker of four gigabytes", 0, 6, newTime, 4200000000, 4200000000, 0},
        {"unsigned comparison", 0, 6, newTime, -1, 0xFFFFFFFFLL, 0},
    };
    for (const auto& row : cases) {
        Entry entry;
        entry.file.data.errorFlags = row.errors;
        entry.file.data.fileSize = row.fileSize;
        entry.file.image.setWidth(row.width);
        View view;
        view.fileTime = row.viewTime;
        view.fileSize = row.viewSize;
        entry.file.exportTo(view);
        EXPECT_EQ(view.checkPending, row.pending) << row.name;
        EXPECT_EQ(+view.fileSize, row.fileSize) << row.name;
    }
}

TEST(ExportTo, AnEmptyThumbnailAsksForANewCheck) {
    _SingleImageFile file;
    file.data.fileTime = newTime;
    file.data.fileSize = 5000;
    View view;
    file.exportTo(view);
    EXPECT_EQ(view.checkPending, 1);
    ASSERT_NE(view.thumbnail, nullptr);
    EXPECT_EQ(view.thumbnail->width, 0);
}

// --- exportToImageOnly -----------------------------------------------------------------------------------------

TEST(ExportToImageOnly, KeepsTheViewsIdentity) {
    Entry entry;
    entry.file.data.errorFlags = 1;
    entry.file.fileFlags = 2;
    View view;
    view.fileTime = oldTime;
    view.fileSize = 7000;
    entry.file.exportToImageOnly(view);
    EXPECT_TRUE(view.fileTime == oldTime);
    EXPECT_EQ(+view.fileSize, 7000);
    EXPECT_EQ(view.frameNumber, 42);
    EXPECT_EQ(bytesOf(view.frameText.toQString()), "0042");
    EXPECT_EQ(text(view.infoText), "from cache");
    EXPECT_EQ(view.averageRenderTime, 30);
    EXPECT_EQ(view.errorFlags, 1);
    EXPECT_EQ(view.checkPending, 0);
    EXPECT_EQ(view.thumbnailLoaded, 1);
    EXPECT_TRUE(view.fileFound);
    EXPECT_EQ(view.cacheFlag, 0);
    ASSERT_NE(view.thumbnail, nullptr);
    EXPECT_EQ(pixelsOf(*view.thumbnail), pixelsOf(entry.file.image));
    EXPECT_EQ(view.thumbnail->flags, 0);
}

TEST(ExportToImageOnly, TakesTheRecordAlsoWhereItIsEmpty) {
    Entry entry;
    entry.file.data.infoText.clear();
    entry.file.data.averageRenderTime = -1;
    View view;
    entry.file.exportToImageOnly(view);
    EXPECT_EQ(text(view.infoText), "");
    EXPECT_EQ(view.averageRenderTime, -1);
}

TEST(ExportToImageOnly, KeepsTheLow32BitsOfTheSizeSigned) {
    const std::pair<long long, long long> cases[] = {{7000, 7000},
                                                     {-1, -1},
                                                     {(1LL << 32) + 7, 7},
                                                     {0x80000000LL, -2147483648LL},
                                                     {3000000000LL, -1294967296LL},
                                                     {4200000000LL, -94967296LL}};
    for (const auto& [before, after] : cases) {
        Entry entry;
        View view;
        view.fileSize = before;
        entry.file.exportToImageOnly(view);
        EXPECT_EQ(+view.fileSize, after);
    }
}

// --- ImportFrom ------------------------------------------------------------------------------------------------

TEST(ImportFrom, TakesRecordAndThumbnail) {
    View view;
    makePicture(view.ensureThumbnail(), 9, 4);
    view.thumbnailLoaded = 1;
    _SingleImageFile file;
    file.ImportFrom(view);
    EXPECT_EQ(recordBytes(file.data), recordBytes(view));
    EXPECT_EQ(file.image.width, 9);
    EXPECT_EQ(pixelsOf(file.image), pixelsOf(*view.thumbnail));
    EXPECT_EQ(file.fileFlags, 0);
    EXPECT_EQ(view.thumbnailLoaded, 1);
}

TEST(ImportFrom, AViewWithoutThumbnailLosesItsLoadedMark) {
    View view;
    view.thumbnailLoaded = 1;
    Entry entry;
    entry.file.ImportFrom(view);
    EXPECT_EQ(view.thumbnailLoaded, 0);
    EXPECT_EQ(text(entry.file.data.infoText), "of view");
    EXPECT_EQ(entry.file.image.width, 6) << "the picture stays";
}

TEST(ImportFrom, SetsTheCacheFlagBitAndNeverClearsIt) {
    for (unsigned char before = 0; before < 4; ++before) {
        for (unsigned char flag = 0; flag < 2; ++flag) {
            View view;
            view.cacheFlag = flag;
            _SingleImageFile file;
            file.fileFlags = before;
            file.ImportFrom(view);
            EXPECT_EQ(file.fileFlags, flag ? before | 2 : before);
        }
    }
}

// --- testNloadFromFile -----------------------------------------------------------------------------------------

namespace {

class TestNloadFromFile : public testing::Test {
protected:
    TestNloadFromFile() {
        Entry entry;
        entry.file.data.errorFlags = 2;
        entry.file.data.errorLevel = 2;
        EXPECT_EQ(bytesOf(entry.file.saveToFile(path)), "");
    }
    void expectRefused(View& view) {
        // Every byte of the view is compared as it lies.
        const std::string before(reinterpret_cast<char*>(&view), sizeof view);
        EXPECT_FALSE(view.testNloadFromFile(path));
        EXPECT_EQ(std::string(reinterpret_cast<char*>(&view), sizeof view), before);
    }

    TempDir dir;
    const QString path = dir.qpath() + QStringLiteral("frame.kxCache");
};

}  // namespace

TEST_F(TestNloadFromFile, TakesAMatchingFile) {
    View view;
    EXPECT_TRUE(view.testNloadFromFile(path));
    EXPECT_EQ(text(view.infoText), "from cache");
    EXPECT_EQ(view.averageRenderTime, 30);
    EXPECT_EQ(view.errorFlags, 2);
    EXPECT_EQ(view.errorLevel, 2);
    ASSERT_NE(view.thumbnail, nullptr);
    EXPECT_EQ(view.thumbnail->capacity, 190000U);
    EXPECT_EQ(view.thumbnail->height, 5);
}

TEST_F(TestNloadFromFile, LeavesWhatIsNotInTheRecordAlone) {
    View view;
    ASSERT_TRUE(view.testNloadFromFile(path));
    EXPECT_EQ(view.frameNumber, 42);
    EXPECT_EQ(view.checkPending, 1);
    EXPECT_EQ(view.thumbnailLoaded, 0);
    EXPECT_FALSE(view.fileFound);
}

TEST_F(TestNloadFromFile, ShowsTheDecodedPicture) {
    View view;
    ASSERT_TRUE(view.testNloadFromFile(path));
    Entry entry;
    kxCHK::encodePredictionFilter(&entry.file.image);
    kxCHK::decodePredictionFilter(&entry.file.image);
    EXPECT_EQ(pixelsOf(*view.thumbnail), pixelsOf(entry.file.image));
}

TEST_F(TestNloadFromFile, RefusesAFileOfAnotherTimeSizeOrLayout) {
    View time;
    time.fileTime = oldTime;
    expectRefused(time);
    View size;
    size.fileSize = 5000 + (1LL << 32);
    expectRefused(size);
    View id;
    id.recordId = 3586;
    expectRefused(id);
}

TEST_F(TestNloadFromFile, RefusesAFileOfAForeignLayout) {
    Entry entry;
    entry.file.data.recordId = 3588;
    ASSERT_EQ(bytesOf(entry.file.saveToFile(path)), "");
    View view;
    expectRefused(view);
}

TEST_F(TestNloadFromFile, RefusesAnUnreadableFile) {
    View view;
    for (const char* content : {"no cache file", ""}) {
        ASSERT_TRUE(writeFileBytes(bytesOf(path), content));
        expectRefused(view);
    }
    ASSERT_EQ(std::remove(bytesOf(path).c_str()), 0);
    expectRefused(view);
}
