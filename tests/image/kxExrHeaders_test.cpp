// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxExrHeaders.h"

#include "examples/SampleFrames.h"
#include "tests/support/TempDir.h"

#include <ImfChannelList.h>
#include <ImfHeader.h>
#include <ImfOutputFile.h>
#include <ImfTiledOutputFile.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using kxExr::Channel;
using kxExr::Headers;
using kxExr::Part;
using kxExr::Storage;
using kxExr::Window;

namespace {

class ExrHeaders : public testing::Test {
protected:
    // The headers of a file of these parts.
    Headers written(const std::vector<SamplePart>& parts) {
        writeSampleFile(path, parts);
        return read();
    }
    Part written(const SamplePart& part) {
        const Headers headers = written(std::vector<SamplePart>{part});
        EXPECT_EQ(headers.size(), 1U);
        return headers.front();
    }
    Headers read() {
        const std::optional<Headers> headers = kxExr::readHeaders(latin1(path));
        EXPECT_TRUE(headers);
        return headers.value_or(Headers(1));
    }

    TempDir dir;
    const std::string path = dir.file("frame.exr");
};

TEST_F(ExrHeaders, PartSaysWhatItsHeaderSays) {
    SamplePart part;
    part.displayWindow = {{0, 0}, {99, 49}};
    part.dataWindow = {{-10, 5}, {79, 24}};
    part.compression = Imf::PIZ_COMPRESSION;
    part.channels = {{"Z", Imf::FLOAT}, {"id", Imf::UINT}, {"R"}};
    const Part read = written(part);
    EXPECT_EQ(read.name, QByteArray());
    EXPECT_EQ(read.storage, Storage::scanline);
    EXPECT_EQ(read.displayWindow, (Window{0, 0, 99, 49}));
    EXPECT_EQ(read.dataWindow, (Window{-10, 5, 79, 24}));
    EXPECT_EQ(read.compression, kxExr::Compression::piz);
    EXPECT_EQ(read.lineOrder, kxExr::LineOrder::increasing);
    EXPECT_EQ(read.pixelAspectRatio, 1.0F);
    EXPECT_FALSE(read.tiles);
    const std::vector<Channel> byName = {{"R", kxExr::PixelType::half, 1, 1},
                                         {"Z", kxExr::PixelType::float32, 1, 1},
                                         {"id", kxExr::PixelType::uint, 1, 1}};
    EXPECT_EQ(read.channels, byName);
}

TEST_F(ExrHeaders, StorageIsTiledByDescriptionAndDeepByType) {
    const struct {
        bool tiled;
        bool deep;
        Storage storage;
    } cases[] = {{false, false, Storage::scanline},
                 {true, false, Storage::tiled},
                 {false, true, Storage::deepScanline},
                 {true, true, Storage::deepTiled}};
    for (const auto& c : cases) {
        SamplePart part;
        part.tiled = c.tiled;
        part.deep = c.deep;
        part.compression = Imf::ZIPS_COMPRESSION;
        const Part read = written(part);
        EXPECT_EQ(read.storage, c.storage);
        EXPECT_EQ(read.tiles.has_value(), c.tiled);
        if (read.tiles) {
            EXPECT_EQ(*read.tiles, (kxExr::TileDescription{16, 16, kxExr::LevelMode::one, {}}));
        }
    }
}

TEST_F(ExrHeaders, CompressionsKeepTheirNumbers) {
    for (const int number : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}) {
        SamplePart part;
        part.compression = static_cast<Imf::Compression>(number);
        EXPECT_EQ(static_cast<int>(written(part).compression), number);
    }
}

TEST_F(ExrHeaders, PartsComeInTheOrderOfTheFile) {
    SamplePart second = samplePartOf({"depth.Z"});
    second.dataWindow = {{1, 2}, {3, 4}};
    second.tiled = true;
    second.name = "depth";
    SamplePart first;
    first.name = "beauty";
    const Headers headers = written({first, second});
    ASSERT_EQ(headers.size(), 2U);
    EXPECT_EQ(headers[0].name, "beauty");
    EXPECT_EQ(headers[0].storage, Storage::scanline);
    EXPECT_EQ(headers[0].channels.size(), 4U);
    EXPECT_EQ(headers[1].name, "depth");
    EXPECT_EQ(headers[1].storage, Storage::tiled);
    EXPECT_EQ(headers[1].dataWindow, (Window{1, 2, 3, 4}));
    EXPECT_EQ(headers[1].channels, (std::vector<Channel>{{"depth.Z", kxExr::PixelType::half, 1, 1}}));
}

// What the sample writer never varies.
TEST_F(ExrHeaders, RareAttributesAreRead) {
    Imf::Header header(64, 32, 2.0F);
    header.lineOrder() = Imf::DECREASING_Y;
    header.channels().insert("Y", Imf::Channel(Imf::HALF));
    header.setTileDescription(Imf::TileDescription(8, 4, Imf::RIPMAP_LEVELS, Imf::ROUND_UP));
    { const Imf::TiledOutputFile file(path.c_str(), header); }
    const Part part = read().front();
    EXPECT_EQ(part.pixelAspectRatio, 2.0F);
    EXPECT_EQ(part.lineOrder, kxExr::LineOrder::decreasing);
    ASSERT_TRUE(part.tiles);
    EXPECT_EQ(*part.tiles, (kxExr::TileDescription{8, 4, kxExr::LevelMode::ripmap, kxExr::LevelRounding::up}));
}

TEST_F(ExrHeaders, ChannelsKeepTheirSampling) {
    Imf::Header header(64, 32);
    header.channels().insert("BY", Imf::Channel(Imf::HALF, 2, 4));
    { const Imf::OutputFile file(path.c_str(), header); }
    EXPECT_EQ(read().front().channels, (std::vector<Channel>{{"BY", kxExr::PixelType::half, 2, 4}}));
}

TEST_F(ExrHeaders, NamesAreBytes) {
    const std::string name = "\xc3\xa9 \xe9%s";
    EXPECT_EQ(written(samplePartOf({name})).channels.front().name, QByteArray::fromStdString(name));
    fs::rename(path, dir.file("\xff\xc3"));
    EXPECT_TRUE(kxExr::readHeaders(latin1(dir.file("\xff\xc3"))));
}

TEST_F(ExrHeaders, WhatCannotBeReadHasAReason) {
    writeFileBytes(dir.file("empty"), "");
    writeFileBytes(dir.file("text"), "this is not an EXR file");
    written(SamplePart());
    writeFileBytes(dir.file("cut"), readFileBytes(path).substr(0, 100));
    for (const std::string& file :
         {dir.file("empty"), dir.file("text"), dir.file("cut"), dir.file("gone"), dir.path(), std::string()}) {
        QString reason;
        EXPECT_FALSE(kxExr::readHeaders(latin1(file), &reason)) << file;
        EXPECT_FALSE(reason.isEmpty()) << file;
        EXPECT_FALSE(kxExr::readHeaders(latin1(file))) << file;
    }
    QString untouched = QStringLiteral("as before");
    EXPECT_TRUE(kxExr::readHeaders(latin1(path), &untouched));
    EXPECT_EQ(untouched, QStringLiteral("as before"));
}

long openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

TEST_F(ExrHeaders, FilesAreClosedAgain) {
    written(SamplePart());
    writeFileBytes(dir.file("text"), "this is not an EXR file");
    const long before = openDescriptors();
    for (const std::string& file : {path, dir.file("text")}) {
        EXPECT_EQ(kxExr::readHeaders(latin1(file)).has_value(), file == path);
        EXPECT_EQ(openDescriptors(), before);
    }
}

}  // namespace
