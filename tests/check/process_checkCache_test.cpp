// SPDX-License-Identifier: BSD-3-Clause
// Runs with a cache say what runs without one do, whatever is in it and whoever else uses it.
#include "tests/support/CheckTest.h"
#include "tests/support/Patterns.h"
#include "tests/support/plainCheck.h"

#include <algorithm>
#include <filesystem>
#include <future>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

class CheckCacheProcessTest : public CheckTest {
protected:
    // Everything that is known of the frames of "a.####.exr" but what differs with a cache.
    std::string all(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--json", "-", "--strict", "a.0001.exr"});
        const std::string text = described(check(arguments));
        return withReplaced(text, "\"cached\":true,|,\"seconds\":[^,}]*", "");
    }
    int cachedFrames() const {
        const std::string text = check({"--cache", "c", "--json", "-", "a.0001.exr"}).out;
        int count = 0;
        for (std::size_t at = text.find("\"cached\":true"); at != std::string::npos;
             at = text.find("\"cached\":true", at + 1))
            ++count;
        return count;
    }

    // Names below the cache's folders, sorted.
    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(dir.file("c")))
            if (!entry.is_directory()) names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    void expectWholeEntries() const {
        for (const auto& entry : fs::recursive_directory_iterator(dir.file("c"))) {
            if (entry.path().extension() != ".kxc") continue;
            PlainCacheFile file{};
            EXPECT_TRUE(readPlainCacheFile(readFileBytes(entry.path().string()), file)) << entry.path();
        }
    }
};

}  // namespace

TEST_F(CheckCacheProcessTest, FindsTheSameWithoutWithAnEmptyAndWithAFullCache) {
    std::mt19937 random(7);
    std::set<std::string> codes;
    int cached = 0;
    for (int round = 0; round < 12; ++round) {
        randomSequence("a.", 16, random);
        const std::vector<std::string> jobs{"--jobs", std::to_string(1 + round % 4)};
        const std::string expected = all(jobs);
        for (const Match& code : allMatches(expected, "\"code\":\"([a-z-]*)\"")) codes.insert(code[1]);
        const std::vector<std::string> withCache{jobs[0], jobs[1], "--cache", "c"};
        fs::remove_all(dir.file("c"));  // these files may have the size and the second of those before
        EXPECT_EQ(all(withCache), expected) << "nothing is in the cache";
        EXPECT_EQ(all(withCache), expected) << "all that can be is in it";
        cached += cachedFrames();
        for (const auto& entry : fs::recursive_directory_iterator(dir.file("c")))
            if (!entry.is_directory() && random() % 2 == 0) fs::remove(entry.path());
        EXPECT_EQ(all(withCache), expected) << "some of them are in it";
    }
    EXPECT_GT(cached, 60);
    for (const char* const expected : {"nan", "inf", "black", "flat", "repeated", "jump", "differs", "truncated"})
        EXPECT_EQ(codes.count(expected), 1U) << expected;
}

TEST_F(CheckCacheProcessTest, DecodesSoundFramesOnce) {
    frames("a.", 1, 5);
    EXPECT_EQ(cachedFrames(), 0);
    EXPECT_EQ(entries(), (std::vector<std::string>{"0001.kxc", "0002.kxc", "0003.kxc", "0004.kxc", "0005.kxc"}));
    EXPECT_EQ(cachedFrames(), 5);
    SamplePart other = soundPart(3);
    other.pixels = SamplePixels::noise;
    frame("a.0003.exr", other);
    makeYoung("a.0004.exr");
    EXPECT_EQ(cachedFrames(), 3) << "one has another size, one another time";
    EXPECT_EQ(cachedFrames(), 4) << "a young file is not kept";
    EXPECT_EQ(outcome({"--cache", "c", "--verbose", "a.0001.exr"}), outcome({"--verbose", "a.0001.exr"}));
}

TEST_F(CheckCacheProcessTest, KeepsNoFrameWithErrors) {
    mixedSequence();
    frames("one.", 7, 7);
    check({"--cache", "c", "beauty.1001.exr"});
    EXPECT_EQ(entries(), (std::vector<std::string>{"1001.kxc", "1002.kxc", "1007.kxc", "1009.kxc", "1010.kxc"}))
        << "1005 differs from the others";
    fs::remove_all(dir.file("c"));
    check({"--cache", "c", "--require-multipart", "one.0007.exr"});
    EXPECT_EQ(entries(), std::vector<std::string>{});
    check({"--cache", "c", "--single", "one.0007.exr"});
    EXPECT_EQ(entries(), std::vector<std::string>{"single.kxc"});
}

TEST_F(CheckCacheProcessTest, LooksForPixelsOnly) {
    frames("a.", 1, 2);
    check({"--cache", "c", "--level", "structure", "a.0001.exr"});
    EXPECT_FALSE(fs::exists(dir.file("c")));
    EXPECT_EQ(outcome({"--cache", "no/c", "--level", "structure", "--list", "bad", "a.0001.exr"}), "\nexit 0");
}

