// SPDX-License-Identifier: BSD-3-Clause
// Damaged and hostile frames: each gives its one line within seconds and little memory, and goes only when it was
// read and found failing.
#include "shared/kxMemoryLimit.h"
#include "tests/support/FaultTest.h"
#include "tests/support/RealSamples.h"

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

// Bytes from one damaged position of a file to the next. A run is given a minute, and five seconds for each of its
// files. Under a sanitizer the tool sets itself no limit of memory, and clearing the gigabytes that damaged headers
// claim takes time: it sees some of the positions, with $KX_ALL_POSITIONS all of them.
std::size_t nextPosition() {
    return kxIsSanitizerBuild() && !std::getenv("KX_ALL_POSITIONS") ? 11 : 1;
}

class HostileTest : public FaultTest {
protected:
    void SetUp() override {}

    // Checks these contents as the frames 1000, 1001 ... of a sequence in which every readable frame fails, a
    // hundred in a run.
    void checkAll(const std::vector<std::string>& contents) {
        constexpr std::size_t most = 100;
        for (std::size_t start = 0; start < contents.size() && !HasFailure(); start += most) {
            checkRun({contents.begin() + static_cast<long>(start),
                      contents.begin() + static_cast<long>(std::min(start + most, contents.size()))});
        }
    }

    void checkRun(const std::vector<std::string>& contents) {
        for (std::size_t i = 0; i < contents.size(); ++i) bytes(nameOf(i), contents[i]);
        // One more that is sound: whatever came before, the run goes on.
        frame(nameOf(contents.size()));
        expectOneLineEach(contents.size() + 1);
        const std::string last = nameOf(contents.size());
        EXPECT_FALSE(entryExists(dir.file(last)));
        for (const std::string& name : dir.entries()) fs::remove(dir.file(name));
    }

    void expectOneLineEach(std::size_t count) {
        const std::vector<std::string> lines = run(count);
        ASSERT_EQ(lines.size(), count + 2) << "one line for the sequence, one for each frame, an empty one";
        for (std::size_t i = 0; i < count; ++i) {
            const std::string& line = lines[i + 1];
            const std::string prefix = std::to_string(1000 + i) + ": ";
            EXPECT_EQ(line.substr(0, prefix.size()), prefix);
            const bool read = line.rfind(prefix + "  imagesize: ", 0) == 0;
            EXPECT_TRUE(read || line == prefix + unreadable) << line;
            EXPECT_EQ(read, line.find("   => DELETE") != std::string::npos) << line;
            EXPECT_EQ(entryExists(dir.file(nameOf(i))), !read) << line;
        }
    }

    // The lines after the banner of a run in which each readable frame fails.
    std::vector<std::string> run(std::size_t count) {
        const Names modes{"-requireMultiLayer", "-requireMultipart", "-noMultipart", "-showChannel", "-del"};
        Names arguments{dir.file(nameOf(0))};
        arguments.insert(arguments.end(), modes.begin(), modes.end());
        ProcessOptions options;
        options.secondsToLive = static_cast<int>(60 + 5 * count);
        const ProcessResult result = tool(arguments, options);
        EXPECT_EQ(result.exitCode, 0) << "signal " << result.signal << " with " << count << " files\n"
                                      << result.err;
        EXPECT_EQ(result.err, "");
        std::istringstream text(result.out.substr(std::min(toolBanner.size(), result.out.size())));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) lines.push_back(line);
        return lines;
    }

    static std::string nameOf(std::size_t i) { return "shot." + std::to_string(1000 + i) + ".exr"; }

    std::string bytesOf(const std::vector<SamplePart>& parts) {
        const TempDir scratch;
        writeSampleFile(scratch.file("frame"), parts);
        return readFileBytes(scratch.file("frame"));
    }
};

SamplePart smallPart() {
    SamplePart part;
    part.displayWindow = part.dataWindow = {{0, 0}, {3, 3}};
    return part;
}

// One of each kind that the tool tells apart.
std::vector<std::vector<SamplePart>> smallFiles() {
    SamplePart plain = smallPart();
    plain.channels = {{"a.G"}, {"a.red"}, {"Z", Imf::FLOAT}};
    SamplePart tiled = smallPart();
    tiled.tiled = true;
    SamplePart deep = smallPart();
    deep.deep = true;
    deep.compression = Imf::ZIPS_COMPRESSION;
    SamplePart deepTiled = deep;
    deepTiled.tiled = true;
    return {{plain}, {tiled}, {deep}, {deepTiled}, {plain, tiled}};
}

// `file` with the bytes at `at` replaced.
std::string spoiled(std::string file, std::size_t at, const std::string& bytes) {
    return file.replace(at, bytes.size(), bytes);
}

std::string littleEndian(unsigned value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xff);
    return bytes;
}

