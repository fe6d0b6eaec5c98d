// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxSequenceArgument.h"

#include "tests/support/SequenceDir.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using kxCheck::findSequences;
using kxCheck::FoundSequence;
using kxCheck::FoundSequences;
using kxCheck::NamesMean;
using Names = std::vector<std::string>;

QByteArray bytes(const std::string& text) {
    return QByteArray::fromStdString(text);
}

// Files in a directory, and what arguments in it mean.
class SequenceArgumentTest : public testing::Test {
protected:
    void write(const Names& names) const {
        for (const std::string& name : names) {
            fs::create_directories(fs::path(dir.file(name)).parent_path());
            ASSERT_TRUE(writeFileBytes(dir.file(name), ""));
        }
    }

    FoundSequences find(const Names& arguments, NamesMean mean = NamesMean::sequences) const {
        std::vector<QByteArray> paths;
        for (const std::string& argument : arguments) paths.push_back(bytes(dir.file(argument)));
        return findSequences(paths, mean);
    }

    // "beauty.####.exr: 0001 0002; comp.exr: +" and each problem in a line of its own, without the directory's
    // path.
    std::string told(const Names& arguments, NamesMean mean = NamesMean::sequences) const {
        return told(find(arguments, mean));
    }

    std::string told(const FoundSequences& found) const {
        std::string text;
        for (const FoundSequence& sequence : found.sequences) {
            text += (text.empty() ? "" : "; ") + shownPath(sequence).toStdString() + ":";
            for (const kxCheck::FrameFile& file : sequence.files) {
                text += " ";
                if (file.tile) text += std::to_string(*file.tile) + "/";
                text += sequence.name.isSingle ? "+" : file.text.toStdString();
            }
        }
        for (const QByteArray& problem : found.problems) text += "\n" + problem.toStdString();
        for (auto at = text.find(dir.path()); at != std::string::npos; at = text.find(dir.path()))
            text.erase(at, dir.path().size());
        return text;
    }

    TempDir dir = memoryDir();
};

TEST_F(SequenceArgumentTest, FrameMeansItsSequence) {
    write({"beauty.0001.exr", "beauty.0003.exr", "beauty.0002.exr", "beauty.0002.tif", "other.0001.exr", "notes"});
    const std::string all = "beauty.####.exr: 0001 0002 0003";
    for (const char* const name :
         {"beauty.0001.exr", "beauty.9.exr", "beauty.####.exr", "beauty.*.exr", "beauty.%04d.exr", "beauty.$F4.exr",
          "beauty.@@.exr", "beauty*.exr", "beauty#.exr"})
        EXPECT_EQ(told({name}), all) << name;
}

TEST_F(SequenceArgumentTest, NameThatIsThereIsNoPattern) {
    for (const std::string start : {"a@@b.", "x%04d_v", "cost$F.", "shot#", "a*b."}) {
        write({start + "1.exr", start + "2.exr"});
        EXPECT_EQ(told({start + "1.exr"}), start + "####.exr: 1 2");
    }
    write({"b.####.exr", "b.1.exr"});
    EXPECT_EQ(told({"b.####.exr"}), "b.####.exr: +");
    EXPECT_EQ(told({"b.#.exr"}), "b.####.exr: 1");
}

TEST_F(SequenceArgumentTest, LetterCaseIsExact) {
    write({"beauty.0001.exr", "Beauty.0002.exr", "beauty.0003.EXR"});
    EXPECT_EQ(told({"beauty.0001.exr"}), "beauty.####.exr: 0001");
    EXPECT_EQ(told({"beauty.#.EXR"}), "beauty.####.EXR: 0003");
    EXPECT_EQ(told({"BEAUTY.#.exr"}), "BEAUTY.####.exr:");
}

TEST_F(SequenceArgumentTest, SequenceNamedTwiceCountsOnce) {
    write({"b.1.exr", "b.2.exr", "c.1.exr", "comp.exr"});
    EXPECT_EQ(told({"b.1.exr", "b.2.exr", "c.1.exr", "comp.exr", "b.#.exr", "comp.exr"}),
              "b.####.exr: 1 2; c.####.exr: 1; comp.exr: +");
    EXPECT_EQ(told({"./b.1.exr", "b.1.exr", ""}).substr(0, 4), "./b.");
    EXPECT_EQ(find({"./b.1.exr", "b.1.exr", ""}).sequences.size(), 3U);
}

