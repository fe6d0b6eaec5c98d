// SPDX-License-Identifier: BSD-3-Clause
// What holds for --delete and --move-to in random directories: exactly the bad frames that are old enough go, as
// far as no guard holds them, nothing else changes, and what goes has its line. Several runs at once do no more and
// no less. $KX_ROUNDS is the number of directories here and in removal_disturbed_test, in place of 120.
#include "tests/support/RemovalTest.h"

#include <memory>

namespace {

TEST_P(RemovalTest, ExactlyTheOldBadFramesGoAndAllElseStays) {
    std::size_t gone = 0;
    for (int i = removalRounds(6); i > 0 && !HasFailure(); --i) {
        makeDirectory(true);
        const RemovalOptions options = anyOptions();
        const Removals removals = expected(options);
        const Disk before = disk();
        const std::vector<std::string> words = command(options);
        RunningCheck run(words, frames);
        expectProperEnd(run.finish());
        SCOPED_TRACE(joined(words) + "\n" + run.output());
        EXPECT_EQ(plannedIn(run.output()), removals.planned);
        if (!removals.isHeld) {
            EXPECT_EQ(keptIn(run.output()), without(removals.planned, removals.gone));
        }
        EXPECT_EQ(run.output().find("nothing removed: ") != std::string::npos, removals.isHeld);
        expectGone(before, removals.gone, options);
        gone += removals.gone.size();
    }
    EXPECT_GE(gone, static_cast<std::size_t>(removalRounds(6))) << "hardly anything was to be removed";
}

// What a frame is held against is what the others are, which goes in part while another run looks: none differs
// here.
TEST_P(RemovalTest, SeveralRunsRemoveWhatOneWould) {
    for (int i = removalRounds(2); i > 0 && !HasFailure(); --i) {
        makeDirectory(false);
        const RemovalOptions options = anyOptions();
        const Removals removals = expected(options);
        const Disk before = disk();
        std::vector<std::unique_ptr<RunningCheck>> runs;
        for (int run = 2 + below(3); run > 0; --run)
            runs.push_back(std::make_unique<RunningCheck>(command(options), frames));
        NameSet planned;
        for (const auto& run : runs) {
            expectProperEnd(run->finish());
            planned.merge(plannedIn(run->output()));
        }
        SCOPED_TRACE(joined(command(options)) + "\n" + runs.front()->output());
        EXPECT_EQ(planned, removals.planned);
        expectGone(before, removals.gone, options);
    }
}

INSTANTIATE_TEST_SUITE_P(Random, RemovalTest, ::testing::Range(0U, removalShards));

}  // namespace
