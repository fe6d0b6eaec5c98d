// SPDX-License-Identifier: BSD-3-Clause
// What the tool asks of the file system, counted by a preloaded library: over a network each call is a wait.
#include "tests/support/ToolTest.h"

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

    // What `more` further frames like the first two add to a run.
    Counts countsOfFurtherFrames(int more, const SamplePart& part = SamplePart()) {
        writeFrames(2, part);
        const Counts few = countsOfRun();
        writeFrames(2 + more, part);
        Counts added = countsOfRun();
        for (auto& [call, count] : added) count -= few.at(call);
        return added;
    }
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

// 1000 channels: a header of some 25 KiB.
SamplePart partWithLongHeader() {
    std::vector<std::string> names;
    for (int i = 0; i < 1000; ++i) names.push_back("layer" + std::to_string(i) + ".R");
    return samplePartOf(names);
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
    Counts added = countsOfFurtherFrames(10, partWithLongHeader());
    EXPECT_GT(added["read"], 10 * readsPerFrame);
    added["read"] = 10 * readsPerFrame;
    EXPECT_EQ(added, onceEach(10));
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
