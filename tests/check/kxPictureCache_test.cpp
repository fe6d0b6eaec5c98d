// SPDX-License-Identifier: BSD-3-Clause
// Frames checked with a cache, file by file, as a worker does it.
#include "check/kxPictureCache.h"

#include "check/kxFileAge.h"
#include "check/kxFrameCheck.h"
#include "tests/support/ExrKinds.h"
#include "tests/support/PaintedFrames.h"
#include "tests/support/TempDir.h"
#include "tests/support/plainCheck.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

constexpr const char* entryName = "folder/0042.kxc";

std::string gradientFrame(float gain = 1) {
    const auto paint = [gain](int x, int y, int) { return gain * static_cast<float>(x + 3 * y) / 300; };
    PaintedPart part;
    part.display = part.data = {{0, 0}, {99, 59}};
    part.channels = {{"A", plainPaint(1)}, {"B", paint}, {"G", paint}, {"R", paint}};
    return paintedBytes({part});
}

// What of a report a verdict depends on, and all that is shown.
std::string described(const FileReport& report) {
    std::string text = std::to_string(report.decoded) + "\n";
    for (const Finding& finding : report.findings)
        text += std::string(rowOf(finding.code).name) + ": " + finding.text.toStdString() + "\n";
    for (const ChunkCounts& counts : report.chunks)
        text += std::to_string(counts.chunks) + "/" + std::to_string(counts.present) + "\n";
    if (report.headers) text += "parts " + std::to_string(report.headers->size()) + "\n";
    if (!report.picture) return text;
    text += std::to_string(report.picture->hash[0]) + " " + std::to_string(report.picture->hash[1]) + "\n";
    for (const StrangeSamples& s : report.picture->strange)
        text += std::to_string(s.part) + s.channel.toStdString() + " " + std::to_string(s.nan) + " " +
                std::to_string(s.infinite) + "\n";
    if (!report.picture->picture) return text;
    const PictureFacts& facts = *report.picture->picture;
    for (const auto& channel : facts.histogram)
        for (const unsigned bin : channel) text += std::to_string(bin) + " ";
    for (const bool fact : {facts.hasAlpha, facts.isTileMissing, facts.hasDarkCorner, facts.isAlphaMissing,
                            facts.isBlack, facts.isFlat})
        text += fact ? "yes " : "no ";
    for (const auto& range : facts.ranges) {
        char numbers[100] = "none";
        if (range) std::snprintf(numbers, sizeof numbers, "%a %a %a", range->min, range->max, range->mean);
        text += std::string("\n") + numbers;
    }
    return text;
}

class PictureCacheTest : public ::testing::Test {
protected:
    void SetUp() override { write(gradientFrame()); }

    // A file that was changed so many seconds ago.
    void write(const std::string& bytes, int age = 100) { writeAt(bytes, std::time(nullptr) - age); }
    void writeAt(const std::string& bytes, std::time_t seconds) {
        ASSERT_TRUE(writeFileBytes(dir.file("frame.exr"), bytes));
        const timespec time = {seconds, 123456789};
        const timespec times[] = {time, time};
        ASSERT_EQ(utimensat(AT_FDCWD, dir.file("frame.exr").c_str(), times, 0), 0);
    }

    FileReport check(Level level = Level::pixels, bool keeps = true, bool wantsPreview = false) const {
        return checkFrame({QByteArray::fromStdString(dir.file("frame.exr")), level,
                           QByteArray::fromStdString(dir.file(entryName)), keeps, wantsPreview});
    }
    FileReport checkWithoutCache(Level level = Level::pixels) const {
        return checkFrame({QByteArray::fromStdString(dir.file("frame.exr")), level});
    }
    bool isCached(Level level = Level::pixels) const {
        const FileReport report = check(level, false);
        EXPECT_EQ(
            described(level == Level::pixels || report.decoded ? checkWithoutCache() : checkWithoutCache(level)),
            described(report));
        return report.picture && report.picture->isCached;
    }
    bool hasEntry() const { return std::filesystem::exists(dir.file(entryName)); }
    std::string entryBytes() const { return readFileBytes(dir.file(entryName)); }
    void writeEntry(const std::string& bytes) const { ASSERT_TRUE(writeFileBytes(dir.file(entryName), bytes)); }

    TempDir dir;
};

}  // namespace

TEST_F(PictureCacheTest, KeepsWhatPixelsSaid) {
    const FileReport fresh = check();
    EXPECT_FALSE(fresh.picture->isCached);
    EXPECT_EQ(fresh.cacheFault, "");
    EXPECT_TRUE(hasEntry());
    EXPECT_TRUE(isCached());
    EXPECT_TRUE(isCached(Level::structure));
    EXPECT_FALSE(isCached(Level::headers));
    EXPECT_TRUE(check(Level::structure).decoded);
}

