// SPDX-License-Identifier: BSD-3-Clause
// What the tool asks of the file system, counted by a preloaded library: over a network each call is a wait.
#include "tests/support/ToolTest.h"
#include "tests/support/plainLayout.h"

#include <OpenEXRConfig.h>

#include <filesystem>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

namespace {

using Counts = std::map<std::string, long>;

class OperationsTest : public ToolTest {
protected:
    // Frames 1 .. count of one kind.
    void writeFrames(int count, const SamplePart& part = SamplePart()) {
        for (int i = 1; i <= count; ++i) frame("beauty." + std::to_string(i) + ".exr", part);
    }

    Counts countsOfRun(const std::string& name = "beauty.1.exr") const {
        const TempDir logs;
        ProcessOptions preloaded;
        preloaded.preload = KX_WATCHED_CALLS;
        preloaded.environment = {"KX_CALL_COUNTS=" + logs.file("counts"),
                                 "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0"};
        const ProcessResult result = tool({dir.file(name)}, preloaded);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        std::istringstream lines(readFileBytes(logs.file("counts")));
        Counts counts;
        std::string call;
        while (lines >> call) lines >> counts[call];
        return counts;
    }

    // What `more` further frames like the first two add to a run; how many bytes are read goes to addedBytes.
    Counts countsOfFurtherFrames(int more, const SamplePart& part = SamplePart()) {
        writeFrames(2, part);
        const Counts few = countsOfRun();
        writeFrames(2 + more, part);
        Counts added = countsOfRun();
        for (auto& [call, count] : added) count -= few.at(call);
        addedBytes = added.at("bytes");
        added.erase("bytes");
        return added;
    }

    long sizeOfFrame() const { return static_cast<long>(fs::file_size(dir.file("beauty.1.exr"))); }

    long addedBytes = 0;
};

// From 3.3 on the EXR library asks for the size of the open file, and reads the file's first eight bytes by
// themselves.
constexpr bool exrLibraryAsksTwice = OPENEXR_VERSION_MAJOR * 100 + OPENEXR_VERSION_MINOR >= 303;
constexpr long statsPerFrame = exrLibraryAsksTwice ? 2 : 1;
constexpr long readsPerFrame = exrLibraryAsksTwice ? 2 : 1;

// What frames with a short header take.
Counts onceEach(long frames) {
    return {{"opendir", 0},
            {"open", frames},
            {"stat", frames * statsPerFrame},
            {"read", frames * readsPerFrame},
            {"close", frames}};
}

// A header of 1000 channels takes the lengths of their names and some 25 KiB.
SamplePart partWithLongHeader(std::size_t nameLength) {
    std::vector<std::string> names;
    for (int i = 0; i < 1000; ++i) names.push_back(std::string(nameLength, 'n') + std::to_string(i) + ".R");
    return samplePartOf(names);
}

// Samples that take more than half a megabyte.
SamplePart largePart() {
    SamplePart part;
    part.displayWindow = part.dataWindow = {{0, 0}, {299, 299}};
    part.compression = Imf::NO_COMPRESSION;
    return part;
}

TEST_F(OperationsTest, OneOpenReadCloseAndStatPerFrame) {
    EXPECT_EQ(countsOfFurtherFrames(50), onceEach(50));
}

TEST_F(OperationsTest, TiledFrameTakesNoMore) {
    SamplePart part;
    part.tiled = true;
    EXPECT_EQ(countsOfFurtherFrames(50, part), onceEach(50));
}

TEST_F(OperationsTest, HeaderBeyondTheFirstReadTakesMoreReadsOnly) {
    Counts added = countsOfFurtherFrames(10, partWithLongHeader(100));
    EXPECT_GT(added["read"], 10 * readsPerFrame);
    added["read"] = 10 * readsPerFrame;
    EXPECT_EQ(added, onceEach(10));
}

TEST_F(OperationsTest, LongHeaderTakesNoMoreWhereItIsReadAtOnce) {
    if (exrLibraryAsksTwice) GTEST_SKIP() << "this EXR library reads as it likes";
    EXPECT_EQ(countsOfFurtherFrames(10, partWithLongHeader(5)), onceEach(10));
}

TEST_F(OperationsTest, OfLargeFramesOnlyTheStartIsRead) {
    countsOfFurtherFrames(50, largePart());
    EXPECT_GT(sizeOfFrame(), 500000);
    EXPECT_LE(addedBytes, 50 * 65536);
    EXPECT_GT(addedBytes, 50 * 300);
}

TEST_F(OperationsTest, SmallFramesAreReadOnce) {
    countsOfFurtherFrames(50);
    EXPECT_LE(addedBytes, 50 * sizeOfFrame() + (exrLibraryAsksTwice ? 50 * 8 : 0));
}

// Ten parts of 200 chunks each: with tables of zeros the library before 3.3 looks at all of them to find their
// places.
TEST_F(OperationsTest, UnfinishedFrameIsReadThroughFewTimes) {
    SamplePart part;
    part.displayWindow = part.dataWindow = {{0, 0}, {99, 199}};
    part.compression = Imf::ZIPS_COMPRESSION;
    part.pixels = SamplePixels::noise;
    frame("beauty.1.exr", std::vector<SamplePart>(10, part));
    const long whole = countsOfRun().at("bytes");
    std::string unfinished = readFileBytes(dir.file("beauty.1.exr"));
    const PlainLayout layout = plainLayout(unfinished);
    ASSERT_EQ(layout.chunks.size(), 2000U);
    for (const PlainChunk& chunk : layout.chunks) putPlainNumber(unfinished, chunk.entry, 8, 0);
    bytes("beauty.1.exr", unfinished);
    const Counts counts = countsOfRun();
    EXPECT_LE(counts.at("bytes"), whole + 4 * sizeOfFrame());
    EXPECT_GE(counts.at("bytes"), static_cast<long>(layout.headersEnd));
}

TEST_F(OperationsTest, MissingFramesTakeNothing) {
    frames({"beauty.1.exr", "beauty.2.exr"});
    const Counts without = countsOfRun();
    fs::rename(dir.file("beauty.2.exr"), dir.file("beauty.200.exr"));
    EXPECT_EQ(countsOfRun(), without);
}

TEST_F(OperationsTest, FilesOfOtherSequencesTakeNothing) {
    frames({"beauty.1.exr"});
    const Counts alone = countsOfRun();
    frames({"diffuse.1.exr", "diffuse.2.exr", "beauty.2.tif"});
    EXPECT_EQ(countsOfRun(), alone);
}

// Beside a sequence of one frame it saves the listing, an opendir and its close.
TEST_F(OperationsTest, SingleFileIsAskedForOnceAndNothingIsListed) {
    frames({"still.exr", "beauty.1.exr"});
    Counts expected = countsOfRun("beauty.1.exr");
    --expected["opendir"];
    --expected["close"];
    EXPECT_EQ(countsOfRun("still.exr"), expected);
}

TEST_F(OperationsTest, DirectoryIsOpenedToTestItAndToListIt) {
    frames({"beauty.1.exr"});
    EXPECT_EQ(countsOfRun().at("opendir"), 2);
}

}  // namespace
