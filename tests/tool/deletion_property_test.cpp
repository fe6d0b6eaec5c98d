// SPDX-License-Identifier: BSD-3-Clause
// What every run holds, over random directories, modes and restrictions: without -del nothing changes; with it
// exactly the failing, readable frames are gone.
#include "tests/support/FaultTest.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <random>
#include <set>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

struct Modes {
    bool requireMultiLayer = false;
    bool requireMultipart = false;
    bool noMultipart = false;
};

// What a file holds that decides about it.
struct Content {
    const char* name;
    int parts;     // 0 when it cannot be read
    int channels;  // of the first part
};

constexpr Content contents[] = {{"rgba", 1, 4},  {"layers", 1, 5},    {"depth", 1, 1},
                                {"two", 2, 4},   {"three", 3, 6},     {"text", 0, 0},
                                {"empty", 0, 0}, {"truncated", 0, 0}, {"badMagic", 0, 0}};

bool fails(const Content& content, const Modes& modes) {
    if (content.parts == 0) return false;
    if (content.parts > 1) return modes.noMultipart;
    return modes.requireMultipart || (modes.requireMultiLayer && content.channels < 5);
}

struct Restriction {
    int start, end, step, offset;
};

bool passes(int frame, const Restriction& r) {
    const int start = r.start + r.offset;
    const int end = r.end + r.offset;
    return (start == -1 || frame >= start) && (end == -1 || frame <= end) &&
           (r.step < 2 || (frame - start) % r.step == 0);
}

// Entries that are never frames, whatever their name.
enum class Other { directory, pipe, socket, device, danglingLink, linkToDirectory, linkToPipe };
constexpr int otherKinds = 7;

void bindSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << path;
    close(fd);
}

// Another /dev/null; a pipe where this user may make no devices.
void makeDevice(const std::string& path) {
    const bool made = mknod(path.c_str(), S_IFCHR | 0666, makedev(1, 3)) == 0 || mkfifo(path.c_str(), 0600) == 0;
    ASSERT_TRUE(made) << path;
}

// Each seed makes other directories.
class DeletionPropertyTest : public FaultTest, public ::testing::WithParamInterface<unsigned> {
protected:
    void SetUp() override {
        frameBytes("rgba", {SamplePart()});
        frameBytes("layers", {samplePartOf({"A", "B", "G", "R", "Z"})});
        frameBytes("depth", {samplePartOf({"Z"})});
        frameBytes("two", {SamplePart(), samplePartOf({"Z"})});
        frameBytes("three", {samplePartOf({"A", "B", "G", "R", "X", "Y"}), SamplePart(), SamplePart()});
        bytesOf["text"] = "not a frame";
        bytesOf["truncated"] = bytesOf["rgba"].substr(0, 200);
        bytesOf["badMagic"] = "x" + bytesOf["rgba"].substr(1);
        bytesOf["empty"];
        makeTargets();
    }

    void frameBytes(const std::string& name, const std::vector<SamplePart>& parts) {
        writeSampleFile(outside.file(name), parts);
        bytesOf[name] = readFileBytes(outside.file(name));
    }

    // What links of the directories point at.
    void makeTargets() {
        for (const Content& content : contents) writeFileBytes(outside.file(content.name), bytesOf[content.name]);
        fs::create_directory(outside.file("directory"));
        ASSERT_EQ(mkfifo(outside.file("pipe").c_str(), 0600), 0);
    }

    // A random directory of the sequence "shot." with its decoys; gives the files that a run checks.
    void makeDirectory() {
        expected.clear();
        const int entries = std::uniform_int_distribution<>(1, 12)(random);
        for (int i = 0; i < entries; ++i) makeEntry();
        // The file that names the sequence is there in most runs only.
        if (below(10) > 0) addFile("shot." + std::to_string(900 + below(9)) + ".exr", anyContent(), false);
    }

    void makeEntry() {
        const int kind = below(20);
        const std::string frame = "shot." + frameText() + ".exr";
        if (kind < 11)
            addFile(frame, anyContent(), false);
        else if (kind < 14)
            addFile(frame, anyContent(), true);
        else if (kind < 17)
            addOther(frame, static_cast<Other>(below(otherKinds)));
        else
            addDecoy();
    }

    std::string frameText() {
        const std::string number = std::to_string(below(30));
        return below(2) == 0 ? number : std::string(4 - number.size(), '0') + number;
    }

    const Content& anyContent() { return contents[static_cast<std::size_t>(below(std::size(contents)))]; }

