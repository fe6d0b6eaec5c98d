// SPDX-License-Identifier: BSD-3-Clause
// Which slots have a file that may be opened.
#include "tests/support/MemoryFolder.h"
#include "tests/support/SequenceDir.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace {

// One letter for each slot: "+" has a file, "-" has none.
std::string filesOf(const _kxViewSequence& record) {
    std::string text;
    for (int i = 0; i < record.imageCount; ++i) text += record.hasFile(i) ? '+' : '-';
    return text;
}

std::string filesOf(const std::vector<std::string>& names, const std::string& typed) {
    SequenceDir files(names);
    files.find(typed);
    return filesOf(files.record());
}

TEST(HasFileTest, FoundFramesHaveAFileAndGapsHaveNone) {
    EXPECT_EQ(filesOf({"b.1.exr", "b.2.exr", "b.5.exr"}, "b.#.exr"), "++--+");
    EXPECT_EQ(filesOf({"b_0001.exr", "b.2.exr"}, "b*.exr"), "++");
    EXPECT_EQ(filesOf({"comp.exr"}, "comp.exr"), "+");
}

// The path of a gap is "b..exr".
TEST(HasFileTest, AGapHasNoneWhateverBearsItsName) {
    EXPECT_EQ(filesOf({"b.1.exr", "b.3.exr", "b..exr"}, "b.#.exr"), "+-+");
}

TEST(HasFileTest, AFrameTextThatWasCutNamesAnotherFile) {
    EXPECT_EQ(filesOf({"b.0000000000000001.exr", "b.000000000000000.exr"}, "b.#.exr"), "+-");
}

TEST(HasFileTest, WhereLetterCaseDiffersTheDiskDecides) {
    EXPECT_EQ(filesOf({"B.1.exr", "b.2.exr"}, "b.#.exr"), "-+");
    EXPECT_EQ(filesOf({"B.1.exr", "b.1.exr"}, "b.#.exr"), "++") << "both are read as b.1.exr";
    SequenceDir files({"B.1.exr"});
    ASSERT_EQ(mkfifo(files.dir.file("b.1.exr").c_str(), 0600), 0);
    files.find("b.#.exr");
    EXPECT_EQ(filesOf(files.record()), "-") << "a pipe";
}

// Nothing of this folder is on the disk.
TEST(HasFileTest, WhereLetterCaseDiffersTheGivenFolderDecides) {
    const auto record = std::make_unique<_kxViewSequence>();
    ASSERT_TRUE(record->imageDirFileFromString(QStringLiteral("/nowhere/b.#.exr")));
    MemoryFolder folder("/nowhere/", std::vector<std::string>{"b.1.exr", "B.2.exr", "B.4.exr"});
    record->findSequence(kxFrames::DiscoverySettings(), folder);
    ASSERT_EQ(record->imageCount, 4);
    MemoryFolder later("/nowhere/", std::vector<std::string>{"b.2.exr", "b.3.exr"});
    const std::pair<bool, bool> expected[] = {{true, true}, {false, true}, {false, false}, {false, false}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(record->hasFile(i, folder), expected[i].first) << i;
        EXPECT_EQ(record->hasFile(i, later), expected[i].second) << i;
    }
}

// Files come in the order of the directory; 30 of them are hardly in order.
TEST(HasFileTest, WhatIsKnownMovesWithTheSlots) {
    std::vector<std::string> names;
    std::string expected;
    for (int frame = 101; frame <= 130; ++frame) {
        const bool isTyped = frame % 3 != 0;
        names.push_back((isTyped ? "b." : "B.") + std::to_string(frame) + ".exr");
        expected += isTyped ? '+' : '-';
    }
    EXPECT_EQ(filesOf(names, "b.#.exr"), expected);
    names.erase(names.begin() + 10, names.begin() + 20);
    expected.replace(10, 10, "----------");
    EXPECT_EQ(filesOf(names, "b.#.exr"), expected);
}

TEST(HasFileTest, ARefreshForgetsFilesThatWent) {
    SequenceDir files({"b.1.exr", "b.2.exr"});
    files.find("b.#.exr");
    ASSERT_EQ(remove(files.dir.file("b.1.exr").c_str()), 0);
    files.find("b.#.exr");
    EXPECT_EQ(filesOf(files.record()), "-+");
}

TEST(HasFileTest, ASlotFilledByHandIsLookedForOnTheDisk) {
    SequenceDir files({"b.1.exr"});
    files.split("b.#.exr");
    EXPECT_FALSE(files.record().hasFile(0));
    files.slot(0).fileFound = true;
    files.slot(0).frameText = "1";
    EXPECT_TRUE(files.record().hasFile(0));
    files.slot(0).frameText = "2";
    EXPECT_FALSE(files.record().hasFile(0));
}

}  // namespace
