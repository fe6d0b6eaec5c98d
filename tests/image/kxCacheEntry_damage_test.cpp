// SPDX-License-Identifier: BSD-3-Clause
// Cache files and streams that can't be trusted: nothing they say leads out of the receiving buffer.
#include "image/KX_DataTypes_image.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/TempDir.h"
#include "tests/support/plainCheck.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using kxCHK::_SingleImageFile;
using kxCHK::_SingleImageView;

namespace {

constexpr std::size_t headerSize = 1188;
constexpr std::size_t wholeSize = 761188;

void fillEntry(_SingleImageFile& file) {
    file.data.infoText = "text";
    file.image.valid = 1;
    file.image.formatText = QStringLiteral("EXR");
    file.image.setWidth(30);
    file.image.setHeight(20);
    for (unsigned i = 0; i < file.image.pixelCount * 4; ++i) {
        file.image.pixels[i] = static_cast<unsigned char>(i * i);
    }
}

// The bytes that saving writes, not yet compressed; the pixels are not filtered.
std::string entryBytes() {
    _SingleImageFile file;
    fillEntry(file);
    std::string bytes(reinterpret_cast<const char*>(&file), headerSize);
    bytes.append(reinterpret_cast<const char*>(file.image.pixels), 760000);
    bytes[612] = 1;
    return bytes;
}

std::string withNumber(std::string bytes, std::size_t offset, std::size_t size, long long value) {
    plainSetNumber(bytes, offset, size, value);
    return bytes;
}

std::string withFlippedBits(std::string bytes, int count, std::mt19937& random) {
    for (int i = 0; i < count; ++i) {
        char& byte = bytes[random() % bytes.size()];
        byte = static_cast<char>(byte ^ 1 << random() % 8);
    }
    return bytes;
}

// A raw block that an object is laid over, with guard bytes behind it.
class Block {
public:
    Block() : memory_(wholeSize + guardSize, guard), file_(new (memory_.data()) _SingleImageFile) {
        std::memset(memory_.data() + headerSize, 0, 760000);
        file_->createFromBuffer(memory_.data());
    }
    ~Block() {
        EXPECT_EQ(std::string(memory_.data() + wholeSize, guardSize), std::string(guardSize, guard));
        file_->~_SingleImageFile();
    }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    _SingleImageFile* operator->() { return file_; }
    _SingleImageFile& operator*() { return *file_; }
    bool load(std::string stream) { return file_->loadFromBuffer(stream.data(), static_cast<int>(stream.size())); }
    std::string bytes() const { return std::string(memory_.data(), wholeSize); }

private:
    static constexpr std::size_t guardSize = 4096;
    static constexpr char guard = 0x77;
    std::vector<char> memory_;
    _SingleImageFile* file_;
};

// Everything that a front end does with an entry; the sanitizers watch.
void useAll(_SingleImageFile& file) {
    kxCHK::decodePredictionFilter(&file.image);
    _SingleImageView view;
    file.exportTo(view);
    EXPECT_FALSE(view.imageInfoLines().isEmpty());
    kxCHK::doErrorSearch(*view.thumbnail, &view);
    file.exportToImageOnly(view);
    file.ImportFrom(view);
    kxCHK::encodePredictionFilter(&file.image);
    EXPECT_GE(file.image.width, 0);
    EXPECT_GE(file.image.height, 0);
    EXPECT_LE(static_cast<long long>(file.image.width) * file.image.height, 190000);
    EXPECT_LE(file.image.pixelCount, 190000U);
}

class DamagedCacheFile : public testing::Test {
protected:
    void writeEntry(const std::string& bytes) { write(plainDeflate(bytes, 1)); }
    void write(const std::string& stream) { ASSERT_TRUE(writeFileBytes(path, stream)); }
    // The code of loading; what must survive a failure is looked at each time.
    int load() {
        unsigned char* const pixels = file.image.pixels;
        unsigned char* const owned = file.image.ownedMemory;
        int code = 12345;
        const bool good = file.loadFromFile(latin1(path), &code);
        EXPECT_EQ(good, code == 0);
        if (good) expectSameHeader();
        EXPECT_EQ(+file.image.pixels, pixels);
        EXPECT_EQ(+file.image.ownedMemory, owned);
        EXPECT_EQ(file.image.capacity, 190000U);
        EXPECT_EQ(file.image.bytesPerPixel, 4);
        return code;
    }

