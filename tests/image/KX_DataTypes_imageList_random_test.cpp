// SPDX-License-Identifier: BSD-3-Clause
// Discovery beside a plain account of it, on random directories.
#include "tests/support/SequenceDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

class RandomChoice {
public:
    explicit RandomChoice(unsigned seed) : generator_(seed) {}

    int below(int n) { return static_cast<int>(generator_() % static_cast<unsigned>(n)); }
    bool oneIn(int n) { return below(n) == 0; }
    template <std::size_t N>
    const char* of(const char* const (&choices)[N]) {
        return choices[below(static_cast<int>(N))];
    }

private:
    std::mt19937 generator_;
};

// How the names of one directory are made.
struct Naming {
    std::string stem;
    std::string extension;
    bool tiles;
};

Naming randomNaming(RandomChoice& random) {
    static const char* const stems[] = {"b.", "b", "b_",    "Beauty.", "sch\xF6n_", "",
                                        ".",  "_", "a.7_v", "b_tile",  "B__"};
    static const char* const extensions[] = {".exr", ".EXR", "_diff.exr", ".e", "", "x", "..exr", "\xC4.exr"};
    Naming naming{random.of(stems), random.oneIn(3) ? random.of(extensions) : ".exr", random.oneIn(3)};
    return naming;
}

std::string tileMarker(RandomChoice& random) {
    static const char* const ends[] = {"_.", "_", "_.", "__", "_..", "."};
    char text[16];
    std::snprintf(text, sizeof text, "_%s%02d%s", random.oneIn(12) ? "TILE" : "tile",
                  random.oneIn(4) ? random.below(32) : random.below(3), random.of(ends));
    return text;
}

std::string numberText(RandomChoice& random) {
    static const char* const odd[] = {"9223372036854775807",
                                      "9223372036854775808",
                                      "-9223372036854775808",
                                      "99999999999999999999",
                                      "000000000000012",
                                      "0000000000000012",
                                      "4294967297",
                                      "10000003",
                                      "",
                                      "x",
                                      "1x",
                                      "0x1",
                                      "\xB2",
                                      "300",
                                      "3000000000000000000"};
    static const char* const signs[] = {"-", "+", " ", "", ""};
    if (random.oneIn(12)) return random.of(odd);
    char text[32];
    std::snprintf(text, sizeof text, "%s%0*d%s", random.oneIn(8) ? random.of(signs) : "", random.below(5),
                  random.oneIn(80) ? random.below(24000) : random.below(14), random.oneIn(20) ? " " : "");
    return text;
}

