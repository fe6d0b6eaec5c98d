// SPDX-License-Identifier: BSD-3-Clause
// The examples of the image modules as processes.
#include "shared/kxFileSystem.h"
#include "tests/support/ToolTest.h"
#include "tests/support/plainCheck.h"

#include <ImfRgbaFile.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace {

class ThumbnailCacheTest : public ToolTest {
protected:
    // A grey frame of twice the thumbnail's size; the pixels of `hole` were never rendered.
    std::string greyFrame(const std::string& name, const Imath::Box2i& hole) const {
        constexpr std::size_t width = 1000, height = 760;
        std::vector<Imf::Rgba> pixels(width * height, Imf::Rgba(0.18F, 0.18F, 0.18F, 1.0F));
        for (int y = hole.min.y; y < hole.max.y; ++y) {
            for (int x = hole.min.x; x < hole.max.x; ++x) {
                pixels[width * static_cast<std::size_t>(y) + static_cast<std::size_t>(x)] =
                    Imf::Rgba(0.0F, 0.0F, 0.0F, 0.0F);
            }
        }
        Imf::RgbaOutputFile file(dir.file(name).c_str(), static_cast<int>(width), static_cast<int>(height));
        file.setFrameBuffer(pixels.data(), 1, width);
        file.writePixels(static_cast<int>(height));
        return dir.file(name);
    }

    ProcessResult example(const std::string& framePath) const {
        return runProcess({KX_THUMBNAIL_CACHE, framePath, dir.file("frame.kxCache")});
    }

    // The info lines of a greyFrame that came from the cache; its own text is empty.
    static std::string infoLines(const std::string& path) {
        _kxTime time;
        long long size = 0;
        EXPECT_TRUE(kxFileExists(latin1(path), &time, &size));
        EXPECT_TRUE(size > 1000 && size < 1000000) << size;
        const std::string digits = std::to_string(size);
        return "1000x760  16bit\nOpenEXR half\n gamma (kxCache)\n" + digits.substr(0, digits.size() - 3) + "." +
               digits.substr(digits.size() - 3) + " bytes\n" + bytesOf(time.asString()) + "\n\n";
    }
};

}  // namespace

TEST_F(ThumbnailCacheTest, KeepsAGoodFrameInItsCacheFile) {
    const std::string path = greyFrame("beauty.0007.exr", {{0, 0}, {0, 0}});
    const ProcessResult result = example(path);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "Errors: \"\", level \"-\"\n0007\n\n" + infoLines(path) + "Up to date.\n");

    PlainCacheFile cache;
    ASSERT_TRUE(readPlainCacheFile(readFileBytes(dir.file("frame.kxCache")), cache));
    EXPECT_EQ(cache.width, 500);
    EXPECT_EQ(cache.height, 380);
}

TEST_F(ThumbnailCacheTest, FindsTheMissingTile) {
    const std::string path = greyFrame("beauty.0007.exr", {{100, 100}, {164, 164}});
    const ProcessResult result = example(path);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out.substr(0, result.out.find('\n')), "Errors: \"Tile Missing; \", level \"red\"");
    EXPECT_NE(result.out.find("To be checked again.\n"), std::string::npos) << result.out;
}

TEST_F(ThumbnailCacheTest, TellsWhatItCanNotDo) {
    bytes("broken.exr", "not a frame");
    const ProcessResult broken = example(dir.file("broken.exr"));
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_EQ(broken.out, "");
    EXPECT_NE(broken.err, "");
    EXPECT_FALSE(std::filesystem::exists(dir.file("frame.kxCache")));

    std::filesystem::create_directory(dir.file("frame.kxCache"));
    const ProcessResult unwritable = example(greyFrame("beauty.0007.exr", {{0, 0}, {0, 0}}));
    EXPECT_EQ(unwritable.exitCode, 1);
    EXPECT_EQ(unwritable.err, "Is a directory\n");

    EXPECT_EQ(runProcess({KX_THUMBNAIL_CACHE}).exitCode, 1);
}

namespace {

class HeadersAsJsonTest : public ToolTest {
protected:
    ProcessResult example(const std::vector<std::string>& arguments) const {
        std::vector<std::string> all{KX_HEADERS_AS_JSON};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return runProcess(all);
    }
};

}  // namespace

TEST_F(HeadersAsJsonTest, PrintsTheFramesOfASequenceInTheirOrder) {
    frames({"beauty.10.exr", "other.1.exr", "beauty.9.png"});
    SamplePart depth = samplePartOf({"Z"});
    depth.tiled = true;
    depth.dataWindow = {{5, 5}, {14, 9}};
    depth.compression = Imf::NO_COMPRESSION;
    frame("beauty.9.exr", {SamplePart(), depth});
    bytes("beauty.11.exr", "not a frame");
    const ProcessResult result = example({dir.file("beauty.####.exr")});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exitCode, 0);
    const std::string plain =
        "{\"channels\":[\"A\",\"B\",\"G\",\"R\"],\"compression\":\"zip\",\"size\":[64,36],\"storage\":"
        "\"scanline\"}";
    EXPECT_EQ(result.out,
              "{\"frame\":9,\"parts\":[" + plain +
                  ",{\"channels\":[\"Z\"],\"compression\":\"none\",\"size\":[10,5],\"storage\":\"tiled\"}]}\n"
                  "{\"frame\":10,\"parts\":[" +
                  plain +
                  "]}\n"
                  "{\"frame\":11,\"parts\":[]}\n");
}

TEST_F(HeadersAsJsonTest, WantsOnePathOfAFrame) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"noSlash"}, {"/a.1.exr", "/b.1.exr"}}) {
        const ProcessResult result = example(arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "usage: headersAsJson <directory>/<frame>\n");
    }
}