    // Loading the header alone gives what loading all did.
    void expectSameHeader() {
        _SingleImageFile header;
        int code = 12345;
        EXPECT_TRUE(header.loadHeaderFromFile(latin1(path), &code));
        EXPECT_EQ(code, 0);
        EXPECT_EQ(recordBytes(header.data), recordBytes(file.data));
        EXPECT_EQ(header.fileFlags, file.fileFlags);
        EXPECT_EQ(header.image.flags, file.image.flags);
        EXPECT_EQ(header.image.formatText.toQString(), file.image.formatText.toQString());
        EXPECT_EQ(header.image.sourceWidth, file.image.sourceWidth);
        EXPECT_EQ(header.image.pixelCount, 0U);
        EXPECT_EQ(header.image.width, 0);
        EXPECT_EQ(header.image.height, 0);
    }

    TempDir dir;
    const std::string path = dir.file("frame.kxCache");
    _SingleImageFile file;
};

struct SizeCase {
    long long width, height, pixelCount;
    bool kept;
};

constexpr SizeCase sizeCases[] = {
    {30, 20, 600, true},          {0, 0, 0, true},
    {190000, 1, 190000, true},    {1, 190000, 190000, true},
    {500, 380, 190000, true},     {INT_MAX, 0, 0, true},
    {0, INT_MAX, 0, true},        {30, 20, 0, true},
    {30, 20, 599, true},          {30, 20, 190000, true},
    {500, 381, 190500, false},    {190001, 1, 190001, false},
    {500, 381, 100, false},       {30, 20, 190001, false},
    {30, 20, 0xFFFFFFFF, false},  {-1, -1, 1, false},
    {-30, 20, 0, false},          {30, -20, 0, false},
    {INT_MIN, INT_MIN, 0, false}, {INT_MAX, INT_MAX, 1, false},
    {65536, 65536, 0, false},     {INT_MAX, 2, 0xFFFFFFFE, false},
};

std::string withSize(std::string bytes, const SizeCase& size) {
    plainSetNumber(bytes, 1160, 4, size.width);
    plainSetNumber(bytes, 1164, 4, size.height);
    plainSetNumber(bytes, 1168, 4, size.pixelCount);
    return bytes;
}

struct TextCase {
    const char* name;
    std::size_t offset, size;
    long long value;
    bool kept;
};

// The info text has its length at 26 and 51 characters from 28 on, the format text its length at 636 and 251
// characters of two bytes from 638 on; both must end in a zero.
constexpr TextCase textCases[] = {
    {"info of 4", 26, 2, 4, true},
    {"info of 50", 26, 2, 50, true},
    {"info of 51", 26, 2, 51, false},
    {"info of 65535", 26, 2, 65535, false},
    {"info cut short", 26, 2, 3, false},
    {"format of 3", 636, 2, 3, true},
    {"format of 250", 636, 2, 250, true},
    {"format of 251", 636, 2, 251, false},
    {"format of 65535", 636, 2, 65535, false},
    {"format cut short", 636, 2, 2, false},
};

}  // namespace

// --- Files -----------------------------------------------------------------------------------------------------

TEST_F(DamagedCacheFile, ImpossibleSizesBecomeAnEmptyImage) {
    for (const SizeCase& size : sizeCases) {
        writeEntry(withSize(entryBytes(), size));
        EXPECT_EQ(load(), 0) << size.width << "x" << size.height << " " << size.pixelCount;
        EXPECT_EQ(file.image.width, size.kept ? size.width : 0);
        EXPECT_EQ(file.image.height, size.kept ? size.height : 0);
        EXPECT_EQ(file.image.pixelCount, size.kept ? size.pixelCount : 0);
        useAll(file);
    }
}