TEST_F(SequenceArgumentTest, DirectoryReachedInTwoWaysIsOne) {
    write({"a/b.1.exr"});
    ASSERT_EQ(symlink("a", dir.file("link").c_str()), 0);
    EXPECT_EQ(told({"a", "link", "link/b.1.exr"}), "a/b.####.exr: 1");
}

TEST_F(SequenceArgumentTest, DirectoryMeansAllItsSequencesInByteOrder) {
    write({"b.2.exr", "b.1.exr", "B.1.exr", "b_1_x.exr", "b_1_a.EXR", "comp.exr", ".hidden.1.exr", "notes.1.txt",
           "below/c.1.exr", "t_tile01_.1.exr", "t_tile00_.1.exr", "floor_tile1.exr"});
    fs::create_directory(dir.file("dir.1.exr"));
    const std::string all =
        "B.####.exr: 1; b.####.exr: 1 2; b_####_a.EXR: 1; b_####_x.exr: 1; comp.exr: +; floor_tile####.exr: 1; "
        "t_tile##_.####.exr: 0/1 1/1";
    EXPECT_EQ(told({""}), all);
    EXPECT_EQ(told({"below/.."}).find("below/../B.####.exr: 1; "), 0U);
    EXPECT_EQ(told({"below"}), "below/c.####.exr: 1");
    EXPECT_EQ(told({"below/"}), "below/c.####.exr: 1");
}

TEST_F(SequenceArgumentTest, DirectoryMayHaveTheNameOfAFrame) {
    write({"take.0001.exr/b.1.exr", "take.0002.exr", "shot1.final/c.1.exr", "shot2.final/d.1.exr"});
    EXPECT_EQ(told({"take.0001.exr"}), "take.0001.exr/b.####.exr: 1");
    ASSERT_EQ(symlink("take.0001.exr", dir.file("link.0001.exr").c_str()), 0);
    ASSERT_EQ(symlink("take.0002.exr", dir.file("link.0002.exr").c_str()), 0);
    EXPECT_EQ(told({"link.0001.exr"}), "link.0001.exr/b.####.exr: 1");
    EXPECT_EQ(told({"link.0002.exr"}), "link.####.exr: 0001 0002");
    EXPECT_EQ(told({"shot1.final", "shot2.final"}), "shot1.final/c.####.exr: 1; shot2.final/d.####.exr: 1");
}

TEST_F(SequenceArgumentTest, DirectoryWithoutFramesIsAProblem) {
    write({"below/notes.txt"});
    EXPECT_EQ(told({"below"}), "\nkxCheckFrames: below/: no file in it ends in .exr");
}

TEST_F(SequenceArgumentTest, NoSuchDirectoryIsAProblemToldOnce) {
    EXPECT_EQ(told({"none/b.1.exr", "none/c.1.exr", "none/comp.exr"}),
              "\nkxCheckFrames: none/: No such file or directory");
    EXPECT_EQ(told({"none"}), "\nkxCheckFrames: none: No such file or directory");
    write({"file"});
    EXPECT_EQ(told({"file/b.1.exr"}), "\nkxCheckFrames: file/: Not a directory");
}

TEST_F(SequenceArgumentTest, ProblemsAreLinesWithoutControlCharacters) {
    EXPECT_EQ(told({"a\nb\x1b/b.1.exr"}), "\nkxCheckFrames: a\\nb\\x1b/: No such file or directory");
}

TEST_F(SequenceArgumentTest, OneProblemDoesNotKeepFromTheOthers) {
    write({"b.1.exr"});
    EXPECT_EQ(told({"none/x.1.exr", "b.1.exr"}), "b.####.exr: 1\nkxCheckFrames: none/: No such file or directory");
}

TEST_F(SequenceArgumentTest, SequenceWithoutFilesIsASequence) {
    write({"other.1.exr"});
    EXPECT_EQ(told({"b.####.exr"}), "b.####.exr:");
    EXPECT_EQ(told({"comp.exr"}), "comp.exr:");
}