// Where the value of the attribute begins: behind its name, its type's name and its size.
std::size_t valueOf(const std::string& file, const std::string& name, const std::string& type) {
    const std::string both = name + '\0' + type + '\0';
    const std::size_t at = file.find(both);
    EXPECT_NE(at, std::string::npos) << name;
    return at + both.size() + 4;
}

constexpr unsigned limits32[] = {0,          1,          0x7fffffff, 0x7ffffffe, 0x80000000,
                                 0x80000001, 0xffffffff, 0xfffffffe, 0x40000000, 0x00ffffff};

TEST_F(HostileTest, EveryByteOfASmallFileSpoiled) {
    for (const auto& parts : smallFiles()) {
        const std::string good = bytesOf(parts);
        std::vector<std::string> contents;
        for (std::size_t at = 0; at < good.size(); at += nextPosition()) {
            for (const char byte : std::set<char>{'\0', '\xff', static_cast<char>(~good[at])}) {
                if (byte != good[at]) contents.push_back(spoiled(good, at, std::string(1, byte)));
            }
        }
        checkAll(contents);
    }
}

TEST_F(HostileTest, TruncationAtEveryLength) {
    for (const auto& parts : smallFiles()) {
        const std::string good = bytesOf(parts);
        std::vector<std::string> contents;
        for (std::size_t length = 0; length < good.size(); length += nextPosition())
            contents.push_back(good.substr(0, length));
        checkAll(contents);
    }
}

// All four numbers of a window, each alone and all together, at the limits of 32 bits.
TEST_F(HostileTest, WindowsAtTheLimitsOf32Bits) {
    for (const auto& parts : smallFiles()) {
        const std::string good = bytesOf(parts);
        std::vector<std::string> contents;
        for (const char* window : {"dataWindow", "displayWindow"}) {
            const std::size_t at = valueOf(good, window, "box2i");
            for (const unsigned value : limits32) {
                for (std::size_t i = 0; i < 4; ++i)
                    contents.push_back(spoiled(good, at + 4 * i, littleEndian(value)));
                const std::string low = littleEndian(0x80000000);
                const std::string high = littleEndian(value);
                contents.push_back(spoiled(good, at, low + low + high + high));
            }
        }
        checkAll(contents);
    }
}

// Every aligned and unaligned group of four bytes of the header may be a size or a count; each gets one of the
// limits.
TEST_F(HostileTest, SizesAndCountsAtTheLimitsOf32Bits) {
    for (const auto& parts : smallFiles()) {
        const std::string good = bytesOf(parts);
        std::vector<std::string> contents;
        for (std::size_t at = 4; at + 4 <= good.size(); at += nextPosition()) {
            contents.push_back(spoiled(good, at, littleEndian(limits32[2 + at % 8])));
        }
        checkAll(contents);
    }
}

// The sizes of attributes, the count of chunks and the description of tiles get all of them.
TEST_F(HostileTest, EveryLimitInEverySizeOfAnAttribute) {
    const struct {
        const char* name;
        const char* type;
        long long numbers;  // of 32 bits in the value, before which the size stands
    } attributes[] = {{"channels", "chlist", 0},       {"compression", "compression", 0},
                      {"chunkCount", "int", 1},        {"tiles", "tiledesc", 2},
                      {"type", "string", 0},           {"dataWindow", "box2i", 4},
                      {"pixelAspectRatio", "float", 1}};
    SamplePart tiled = smallPart();
    tiled.tiled = true;
    const std::string good = bytesOf({tiled, smallPart()});
    std::vector<std::string> contents;
    for (const auto& attribute : attributes) {
        const std::size_t value = valueOf(good, attribute.name, attribute.type);
        for (long long number = -1; number < attribute.numbers; ++number) {
            const std::size_t at = static_cast<std::size_t>(static_cast<long long>(value) + 4 * number);
            for (const unsigned limit : limits32) contents.push_back(spoiled(good, at, littleEndian(limit)));
        }
    }
    checkAll(contents);
}

// The shortest files that make the library ask for two gigabytes: magic number, version, one attribute.
std::string claimingAllMemory(const std::string& type) {
    const std::string start("\x76\x2f\x31\x01\x02\0\0\0a\0", 10);
    return start + type + '\0' + littleEndian(0x7fffffff);
}

TEST_F(HostileTest, AttributesThatClaimAllMemory) {
    std::vector<std::string> contents;
    for (const char* type : {"string", "floatvector", "stringvector", "chlist", "preview", "timecode", "unknown"}) {
        contents.push_back(claimingAllMemory(type));
    }
    checkAll(contents);
}