TEST_F(PictureCacheTest, KeepsEveryKindOfFile) {
    int kept = 0;
    for (const Kind& kind : exrKinds()) {
        write(exrBytes(kind));
        const FileReport fresh = check();
        if (!hasEntry()) {
            EXPECT_TRUE(fresh.picture && fresh.picture->picture && fresh.picture->picture->isTileMissing)
                << kind.name;
            continue;
        }
        EXPECT_TRUE(isCached()) << kind.name;
        EXPECT_TRUE(isCached(Level::structure)) << kind.name;
        ASSERT_TRUE(std::filesystem::remove(dir.file(entryName)));
        ++kept;
    }
    EXPECT_GT(kept, 20);
}

TEST_F(PictureCacheTest, DecodesNothingWhereThereIsAnEntry) {
    ASSERT_TRUE(check().decoded);
    std::string damaged = readFileBytes(dir.file("frame.exr"));
    struct stat status;
    ASSERT_EQ(stat(dir.file("frame.exr").c_str(), &status), 0);
    damaged[damaged.size() - 20] ^= 0x55;
    ASSERT_TRUE(writeFileBytes(dir.file("frame.exr"), damaged));
    const timespec times[] = {status.st_mtim, status.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, dir.file("frame.exr").c_str(), times, 0), 0);
    EXPECT_TRUE(check().decoded);
    EXPECT_FALSE(checkWithoutCache().decoded);
}

TEST_F(PictureCacheTest, LooksAtHeadersAndStructureAllTheSame) {
    ASSERT_TRUE(check().decoded);
    struct stat status;
    ASSERT_EQ(stat(dir.file("frame.exr").c_str(), &status), 0);
    const std::string sound = readFileBytes(dir.file("frame.exr"));
    for (const std::size_t size : {std::size_t{4}, std::size_t{300}}) {
        std::string cut = sound;
        std::fill(cut.begin() + static_cast<std::ptrdiff_t>(size), cut.end(), '\0');
        ASSERT_TRUE(writeFileBytes(dir.file("frame.exr"), cut));
        const timespec times[] = {status.st_mtim, status.st_mtim};
        ASSERT_EQ(utimensat(AT_FDCWD, dir.file("frame.exr").c_str(), times, 0), 0);
        const FileReport report = check();
        EXPECT_FALSE(report.findings.empty());
        EXPECT_FALSE(report.decoded);
        EXPECT_FALSE(report.picture);
        EXPECT_FALSE(isCached(Level::structure));
    }
}

TEST_F(PictureCacheTest, DecodesAFileOfAnotherSizeOrTimeAgain) {
    ASSERT_TRUE(check().decoded);
    const std::time_t other = std::time(nullptr) - 200;
    writeAt(gradientFrame(), other);
    EXPECT_FALSE(isCached());
    ASSERT_TRUE(check().decoded);
    EXPECT_TRUE(isCached()) << "the entry was replaced";
    writeAt(gradientFrame() + "x", other);
    EXPECT_FALSE(isCached());
    writeAt(gradientFrame(), other);
    EXPECT_TRUE(isCached());
}

TEST_F(PictureCacheTest, KeepsFramesFromTwoSecondsOn) {
    const FileReport report = check();
    const std::int64_t oldEnough = report.identity.modified + 2 * nanosecondsPerSecond;
    EXPECT_TRUE(mayBeCached(report, oldEnough));
    EXPECT_FALSE(mayBeCached(report, oldEnough - 1));
    EXPECT_FALSE(mayBeCached(report, report.identity.modified - 1));
}

TEST_F(PictureCacheTest, KeepsNothingThatMayStillChange) {
    for (const int age : {-1000, -100}) {  // of times to come, so that they are young on a machine that is busy
        write(gradientFrame(), age);
        check();
        EXPECT_FALSE(hasEntry()) << age;
    }
    write(gradientFrame());
    check();
    EXPECT_TRUE(hasEntry());
}

TEST_F(PictureCacheTest, KeepsNoFrameWithErrorsAndNoneThatItIsToldNotTo) {
    check(Level::pixels, false);
    check(Level::structure);
    EXPECT_FALSE(hasEntry());
    std::string bytes = gradientFrame();
    write(bytes.substr(0, bytes.size() - 10));
    check();
    EXPECT_FALSE(hasEntry());
    bytes[bytes.size() - 20] ^= 0x55;
    write(bytes);
    check();
    EXPECT_FALSE(hasEntry());
    PaintedPart lost;  // a bucket in a bright picture
    lost.display = lost.data = {{0, 0}, {255, 255}};
    const auto paint = [](int x, int y, int) { return x >= 64 && x < 128 && y >= 64 && y < 128 ? 0.0F : 0.5F; };
    lost.channels = {{"A", paint}, {"B", paint}, {"G", paint}, {"R", paint}};
    write(paintedBytes({lost}));
    ASSERT_TRUE(check().picture->picture->isTileMissing);
    EXPECT_FALSE(hasEntry());
}

