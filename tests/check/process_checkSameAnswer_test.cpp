// SPDX-License-Identifier: BSD-3-Clause
// The verdicts on a sequence are the same however it is checked: with one job or eight, without a cache, with an
// empty, a partly filled and a full one, in one run and in runs of some frames, on a fast disk and on a slow one.
#include "tests/support/CheckTest.h"
#include "tests/support/Patterns.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

using Arguments = std::vector<std::string>;

// Sequences of each shard; $KX_ROUNDS makes them more.
int rounds() {
    const char* const asked = std::getenv("KX_ROUNDS");
    return asked ? std::atoi(asked) : 2;
}

class CheckSameAnswerTest : public CheckTest, public ::testing::WithParamInterface<unsigned> {
protected:
    // What a run says of each frame, a JSON line a frame, but for the time that it took and where it was known
    // from.
    std::string framesOf(Arguments arguments, const ProcessOptions& options = {}) const {
        arguments.insert(arguments.end(), {"--json", "-", "--frames", list, "a.0001.exr"});
        const ProcessResult result = check(arguments, options);
        EXPECT_LE(result.exitCode, 3) << result.err;
        EXPECT_EQ(result.err, "");
        std::string lines;
        for (const Match& line : allMatches(result.out, "\\{[^\\n]*\"type\":\"frame\"[^\\n]*\\n")) lines += line[0];
        return withReplaced(lines, "\"cached\":true,|,\"seconds\":[^,}]*", "");
    }

    // In runs that follow each other, and that find nothing or all in a cache.
    std::string framesOfChunks(int chunks, const Arguments& further) const {
        std::string lines;
        for (int i = 1; i <= chunks; ++i) {
            Arguments arguments = {"--chunk", std::to_string(i) + "/" + std::to_string(chunks)};
            arguments.insert(arguments.end(), further.begin(), further.end());
            lines += framesOf(arguments);
        }
        return lines;
    }

    static ProcessOptions slowDisk() {
        ProcessOptions delayed;
        delayed.preload = KX_WATCHED_CALLS;
        delayed.environment = {"KX_DELAY=200", "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0"};
        return delayed;
    }

    std::string list;  // of --frames
};

}  // namespace

TEST_P(CheckSameAnswerTest, HoweverASequenceIsChecked) {
    std::mt19937 random(GetParam());
    for (int round = 0; round < rounds() && !HasFailure(); ++round) {
        const int count = 3 + static_cast<int>(random() % 22);
        randomSequence("a.", count, random);
        list = "1-" + std::to_string(count);
        SCOPED_TRACE("round " + std::to_string(round) + ", frames " + list);
        const std::string expected = framesOf({"--jobs", "1"});
        ASSERT_EQ(std::count(expected.begin(), expected.end(), '\n'), count);
        EXPECT_EQ(framesOf({"--jobs", "8"}), expected);
        EXPECT_EQ(framesOf({"--jobs", "3", "--cache", "c"}), expected) << "the cache is empty";
        EXPECT_EQ(framesOf({"--cache", "c"}), expected) << "the cache is full";
        EXPECT_EQ(framesOf({"--jobs", "4"}, slowDisk()), expected);
        // Which frames repeat others is looked for within a run.
        const int chunks = 2 + static_cast<int>(random() % 4);
        const std::string alone = framesOf({"--ignore", "repeated"});
        EXPECT_EQ(framesOfChunks(chunks, {"--ignore", "repeated"}), alone) << chunks << " chunks";
        EXPECT_EQ(framesOfChunks(chunks, {"--ignore", "repeated", "--cache", "c"}), alone);
        for (const std::string& entry : dir.entries()) fs::remove_all(dir.file(entry));
    }
}

INSTANTIATE_TEST_SUITE_P(RandomSequences, CheckSameAnswerTest, ::testing::Range(0U, 10U));
