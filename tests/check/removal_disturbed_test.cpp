// SPDX-License-Identifier: BSD-3-Clause
// Removals from random directories while files are replaced, and by runs that are killed.
//
// A file that was replaced after its check stays. A killed run promises: what is gone is bad and old enough and has
// its line, as all lines are out before the first file goes; a file that is moved is whole in one directory (in
// both where the file system can't rename without overwriting). What it owes are lines of files that were kept
// after all.
#include "tests/support/RemovalTest.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

class ReplacedFramesTest : public RemovalTest {
protected:
    // Long enough for a run that is held back to be far from its removals.
    void makeLongSequence() {
        makeEmptySequence();
        for (int number = 1; number <= 40; ++number) makeFrame(number, anyContent(false), hour);
    }

    // One sequence as a whole, whatever goes.
    RemovalOptions anyPlainOptions() {
        RemovalOptions options = anyOptions();
        options.removeMost = true;
        options.frames.reset();
        options.chunks = options.chunk = 1;
        return options;
    }

    // Gives whether the file may go after all: only one that is bad again, if it is the one that is checked.
    bool replace(const ModelFrame& frame) {
        const std::string path = frames + frame.name;
        const FrameContent& content =
            oneIn(2) ? frameContents()[static_cast<std::size_t>(below(2))] : anyContent(false);
        const int way = below(6);
        if (way == 0) {  // touched
            setAge(path, 2 * hour);
            return true;
        }
        if (way == 1) {  // written again where it is
            EXPECT_TRUE(writeFileBytes(path, bytesOf[content.name]));
            setAge(path, 3 * hour);
            return !content.code.empty();
        }
        const std::string other = root.file("other");
        if (way == 2)
            fs::create_symlink("../outside/" + content.name, other);
        else
            EXPECT_TRUE(writeFileBytes(other, bytesOf[content.name]));
        setAge(other, hour);
        fs::rename(other, path);
        return way != 2 && !content.code.empty();
    }

    // Replaces some files while the run stands still before its removals; false when it may have come further.
    bool disturb(RunningCheck& run) {
        EXPECT_TRUE(run.readLines(static_cast<std::size_t>(2 + below(18))));
        const NameSet judgedBefore = plannedIn(run.outputSoFar());
        replaced.clear();
        mayGo.clear();
        for (const ModelFrame& frame : sequences.front().frames) {
            if (!oneIn(3)) continue;
            replaced.insert(frame.name);
            if (replace(frame) && judgedBefore.count(frame.name) == 0) mayGo.insert(frame.name);
        }
        before = disk();
        return !hasTotal(run.outputSoFar());
    }

    NameSet replaced;
    NameSet mayGo;  // those of them that are checked as they are now
    Disk before;
};

TEST_P(ReplacedFramesTest, WhatWasReplacedAfterItsCheckStays) {
    int disturbed = 0;
    const int wanted = removalRounds(2);
    for (int i = 0; disturbed < wanted && i < 4 * wanted && !HasFailure(); ++i) {
        makeLongSequence();
        const RemovalOptions options = anyPlainOptions();
        const Removals removals = expected(options);
        std::vector<std::string> words = command(options);
        words.emplace_back("-v");
        RunningCheck run(words, frames, true);
        if (!disturb(run)) continue;
        ++disturbed;
        expectProperEnd(run.finish());
        SCOPED_TRACE(joined(words) + "\n" + run.output());
        const NameSet gone = goneSince(before);
        EXPECT_EQ(without(gone, replaced), without(removals.gone, replaced));
        EXPECT_EQ(without(gone, mayGo), without(gone, replaced)) << "was not what was checked";
        EXPECT_EQ(without(gone, plannedIn(run.output())), NameSet()) << "without a line";
        EXPECT_EQ(without(plannedIn(run.output()), gone), keptIn(run.output()));
        expectGone(before, gone, options);
    }
    EXPECT_EQ(disturbed, wanted) << "runs are not held back here";
}

// Every third file is bad but young: the lines of those that are kept let a run be held back between removals.
class KilledRemovalTest : public RemovalTest {
protected:
    void makeBadSequence() {
        const FrameContent& good = frameContents()[0];
        const FrameContent& cut = frameContents()[3];
        makeEmptySequence();
        for (int number = 1; number <= 90; ++number)
            makeFrame(number, number % 6 == 0 ? good : cut, number % 3 == 2 ? -1000 : hour);
    }

    // In most runs between two removals, as the lines tell that are out.
    void killSomewhere(RunningCheck& run) {
        if (oneIn(5)) {
            EXPECT_TRUE(run.readLines(static_cast<std::size_t>(1 + below(60))));
        } else {
            EXPECT_TRUE(run.readToLine("total "));
            for (int line = below(20); line > 0; --line) EXPECT_TRUE(run.readToLine(""));
        }
        for (volatile int wait = below(30000); wait > 0;) wait = wait - 1;
        run.kill();
        run.finish();
    }
};

TEST_P(KilledRemovalTest, WhatIsGoneHasItsLineAndTheNextRunRemovesTheRest) {
    const int kills = removalRounds(3);
    int struck = 0;
    // Where runs can't be held back more are tried.
    for (int i = 0; (i < kills || (2 * struck < kills && i < 4 * kills)) && !HasFailure(); ++i) {
        makeBadSequence();
        RemovalOptions options;
        options.level = below(3);
        options.removeMost = true;
        if (oneIn(2)) options.moveTo = "../moved";
        const Removals removals = expected(options);
        const Disk before = disk();
        RunningCheck killed(command(options), frames, true);
        killSomewhere(killed);
        SCOPED_TRACE(killed.output());
        const NameSet gone = goneSince(before);
        EXPECT_EQ(without(gone, removals.gone), NameSet());
        EXPECT_EQ(without(gone, plannedIn(killed.output())), NameSet()) << "without a line";
        EXPECT_TRUE(gone.empty() || hasTotal(killed.output()));
        expectGone(before, gone, options);
        if (!gone.empty() && gone != removals.gone) ++struck;

        RunningCheck next(command(options), frames);
        EXPECT_EQ(next.finish(), 1);
        expectGone(before, removals.gone, options);
    }
    EXPECT_GE(2 * struck, kills) << "hardly any run was killed while it removed";
    RecordProperty("killedWhileRemoving", struck);
}

INSTANTIATE_TEST_SUITE_P(Random, ReplacedFramesTest, ::testing::Range(100U, 100U + removalShards));
INSTANTIATE_TEST_SUITE_P(Random, KilledRemovalTest, ::testing::Range(200U, 200U + removalShards));

}  // namespace