    void addFile(const std::string& name, const Content& content, bool asLink) {
        if (entryExists(dir.file(name))) return;
        if (asLink) {
            fs::create_symlink(outside.file(content.name), dir.file(name));
        } else {
            bytes(name, bytesOf[content.name]);
        }
        expected.push_back({name, content});
    }

    void addOther(const std::string& name, Other kind) {
        const std::string path = dir.file(name);
        if (entryExists(path)) return;
        switch (kind) {
            case Other::directory:
                fs::create_directory(path);
                break;
            case Other::pipe:
                ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
                break;
            case Other::socket:
                bindSocket(path);
                break;
            case Other::device:
                makeDevice(path);
                break;
            case Other::danglingLink:
                fs::create_symlink(outside.file("nowhere"), path);
                break;
            case Other::linkToDirectory:
                fs::create_symlink(outside.file("directory"), path);
                break;
            case Other::linkToPipe:
                fs::create_symlink(outside.file("pipe"), path);
                break;
        }
    }

    // A frame of no sequence or of another one, failing every mode.
    void addDecoy() {
        const Names names{"shot.exr",
                          "shot.a1.exr",
                          "shot.1.tif",
                          "shot.0001.exr.tmp",
                          "ashot.0001.exr",
                          "shot.0001.v2.exr",
                          "shot.0x1.exr",
                          "shot..exr",
                          "other.0001.exr",
                          ".shot.0001.exr",
                          "shot_tile00_.0001.exr",
                          "shot.1e3.exr",
                          "shot.12 3.exr"};
        const std::string& name = names[static_cast<std::size_t>(below(names.size()))];
        if (!entryExists(dir.file(name))) bytes(name, bytesOf["rgba"]);
    }

    int below(std::size_t limit) { return std::uniform_int_distribution<>(0, static_cast<int>(limit) - 1)(random); }

    std::optional<Restriction> anyRestriction() {
        if (below(3) > 0) return std::nullopt;
        return Restriction{below(12) - 1, below(2) ? -1 : below(35), below(4), below(3)};
    }

    Names argumentsFor(const Modes& modes, const std::optional<Restriction>& r, bool del) const {
        Names arguments{dir.file("shot.####.exr")};
        if (modes.requireMultiLayer) arguments.push_back("-requireMultiLayer");
        if (modes.requireMultipart) arguments.push_back("-requireMultipart");
        if (modes.noMultipart) arguments.push_back("-noMultipart");
        if (r) {
            arguments.push_back("-seq");
            for (const int value : {r->start, r->end, r->step, r->offset})
                arguments.push_back(std::to_string(value));
        }
        if (del) arguments.push_back("-del");
        return arguments;
    }

    static int frameOf(const std::string& name) { return std::stoi(name.substr(std::string("shot.").size())); }

    std::set<std::string> failing(const Modes& modes, const std::optional<Restriction>& r) const {
        std::set<std::string> names;
        for (const auto& [name, content] : expected) {
            if ((!r || passes(frameOf(name), *r)) && fails(content, modes)) names.insert(name);
        }
        return names;
    }

    void clearDirectory() {
        for (const std::string& name : dir.entries()) fs::remove_all(dir.file(name));
    }

    std::mt19937 random{GetParam()};
    TempDir outside;
    std::map<std::string, std::string> bytesOf;
    std::vector<std::pair<std::string, Content>> expected;  // the frames of the directory
};

TEST_P(DeletionPropertyTest, ExactlyTheFailingReadableFramesGoAndOnlyWithDel) {
    constexpr int directories = 50;
    const Snapshot targets = snapshotOf(outside.path());
    std::size_t gone = 0;
    for (int i = 0; i < directories && !HasFailure(); ++i) {
        makeDirectory();
        const Modes modes{below(2) > 0, below(3) == 0, below(2) > 0};
        const auto restriction = anyRestriction();
        Snapshot wanted = snapshotOf(dir.path());

        EXPECT_EQ(tool(argumentsFor(modes, restriction, false)).exitCode, 0);
        EXPECT_EQ(snapshotOf(dir.path()), wanted) << "directory " << i;

        EXPECT_EQ(tool(argumentsFor(modes, restriction, true)).exitCode, 0);
        for (const std::string& name : failing(modes, restriction)) gone += wanted.erase(name);
        EXPECT_EQ(snapshotOf(dir.path()), wanted) << "directory " << i;
        clearDirectory();
    }
    EXPECT_EQ(snapshotOf(outside.path()), targets) << "the target of a link changed";
    EXPECT_GT(gone, directories / 2U) << "the directories hold too few failing frames";
}

INSTANTIATE_TEST_SUITE_P(FiveHundredDirectories, DeletionPropertyTest, ::testing::Range(0U, 10U));

}  // namespace
