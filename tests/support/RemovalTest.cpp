// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/RemovalTest.h"

#include "tests/support/Patterns.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

constexpr std::array modes = {0644, 0600, 0444, 0000, 0755};
constexpr int longAgo = 200000;  // seconds

DirectoryEntry entryAt(const std::string& path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) return {"gone"};
    std::ostringstream text;
    text << status.st_ino << ' ' << status.st_mode << ' ' << status.st_uid << ' ' << status.st_gid << ' '
         << status.st_size << ' ' << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec << ' ';
    if (S_ISREG(status.st_mode)) text << readFileBytes(path);
    if (S_ISLNK(status.st_mode)) text << fs::read_symlink(path).string();
    return {text.str(), status.st_nlink, status.st_ctim};
}

Entries entriesOf(const std::string& directory) {
    Entries entries;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory))
        entries[entry.path().filename().string()] = entryAt(entry.path().string());
    return entries;
}

bool isUntouched(const DirectoryEntry& before, const DirectoryEntry& after) {
    return before.text == after.text && (before.links > 1 || (before.changed.tv_sec == after.changed.tv_sec &&
                                                              before.changed.tv_nsec == after.changed.tv_nsec));
}

void expectLeft(const Entries& before, const Entries& after, const NameSet& gone) {
    EXPECT_EQ(namesIn(after), without(namesIn(before), gone));
    for (const auto& [name, entry] : after) {
        const auto former = before.find(name);
        EXPECT_TRUE(former != before.end() && isUntouched(former->second, entry)) << name << " was touched";
    }
}

// Files whose lines hold this text. A sequence's line comes before those of its frames.
NameSet filesWith(const std::string& text, const std::string& output) {
    const std::string sequenceLine = "^(?:.*/)?([a-z]+\\.)(?:#+|[0-9]+)(\\.[a-z]+)(?:  .*)?$";
    NameSet names;
    std::string prefix;
    std::string suffix;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
        if (const Match found = firstMatch(line, sequenceLine); !found.empty()) {
            prefix = found[1];
            suffix = found[2];
        } else if (line.find(text) != std::string::npos) {
            names.insert(prefix + line.substr(0, line.find(' ')) + suffix);
        }
    }
    return names;
}

std::string nameOf(const ModelSequence& sequence, int number) {
    const std::string text = std::to_string(number);
    return sequence.prefix + std::string(4 - text.size(), '0') + text + sequence.suffix;
}

}  // namespace

NameSet without(const NameSet& some, const NameSet& others) {
    NameSet left;
    std::set_difference(some.begin(), some.end(), others.begin(), others.end(), std::inserter(left, left.end()));
    return left;
}

NameSet namesIn(const Entries& entries) {
    NameSet names;
    for (const auto& [name, entry] : entries) names.insert(name);
    return names;
}

NameSet plannedIn(const std::string& output) {
    return filesWith("  => ", output);
}

NameSet keptIn(const std::string& output) {
    return filesWith("  kept: ", output);
}

bool hasTotal(const std::string& output) {
    return output.find("\ntotal ") != std::string::npos;
}

int removalRounds(int ofTen) {
    const char* const asked = std::getenv("KX_ROUNDS");
    const int all = asked ? std::atoi(asked) : 120;
    constexpr int share = 10 * static_cast<int>(removalShards);
    return (all * ofTen + share - 1) / share;
}

