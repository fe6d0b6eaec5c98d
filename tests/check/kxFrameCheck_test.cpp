// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameCheck.h"

#include "shared/kxMemoryLimit.h"
#include "tests/support/CheckedFile.h"
#include "tests/support/ExrKinds.h"
#include "tests/support/JpegPicture.h"
#include "tests/support/PaintedFrames.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

const PaintedPart painted{
    {{"A", plainPaint(1)}, {"R", [](int x, int, int) { return static_cast<float>(x) / 16; }}}};

FileReport checked(const std::string& bytes, bool wantsPreview = false) {
    const TempDir dir;
    EXPECT_TRUE(writeFileBytes(dir.file("a.exr"), bytes));
    FileCheck check{QByteArray::fromStdString(dir.file("a.exr"))};
    check.wantsPreview = wantsPreview;
    return checkFrame(check);
}

// The exit code of a process that does this; what it uses of memory is its own.
int inProcess(const std::function<int()>& work) {
    const pid_t process = fork();
    if (process == 0) _exit(work());
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The most memory that the process had at one time, in MiB.
int mostMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<int>(usage.ru_maxrss / 1024);
}

struct LargeFrame {
    const char* name;
    KindPart part;
};

constexpr int width = 3840;
constexpr int height = 2160;

KindPart largePart(Imf::Compression compression) {
    KindPart part;
    part.compression = compression;
    part.dataWindow = part.displayWindow = {{0, 0}, {width - 1, height - 1}};
    return part;
}

std::vector<LargeFrame> largeFrames() {
    LargeFrame tiles{"tiles", largePart(Imf::ZIP_COMPRESSION)};
    tiles.part.tiled = true;
    tiles.part.tileWidth = tiles.part.tileHeight = 256;
    LargeFrame many{"many", largePart(Imf::NO_COMPRESSION)};
    many.part.channels.clear();
    for (const char* name : {"A", "B", "G", "R", "a.X", "a.Y", "a.Z", "n.X", "n.Y", "n.Z"})
        many.part.channels.push_back({name, Imf::FLOAT});
    return {{"zip", largePart(Imf::ZIP_COMPRESSION)},
            {"piz", largePart(Imf::PIZ_COMPRESSION)},
            {"dwab", largePart(Imf::DWAB_COMPRESSION)},
            tiles,
            many};
}

}  // namespace

TEST(FrameCheck, SeesThePictureOfAWholeFile) {
    const FileReport report = checked(paintedBytes({painted}));
    EXPECT_TRUE(report.findings.empty());
    EXPECT_TRUE(report.decoded);
    ASSERT_TRUE(report.picture && report.picture->picture);
    EXPECT_TRUE(report.picture->picture->hasAlpha);
    EXPECT_FALSE(report.picture->isCached);
    EXPECT_TRUE(report.preview.jpeg.isEmpty()) << "nobody asked for one";
    EXPECT_GT(report.seconds, 0);
}

TEST(FrameCheck, MakesAPreviewWhereOneIsWanted) {
    const FileReport report = checked(paintedBytes({painted}), true);
    ASSERT_TRUE(report.picture);
    EXPECT_FALSE(report.preview.jpeg.isEmpty());
    EXPECT_FALSE(report.preview.small.isEmpty());
    EXPECT_EQ(report.preview.width, 16);
    EXPECT_EQ(report.preview.height, 12);
    const FileReport none = checked(paintedBytes({{{{"Z", plainPaint(1)}}}}), true);
    ASSERT_TRUE(none.picture);
    EXPECT_FALSE(none.picture->picture);
    EXPECT_TRUE(none.preview.jpeg.isEmpty());
}

TEST(FrameCheck, HasNoPictureOfWhatWasNotDecodedWhole) {
    std::string bytes = paintedBytes({painted});
    bytes.resize(bytes.size() - 10);
    const FileReport cut = checked(bytes);
    EXPECT_FALSE(cut.decoded);
    EXPECT_FALSE(cut.picture);
    EXPECT_TRUE(cut.preview.jpeg.isEmpty()) << "nobody asked for one";
    EXPECT_EQ(codesOf(cut), std::set<std::string>{"truncated"});
    EXPECT_EQ(codesOf(checkFrame({"/nowhere/a.exr"})), std::set<std::string>{"missing"});
}