TEST_F(SequenceArgumentTest, SingleFilesAreTheirOwnSequence) {
    write({"comp.exr", "noext", "comp_v001.exr", "comp_v002.exr"});
    EXPECT_EQ(told({"comp.exr"}), "comp.exr: +");
    EXPECT_EQ(told({"noext"}), "noext: +");
    EXPECT_EQ(told({"comp_v001.exr"}), "comp_v####.exr: 001 002");
    EXPECT_EQ(told({"comp_v001.exr"}, NamesMean::singleFiles), "comp_v001.exr: +");
    EXPECT_EQ(told({"comp_v003.exr"}, NamesMean::singleFiles), "comp_v003.exr:");
    EXPECT_EQ(told({"comp_v001.exr", "comp_v002.exr", "comp_v001.exr"}, NamesMean::singleFiles),
              "comp_v001.exr: +; comp_v002.exr: +");
    EXPECT_EQ(told({""}, NamesMean::singleFiles), "comp.exr: +; comp_v001.exr: +; comp_v002.exr: +");
}

TEST_F(SequenceArgumentTest, DirectoryMayMeanNumberedSequencesOnly) {
    write({"b.1.exr", "slate.exr", "below/slate.exr"});
    constexpr auto numbered = NamesMean::numberedSequences;
    EXPECT_EQ(told({""}, numbered), "b.####.exr: 1");
    EXPECT_EQ(told({"", "slate.exr"}, numbered), "b.####.exr: 1; slate.exr: +");
    EXPECT_EQ(told({"below"}, numbered),
              "\nkxCheckFrames: below/: no file in it has a frame number and ends in .exr");
}

TEST_F(SequenceArgumentTest, SingleNamesHoldNoPattern) {
    write({"comp_####.exr", "comp_0001.exr"});
    EXPECT_EQ(told({"comp_####.exr"}, NamesMean::singleFiles), "comp_####.exr: +");
}

TEST_F(SequenceArgumentTest, EntriesOfAnyKindAreFrames) {
    write({"b.1.exr"});
    ASSERT_EQ(mkfifo(dir.file("b.2.exr").c_str(), 0600), 0);
    ASSERT_EQ(symlink("nowhere", dir.file("b.3.exr").c_str()), 0);
    fs::create_directory(dir.file("b.4.exr"));
    EXPECT_EQ(told({"b.1.exr"}), "b.####.exr: 1 2 3 4");
    ASSERT_EQ(symlink("nowhere", dir.file("comp.exr").c_str()), 0);
    EXPECT_EQ(told({"comp.exr"}), "comp.exr: +");
}

TEST_F(SequenceArgumentTest, WildcardMeansASequenceForEachSeparator) {
    write({"b.1.exr", "b.2.exr", "b_1.exr", "b3.exr", "bx.1.exr"});
    EXPECT_EQ(told({"b*.exr"}), "b####.exr: 3; b.####.exr: 1 2; b_####.exr: 1");
    EXPECT_EQ(told({"b*.exr", "b.1.exr"}), "b####.exr: 3; b.####.exr: 1 2; b_####.exr: 1");
    EXPECT_EQ(told({"b3.exr"}), "b####.exr: 3");
}

TEST_F(SequenceArgumentTest, TilesAreFound) {
    write({"b_tile00_.0001.exr", "b_tile02_.0001.exr", "b_tile00_.0002.exr", "b.0001.exr", "b_tile30_.0001.exr"});
    const std::string tiles = "b_tile##_.####.exr: 0/0001 2/0001 0/0002";
    EXPECT_EQ(told({"b_tile00_.0001.exr"}), tiles);
    EXPECT_EQ(told({"b_tile07_.####.exr"}), tiles);
    EXPECT_EQ(told({"b_tile30_.0001.exr"}), "b_tile30_.####.exr: 0001");
}

TEST_F(SequenceArgumentTest, WhatOnlyLooksLikeATilePatternIsTakenByItsLetters) {
    write({"floor_tile0001.exr", "floor_tile0002.exr"});
    EXPECT_EQ(told({"floor_tile####.exr"}), "floor_tile####.exr: 0001 0002");
}

TEST_F(SequenceArgumentTest, FilesOfOneNumberStandByTheLengthOfTheirText) {
    write({"b.001.exr", "b.1.exr", "b.01.exr", "b.-1.exr", "b.0000000000000001.exr", "b.2.exr"});
    EXPECT_EQ(told({"b.1.exr"}), "b.####.exr: -1 1 01 001 2 0000000000000001");
}