TEST_F(PictureCacheTest, KeepsWarnings) {
    PaintedPart part;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    part.channels = {{"B", plainPaint(0.5F)},
                     {"G", plainPaint(INFINITY)},
                     {"R", [nan](int x, int, int) { return x < 3 ? nan : 0.5F; }},
                     {"depth.Z", plainPaint(INFINITY)}};
    write(paintedBytes({part}));
    check();
    EXPECT_TRUE(isCached());
    EXPECT_EQ(check().picture->strange.size(), 3U);
    part.channels = {{"B", plainPaint(0)}, {"G", plainPaint(0)}, {"R", plainPaint(0)}};
    write(paintedBytes({part}));
    check();
    EXPECT_TRUE(isCached());
    EXPECT_TRUE(check().picture->picture->isBlack);
    part.channels = {{"Z", plainPaint(0)}};
    write(paintedBytes({part}));
    check();
    EXPECT_TRUE(isCached());
    EXPECT_FALSE(check().picture->picture);
    part.channels.clear();
    for (int i = 10; i < 99; ++i) part.channels.push_back({"c" + std::to_string(i), plainPaint(nan)});
    write(paintedBytes({part}));
    EXPECT_EQ(check().cacheFault, "");
    EXPECT_FALSE(isCached()) << "more than there is room for";
    EXPECT_EQ(check().picture->strange.size(), 89U);
}

TEST_F(PictureCacheTest, GivesAPreviewFromTheThumbnail) {
    check();
    const FileReport fresh =
        checkFrame({QByteArray::fromStdString(dir.file("frame.exr")), Level::pixels, "", false, true});
    const FileReport cached = check(Level::pixels, true, true);
    ASSERT_TRUE(cached.picture->isCached);
    EXPECT_EQ(cached.preview.width, fresh.preview.width);
    EXPECT_EQ(cached.preview.height, fresh.preview.height);
    EXPECT_EQ(cached.preview.jpeg.left(2), "\xff\xd8");
    EXPECT_EQ(cached.preview.small.left(2), "\xff\xd8");
    EXPECT_EQ(described(cached), described(fresh));
    EXPECT_TRUE(check().preview.jpeg.isEmpty());
}

TEST_F(PictureCacheTest, DecodesAgainWhereTheThumbnailIsDamaged) {
    check();
    const std::string good = entryBytes();
    writeEntry(good.substr(0, good.size() - 3));
    EXPECT_TRUE(isCached()) << "what is used is there";
    const FileReport report = check(Level::pixels, true, true);
    EXPECT_FALSE(report.picture->isCached);
    EXPECT_FALSE(report.preview.jpeg.isEmpty());
    PlainCacheFile entry{};
    EXPECT_TRUE(readPlainCacheFile(entryBytes(), entry)) << "the entry was replaced";
    std::string empty = plainInflate(good, 761188);
    plainSetNumber(empty, 1160, 4, 0);
    plainSetNumber(empty, 1164, 4, 0);
    plainSetNumber(empty, 1168, 4, 0);
    writeEntry(plainDeflate(empty));
    EXPECT_TRUE(isCached());
    EXPECT_FALSE(check(Level::pixels, false, true).picture->isCached) << "a picture without thumbnail";
}

TEST_F(PictureCacheTest, KeepsFramesWithoutPictureWithoutThumbnail) {
    PaintedPart part;
    part.channels = {{"Z", plainPaint(2)}};
    write(paintedBytes({part}));
    check();
    EXPECT_TRUE(check(Level::pixels, false, true).picture->isCached);
}