TEST(FrameCheck, ShowsWhatCouldBeDecodedOfADamagedFile) {
    PaintedPart white{{{"B", plainPaint(1)}, {"G", plainPaint(1)}, {"R", plainPaint(1)}}};
    white.display = white.data = {{0, 0}, {63, 63}};
    white.compression = Imf::NO_COMPRESSION;
    std::string bytes = paintedBytes({white});
    constexpr std::size_t rowBytes = 8 + 3 * 2 * 64;
    bytes.resize(bytes.size() - 32 * rowBytes);
    const FileReport cut = checked(bytes, true);
    EXPECT_FALSE(cut.decoded || cut.picture);
    const JpegPicture seen = decodedJpeg(cut.preview.jpeg);
    ASSERT_EQ(seen.width, 64);
    ASSERT_EQ(seen.height, 64);
    const auto red = [&seen](std::size_t row) { return seen.rgb[(row * 64 + 32) * 3]; };
    for (const std::size_t row : {0U, 24U}) EXPECT_GT(red(row), 240) << row;
    for (const std::size_t row : {40U, 63U}) EXPECT_LT(red(row), 15) << row;
}

// Nothing is known of which chunks are there: no headers, or a cut before the end of the chunk table.
TEST(FrameCheck, ShowsNothingOfAFileWithoutChunks) {
    const std::string bytes = paintedBytes({painted});
    for (const std::size_t size : {std::size_t{0}, std::size_t{100}, bytes.find("screenWindowWidth") + 34}) {
        const FileReport report = checked(bytes.substr(0, size), true);
        EXPECT_FALSE(report.findings.empty()) << size;
        EXPECT_TRUE(report.preview.jpeg.isEmpty()) << size;
    }
}

TEST(FrameCheck, LooksAtPicturesAtTheLevelOfPixelsOnly) {
    const TempDir dir;
    ASSERT_TRUE(writeFileBytes(dir.file("a.exr"), paintedBytes({painted})));
    for (const Level level : {Level::headers, Level::structure}) {
        const FileReport report = checkFrame({QByteArray::fromStdString(dir.file("a.exr")), level});
        EXPECT_TRUE(report.headers);
        EXPECT_FALSE(report.decoded);
        EXPECT_FALSE(report.picture);
    }
}

TEST(FrameCheck, NeedsAtMost64MiBAnd20BytesAPixel) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer takes memory of its own";
    const TempDir dir;
    const std::string path = dir.file("a.exr");
    for (const LargeFrame& frame : largeFrames()) {
        SCOPED_TRACE(frame.name);
        const int isWritten = inProcess([&] { return writeFileBytes(path, exrBytes({"", {frame.part}})) ? 1 : 0; });
        ASSERT_EQ(isWritten, 1);
        FileCheck check{QByteArray::fromStdString(path)};
        check.wantsPreview = true;
        constexpr int most = 64 + 20 * (width * height >> 10) / 1024;
        const int used = inProcess([&] {
            const FileReport report = checkFrame(check);
            const bool isSeen = report.preview.width > 500;
            return isSeen ? mostMemory() : -1;
        });
        static_assert(most < 255, "an exit code tells");
        RecordProperty(std::string("MiB_") + frame.name, used);
        EXPECT_LE(used, most);
        EXPECT_GE(used, width * height * 4 >> 20) << "less than the picture takes";
    }
}

TEST(FrameCheck, IsALimitWhereThereIsNoMemoryForThePicture) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer takes memory of its own";
    PaintedPart part = painted;
    part.display = {{0, 0}, {16383, 16383}};
    const TempDir dir;
    ASSERT_TRUE(writeFileBytes(dir.file("a.exr"), paintedBytes({part})));
    const int isLimit = inProcess([&] {
        if (!kxLimitFurtherAddressSpace(256 << 20)) return 2;
        const FileReport report = checkFrame({QByteArray::fromStdString(dir.file("a.exr"))});
        return !report.decoded && !report.picture && codesOf(report) == std::set<std::string>{"limit"} ? 1 : 0;
    });
    EXPECT_EQ(isLimit, 1);
}