TEST_F(DamagedCacheFile, ImpossibleTextsAreEmptied) {
    for (const TextCase& row : textCases) {
        writeEntry(withNumber(entryBytes(), row.offset, row.size, row.value));
        EXPECT_EQ(load(), 0) << row.name;
        EXPECT_TRUE(file.data.infoText.isIntact());
        EXPECT_TRUE(file.image.formatText.isIntact());
        const bool infoSpoiled = !row.kept && row.offset == 26;
        const bool formatSpoiled = !row.kept && row.offset == 636;
        EXPECT_EQ(file.data.infoText.isEmpty(), infoSpoiled) << row.name;
        EXPECT_EQ(file.image.formatText.isEmpty(), formatSpoiled) << row.name;
        useAll(file);
    }
}

// Every byte but those of the histogram and inside the texts.
TEST_F(DamagedCacheFile, EverySpoiledHeaderByteIsHarmless) {
    const std::string good = entryBytes();
    for (std::size_t i = 0; i < headerSize; ++i) {
        if ((i > 90 && i < 590) || (i > 40 && i < 78) || (i > 650 && i < 1136)) continue;
        for (const int value : {0, 255, good[i] ^ 0x80}) {
            writeEntry(withNumber(good, i, 1, value));
            load();
            useAll(file);
        }
    }
}

TEST_F(DamagedCacheFile, EveryTruncationIsRefused) {
    write(plainDeflate(entryBytes(), 9));
    for (auto length = static_cast<off_t>(readFileBytes(path).size()) - 1; length >= 0; --length) {
        ASSERT_EQ(truncate(path.c_str(), length), 0);
        ASSERT_EQ(load(), -4) << length;
        ASSERT_LE(file.image.pixelCount, 190000U);
    }
    useAll(file);
}

// A few bits of a stream are not used: with these changed, it is still the same file.
TEST_F(DamagedCacheFile, RandomFlipsAreRefusedOrChangeNothing) {
    const std::string bytes = entryBytes();
    const std::string good = plainDeflate(bytes, 9);
    std::mt19937 random(33);
    int refused = 0;
    for (int round = 0; round < 300; ++round) {
        const std::string damaged = withFlippedBits(good, 1 + round % 4, random);
        write(damaged);
        const bool same = plainInflate(damaged, wholeSize) == bytes;
        ASSERT_EQ(load() == 0, same) << "round " << round;
        refused += !same;
        useAll(file);
        fillEntry(file);
        file.data.recordId = 3587;
    }
    EXPECT_GT(refused, 280);
}

TEST_F(DamagedCacheFile, OtherSizesAndWhatFollowsAreRefused) {
    const std::string bytes = entryBytes();
    const std::pair<std::string, int> cases[] = {
        {plainDeflate(bytes.substr(0, wholeSize - 1)), -4},
        {plainDeflate(bytes.substr(0, headerSize)), -4},
        {plainDeflate(""), -4},
        {plainDeflate(bytes + 'x'), -5},
        {plainDeflate(bytes + std::string(50, 'x')), -5},
        {plainDeflate(bytes) + 'x', -5},
        {plainDeflate(bytes) + plainDeflate(bytes), -5},
        {plainDeflate(bytes + std::string(100 << 20, '\0'), 1), -5},
        {bytes, -3},
        {"", -4},
    };
    for (const auto& [stream, code] : cases) {
        write(stream);
        EXPECT_EQ(load(), code) << stream.size();
    }
}

TEST_F(DamagedCacheFile, PipesAndDirectoriesAreRefusedWithoutWaiting) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(load(), -2);
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(load(), EISDIR);
}

// A header that fails to load for another reason is looked at all the same.
TEST_F(DamagedCacheFile, ACutFileLeavesNoImpossibleSizes) {
    const std::string stream = plainDeflate(withSize(entryBytes(), {INT_MAX, INT_MAX, 0xFFFFFFFF, false}), 9);
    write(stream.substr(0, stream.size() - 4));
    EXPECT_EQ(load(), -4);
    EXPECT_EQ(file.image.width, 0);
    EXPECT_EQ(file.image.pixelCount, 0U);
    useAll(file);
}