TEST_F(PictureCacheTest, WritesEntriesForOtherPrograms) {
    check();
    PlainCacheFile entry{};
    ASSERT_TRUE(readPlainCacheFile(entryBytes(), entry));
    struct stat status;
    ASSERT_EQ(stat(dir.file("frame.exr").c_str(), &status), 0);
    EXPECT_EQ(entry.fileTime, status.st_mtim.tv_sec * 1000000000LL + status.st_mtim.tv_nsec);
    EXPECT_EQ(entry.fileSize, status.st_size);
    EXPECT_EQ(entry.errorFlags, 0);
    EXPECT_TRUE(entry.histogramValid);
    EXPECT_TRUE(entry.valid);
    EXPECT_EQ(entry.sourceWidth, 100);
    EXPECT_EQ(entry.sourceHeight, 60);
    EXPECT_EQ(entry.bitsPerChannel, 16);
    EXPECT_EQ(entry.formatText, "Half Float, zip, A B G R");
    EXPECT_EQ(entry.flags, 1);
    EXPECT_EQ(entry.width, 100);
    EXPECT_EQ(entry.height, 60);
    EXPECT_EQ(entry.analyseValue1, 0);
    unsigned blue = 0;
    for (const unsigned bin : entry.histogram[2]) blue += bin;
    EXPECT_GT(blue, 59000U);

    kxCHK::_SingleImageView view;
    view.fileTime = _kxTime(entry.fileTime);
    view.fileSize = entry.fileSize;
    EXPECT_TRUE(view.testNloadFromFile(QString::fromStdString(dir.file(entryName))));
    kxCHK::_SingleImageFile file;
    ASSERT_TRUE(file.loadFromFile(QString::fromStdString(dir.file(entryName)), nullptr));
    file.exportTo(view);
    EXPECT_EQ(view.checkPending, 0);
}

TEST_F(PictureCacheTest, TakesNoEntryOfAnotherProgramOnTrust) {
    check();
    kxCHK::_SingleImageFile file;
    ASSERT_TRUE(file.loadFromFile(QString::fromStdString(dir.file(entryName)), nullptr));
    kxCHK::_SingleImageView view;
    file.exportTo(view);
    view.thumbnail->formatText = QStringLiteral("OpenEXR half");
    kxCHK::_SingleImageFile other;
    other.ImportFrom(view);
    ASSERT_EQ(other.saveToFile(QString::fromStdString(dir.file(entryName))), QString());
    EXPECT_FALSE(isCached());
    check();
    EXPECT_TRUE(isCached());
}

TEST_F(PictureCacheTest, UsesNoEntryThatIsDamaged) {
    check();
    const std::string good = entryBytes();
    const std::string inflated = plainInflate(good, 761188);
    const std::string damaged[] = {"",
                                   "x",
                                   good.substr(0, 100),
                                   good.substr(0, 300),
                                   std::string(5000, '\0'),
                                   plainDeflate(std::string(761188, '\0')),
                                   plainDeflate(inflated.substr(0, 1187)),
                                   std::string(3, 'x') + good};
    for (const std::string& bytes : damaged) {
        writeEntry(bytes);
        EXPECT_FALSE(isCached()) << bytes.size();
    }
    for (std::size_t offset : {0U, 5U, 13U, 100U, 637U, 845U, 900U, 1000U, 1153U, 1157U}) {
        std::string spoiled = inflated;
        spoiled[offset] ^= 0x40;
        writeEntry(plainDeflate(spoiled));
        EXPECT_FALSE(isCached()) << offset;
    }
    for (std::size_t at = 0; at < 900; at += 13) {
        std::string spoiled = good;
        spoiled[at] ^= 0x10;
        writeEntry(spoiled);
        check(Level::pixels, false);
        isCached();
    }
    writeEntry(good);
    EXPECT_TRUE(isCached());
}

TEST_F(PictureCacheTest, UsesNothingThatIsNoFile) {
    std::filesystem::create_directories(dir.file(entryName));
    EXPECT_FALSE(isCached());
    EXPECT_NE(check().cacheFault, "");
    std::filesystem::remove(dir.file(entryName));
    ASSERT_EQ(mkfifo(dir.file(entryName).c_str(), 0600), 0);
    EXPECT_FALSE(isCached());
    EXPECT_EQ(check().cacheFault, "") << "it is replaced";
    EXPECT_TRUE(isCached());
    std::filesystem::remove(dir.file(entryName));
    for (const char* const target : {"nowhere", "0042.kxc", "/dev/zero", "/proc/self/mem"}) {
        std::filesystem::create_symlink(target, dir.file(entryName));
        EXPECT_FALSE(isCached()) << target;
        std::filesystem::remove(dir.file(entryName));
    }
}

TEST_F(PictureCacheTest, SaysWhyAnEntryCouldNotBeWritten) {
    ASSERT_TRUE(writeFileBytes(dir.file("folder"), ""));
    FileReport report = check();
    EXPECT_EQ(report.cacheFault, "Not a directory");
    EXPECT_TRUE(report.decoded);
    EXPECT_TRUE(report.findings.empty());
    std::filesystem::remove(dir.file("folder"));
    report = checkFrame({QByteArray::fromStdString(dir.file("frame.exr")), Level::pixels,
                         QByteArray::fromStdString(dir.file("no/folder/0042.kxc")), true, false});
    EXPECT_EQ(report.cacheFault, "No such file or directory");
    EXPECT_TRUE(report.decoded);
}