std::string changedCase(std::string text, RandomChoice& random) {
    for (char& c : text) {
        if (random.oneIn(2) && c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
        if (random.oneIn(2) && c == '\xF6') c = '\xD6';
    }
    return text;
}

std::string randomName(const Naming& naming, RandomChoice& random) {
    static const char* const separators[] = {"", "", "", ".", "_"};
    if (random.oneIn(20)) return "comp.exr";
    std::string name = naming.stem;
    if (naming.tiles && !random.oneIn(10)) name += tileMarker(random);
    name += random.of(separators) + numberText(random) + naming.extension;
    if (random.oneIn(8)) name = changedCase(name, random);
    if (random.oneIn(12))
        name.insert(static_cast<std::size_t>(random.below(static_cast<int>(name.size()) + 1)), "q");
    return name.empty() || name == "." || name == ".." ? "other" : name;
}

// What a user could type for the sequence.
std::string randomTyped(const Naming& naming, RandomChoice& random) {
    static const char* const frames[] = {"*", "#", "####", "**", "0042", "1", "1", "3"};
    if (random.oneIn(12)) return "comp.exr";
    std::string typed = naming.stem;
    if (naming.tiles && !random.oneIn(5)) typed += tileMarker(random);
    typed += random.of(frames) + naming.extension;
    return random.oneIn(8) ? changedCase(typed, random) : typed;
}

DiscoverySettings randomSettings(RandomChoice& random) {
    static const char* const lists[] = {"1-3,7", "0-2000000000", "5", "-4", "9-1", " ", "2 , 4-x", "1-4,3-9,,12 "};
    DiscoverySettings settings;
    settings.gamma22 = random.oneIn(2);
    settings.superWhite = random.oneIn(3);
    if (random.oneIn(3)) {
        settings.start = random.below(8) - 3;
        settings.end = random.oneIn(2) ? -1 : random.below(14);
        settings.step = random.below(5) - 1;
        settings.offset = random.oneIn(10) ? 2147483647 : random.below(4) - 1;
    }
    if (random.oneIn(6)) settings.frameList = random.of(lists);
    if (random.oneIn(8)) {
        settings.preFill = true;
        settings.start = random.below(6);
        settings.end = random.below(16);
        settings.offset = 0;
    }
    return settings;
}

void touch(const std::string& path, RandomChoice& random) {
    if (!writeFileBytes(path, std::string(static_cast<std::size_t>(random.below(3)), 'x'))) std::abort();
    const timespec time = {1000 + random.below(2), 0};
    const timespec times[2] = {time, time};
    if (utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) std::abort();
}

void changeDisk(const TempDir& dir, const Naming& naming, RandomChoice& random) {
    for (const std::string& name : dir.entries()) {
        if (random.oneIn(4))
            std::filesystem::remove(dir.file(name));
        else if (random.oneIn(4))
            touch(dir.file(name), random);
    }
    for (int i = random.below(6); i > 0; --i) touch(dir.file(randomName(naming, random)), random);
}

// Gives some slots of both a cached image.
void cacheImages(_kxViewSequence& record, PlainSequence& plain, RandomChoice& random) {
    for (int i = 0; i < std::min(record.imageCount, 60); ++i) {
        if (!random.oneIn(2)) continue;
        PlainSlot& slot = plain.slotList[static_cast<std::size_t>(i)];
        slot.hasImage = true;
        slot.loaded = true;
        slot.pending = false;
        slot.imageGamma = random.oneIn(2);
        slot.imageSuperWhite = random.oneIn(3);
        kxCHK::_SingleImageView& view = record.images[i];
        view.releaseThumbnail();
        view.thumbnail = new kxP::_imgRGBABuffer8(1U);
        view.thumbnail->flags = static_cast<unsigned char>((slot.imageGamma ? KX_IMG_GAMMA22 : 0) |
                                                           (slot.imageSuperWhite ? KX_IMG_SUPERWHITE : 0));
        view.thumbnailLoaded = 1;
        view.checkPending = 0;
    }
}

std::string slotText(const kxCHK::_SingleImageView& view) {
    std::string text = std::to_string(view.frameNumber) + " '" + bytesOf(view.frameText.toQString()) + "' " +
                       std::to_string(view.fileTime.nanoseconds()) + " " + std::to_string(+view.fileSize);
    text += view.fileFound ? " found" : "";
    text += view.checkPending ? " pending" : "";
    text += view.thumbnailLoaded ? " loaded" : "";
    if (view.thumbnail) text += " image " + std::to_string(view.thumbnail->flags);
    return text;
}

std::string slotText(const PlainSlot& slot) {
    std::string text = std::to_string(slot.frame) + " '" + slot.text + "' " + std::to_string(slot.time) + " " +
                       std::to_string(slot.size);
    text += slot.found ? " found" : "";
    text += slot.pending ? " pending" : "";
    text += slot.loaded ? " loaded" : "";
    const int flags = (slot.imageGamma ? KX_IMG_GAMMA22 : 0) | (slot.imageSuperWhite ? KX_IMG_SUPERWHITE : 0);
    if (slot.hasImage) text += " image " + std::to_string(flags);
    return text;
}

template <class Sequence>
std::string headText(const Sequence& s, const std::string& names) {
    std::string text = names;
    for (const long long n : {s.seqStart, s.seqEnd, s.seqStep}) text += " " + std::to_string(n);
    for (const int n : {s.restrictStart, s.restrictStep, s.fileCount, s.minDigits, s.maxTileIndex}) {
        text += " " + std::to_string(n);
    }
    for (const bool b : {s.isValid, s.sameSequence, s.isTiled, s.tileDotSeparator}) text += b ? " yes" : " no";
    return text;
}

std::string headText(const _kxViewSequence& s) {
    return headText(s, bytesOf(s.dirName) + "|" + bytesOf(s.fileName) + "|" + bytesOf(s.extension));
}

std::string headText(const PlainSequence& s) {
    return headText(s, s.dirName + "|" + s.fileName + "|" + s.extension);
}

void expectSame(const _kxViewSequence& record, const PlainSequence& plain) {
    ASSERT_EQ(headText(record), headText(plain));
    ASSERT_EQ(static_cast<std::size_t>(record.imageCount), plain.slotList.size());
    ASSERT_EQ(record.viewStart, record.seqStart);
    ASSERT_EQ(record.viewEnd, record.seqEnd);
    ASSERT_EQ(record.viewStep, record.seqStep);
    for (int i = 0; i < record.imageCount; ++i) {
        ASSERT_EQ(slotText(record.images[i]), slotText(plain.slotList[static_cast<std::size_t>(i)]))
            << "slot " << i;
    }
}

// How often the interesting things happened, so that the names cannot drift into testing nothing.
struct Tally {
    int found = 0, filled = 0, tiled = 0, refreshed = 0, kept = 0, singles = 0;

    void count(const PlainSequence& plain, bool wasSame) {
        const auto has = [&](auto test) { return std::any_of(plain.slotList.begin(), plain.slotList.end(), test); };
        found += has([](const PlainSlot& s) { return s.found; }) ? 1 : 0;
        filled += has([](const PlainSlot& s) { return !s.found && s.text.empty(); }) ? 1 : 0;
        tiled += plain.isTiled && plain.maxTileIndex >= 1 ? 1 : 0;
        refreshed += wasSame && has([](const PlainSlot& s) { return s.found; }) ? 1 : 0;
        kept += has([](const PlainSlot& s) { return s.found && s.hasImage && !s.pending; }) ? 1 : 0;
        singles += plain.extension.empty() && !plain.slotList.empty() ? 1 : 0;
    }
};

// One directory, discovered two or three times with changes in between.
void compareOnce(_kxViewSequence& record, PlainSequence& plain, unsigned seed, Tally& tally) {
    RandomChoice random(seed);
    const TempDir dir = memoryDir();
    const Naming naming = randomNaming(random);
    for (int i = random.below(16) + 2; i > 0; --i) touch(dir.file(randomName(naming, random)), random);

    std::string typed = randomTyped(naming, random);
    for (int pass = random.below(2) + 2; pass > 0; --pass) {
        const bool splitAgain = pass > 1 || random.oneIn(2);
        if (splitAgain && random.oneIn(4)) typed = randomTyped(naming, random);
        const std::string path = dir.path() + typed;
        SCOPED_TRACE(path);
        if (splitAgain) {
            const bool isSplit = plain.split(path);
            ASSERT_EQ(record.imageDirFileFromString(latin1(path)), isSplit);
            if (!isSplit) return;
        }
        const DiscoverySettings s = randomSettings(random);
        const std::vector<PlainEntry> entries = entriesInOrder(dir.path());
        const auto single = std::find_if(entries.begin(), entries.end(), [&](const PlainEntry& entry) {
            return dir.path() + entry.name == plain.dirName + plain.fileName;
        });
        const bool wasSame = plain.sameSequence;
        plain.find(entries, single == entries.end() ? nullptr : &*single, s);
        record.findSequence(s.gamma22, s.superWhite, QString(), s.start, s.end, s.step, s.offset,
                            latin1(s.frameList), s.preFill, nullptr);
        expectSame(record, plain);
        if (::testing::Test::HasFatalFailure()) return;
        tally.count(plain, wasSame);
        cacheImages(record, plain, random);
        changeDisk(dir, naming, random);
    }
}

TEST(RandomDirectoryTest, DiscoveryAgreesWithThePlainAccount) {
    constexpr int directories = 2500;
    const auto record = std::make_unique<_kxViewSequence>();
    PlainSequence plain;
    Tally tally;
    for (unsigned seed = 1; seed <= directories; ++seed) {
        compareOnce(*record, plain, seed, tally);
        if (::testing::Test::HasFatalFailure()) FAIL() << "in directory " << seed;
    }
    EXPECT_GT(tally.found, directories / 2);
    EXPECT_GT(tally.filled, directories / 20);
    EXPECT_GT(tally.tiled, directories / 20);
    EXPECT_GT(tally.refreshed, directories / 4);
    EXPECT_GT(tally.kept, directories / 20);
    EXPECT_GT(tally.singles, directories / 100);
}

}  // namespace
