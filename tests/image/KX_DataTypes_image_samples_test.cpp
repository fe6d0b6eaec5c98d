// SPDX-License-Identifier: BSD-3-Clause
// Thumbnails of real pictures, from their pixels to the cache file and back.
#include "image/KX_DataTypes_image.h"
#include "image/KX_image.h"
#include "shared/kxFileSystem.h"
#include "tests/support/ReadFrame.h"
#include "tests/support/RealSamples.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/TempDir.h"
#include "tests/support/plainCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

using kxCHK::_SingleImageFile;
using kxCHK::_SingleImageView;

namespace {

std::vector<std::string> sampleFrames(const std::string& root) {
    std::vector<std::string> paths;
    for (const char* folder :
         {"Beachball", "Chromaticities", "DisplayWindow", "MultiResolution", "TestImages", "Tiles"}) {
        for (const auto& entry : std::filesystem::directory_iterator(root + folder)) {
            paths.push_back(entry.path().string());
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

class RealFrame : public testing::Test {
protected:
    void SetUp() override {
        if (root.empty()) GTEST_SKIP() << "the sample files are not here";
    }
    // The view of a frame with its checked thumbnail.
    void check(const std::string& path, _SingleImageView& view) {
        const auto frame = readFrame(path);
        const int width = std::min(500, frame->width);
        const int height = std::min(380, frame->height);
        ASSERT_TRUE(kximgRGBABuffer8_Scale4(*frame, view.ensureThumbnail(), width, height, false));
        long long size = -1;
        ASSERT_TRUE(kxFileExists(latin1(path), &view.fileTime, &size));
        view.fileSize = size;
        view.frameText = "1";
        view.infoText = "real";
        kxCHK::doErrorSearch(*view.thumbnail, &view);
    }

    const std::string root = realSamplesDir();
    TempDir dir;
    const QString cachePath = dir.qpath() + QStringLiteral("frame.kxCache");
};

}  // namespace

TEST_F(RealFrame, IsSearchedLikeThePlainColumnOrder) {
    int frames = 0;
    for (const std::string& path : sampleFrames(root)) {
        SCOPED_TRACE(path);
        _SingleImageView view;
        check(path, view);
        const kxP::_imgRGBABuffer8& image = *view.thumbnail;
        const PlainImage plain{image.pixels, image.width, image.height, image.valid != 0};
        EXPECT_EQ(view.errorFlags, plainErrorBits(plain));
        EXPECT_EQ(std::memcmp(view.histogram, plainHistogram(plain).data(), sizeof view.histogram), 0);
        ++frames;
    }
    EXPECT_GT(frames, 20);
}

TEST_F(RealFrame, ComesBackFromItsCacheFile) {
    for (const std::string& path : sampleFrames(root)) {
        SCOPED_TRACE(path);
        _SingleImageView view;
        check(path, view);
        _SingleImageFile file;
        file.ImportFrom(view);
        ASSERT_EQ(bytesOf(file.saveToFile(cachePath)), "");

        PlainCacheFile plain;
        ASSERT_TRUE(readPlainCacheFile(readFileBytes(bytesOf(cachePath)), plain));
        _SingleImageView again;
        again.fileTime = view.fileTime;
        again.fileSize = view.fileSize;
        ASSERT_TRUE(again.testNloadFromFile(cachePath));
        EXPECT_EQ(recordBytes(again), recordBytes(view));
        EXPECT_EQ(pixelsOf(*again.thumbnail), plain.pixels);
    }
}

TEST_F(RealFrame, LosesAtMostOneInTheCache) {
    _SingleImageView view;
    check(root + "Tiles/GoldenGate.exr", view);
    _SingleImageFile file;
    file.ImportFrom(view);
    ASSERT_EQ(bytesOf(file.saveToFile(cachePath)), "");
    ASSERT_TRUE(file.loadFromFile(cachePath, nullptr));
    const kxP::_imgRGBABuffer8& before = *view.thumbnail;
    int raised = 0;
    for (unsigned i = 0; i < before.pixelCount * 4; ++i) {
        const int difference = file.image.pixels[i] - before.pixels[i];
        ASSERT_TRUE(difference == 0 || difference == 1) << i;
        raised += difference;
    }
    EXPECT_GT(raised, 1000);
}

TEST_F(RealFrame, IsDescribedFromItsCacheFile) {
    _SingleImageView view;
    check(root + "Beachball/singlepart.0001.exr", view);
    _SingleImageFile file;
    file.ImportFrom(view);
    ASSERT_EQ(bytesOf(file.saveToFile(cachePath)), "");
    ASSERT_TRUE(file.loadFromFile(cachePath, nullptr));
    file.exportTo(view);
    EXPECT_EQ(view.checkPending, 0);
    EXPECT_EQ(bytesOf(view.imageInfoLines()), "1\n\n911x876  16bit\nOpenEXR half\n (kxCache)\n2.347.698 bytes\n" +
                                                  bytesOf(view.fileTime.asString()) + "\nreal\n");
}