void setAge(const std::string& path, int age) {
    const timespec time = {std::time(nullptr) - age, 0};
    const timespec times[] = {time, time};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

std::string joined(const Names& words) {
    std::string text;
    for (const std::string& word : words) text += word + ' ';
    return text;
}

void expectProperEnd(int end) {
    EXPECT_TRUE(end == 0 || end == 1 || end == 3) << end;
}

void RemovalTest::SetUp() {
    for (const std::string& directory : {frames, moved, outside}) fs::create_directory(directory);
    bytesOf = frameContentBytes(outside);
    for (const FrameContent& content : frameContents()) {
        ASSERT_TRUE(writeFileBytes(outside + content.name, bytesOf[content.name]));
        setAge(outside + content.name, longAgo);
    }
    outsideBefore_ = entriesOf(outside);
    for (auto& [name, entry] : outsideBefore_) entry.links = 2;  // other names come and go
}

void RemovalTest::TearDown() {
    expectLeft(outsideBefore_, entriesOf(outside), {});
}

int RemovalTest::below(std::size_t limit) {
    return std::uniform_int_distribution<>(0, static_cast<int>(limit) - 1)(random);
}

bool RemovalTest::oneIn(int count) {
    return below(static_cast<std::size_t>(count)) == 0;
}

// --- Directories -----------------------------------------------------------------------------------------

void RemovalTest::makeDirectory(bool hasOtherShapes) {
    clear();
    makeSequence("shot.", ".exr", hasOtherShapes);
    if (oneIn(2)) makeSequence("other.", ".exr", hasOtherShapes);
    isWhole_ = oneIn(4);
    if (!isWhole_ && oneIn(2)) makeSequence("plate.", ".sxr", hasOtherShapes);
    makeOthers();
    if (oneIn(2)) makeTaken();
}

void RemovalTest::makeEmptySequence() {
    clear();
    isWhole_ = false;
    sequences.push_back({"shot.", ".exr", {}});
}

void RemovalTest::clear() {
    for (const std::string& directory : {frames, moved}) {
        fs::remove_all(directory);
        fs::create_directory(directory);
    }
    sequences.clear();
}

void RemovalTest::makeSequence(const std::string& prefix, const std::string& suffix, bool hasOtherShapes) {
    sequences.push_back({prefix, suffix, {}});
    const int last = 2 + below(30);
    const int soundness = 1 + below(6);
    for (int number = 1; number <= last; ++number) {
        if (oneIn(10)) continue;
        const FrameContent& content = oneIn(soundness) ? anyContent(hasOtherShapes) : frameContents()[0];
        ModelFrame frame{nameOf(sequences.back(), number), number, content, 0, false};
        makeEntry(frame);
        sequences.back().frames.push_back(frame);
    }
}

const FrameContent& RemovalTest::anyContent(bool hasOtherShapes) {
    const FrameContent& content = anyOf(frameContents());
    return content.shape == FrameContent::Shape::other && !hasOtherShapes ? frameContents()[0] : content;
}

void RemovalTest::makeFrame(int number, const FrameContent& content, int age) {
    ModelFrame frame{nameOf(sequences.back(), number), number, content, 0, false};
    makeFile(frame, age);
    sequences.back().frames.push_back(frame);
}

void RemovalTest::makeEntry(ModelFrame& frame) {
    const std::string path = frames + frame.name;
    const int kind = below(20);
    frame.age = longAgo;
    frame.isLink = kind == 1 || kind == 2;
    if (kind == 0) return makeUncheckable(frame);
    if (frame.isLink) return fs::create_symlink("../outside/" + frame.content.name, path);
    if (kind == 3) return fs::create_hard_link(outside + frame.content.name, path);
    makeFile(frame, anyOf(std::array{-1000, hour, hour, hour, hour, longAgo}));
    if (!oneIn(3)) return;
    fs::permissions(path, static_cast<fs::perms>(anyOf(modes)));
    if (access(path.c_str(), R_OK) != 0) frame.content = uncheckedContent();
}

void RemovalTest::makeFile(ModelFrame& frame, int age) {
    ASSERT_TRUE(writeFileBytes(frames + frame.name, bytesOf[frame.content.name]));
    setAge(frames + frame.name, age);
    frame.age = age;
}

void RemovalTest::makeUncheckable(ModelFrame& frame) {
    const std::string path = frames + frame.name;
    frame.content = uncheckedContent();
    switch (below(4)) {
        case 0:
            fs::create_directory(path);
            break;
        case 1:
            ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
            break;
        case 2:
            fs::create_symlink("nowhere", path);
            break;
        default:
            fs::create_symlink("../outside", path);
    }
}

// Bad, but of no sequence, hidden, or named otherwise than the frames of a directory.
void RemovalTest::makeOthers() {
    const Names names = {"shot.0001.tmp",  ".shot.0001.exr", "notes",          "shot.0003.exr.part",
                         "plate.0001.tif", ".other.1.exr",   "shot.0002.exr~", "Plate.0001.sxr"};
    for (int i = below(4); i > 0; --i) {
        const std::string path = frames + anyOf(names);
        ASSERT_TRUE(writeFileBytes(path, bytesOf["cutInHeader"]));
        setAge(path, hour);
    }
}

// Names in the directory that files are moved to.
void RemovalTest::makeTaken() {
    for (const ModelSequence& sequence : sequences)
        for (const ModelFrame& frame : sequence.frames)
            if (oneIn(12)) {
                ASSERT_TRUE(writeFileBytes(moved + frame.name, "taken"));
            }
}

// --- Runs ------------------------------------------------------------------------------------------------

RemovalOptions RemovalTest::anyOptions() {
    RemovalOptions options;
    if (oneIn(2)) options.moveTo = oneIn(6) ? "." : "../moved";
    options.removeMost = !oneIn(3);
    options.minAge = anyOf(std::array{60, 60, 60, 0, 100000});
    options.level = anyOf(std::array{2, 2, 1, 0});
    if (oneIn(3)) options.failOn.insert(oneIn(2) ? "nan" : "black");
    if (oneIn(3))
        options.ignored.insert(anyOf(Names{"truncated", "unfinished", "chunk", "empty", "not-exr", "header",
                                           "differs", "repeated,jump,flat"}));
    if (oneIn(3)) options.frames = std::pair(1 + below(5), 6 + below(15));
    if (options.frames && oneIn(2)) {
        options.chunks = 1 + below(4);
        options.chunk = 1 + below(static_cast<std::size_t>(options.chunks));
    }
    return options;
}

Names RemovalTest::command(const RemovalOptions& options) {
    Names words = options.arguments();
    words.insert(words.begin(), checkPath());
    words.insert(words.end(), {"-j", std::to_string(1 + below(3))});
    if (isWhole_) {
        words.emplace_back(".");
        return words;
    }
    for (const ModelSequence& sequence : sequences) words.push_back(sequence.prefix + "####" + sequence.suffix);
    return words;
}

Removals RemovalTest::expected(const RemovalOptions& options) const {
    const NameSet taken = namesIn(entriesOf(options.moveTo == "." ? frames : moved));
    Removals all;
    for (const ModelSequence& sequence : sequences) {
        Removals removals = removalsOf(sequence, options, taken);
        all.planned.merge(removals.planned);
        all.gone.merge(removals.gone);
        all.isHeld = all.isHeld || removals.isHeld;
    }
    return all;
}

RemovalTest::Disk RemovalTest::disk() const {
    return {entriesOf(frames), entriesOf(moved)};
}

NameSet RemovalTest::goneSince(const Disk& before) const {
    return without(namesIn(before.frames), namesIn(entriesOf(frames)));
}

void RemovalTest::expectGone(const Disk& before, const NameSet& gone, const RemovalOptions& options) const {
    Disk after = disk();
    expectLeft(before.frames, after.frames, gone);
    if (options.moveTo) {
        for (const std::string& name : gone) {
            EXPECT_EQ(after.moved[name].text, before.frames.at(name).text) << name;
            after.moved.erase(name);
        }
    }
    expectLeft(before.moved, after.moved, {});
}
