// SPDX-License-Identifier: BSD-3-Clause
// kxCheckFrames with --delete and --move-to in random directories, and what may be different afterwards.
#pragma once

#include "tests/support/CheckTest.h"
#include "tests/support/RemovalModel.h"
#include "tests/support/RunningCheck.h"

#include <cstddef>
#include <ctime>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>

using NameSet = std::set<std::string>;
NameSet without(const NameSet& some, const NameSet& others);

struct DirectoryEntry {
    std::string
        text;  // of all that a run may never change: bytes, kind, permissions, owner, time, which file it is
    nlink_t links = 0;
    timespec changed = {};  // counts where the file has no other name that may go
};
using Entries = std::map<std::string, DirectoryEntry>;
NameSet namesIn(const Entries& entries);

// The files whose lines say that they are to go, or that they were kept after all.
NameSet plannedIn(const std::string& output);
NameSet keptIn(const std::string& output);
bool hasTotal(const std::string& output);

// How many of ten directories a test takes of the 120, or of $KX_ROUNDS, that this shard has a part of.
constexpr unsigned removalShards = 4;
int removalRounds(int ofTen);

// Each seed makes other directories.
class RemovalTest : public ::testing::TestWithParam<unsigned> {
protected:
    static constexpr int hour = 3600;

    void SetUp() override;
    // What links lead to, and files with a second name in the directory, must be as they were.
    void TearDown() override;

    int below(std::size_t limit);
    bool oneIn(int count);
    template <class List>
    const auto& anyOf(const List& list) {
        return list[static_cast<std::size_t>(below(list.size()))];
    }

    // A new directory of up to three sequences: frames good and bad, of many ages and modes, links, names of files
    // that have another one, what is no file, gaps; and others that no run is asked about.
    void makeDirectory(bool hasOtherShapes);
    // An empty one with one sequence, of which makeFrame() makes the frames.
    void makeEmptySequence();
    void makeFrame(int number, const FrameContent& content, int age);
    const FrameContent& anyContent(bool hasOtherShapes);

    RemovalOptions anyOptions();
    // The program and its arguments for all sequences of the directory.
    std::vector<std::string> command(const RemovalOptions& options);
    [[nodiscard]] Removals expected(const RemovalOptions& options) const;

    struct Disk {
        Entries frames;
        Entries moved;
    };
    [[nodiscard]] Disk disk() const;
    // Those of the names before that are there no more.
    [[nodiscard]] NameSet goneSince(const Disk& before) const;
    // Those files are gone, or whole in the other directory, and all else is as it was.
    void expectGone(const Disk& before, const NameSet& gone, const RemovalOptions& options) const;

    std::mt19937 random{GetParam()};
    const TempDir root = memoryDir();
    const std::string frames = root.file("frames/");
    const std::string moved = root.file("moved/");
    const std::string outside = root.file("outside/");
    std::map<std::string, std::string> bytesOf;  // of contents, by name
    std::vector<ModelSequence> sequences;

private:
    void clear();
    void makeSequence(const std::string& prefix, const std::string& suffix, bool hasOtherShapes);
    void makeEntry(ModelFrame& frame);
    void makeFile(ModelFrame& frame, int age);
    void makeUncheckable(ModelFrame& frame);
    void makeOthers();
    void makeTaken();

    Entries outsideBefore_;
    bool isWhole_ = false;  // the directory is asked about, not its sequences
};

// Seconds since the file was changed; a link's own.
void setAge(const std::string& path, int age);
std::string joined(const std::vector<std::string>& words);
// Ended by itself, and having checked.
void expectProperEnd(int end);