TEST_F(CheckCacheProcessTest, GoesOnWithoutACacheThatCanNotBeUsed) {
    frames("a.", 1, 2);
    bytes("file", "");
    const std::string good = "a.####.exr  1-2  64x36  4 channels half  zip\ntotal 2: 2 good, N s\n";
    EXPECT_EQ(outcome({"--cache", "no/c", "a.0001.exr"}),
              good + "2> kxCheckFrames: no cache in no/c: No such file or directory\nexit 0");
    EXPECT_EQ(outcome({"--cache", "file", "a.0001.exr"}),
              good + "2> kxCheckFrames: no cache in file: Not a directory\nexit 0");
    EXPECT_EQ(outcome({"--cache", "", "a.0001.exr"}),
              "2> kxCheckFrames: --cache: the value is empty; write --cache=DIR\nexit 2");
}

TEST_F(CheckCacheProcessTest, SaysOnceThatEntriesCanNotBeWritten) {
    frames("a.", 1, 6);
    // A build that counts coverage writes a file at its end.
    const std::string program =
        "ulimit -f 1; export LLVM_PROFILE_FILE=/dev/null; exec \"$0\" --cache c --verbose a.0001.exr";
    ProcessOptions options;
    options.workingDirectory = dir.path();
    const ProcessResult result = runProcess({"/bin/bash", "-c", program, checkPath()}, options);
    EXPECT_EQ(withoutSeconds(result.out), withoutSeconds(check({"--verbose", "a.0001.exr"}).out));
    EXPECT_EQ(result.err, "kxCheckFrames: a.0001.exr is not kept in c: File too large\n");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(entries(), std::vector<std::string>{}) << "no temporary file stays";
}

TEST_F(CheckCacheProcessTest, SeveralRunsShareACache) {
    frames("a.", 1, 30);
    const std::string expected = all({});
    for (int round = 0; round < 3; ++round) {
        fs::remove_all(dir.file("c"));
        std::vector<std::future<std::string>> runs;
        for (int i = 0; i < 3; ++i)
            runs.push_back(std::async(std::launch::async, [this] { return all({"--cache", "c"}); }));
        for (auto& run : runs) EXPECT_EQ(run.get(), expected);
        expectWholeEntries();
        EXPECT_EQ(entries().size(), 30U);
    }
    EXPECT_EQ(cachedFrames(), 30);
}

TEST_F(CheckCacheProcessTest, ARunThatIsKilledLeavesNothingThatIsMistaken) {
    frames("a.", 1, 40);
    const std::string expected = all({});
    ProcessOptions options;
    options.workingDirectory = dir.path();
    std::mt19937 random(3);
    std::size_t most = 0;
    for (int round = 0; round < 25; ++round) {
        const std::string time = "0." + std::to_string(10 + random() % 60);
        const std::string atTime = "timeout -s KILL " + time + " \"$0\" --cache c -j 3 a.0001.exr";
        // In each first round with an empty cache as soon as there is something in it, however slow the machine is.
        const std::string atFirstEntry =
            "set -m; \"$0\" --cache c -j 3 a.0001.exr & until ls c/*/*.kxc; do sleep 0.01; done; "
            "kill -KILL -- -$!; wait";
        runProcess({"/bin/bash", "-c", round % 5 == 0 ? atFirstEntry : atTime, checkPath()}, options);
        if (fs::exists(dir.file("c"))) {
            expectWholeEntries();
            most = std::max(most, entries().size());
        }
        if (round % 5 == 4) fs::remove_all(dir.file("c"));
    }
    EXPECT_GT(most, 0U);
    EXPECT_EQ(all({"--cache", "c"}), expected);
    ASSERT_TRUE(writeFileBytes(dir.file("c/.kxCache-1-2-3.tmp"), "half"));
    EXPECT_EQ(all({"--cache", "c"}), expected);
    EXPECT_EQ(cachedFrames(), 40);
}

TEST_F(CheckCacheProcessTest, ThePageHasPicturesOfFramesThatWereNotDecoded) {
    frames("a.", 1, 4);
    const auto pictures = [this](const char* report) {
        const std::string page = readFileBytes(dir.file(report));
        int count = 0;
        for (auto at = page.find("data:image/jpeg"); at != std::string::npos;
             at = page.find("data:image/jpeg", at + 1))
            ++count;
        return count;
    };
    check({"--cache", "c", "--report", "fresh.html", "a.0001.exr"});
    ASSERT_EQ(cachedFrames(), 4);
    check({"--cache", "c", "--report", "cached.html", "a.0001.exr"});
    EXPECT_GE(pictures("fresh.html"), 4);
    EXPECT_EQ(pictures("cached.html"), pictures("fresh.html"));
}