TEST_F(SequenceArgumentTest, NamesAreBytes) {
    const std::string name = "Sch\xf6n\xc3\xb6 \x01\xff.";
    write({name + "1.exr"});
    const FoundSequences found = find({name + "1.exr"});
    ASSERT_EQ(found.sequences.size(), 1U);
    EXPECT_EQ(shownPath(found.sequences[0]), bytes(dir.file(name + "####.exr")));
    ASSERT_EQ(found.sequences[0].files.size(), 1U);
    EXPECT_EQ(found.sequences[0].files[0].name, bytes(name + "1.exr"));
}

TEST_F(SequenceArgumentTest, SignsOfPatternsInDirectoriesAreLetters) {
    write({"a*b#%d/b.1.exr"});
    EXPECT_EQ(told({"a*b#%d/b.1.exr"}), "a*b#%d/b.####.exr: 1");
    EXPECT_EQ(told({"a*b#%d/b.#.exr"}), "a*b#%d/b.####.exr: 1");
}

TEST_F(SequenceArgumentTest, BackslashSeparatesDirectories) {
    write({"a/b.1.exr"});
    EXPECT_EQ(told({"a\\b.1.exr"}), "a/b.####.exr: 1");
}

TEST_F(SequenceArgumentTest, NamesWithoutSlashAreInTheCurrentDirectory) {
    write({"b.1.exr"});
    const fs::path before = fs::current_path();
    fs::current_path(dir.path());
    const std::string plain = told(findSequences({"b.1.exr"}, NamesMean::sequences));
    const std::string dotted = told(findSequences({"./b.1.exr", "b.1.exr"}, NamesMean::sequences));
    const std::string directory = told(findSequences({"."}, NamesMean::sequences));
    fs::current_path(before);
    EXPECT_EQ(plain, "b.####.exr: 1");
    EXPECT_EQ(dotted, "./b.####.exr: 1");
    EXPECT_EQ(directory, "./b.####.exr: 1");
}

TEST_F(SequenceArgumentTest, DirectoryWithoutPermissionIsAProblemButForSingleFiles) {
    write({"a/b.1.exr", "a/comp.exr", "a/noext", "closed/below/b.1.exr"});
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(dir.file("a").c_str(), 0111), 0);
    ASSERT_EQ(chmod(dir.file("closed").c_str(), 0000), 0);
    constexpr uid_t ordinaryUser = 65534;  // everything is permitted to the privileged one
    const uid_t user = geteuid();
    ASSERT_TRUE(user != 0 || seteuid(ordinaryUser) == 0);
    const std::string sequence = told({"a/b.1.exr"});
    const std::string single = told({"a/comp.exr"});
    const std::string without = told({"a/noext", "a/none"});
    const std::string below = told({"closed/below"});
    ASSERT_EQ(seteuid(user), 0);
    EXPECT_EQ(sequence, "\nkxCheckFrames: a/: Permission denied");
    EXPECT_EQ(single, "a/comp.exr: +");
    EXPECT_EQ(without, "a/noext: +\nkxCheckFrames: a/none: No such file or directory");
    EXPECT_EQ(below, "\nkxCheckFrames: closed/below: Permission denied");
    ASSERT_EQ(chmod(dir.file("closed").c_str(), 0700), 0);
    ASSERT_EQ(chmod(dir.file("a").c_str(), 0700), 0);
}

TEST_F(SequenceArgumentTest, ManyFramesAmongManyEntriesAreFound) {
    Names names;
    Names arguments;
    for (int i = 1; i <= 25000; ++i) {
        names.push_back("b." + std::to_string(i) + ".exr");
        names.push_back("c_" + std::to_string(i) + ".comp.exr");
        arguments.push_back(names[names.size() - 2]);
    }
    write(names);
    const FoundSequences one = find({"b.1.exr"});
    ASSERT_EQ(one.sequences.size(), 1U);
    EXPECT_EQ(one.sequences[0].files.size(), 25000U);
    EXPECT_EQ(one.sequences[0].files[24999].number, 25000);

    const FoundSequences expanded = find(arguments);
    ASSERT_EQ(expanded.sequences.size(), 1U);
    EXPECT_EQ(expanded.sequences[0].files.size(), 25000U);

    const FoundSequences all = find({""});
    ASSERT_EQ(all.sequences.size(), 2U);
    EXPECT_EQ(all.sequences[1].files.size(), 25000U);
}

}  // namespace