TEST_F(DamagedCacheFile, AHeaderIsReadOnceItIsThere) {
    const std::string good = plainDeflate(entryBytes(), 1);
    std::size_t needed = 0;
    for (std::size_t length = 0; length < 1400; length += 7) {
        write(good.substr(0, length));
        _SingleImageFile header;
        int code = 0;
        if (header.loadHeaderFromFile(latin1(path), &code)) {
            EXPECT_EQ(header.data.infoText.toQString(), QStringLiteral("text"));
        } else {
            EXPECT_EQ(code, -4) << length;
            needed = length;
        }
        useAll(header);
    }
    EXPECT_GT(needed, 50U);
    EXPECT_LT(needed, 1300U);
}

TEST_F(DamagedCacheFile, HeadersOfAnotherLayoutAreRefused) {
    for (const auto& [offset, size, value] :
         {std::array<int, 3>{0, 2, 3585}, {0, 2, 3588}, {1153, 1, 16}, {1156, 4, 189999}}) {
        writeEntry(
            withNumber(entryBytes(), static_cast<std::size_t>(offset), static_cast<std::size_t>(size), value));
        _SingleImageFile header;
        int code = 0;
        EXPECT_FALSE(header.loadHeaderFromFile(latin1(path), &code));
        EXPECT_EQ(code, -1) << offset;
        EXPECT_EQ(header.image.capacity, 190000U);
        useAll(header);
    }
    writeEntry(withNumber(entryBytes(), 0, 2, 3586));
    EXPECT_TRUE(file.loadHeaderFromFile(latin1(path), nullptr));
    EXPECT_EQ(file.data.recordId, 3587);
    EXPECT_TRUE(file.image.formatText.isEmpty());
}

// --- Streams in memory -----------------------------------------------------------------------------------------

TEST(LoadFromBuffer, FillsTheObjectAndLeavesThePixelsAsStored) {
    Block block;
    const std::string bytes = entryBytes();
    ASSERT_TRUE(block.load(plainDeflate(bytes)));
    EXPECT_EQ(block->image.width, 30);
    EXPECT_EQ(block->fileFlags, 1);
    EXPECT_EQ(block->data.infoText.toQString(), QStringLiteral("text"));
    EXPECT_EQ(block.bytes().substr(headerSize), bytes.substr(headerSize));
    EXPECT_EQ(block.bytes().substr(0, 1172), bytes.substr(0, 1172));
    useAll(*block);
}

TEST(LoadFromBuffer, ReadsWhatSavingWrote) {
    TempDir dir;
    _SingleImageFile file;
    fillEntry(file);
    ASSERT_TRUE(file.saveToFile(dir.qpath() + QStringLiteral("f")).isEmpty());
    Block block;
    ASSERT_TRUE(block.load(readFileBytes(dir.file("f"))));
    EXPECT_EQ(std::memcmp(block->image.pixels, file.image.pixels, 760000), 0);
}

TEST(LoadFromBuffer, KeepsTheReceiversOwnMemory) {
    Block block;
    unsigned char* const pixels = block->image.pixels;
    unsigned char* const owned = block->image.ownedMemory;
    for (const bool good : {true, false}) {
        std::string bytes = entryBytes();
        std::fill(bytes.begin() + 1172, bytes.begin() + 1188, '\xEE');
        if (!good) std::fill(bytes.begin() + 1153, bytes.begin() + 1160, '\xEE');
        EXPECT_EQ(block.load(plainDeflate(bytes)), good);
        EXPECT_EQ(+block->image.pixels, pixels);
        EXPECT_EQ(+block->image.ownedMemory, owned);
        EXPECT_EQ(block->image.capacity, 190000U);
        EXPECT_EQ(block->image.bytesPerPixel, 4);
    }
}

TEST(LoadFromBuffer, RefusesAnObjectWhosePixelsLieElsewhere) {
    _SingleImageFile file;
    fillEntry(file);
    std::string stream = plainDeflate(entryBytes());
    const auto wholeObject = [&file] {
        const std::size_t pixelBytes = std::size_t{4} * file.image.capacity;
        return std::string(reinterpret_cast<char*>(&file), headerSize) +
               std::string(reinterpret_cast<char*>(file.image.pixels), pixelBytes);
    };
    const std::string before = wholeObject();
    EXPECT_FALSE(file.loadFromBuffer(stream.data(), static_cast<int>(stream.size())));
    EXPECT_EQ(wholeObject(), before);
}

