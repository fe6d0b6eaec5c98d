// SPDX-License-Identifier: BSD-3-Clause
// The cache file as it lies on disk, and what comes back from it.
#include "image/KX_DataTypes_image.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/TempDir.h"
#include "tests/support/plainCheck.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using kxCHK::_SingleImageFile;

namespace {

constexpr std::size_t headerSize = 1188;
constexpr std::size_t wholeSize = 761188;

// The entry whose bytes docs/cache-file-format.md lists.
void fillDocumentedEntry(_SingleImageFile& file) {
    file.data.fileTime = _kxTime(1600000000123456789LL);
    file.data.fileSize = 1234567;
    file.data.errorFlags = 2;
    file.data.errorLevel = 2;
    file.data.infoText = "noise 3.5";
    file.data.averageRenderTime = 125;
    file.data.analyseValue1 = 1.5F;
    file.fileFlags = _SingleImageFile::carriesCacheFlag;
    file.image.valid = 1;
    file.image.sourceWidth = 1920;
    file.image.sourceHeight = 1080;
    file.image.bitsPerChannel = 16;
    file.image.formatText = QStringLiteral("EXR");
    file.image.flags = KX_IMG_GAMMA22;
    file.image.setWidth(2);
    file.image.setHeight(4);
    const unsigned char red[] = {0, 10, 21, 30};
    for (int y = 0; y < 4; ++y) {
        file.image.write(0, y, {red[y], 100, 200, 255});
        file.image.write(1, y, {1, 2, static_cast<unsigned char>(9 - y), 255});
    }
    file.data.createHistogram(&file.image);
}

std::string headerOf(const _SingleImageFile& file) {
    return std::string(reinterpret_cast<const char*>(&file), headerSize);
}

PlainHistogram binsOf(const kxCHK::_SingleImageData& record) {
    PlainHistogram bins;
    std::memcpy(bins.data(), record.histogram, sizeof record.histogram);
    return bins;
}

// A byte that the format leaves open.
constexpr int anyByte = -1;

bool isHexByte(const std::string& word) {
    return word.size() == 2 && word.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

// The listing of the document, rows of "offset  hex bytes"; "--" stands for any byte, what is not listed is 0.
std::vector<int> documentedBytes() {
    std::vector<int> bytes(wholeSize, 0);
    std::ifstream page(KX_SOURCE_DIR "/docs/cache-file-format.md");
    std::string line;
    while (std::getline(page, line) && line != "```") continue;
    while (std::getline(page, line) && line != "```") {
        std::istringstream words(line);
        std::size_t offset = 0;
        words >> offset;
        for (std::string word; words >> word; ++offset) {
            EXPECT_TRUE(isHexByte(word) || word == "--") << line;
            bytes.at(offset) = word == "--" ? anyByte : std::stoi(word, nullptr, 16);
        }
    }
    return bytes;
}

class CacheFile : public testing::Test {
protected:
    void save() { ASSERT_EQ(bytesOf(file.saveToFile(path)), ""); }
    std::string savedBytes() const { return plainInflate(readFileBytes(bytesOf(path)), wholeSize); }
    void writeRaw(const std::string& bytes) { ASSERT_TRUE(writeFileBytes(bytesOf(path), plainDeflate(bytes, 1))); }
    // The code that loading ends with.
    int load() {
        int code = 12345;
        const bool good = loaded.loadFromFile(path, &code);
        EXPECT_EQ(good, code == 0);
        return code;
    }

    TempDir dir;
    const QString path = dir.qpath() + QStringLiteral("frame.kxCache");
    _SingleImageFile file;
    _SingleImageFile loaded;
};

}  // namespace

// --- The bytes -------------------------------------------------------------------------------------------------

TEST_F(CacheFile, IsReadByAnIndependentReader) {
    fillDocumentedEntry(file);
    const std::string picture = pixelsOf(file.image);
    save();
    PlainCacheFile plain;
    ASSERT_TRUE(readPlainCacheFile(readFileBytes(bytesOf(path)), plain));
    EXPECT_EQ(plain.fileTime, 1600000000123456789LL);
    EXPECT_EQ(plain.fileSize, 1234567);
    EXPECT_EQ(plain.errorFlags, 2);
    EXPECT_EQ(plain.errorLevel, 2);
    EXPECT_EQ(plain.infoText, "noise 3.5");
    EXPECT_EQ(plain.averageRenderTime, 125);
    EXPECT_EQ(plain.histogram, binsOf(file.data));
    EXPECT_TRUE(plain.histogramValid);
    EXPECT_EQ(plain.analyseValue1, 1.5F);
    EXPECT_EQ(plain.analyseValue2, 0.0F);
    EXPECT_TRUE(plain.filtered);
    EXPECT_TRUE(plain.cacheFlag);
    EXPECT_TRUE(plain.valid);
    EXPECT_EQ(plain.sourceWidth, 1920);
    EXPECT_EQ(plain.sourceHeight, 1080);
    EXPECT_EQ(plain.bitsPerChannel, 16);
    EXPECT_EQ(plain.formatText, "EXR");
    EXPECT_EQ(plain.flags, KX_IMG_GAMMA22);
    EXPECT_EQ(plain.width, 2);
    EXPECT_EQ(plain.height, 4);
    std::string expected = picture;
    expected[16] = 22;  // row 2 of two pixels: what the filter loses
    EXPECT_EQ(plain.pixels, expected);
}

TEST_F(CacheFile, HoldsTheDocumentedBytes) {
    fillDocumentedEntry(file);
    save();
    const std::string saved = savedBytes();
    ASSERT_EQ(saved.size(), wholeSize);
    const std::vector<int> documented = documentedBytes();
    for (std::size_t i = 0; i < wholeSize; ++i) {
        if (documented[i] == anyByte) continue;
        ASSERT_EQ(static_cast<unsigned char>(saved[i]), documented[i]) << "offset " << i;
    }
}

TEST_F(CacheFile, TheDocumentedBytesLoad) {
    std::string bytes;
    for (const int byte : documentedBytes()) bytes += static_cast<char>(byte == anyByte ? 0xEE : byte);
    writeRaw(bytes);
    ASSERT_EQ(load(), 0);
    fillDocumentedEntry(file);
    EXPECT_EQ(recordBytes(loaded.data), recordBytes(file.data));
    EXPECT_EQ(loaded.image.formatText.toQString(), QStringLiteral("EXR"));
    EXPECT_EQ(loaded.image.flags, KX_IMG_GAMMA22 | KX_IMG_CACHE_FLAG);
    kxCHK::encodePredictionFilter(&file.image);
    kxCHK::decodePredictionFilter(&file.image);
    EXPECT_EQ(pixelsOf(loaded.image), pixelsOf(file.image));
}

TEST_F(CacheFile, HoldsTheHeaderAsItLies) {
    fillDocumentedEntry(file);
    std::memset(file.reserved_, 0xAB, sizeof file.reserved_);
    save();
    EXPECT_EQ(savedBytes().substr(0, headerSize), headerOf(file));
}

TEST_F(CacheFile, HoldsTheWholePixelMemory) {
    file.image.setWidth(1);
    file.image.setHeight(1);
    std::memset(file.image.pixels, 0x5A, 760000);
    save();
    EXPECT_EQ(savedBytes().substr(headerSize), std::string(760000, '\x5A'));
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(std::memcmp(loaded.image.pixels, file.image.pixels, 760000), 0);
}

// --- Saving ----------------------------------------------------------------------------------------------------

TEST_F(CacheFile, SavingLeavesTheObjectFiltered) {
    fillDocumentedEntry(file);
    kxCHK::encodePredictionFilter(&file.image);
    const std::string filtered = pixelsOf(file.image);
    fillDocumentedEntry(file);
    file.fileFlags = 0;
    save();
    EXPECT_EQ(file.fileFlags, _SingleImageFile::pixelsFiltered);
    EXPECT_EQ(pixelsOf(file.image), filtered);
}

TEST_F(CacheFile, SavingTwiceFiltersTwice) {
    fillDocumentedEntry(file);
    save();
    kxCHK::encodePredictionFilter(&file.image);
    const std::string twice = pixelsOf(file.image);
    kxCHK::decodePredictionFilter(&file.image);
    fillDocumentedEntry(file);
    save();
    save();
    EXPECT_EQ(pixelsOf(file.image), twice);
    ASSERT_EQ(load(), 0);
    kxCHK::decodePredictionFilter(&file.image);
    EXPECT_EQ(pixelsOf(loaded.image), pixelsOf(file.image)) << "decoded once";
}

TEST_F(CacheFile, AFailedSaveReturnsItsReason) {
    const std::pair<QString, const char*> cases[] = {
        {dir.qpath() + QStringLiteral("missing/frame.kxCache"), "No such file or directory"},
        {dir.qpath(), "Is a directory"},
        {dir.qpath() + QString(300, QLatin1Char('n')), "File name too long"},
        {QString(), "No such file or directory"},
        {QStringLiteral("/dev/null/x"), "Not a directory"},
    };
    for (const auto& [name, reason] : cases) EXPECT_EQ(bytesOf(file.saveToFile(name)), reason);
    EXPECT_EQ(file.fileFlags, _SingleImageFile::pixelsFiltered) << "filtered all the same";
}

TEST_F(CacheFile, NamesAreCutTo500Characters) {
    const QString folder = dir.qpath() + QString(200, QLatin1Char('a')) + QLatin1Char('/') +
                           QString(200, QLatin1Char('b')) + QLatin1Char('/');
    ASSERT_LT(folder.size(), 500);
    std::filesystem::create_directories(bytesOf(folder));
    const QString full = folder + QString(600 - folder.size(), QLatin1Char('c'));
    fillDocumentedEntry(file);
    EXPECT_EQ(bytesOf(file.saveToFile(full)), "");
    EXPECT_TRUE(entryExists(bytesOf(full.left(500))));
    EXPECT_TRUE(loaded.loadFromFile(full, nullptr));
    EXPECT_TRUE(loaded.loadFromFile(full.left(500), nullptr));
    EXPECT_FALSE(loaded.loadFromFile(full.left(499), nullptr));
}

TEST_F(CacheFile, NamesAreLatin1) {
    fillDocumentedEntry(file);
    const std::string name = dir.file("\xE4\xC3\xA4.kxCache");
    EXPECT_EQ(bytesOf(file.saveToFile(latin1(name))), "");
    EXPECT_TRUE(entryExists(name));
    EXPECT_TRUE(loaded.loadFromFile(latin1(name), nullptr));
}

// --- Loading ---------------------------------------------------------------------------------------------------

TEST_F(CacheFile, GivesBackRecordAndPicture) {
    fillDocumentedEntry(file);
    save();
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(recordBytes(loaded.data), recordBytes(file.data));
    EXPECT_EQ(loaded.image.width, 2);
    EXPECT_EQ(loaded.image.height, 4);
    EXPECT_EQ(loaded.image.pixelCount, 8U);
    kxCHK::decodePredictionFilter(&file.image);
    EXPECT_EQ(pixelsOf(loaded.image), pixelsOf(file.image));
}

TEST_F(CacheFile, KeepsTheReceiversOwnMemory) {
    fillDocumentedEntry(file);
    save();
    unsigned char* const pixels = loaded.image.pixels;
    unsigned char* const owned = loaded.image.ownedMemory;
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(+loaded.image.pixels, pixels);
    EXPECT_EQ(+loaded.image.ownedMemory, owned);
    EXPECT_EQ(loaded.image.capacity, 190000U);
    EXPECT_EQ(loaded.image.bytesPerPixel, 4);
}

TEST_F(CacheFile, DecodesFilteredPixelsOnly) {
    fillDocumentedEntry(file);
    save();
    std::string bytes = savedBytes();
    bytes[612] = 0;
    writeRaw(bytes);
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(pixelsOf(loaded.image), pixelsOf(file.image));
}

TEST_F(CacheFile, ShowsTheCacheFlagInTheImagesFlags) {
    for (unsigned char flags = 0; flags < 4; ++flags) {
        file.fileFlags = flags;
        file.image.flags = KX_IMG_SUPERWHITE;
        save();
        ASSERT_EQ(load(), 0);
        EXPECT_EQ(loaded.image.flags, flags & 2 ? KX_IMG_SUPERWHITE | KX_IMG_CACHE_FLAG : KX_IMG_SUPERWHITE);
        EXPECT_EQ(loaded.fileFlags, flags | 1);
    }
}

TEST_F(CacheFile, UpgradesThePreviousLayout) {
    fillDocumentedEntry(file);
    file.data.recordId = 3586;
    save();
    ASSERT_EQ(load(), 0);
    EXPECT_EQ(loaded.data.recordId, 3587);
    EXPECT_TRUE(loaded.data.infoText.isEmpty());
    EXPECT_TRUE(loaded.image.formatText.isEmpty());
    EXPECT_EQ(+loaded.data.fileSize, 1234567);
    EXPECT_EQ(loaded.data.averageRenderTime, 125);
    EXPECT_EQ(loaded.image.width, 2);
}

// Their bytes mean something else there, so they may look like impossible texts.
TEST_F(CacheFile, UpgradesThePreviousLayoutWhateverItsTextsHold) {
    fillDocumentedEntry(file);
    save();
    std::string bytes = savedBytes();
    plainSetNumber(bytes, 0, 2, 3586);
    std::fill(bytes.begin() + 26, bytes.begin() + 80, '\xFF');
    std::fill(bytes.begin() + 636, bytes.begin() + 1140, '\xFF');
    writeRaw(bytes);
    EXPECT_EQ(load(), 0);
    EXPECT_TRUE(loaded.data.infoText.isEmpty());
    EXPECT_TRUE(loaded.image.formatText.isEmpty());
}

TEST_F(CacheFile, RefusesEveryOtherLayout) {
    for (const int id : {0, 1, 3585, 3588, 0x0E03 ^ 0x8000, 0x030E, 65535}) {
        file.data.recordId = static_cast<unsigned short>(id);
        save();
        EXPECT_EQ(load(), -1) << id;
        loaded.data.recordId = 3587;
    }
}

TEST_F(CacheFile, RefusesAnotherPixelFormatOrCapacity) {
    save();
    const struct {
        std::size_t offset, size;
        long long value;
    } cases[] = {{1153, 1, 3}, {1153, 1, 16}, {1156, 4, 189999}, {1156, 4, 190001}, {1156, 4, 0xFFFFFFFF}};
    for (const auto& row : cases) {
        std::string bytes = savedBytes();
        plainSetNumber(bytes, row.offset, row.size, row.value);
        writeRaw(bytes);
        EXPECT_EQ(load(), -1) << row.value;
        EXPECT_EQ(loaded.image.capacity, 190000U);
        EXPECT_EQ(loaded.image.bytesPerPixel, 4);
        save();
    }
}

TEST_F(CacheFile, TellsTheReasonOfAFailedRead) {
    EXPECT_EQ(load(), ENOENT);
    EXPECT_FALSE(loaded.loadFromFile(path, nullptr));
    writeFileBytes(bytesOf(path), "");
    EXPECT_EQ(load(), -4);
    writeFileBytes(bytesOf(path), "text");
    EXPECT_EQ(load(), -3);
    int code = 0;
    EXPECT_FALSE(loaded.loadFromFile(dir.qpath(), &code));
    EXPECT_EQ(code, EISDIR);
}

TEST_F(CacheFile, DecodesWhateverTheResult) {
    fillDocumentedEntry(file);
    save();
    kxCHK::decodePredictionFilter(&file.image);
    const std::string decoded = pixelsOf(file.image);
    kxCHK::encodePredictionFilter(&file.image);
    int code = 0;
    EXPECT_FALSE(file.loadFromFile(dir.qpath() + QStringLiteral("missing"), &code));
    EXPECT_EQ(code, ENOENT);
    EXPECT_EQ(pixelsOf(file.image), decoded);
    EXPECT_EQ(file.image.flags, KX_IMG_GAMMA22 | KX_IMG_CACHE_FLAG);
}

// The picture of the last good load is decoded once more.
TEST_F(CacheFile, AFailedLoadAfterAGoodOneDecodesTwice) {
    fillDocumentedEntry(file);
    save();
    ASSERT_EQ(load(), 0);
    kxCHK::decodePredictionFilter(&file.image);
    EXPECT_EQ(pixelsOf(loaded.image), pixelsOf(file.image));
    EXPECT_FALSE(loaded.loadFromFile(dir.qpath() + QStringLiteral("missing"), nullptr));
    EXPECT_NE(pixelsOf(loaded.image), pixelsOf(file.image));
    kxCHK::decodePredictionFilter(&file.image);
    EXPECT_EQ(pixelsOf(loaded.image), pixelsOf(file.image));
}

TEST_F(CacheFile, AnObjectOfAnotherLayoutTurnsEveryFailureIntoForeign) {
    loaded.data.recordId = 1;
    EXPECT_EQ(load(), -1);
}
