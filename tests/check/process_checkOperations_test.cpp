// SPDX-License-Identifier: BSD-3-Clause
// What kxCheckFrames and its workers ask of the file system and of the heap, counted by preloaded libraries: over a
// network each call is a wait. None of it grows with the number of frames.
#include "shared/kxMemoryLimit.h"
#include "tests/support/CheckTest.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

namespace {

using Counts = std::map<std::string, double>;

class CheckOperationsTest : public CheckTest {
protected:
    // The counts of a run with these further arguments over all frames.
    Counts countsOfRun(const std::vector<std::string>& arguments, int exitCode = 0) {
        ProcessOptions preloaded;
        preloaded.preload = KX_WATCHED_CALLS;
        preloaded.environment = {"KX_CALL_COUNTS=" + logs.file("counts"),
                                 "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0"};
        run(arguments, preloaded, exitCode);
        std::istringstream lines(readFileBytes(logs.file("counts")));
        Counts counts;
        std::string call;
        while (lines >> call) lines >> counts[call];
        return counts;
    }

    // What all processes together got from the heap.
    Counts allocationsOfRun(const std::vector<std::string>& arguments) {
        ProcessOptions preloaded;
        preloaded.preload = KX_ALLOCATION_COUNTS;
        preloaded.environment = {"KX_ALLOCATION_COUNTS=" + logs.file("counts")};
        run(arguments, preloaded);
        std::istringstream numbers(readFileBytes(logs.file("counts")));
        Counts counts;
        numbers >> counts["allocations"] >> counts["bytes"];
        return counts;
    }

    void run(std::vector<std::string> arguments, const ProcessOptions& options, int exitCode = 0) {
        arguments.insert(arguments.end(), {"-j", "1", "beauty.####.exr"});
        const ProcessResult result = check(arguments, options);
        EXPECT_EQ(result.exitCode, exitCode) << result.out << result.err;
    }

    void writeFrames(int first, int last) {
        for (int i = first; i <= last; ++i) {
            SamplePart part = soundPart(i);
            part.pixels = SamplePixels::noise;
            part.phase = i;
            part.displayWindow = part.dataWindow = {{0, 0}, {127, 127}};
            frame("beauty." + std::to_string(1000 + i) + ".exr", part);
        }
    }

    // What each further frame adds, from `few` frames to `many`.
    template <class CountsOf>
    Counts perFrame(int few, int many, const CountsOf& countsOf) {
        writeFrames(1, few);
        const Counts before = leastOf(countsOf);
        writeFrames(few + 1, many);
        Counts added = leastOf(countsOf);
        for (auto& [what, count] : added) count = (count - before.at(what)) / (many - few);
        return added;
    }

    // Of a few runs: a worker that a busy machine leaves waiting for a second loses its frames to others, and some
    // are looked at twice.
    template <class CountsOf>
    static Counts leastOf(const CountsOf& countsOf) {
        Counts least = countsOf();
        for (int more = 0; more < 2; ++more)
            for (const auto& [what, count] : countsOf()) least[what] = std::min(least[what], count);
        return least;
    }

    [[nodiscard]] double sizeOfFrame() const {
        return static_cast<double>(fs::file_size(dir.file("beauty.1001.exr")));
    }

    const TempDir logs;
};

// What a frame may take at most. What workers are told counts as read too, once for many frames.
void expectAtMost(const Counts& most, const Counts& counts) {
    for (const auto& [what, limit] : most) EXPECT_LE(counts.at(what), limit) << what;
}

}  // namespace

TEST_F(CheckOperationsTest, HeadersTakeOneOpenAndOneRead) {
    const Counts counts = perFrame(4, 24, [&] { return countsOfRun({"--level", "headers"}); });
    expectAtMost({{"opendir", 0}, {"open", 1}, {"stat", 2}, {"read", 1.5}, {"close", 1}, {"bytes", 8300}}, counts);
}

TEST_F(CheckOperationsTest, StructureTakesTheEndOfTheFileMore) {
    const Counts counts = perFrame(4, 24, [&] { return countsOfRun({"--level", "structure"}); });
    expectAtMost({{"opendir", 0}, {"open", 1}, {"stat", 2}, {"read", 2.5}, {"close", 1}, {"bytes", 2 * 8300}},
                 counts);
}

// Headers first, of all frames; then all of each file once.
TEST_F(CheckOperationsTest, PixelsAreReadOnce) {
    const Counts counts = perFrame(4, 24, [&] { return countsOfRun({}); });
    expectAtMost({{"opendir", 0}, {"open", 2}, {"stat", 4}, {"close", 2}, {"bytes", sizeOfFrame() + 3 * 8300}},
                 counts);
    EXPECT_LE(counts.at("read"), 8);
}

TEST_F(CheckOperationsTest, FramesInACacheTakeTheirStructureAndTheBeginningOfTheirEntry) {
    const std::vector<std::string> arguments = {"--cache", logs.file("cache")};
    const Counts counts = perFrame(4, 24, [&] {
        run(arguments, {});
        return countsOfRun(arguments);
    });
    expectAtMost({{"opendir", 0}, {"open", 2}, {"stat", 3}, {"read", 4}, {"close", 2}, {"bytes", 3 * 8300}},
                 counts);
}

TEST_F(CheckOperationsTest, MissingFramesTakeNothing) {
    writeFrames(1, 3);
    writeFrames(5, 5);
    const auto countsFor = [&](const std::string& frames) {
        return leastOf([&] { return countsOfRun({"--level", "structure", "--frames", frames}, 1); });
    };
    const Counts few = countsFor("1001-1005");
    // A worker may be ended before or after it waits for more, and what is read of the system's state differs.
    for (const auto& [what, count] : countsFor("1001-24000,1000000-1000500"))
        EXPECT_NEAR(count, few.at(what), what == "bytes" ? 100 : 3) << what;
}

TEST_F(CheckOperationsTest, AllocationsPerFrameAreFewAndDoNotGrow) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer has a heap of its own";
    const struct {
        std::vector<std::string> arguments;
        double allocations, bytes;
    } cases[] = {{{"--level", "headers"}, 200, 160e3}, {{"--level", "structure"}, 200, 160e3}, {{}, 500, 700e3}};
    for (const auto& c : cases) {
        const auto counts = [&] { return allocationsOfRun(c.arguments); };
        const Counts few = perFrame(4, 24, counts);
        EXPECT_GE(few.at("allocations"), 1) << "they are counted";
        expectAtMost({{"allocations", c.allocations}, {"bytes", c.bytes}}, few);
        const Counts many = perFrame(24, 224, counts);
        EXPECT_LE(many.at("allocations"), 1.1 * few.at("allocations"));
        EXPECT_LE(many.at("bytes"), 1.1 * few.at("bytes"));
        for (const std::string& entry : dir.entries()) fs::remove(dir.file(entry));
    }
}