TEST(LoadFromBuffer, CreateFromBufferDoesNotLookAtItsArgument) {
    Block block;
    block->createFromBuffer(nullptr);
    EXPECT_TRUE(block.load(plainDeflate(entryBytes())));
}

TEST(LoadFromBuffer, RefusesNoStreamAtAll) {
    Block block;
    std::string stream = plainDeflate(entryBytes());
    EXPECT_FALSE(block->loadFromBuffer(nullptr, 10));
    EXPECT_FALSE(block->loadFromBuffer(stream.data(), -1));
    EXPECT_FALSE(block->loadFromBuffer(stream.data(), INT_MIN));
    EXPECT_FALSE(block->loadFromBuffer(stream.data(), 0));
}

TEST(LoadFromBuffer, RefusesOtherLayoutsAlsoThePreviousOne) {
    Block block;
    for (const int id : {0, 3585, 3586, 3588, 65535}) {
        EXPECT_FALSE(block.load(plainDeflate(withNumber(entryBytes(), 0, 2, id)))) << id;
    }
    EXPECT_FALSE(block.load(plainDeflate(withNumber(entryBytes(), 1153, 1, 16))));
    EXPECT_FALSE(block.load(plainDeflate(withNumber(entryBytes(), 1156, 4, 190001))));
    EXPECT_TRUE(block.load(plainDeflate(entryBytes())));
}

TEST(LoadFromBuffer, RefusesEveryOtherSizeWithoutLeavingTheBlock) {
    const std::string bytes = entryBytes();
    Block block;
    EXPECT_FALSE(block.load(plainDeflate("")));
    EXPECT_FALSE(block.load(plainDeflate(bytes.substr(0, 1000))));
    EXPECT_FALSE(block.load(plainDeflate(bytes.substr(0, wholeSize - 1))));
    for (const int extra : {1, 49, 50, 51, 4096, 50 << 20}) {
        EXPECT_FALSE(block.load(plainDeflate(bytes + std::string(static_cast<std::size_t>(extra), 'x'), 1)))
            << extra;
    }
    useAll(*block);
}

TEST(LoadFromBuffer, RefusesEveryTruncationAndEveryDamage) {
    const std::string bytes = entryBytes();
    const std::string good = plainDeflate(bytes, 9);
    Block block;
    for (std::size_t length = 0; length < good.size(); length += 7) {
        ASSERT_FALSE(block.load(good.substr(0, length))) << length;
        ASSERT_LE(block->image.pixelCount, 190000U);
    }
    std::mt19937 random(34);
    for (int round = 0; round < 200; ++round) {
        const std::string damaged = withFlippedBits(good, 1, random);
        const bool same = plainInflate(damaged, wholeSize) == bytes;
        ASSERT_EQ(block.load(damaged), same) << "round " << round;
        useAll(*block);
    }
}

TEST(LoadFromBuffer, ImpossibleSizesBecomeAnEmptyImage) {
    Block block;
    for (const SizeCase& size : sizeCases) {
        EXPECT_TRUE(block.load(plainDeflate(withSize(entryBytes(), size), 1)));
        EXPECT_EQ(block->image.width, size.kept ? size.width : 0) << size.width << "x" << size.height;
        EXPECT_EQ(block->image.height, size.kept ? size.height : 0) << size.width << "x" << size.height;
        EXPECT_EQ(block->image.pixelCount, size.kept ? size.pixelCount : 0) << size.pixelCount;
        useAll(*block);
    }
}

TEST(LoadFromBuffer, ImpossibleTextsAreEmptied) {
    Block block;
    for (const TextCase& row : textCases) {
        EXPECT_TRUE(block.load(plainDeflate(withNumber(entryBytes(), row.offset, row.size, row.value), 1)));
        EXPECT_EQ(block->data.infoText.isEmpty(), !row.kept && row.offset == 26) << row.name;
        EXPECT_EQ(block->image.formatText.isEmpty(), !row.kept && row.offset == 636) << row.name;
        useAll(*block);
    }
}
