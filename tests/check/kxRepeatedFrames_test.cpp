// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxRepeatedFrames.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

using namespace kxCheck;
using Answer = RepeatedFrames::Answer;

namespace {

// The answer before the first and behind each frame: "_" open, "+" reported, "-" left out. `frames` has a "r" for
// one that repeats; the first is compared with none.
std::string answers(const std::string& frames) {
    RepeatedFrames repeated(static_cast<std::int64_t>(frames.size()), static_cast<std::int64_t>(frames.size()) - 1);
    const auto letter = [&repeated] {
        return repeated.answer() == Answer::open ? '_' : repeated.answer() == Answer::reported ? '+' : '-';
    };
    std::string text(1, letter());
    for (std::size_t i = 1; i < frames.size(); ++i) {
        repeated.add(frames[i] == 'r');
        text += letter();
    }
    return text;
}

}  // namespace

TEST(RepeatedFrames, CountWhereAQuarterAtMostRepeats) {
    EXPECT_EQ(answers("..r..r..").back(), '+');
    EXPECT_EQ(answers("..rr.r..").back(), '-');
    EXPECT_EQ(answers("........").back(), '+');
    EXPECT_EQ(answers(".rrrrrrr").back(), '-');
    EXPECT_EQ(answers("..r..r..r").back(), '-') << "three of nine";
    EXPECT_EQ(answers("..r..r..r...").back(), '+') << "three of twelve";
}

TEST(RepeatedFrames, NeedEightFrames) {
    EXPECT_EQ(answers("..r...."), "-------");
    EXPECT_EQ(answers("..r....."), "______++");
    EXPECT_EQ(RepeatedFrames().answer(), Answer::leftOut);
}

TEST(RepeatedFrames, AreDecidedAsSoonAsNoFrameToComeChangesIt) {
    EXPECT_EQ(answers("....rr......"), "__________++");
    EXPECT_EQ(answers(".rrrr......."), "____--------");
    EXPECT_EQ(answers("............"), "________++++");
}

TEST(RepeatedFrames, AreDecidedByThoseReadWhenTheRunEnds) {
    const auto endedAfter = [](const std::string& read, std::int64_t all) {
        RepeatedFrames repeated(all, all - 1);
        for (std::size_t i = 1; i < read.size(); ++i) repeated.add(read[i] == 'r');
        repeated.end(static_cast<std::int64_t>(read.size()));
        return repeated.answer();
    };
    EXPECT_EQ(endedAfter("..r.....", 100), Answer::reported);
    EXPECT_EQ(endedAfter("..rrr...", 100), Answer::leftOut);
    EXPECT_EQ(endedAfter("..r....", 100), Answer::leftOut) << "too few";
    EXPECT_EQ(endedAfter("..r....", 8), Answer::reported) << "was decided before";
}

TEST(RepeatedFrames, NeverTakeAnAnswerBack) {
    std::mt19937 random(3);
    for (int i = 0; i < 2000; ++i) {
        std::string frames(1 + random() % 40, '.');
        const auto share = 2 + random() % 6;
        for (char& frame : frames)
            if (random() % share == 0) frame = 'r';
        const std::string text = answers(frames);
        const auto decided = text.find_first_not_of('_');
        ASSERT_NE(decided, std::string::npos) << frames;
        EXPECT_EQ(text.find_first_not_of(text[decided], decided), std::string::npos) << frames;
    }
}