// The tool limits itself: to a gigabyte, whatever more the caller allows, or to less where the caller says so.
TEST_F(HostileTest, ClaimedMemoryIsNotTaken) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer allows no memory limit";
    frame("shot.2.exr");
    const std::string sound = "   2: " + plainFrame;
    long ordinaryPeak = 0;
    for (const std::string& content : {bytesOf({SamplePart()}), claimingAllMemory("string")}) {
        bytes("shot.1.exr", content);
        const std::string line = ordinaryPeak == 0 ? "   1: " + plainFrame : "   1: " + unreadable;
        for (const char* limits : {"", "ulimit -v 4194304; ", "ulimit -S -v 4194304; ", "ulimit -v 524288; "}) {
            const ProcessResult result = runProcess({"/bin/bash", "-c", limits + std::string("exec \"$@\""), "bash",
                                                     toolPath(), dir.file("shot.1.exr")});
            EXPECT_EQ(result.exitCode, 0) << limits;
            EXPECT_EQ(result.err, "") << limits;
            EXPECT_EQ(result.out, toolBanner + foundSequence("1-2, 1", {line, sound})) << limits;
            if (ordinaryPeak == 0) ordinaryPeak = result.peakMemory;
            EXPECT_LT(result.peakMemory, 2 * ordinaryPeak) << limits;
        }
    }
}

// Below what the program itself needs it ends in one way or another, but no frame goes without its line.
TEST_F(HostileTest, LimitTooSmallForTheProgramDeletesNothing) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer allows no memory limit";
    int ended = 0;
    for (int megabytes = 10; megabytes <= 130; megabytes += 6) {
        frame("shot.1.exr");
        const ProcessResult result = runProcess(
            {"/bin/bash", "-c", "ulimit -c 0; ulimit -v " + std::to_string(1024 * megabytes) + "; exec \"$@\"",
             "bash", toolPath(), dir.file("shot.1.exr"), "-requireMultipart", "-del"});
        const bool isGone = !entryExists(dir.file("shot.1.exr"));
        EXPECT_EQ(isGone, result.out.find("=> DELETE\n") != std::string::npos) << megabytes << " MiB";
        const bool hasEnded = result.exitCode != 0 || result.signal != 0;
        EXPECT_FALSE(hasEnded && isGone) << megabytes << " MiB";
        if (hasEnded) ++ended;
    }
    EXPECT_GT(ended, 0);
}

TEST_F(HostileTest, GarbageOfManySizes) {
    std::mt19937 random(20240609);
    std::vector<std::string> contents;
    for (const std::size_t size : {0U, 1U, 3U, 4U, 5U, 8U, 100U, 4096U, 100000U}) {
        for (const char* start : {"", "\x76\x2f\x31\x01\x02", "\x76\x2f\x31\x01\x02\x10"}) {
            std::string content = start + std::string(3, '\0');
            for (std::size_t i = 0; i < size; ++i) content += static_cast<char>(random() & 0xff);
            contents.push_back(content);
        }
    }
    checkAll(contents);
}

// Files that broke readers of other programs.
TEST_F(HostileTest, CollectedDamagedFilesGiveOneLineEach) {
    const std::string samples = realSamplesDir();
    if (samples.empty()) GTEST_SKIP() << "the real sample files are not here";
    int count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(samples + "Damaged")) {
        SCOPED_TRACE(entry.path().filename());
        checkRun({readFileBytes(entry.path().string())});
        ++count;
    }
    EXPECT_GT(count, 0);
}

// Reading a header of many names takes some of the memory, building its line takes more. Wherever the memory ends,
// the frame has a line and the run goes on. The names lie in ten parts: the EXR library from 3.3 on takes a time
// that grows with the square of a part's channels.
TEST_F(HostileTest, LineLargerThanTheMemoryDoesNotEndTheRun) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer allows no memory limit";
    std::vector<std::string> names;
    for (int i = 0; i < 6000; ++i) names.push_back(std::to_string(100000 + i) + std::string(241, 'n'));
    SamplePart part = samplePartOf(names);
    part.displayWindow = part.dataWindow = Imath::Box2i({0, 0}, {0, 0});
    frame("shot.1.exr", std::vector<SamplePart>(10, part));
    frame("shot.2.exr");
    std::set<bool> wasReadable;
    for (int megabytes = 300; megabytes >= 130; megabytes -= 20) {
        const ProcessResult result =
            runProcess({"/bin/bash", "-c", "ulimit -v " + std::to_string(1024 * megabytes) + "; exec \"$@\"",
                        "bash", toolPath(), dir.file("shot.1.exr"), "-showChannel"});
        EXPECT_EQ(result.exitCode, 0) << megabytes << " MB: " << result.err.substr(0, 200);
        const std::string last = "\n   2: " + plainFrame + "  [|half: A, B, G, R]\n\n";
        EXPECT_NE(result.out.find(last), std::string::npos) << megabytes << " MB";
        wasReadable.insert(result.out.find("\n   1: " + unreadable + "\n") == std::string::npos);
    }
    EXPECT_EQ(wasReadable.size(), 2U) << "the limits reach from enough memory to too little";
}

}  // namespace
