// SPDX-License-Identifier: BSD-3-Clause
// The seam between sequences and the disk: the folder of the disk, and discovery in folders that are nowhere.
#include "image/kxFrameSource.h"

#include "image/KX_DataTypes_imageList.h"
#include "tests/support/MemoryFolder.h"
#include "tests/support/SequenceDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <random>

using namespace kxFrames;

namespace {

std::string found(FrameSource& source, const std::string& typed, const kxFrames::DiscoverySettings& settings = {}) {
    const auto record = std::make_unique<_kxViewSequence>();
    if (!record->imageDirFileFromString(latin1(typed))) return "not split";
    record->findSequence(settings, source);
    return describe(*record);
}

TEST(FrameSource, DiscoveryNeedsNoDisk) {
    MemoryFolder folder("/nowhere/", {"b.0001.exr", "b.0004.exr", "b.0002.exr", "c.0001.exr", "comp.exr"});
    EXPECT_EQ(found(folder, "/nowhere/b.#.exr"), "1-4/1: 1=0001 2=0002 3 4=0004");
    kxFrames::DiscoverySettings settings;
    settings.end = 3;
    settings.offset = -1;
    EXPECT_EQ(found(folder, "/nowhere/b.#.exr", settings), "1-2/1: 1=0001 2=0002");
    settings = {};
    settings.frameList = QStringLiteral("4, 1");
    EXPECT_EQ(found(folder, "/nowhere/b.#.exr", settings), "1-4/1: 1=0001 4=0004");
    EXPECT_EQ(found(folder, "/nowhere/comp.exr"), "1-1/1: 1=1");
    EXPECT_EQ(found(folder, "/nowhere/missing.exr"), "0-0/1:");
    EXPECT_EQ(found(folder, "/elsewhere/b.#.exr"), "0-0/1:");
}

TEST(FrameSource, SlotsHoldWhatTheFolderSays) {
    MemoryFolder folder("/r/", {{"b.1.exr", {5000000000, _kxTime(77)}}, {"b.2.exr", {12, _kxTime(-3)}}});
    const auto record = std::make_unique<_kxViewSequence>();
    ASSERT_TRUE(record->imageDirFileFromString(QStringLiteral("/r/b.#.exr")));
    record->findSequence({}, folder);
    ASSERT_EQ(record->imageCount, 2);
    EXPECT_EQ(+record->images[0].fileSize, 4200000000);
    EXPECT_TRUE(record->images[0].fileTime == _kxTime(77));
    EXPECT_EQ(+record->images[1].fileSize, 12);
    EXPECT_TRUE(record->images[1].fileTime == _kxTime(-3));
}

TEST(FrameSource, FactsAreAskedForOnceAndOnlyOfFramesThatAreWanted) {
    MemoryFolder folder("/r/", {"b.1.exr", "b.2.exr", "b.3.exr", "c.1.exr", "readme"});
    kxFrames::DiscoverySettings settings;
    settings.start = 2;
    found(folder, "/r/b.#.exr", settings);
    EXPECT_EQ(folder.questions, 2);
}

TEST(FrameSource, FramesInAreThoseWantedInExactLetterCase) {
    MemoryFolder folder("/r/", {{"b.1.exr", {11, _kxTime(1)}},
                                {"B.2.exr", {12, _kxTime(2)}},
                                {"b.003.exr", {13, _kxTime(3)}},
                                {"b.4.exr", {14, _kxTime(4)}}});
    const FramePath path = splitFramePath(QStringLiteral("/r/b.#.exr")).value_or(FramePath());
    const auto upToThree = [](const FrameName& frame) { return frame.number.frame <= 3; };
    const std::vector<FolderEntry> entries = framesIn(folder, path, upToThree);
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(bytesOf(entries[0].name), "b.1.exr");
    EXPECT_EQ(entries[0].facts.size, 11);
    EXPECT_EQ(bytesOf(entries[1].frame.text), "003");
    EXPECT_EQ(entries[1].frame.number.frame, 3);
    EXPECT_TRUE(entries[1].facts.time == _kxTime(3));
    EXPECT_EQ(folder.questions, 2);
}

TEST(DiskFrameSource, HoldsNothingBeforeADirectoryIsListed) {
    DiskFrameSource source;
    EXPECT_FALSE(source.next());
    EXPECT_EQ(source.name(), QString());
    EXPECT_EQ(source.facts().size, -1);
}

TEST(DiskFrameSource, ShowsTheFilesOfADirectory) {
    const SequenceDir files({"b.1.exr"});
    std::filesystem::create_directory(files.dir.file("b.2.exr"));
    std::filesystem::create_symlink("b.1.exr", files.dir.file("b.3.exr"));
    ASSERT_TRUE(writeFileBytes(files.dir.file("b.1.exr"), "12345"));
    DiskFrameSource disk;
    std::vector<std::string> names;
    disk.list(files.dir.qpath(), QString(), QString());
    while (disk.next()) {
        names.push_back(bytesOf(disk.name()));
        EXPECT_EQ(disk.facts().size, 5);
        const std::optional<FileFacts> alone = disk.find(files.dir.qpath() + disk.name());
        ASSERT_TRUE(alone);
        EXPECT_EQ(alone->size, 5);
        EXPECT_TRUE(alone->time == disk.facts().time);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"b.1.exr", "b.3.exr"}));
    EXPECT_FALSE(disk.find(files.dir.qpath() + QStringLiteral("b.2.exr")));
    disk.list(files.dir.qpath() + QStringLiteral("missing/"), QString(), QString());
    EXPECT_FALSE(disk.next());
}

// Few letters, so that prefixes and suffixes match often.
std::string randomText(std::mt19937& random, unsigned longest) {
    const std::string letters = "aAbB.\xE4\xC4\xD7\xF7";
    std::string text(random() % (longest + 1), ' ');
    for (char& c : text) c = letters[random() % letters.size()];
    return text;
}

std::vector<std::string> listedNames(const TempDir& dir, const QString& prefix, const QString& suffix) {
    std::vector<std::string> names;
    DiskFrameSource disk;
    disk.list(dir.qpath(), prefix, suffix);
    while (disk.next()) names.push_back(bytesOf(disk.name()));
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> rightNames(const TempDir& dir, const QString& prefix, const QString& suffix) {
    std::vector<std::string> names;
    for (const std::string& entry : dir.entries()) {
        QString name = latin1(entry);
        if (kxcjFileNameIsRight(name, prefix, suffix, false)) names.push_back(entry);
    }
    return names;
}

// The disk's filter works on bytes, discovery's rule on text.
TEST(DiskFrameSource, FilterLetsThroughWhatTheNameRuleTakes) {
    std::mt19937 random(12);
    const SequenceDir files;
    for (int i = 0; i < 300; ++i) files.write({"n" + randomText(random, 8)});
    std::size_t matches = 0;
    for (int i = 0; i < 500; ++i) {
        const QString prefix = latin1((i % 4 ? "N" : "") + randomText(random, 3)).toLower();
        const QString suffix = latin1(randomText(random, 3)).toLower();
        const std::vector<std::string> names = listedNames(files.dir, prefix, suffix);
        ASSERT_EQ(names, rightNames(files.dir, prefix, suffix)) << bytesOf(prefix) << " " << bytesOf(suffix);
        matches += names.size();
    }
    EXPECT_GT(matches, 1000U) << "the random texts match too seldom to show anything";
}

}  // namespace
