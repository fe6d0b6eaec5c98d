// SPDX-License-Identifier: BSD-3-Clause
// Headers of damaged files: the same values and the same reasons as from the EXR library when it opens the file by
// its name and each attribute is asked for by its name.
//
// Of all damages some are tried, with $KX_ALL_POSITIONS each of them. $KX_ROUNDS is how many random ones
// of each kind of file follow.
#include "image/kxExrHeaders.h"
#include "shared/kxMemoryLimit.h"
#include "tests/support/ExrKinds.h"
#include "tests/support/RealSamples.h"
#include "tests/support/TempDir.h"
#include "tests/support/plainLayout.h"

#include <ImfChannelList.h>
#include <ImfHeader.h>
#include <ImfMultiPartInputFile.h>
#include <ImfPartType.h>
#include <ImfThreading.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using kxExr::Headers;
using kxExr::Part;
using kxExr::Storage;
using kxExr::Window;

namespace {

Window windowFrom(const Imath::Box2i& box) {
    return {box.min.x, box.min.y, box.max.x, box.max.y};
}

Storage storageOf(const Imf::Header& header) {
    const bool isDeep = header.hasType() && Imf::isDeepData(header.type());
    if (header.hasTileDescription()) return isDeep ? Storage::deepTiled : Storage::tiled;
    return isDeep ? Storage::deepScanline : Storage::scanline;
}

Part plainPart(const Imf::Header& header) {
    Part part;
    if (header.hasName()) part.name = QByteArray::fromStdString(header.name());
    part.storage = storageOf(header);
    part.displayWindow = windowFrom(header.displayWindow());
    part.dataWindow = windowFrom(header.dataWindow());
    part.compression = static_cast<kxExr::Compression>(header.compression());
    part.lineOrder = static_cast<kxExr::LineOrder>(header.lineOrder());
    part.pixelAspectRatio = header.pixelAspectRatio();
    if (header.hasTileDescription()) {
        const Imf::TileDescription& tiles = header.tileDescription();
        part.tiles = {tiles.xSize, tiles.ySize, static_cast<kxExr::LevelMode>(tiles.mode),
                      static_cast<kxExr::LevelRounding>(tiles.roundingMode)};
    }
    for (auto channel = header.channels().begin(); channel != header.channels().end(); ++channel)
        part.channels.push_back({channel.name(), static_cast<kxExr::PixelType>(channel.channel().type),
                                 channel.channel().xSampling, channel.channel().ySampling});
    return part;
}

std::optional<Headers> plainHeaders(const std::string& path, std::string& reason) {
    try {
        const Imf::MultiPartInputFile file(path.c_str(), Imf::globalThreadCount(), true);
        Headers headers;
        for (int part = 0; part < file.parts(); ++part) headers.push_back(plainPart(file.header(part)));
        return headers;
    } catch (const std::exception& error) {
        reason = error.what();
        return std::nullopt;
    }
}

bool sameBits(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool isSame(const Part& a, const Part& b) {
    return a.name == b.name && a.storage == b.storage && a.displayWindow == b.displayWindow &&
           a.dataWindow == b.dataWindow && a.compression == b.compression && a.lineOrder == b.lineOrder &&
           sameBits(a.pixelAspectRatio, b.pixelAspectRatio) && a.tiles == b.tiles && a.channels == b.channels;
}

std::size_t nextPosition() {
    if (std::getenv("KX_ALL_POSITIONS")) return 1;
    return kxIsSanitizerBuild() ? 150 : 30;
}

int rounds() {
    const char* const asked = std::getenv("KX_ROUNDS");
    return asked ? std::atoi(asked) : kxIsSanitizerBuild() ? 5 : 40;
}

// Headers, tables and the beginning of the first chunk.
std::size_t startOf(const std::string& file) {
    return std::min(plainLayout(file).tablesEnd + 64, file.size());
}

// A file whose writer has not come to its chunk tables.
std::string unfinished(std::string file) {
    for (const PlainChunk& chunk : plainLayout(file).chunks) putPlainNumber(file, chunk.entry, 8, 0);
    return file;
}

// One of each storage, of levels and of several parts, whole and unfinished.
std::vector<std::string> goodFiles() {
    const std::set<std::string> names{"flatRowsZip", "flatTilesRle", "deepRowsZips", "deepTilesNone", "ripmapUp",
                                      "partsFlat",   "partsDeep",    "partsMixed",   "onePixel"};
    std::vector<std::string> files;
    for (const Kind& kind : exrKinds()) {
        if (!names.count(kind.name)) continue;
        files.push_back(exrBytes(kind));
        files.push_back(unfinished(files.back()));
    }
    return files;
}

class ExrHeadersDamage : public testing::Test {
protected:
    // A damaged size makes the library ask for 2 GiB, and clear them.
    static void SetUpTestSuite() {
        if (!kxLimitFurtherAddressSpace(32LL << 20)) std::puts("no limit of memory");
    }

    void TearDown() override { std::printf("%ld files, %ld of them readable\n", compared, readable); }

    void compare(const std::string& file) {
        std::string expectedReason;
        QString reason;
        const std::optional<Headers> expected = plainHeaders(file, expectedReason);
        const std::optional<Headers> headers = kxExr::readHeaders(latin1(file), &reason);
        ++compared;
        EXPECT_EQ(bytesOf(reason), expectedReason);
        ASSERT_EQ(headers.has_value(), expected.has_value());
        if (!expected) return;
        ++readable;
        ASSERT_EQ(headers->size(), expected->size());
        for (std::size_t part = 0; part < headers->size(); ++part)
            EXPECT_TRUE(isSame((*headers)[part], (*expected)[part])) << "part " << part;
    }
    void compareBytes(const std::string& bytes) {
        ASSERT_TRUE(writeFileBytes(path, bytes));
        compare(path);
    }

    const TempDir dir{memoryDir()};
    const std::string path = dir.file("frame.exr");
    std::mt19937_64 random{20240609};
    long compared = 0;
    long readable = 0;
};

TEST_F(ExrHeadersDamage, EveryByteOfHeadersAndTablesChanged) {
    for (const std::string& good : goodFiles()) {
        const std::size_t end = startOf(good);
        for (std::size_t at = random() % nextPosition(); at < end; at += nextPosition()) {
            const char byte = good[at];
            const int values[] = {0, 0xff, byte ^ 0x80, byte + 1, byte - 1, byte ^ 0x20, 2, 0x7f};
            for (const int value : values) {
                std::string damaged = good;
                damaged[at] = static_cast<char>(value);
                compareBytes(damaged);
            }
            ASSERT_FALSE(HasFailure()) << "byte " << at;
        }
    }
    EXPECT_GT(readable, 0);
    EXPECT_GT(compared, readable);
}

// Behind its start a file is cut in larger steps: only what is unfinished is read there.
TEST_F(ExrHeadersDamage, CutAtEveryLength) {
    for (const std::string& good : goodFiles()) {
        const std::size_t end = startOf(good);
        for (std::size_t size = random() % nextPosition(); size < good.size();
             size += nextPosition() * (size < end ? 1 : 5)) {
            compareBytes(good.substr(0, size));
            ASSERT_FALSE(HasFailure()) << "length " << size;
        }
    }
    EXPECT_GT(readable, 0);
    EXPECT_GT(compared, readable);
}

TEST_F(ExrHeadersDamage, SeveralBytesChangedAnywhere) {
    for (const std::string& good : goodFiles()) {
        const std::size_t end = plainLayout(good).tablesEnd;
        for (int round = 0; round < rounds(); ++round) {
            std::string damaged = good;
            for (auto left = 1 + random() % 6; left > 0; --left) {
                const std::size_t at = random() % (random() % 3 == 0 ? good.size() : end);
                const auto bytes = std::min<std::size_t>(1 + random() % 8, good.size() - at);
                putPlainNumber(damaged, at, bytes, random() % 2 == 0 ? random() : random() % 300);
            }
            compareBytes(damaged);
            ASSERT_FALSE(HasFailure()) << "round " << round;
        }
    }
    EXPECT_GT(compared, readable);
}

TEST_F(ExrHeadersDamage, NamesAndKindsThatCannotBeRead) {
    for (const std::string& file : {dir.file("gone"), dir.path(), std::string(), path + "/below", std::string("/")})
        compare(file);
    compareBytes("");
    compareBytes("this is not an EXR file");
    EXPECT_EQ(readable, 0);
}

TEST_F(ExrHeadersDamage, RealFilesGoodAndDamaged) {
    const std::string samples = realSamplesDir();
    if (samples.empty()) GTEST_SKIP() << "the real sample files are not here";
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(samples))
        if (entry.is_regular_file()) compare(entry.path().string());
    EXPECT_GT(readable, 0);
}

}  // namespace
