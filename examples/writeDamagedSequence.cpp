// SPDX-License-Identifier: BSD-3-Clause
// Writes a small sequence with a frame for nearly every finding into a directory, and prints its name with
// wildcards:
//
//   writeDamagedSequence <directory>
//
// Two good frames stand between two damaged ones, so that every frame has a good neighbour. Missing alpha is not
// among them: it is looked for in larger pictures only.
#include "examples/SampleFrames.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>

namespace fs = std::filesystem;

namespace {

std::string pathOf(const std::string& directory, int frame) {
    const std::string digits = std::to_string(frame);
    return (fs::path(directory) / ("beauty." + std::string(4 - digits.size(), '0') + digits + ".exr")).string();
}

int frameOf(const std::string& path) {
    const std::string digits = path.substr(path.size() - std::strlen("0001.exr"), 4);
    return std::stoi(digits);
}

SamplePart soundPart() {
    SamplePart part = samplePartOf({"A", "B", "G", "R", "diffuse.B", "diffuse.G", "diffuse.R"});
    part.pixels = SamplePixels::noise;
    return part;
}

std::string bytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void rewrite(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw std::runtime_error(path + " can't be written");
}

std::uint64_t offsetAt(const std::string& bytes, std::size_t at) {
    std::uint64_t offset = 0;
    std::memcpy(&offset, bytes.data() + at, sizeof(offset));
    return offset;
}

constexpr std::size_t entrySize = sizeof(std::uint64_t);

// Where the table of the three chunks begins: its first entry leads right behind it.
std::size_t chunkTableOf(const std::string& bytes) {
    constexpr std::size_t tableSize = 3 * entrySize;
    for (std::size_t at = 0; at + tableSize <= bytes.size(); ++at)
        if (offsetAt(bytes, at) == at + tableSize) return at;
    throw std::runtime_error("no chunk table");
}

std::size_t secondEntryOf(const std::string& bytes) {
    return chunkTableOf(bytes) + entrySize;
}

void overwrite(const std::string& path, std::size_t at, const std::string& by) {
    std::string bytes = bytesOf(path);
    rewrite(path, bytes.replace(at, by.size(), by));
}

// Each of these turns the sound frame of this path into one that has the finding.

void lose(const std::string& path) {
    fs::remove(path);
}

void linkNowhere(const std::string& path) {
    fs::remove(path);
    fs::create_symlink("nowhere.exr", path);
}

void claimNewerVersion(const std::string& path) {
    overwrite(path, 4, "\3");
}

void makeEmpty(const std::string& path) {
    rewrite(path, "");
}

void writeMessage(const std::string& path) {
    rewrite(path, "Error: no licence\n");
}

void dropAttribute(const std::string& path) {
    overwrite(path, bytesOf(path).find("lineOrder"), "lineOrdxr");
}

void loseLayers(const std::string& path) {
    SamplePart part = samplePartOf({"A", "B", "G", "R"});
    part.pixels = SamplePixels::noise;
    writeSampleFile(path, {part});
}

void crop(const std::string& path) {
    SamplePart part = soundPart();
    part.dataWindow = {{2, 1}, {61, 34}};
    writeSampleFile(path, {part});
}

void enlargeDisplay(const std::string& path) {
    SamplePart part = soundPart();
    part.displayWindow = {{0, 0}, {127, 71}};
    writeSampleFile(path, {part});
}

void changeCompression(const std::string& path) {
    SamplePart part = soundPart();
    part.compression = Imf::PXR24_COMPRESSION;
    writeSampleFile(path, {part});
}

void loseGrain(const std::string& path) {
    SamplePart part = soundPart();
    part.pixels = SamplePixels::gradient;
    writeSampleFile(path, {part});
}

void forgetChunk(const std::string& path) {
    overwrite(path, secondEntryOf(bytesOf(path)), std::string(entrySize, '\0'));
}

void cutOff(const std::string& path) {
    fs::resize_file(path, fs::file_size(path) - 20);
}

void spoilChunk(const std::string& path) {
    constexpr std::size_t leaderSize = 8;
    const std::string bytes = bytesOf(path);
    overwrite(path, offsetAt(bytes, secondEntryOf(bytes)) + leaderSize, std::string(16, '\xff'));
}

Imath::Box2i pixelAt(int x, int y) {
    return {{x, y}, {x, y}};
}

// In the midst of opaque pixels: that is what such a hole is told from the scene by.
void loseBlock(const std::string& path) {
    SamplePart part = soundPart();
    part.patches = {{"A", part.dataWindow, 1}, {"", {{24, 12}, {39, 27}}, 0}};
    writeSampleFile(path, {part});
}

void spoilSample(const std::string& path) {
    SamplePart part = soundPart();
    part.patches = {{"diffuse.R", pixelAt(20, 10), std::numeric_limits<float>::quiet_NaN()}};
    writeSampleFile(path, {part});
}

void makeInfinite(const std::string& path) {
    SamplePart part = soundPart();
    part.patches = {{"G", {{20, 10}, {22, 10}}, std::numeric_limits<float>::infinity()}};
    writeSampleFile(path, {part});
}

void blacken(const std::string& path) {
    SamplePart part = soundPart();
    part.pixels = SamplePixels::black;
    writeSampleFile(path, {part});
}

void flatten(const std::string& path) {
    SamplePart part = soundPart();
    part.patches = {{"", part.dataWindow, 0.5}};
    writeSampleFile(path, {part});
}

void repeatFrameBefore(const std::string& path) {
    SamplePart part = soundPart();
    part.phase = frameOf(path) - 1;
    writeSampleFile(path, {part});
}

void loseLight(const std::string& path) {
    SamplePart part = soundPart();
    part.gain = 0.5;
    writeSampleFile(path, {part});
}

using Damage = void (*)(const std::string& path);
constexpr Damage damages[] = {lose,           linkNowhere,       claimNewerVersion, makeEmpty,
                              writeMessage,   dropAttribute,     loseLayers,        crop,
                              enlargeDisplay, changeCompression, loseGrain,         forgetChunk,
                              cutOff,         spoilChunk,        loseBlock,         spoilSample,
                              makeInfinite,   blacken,           flatten,           repeatFrameBefore,
                              loseLight};

// What was just written might not be whole yet; these frames were written an hour ago.
void makeOld(const std::string& path) {
    if (fs::is_regular_file(path))
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
}

// Every third frame has a damage; the last ones are good.
void writeSequence(const std::string& directory) {
    const int frames = static_cast<int>(std::size(damages)) * 3 + 2;
    for (int frame = 1; frame <= frames; ++frame) {
        const std::string path = pathOf(directory, frame);
        SamplePart part = soundPart();
        part.phase = frame;
        writeSampleFile(path, {part});
        if (frame % 3 == 0) damages[frame / 3 - 1](path);
        makeOld(path);
    }
    std::printf("%s\n", (fs::path(directory) / "beauty.####.exr").c_str());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: writeDamagedSequence <directory>\n", stderr);
        return 1;
    }
    try {
        writeSequence(argv[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "Unable to write the sample sequence: %s\n", error.what());
        return 1;
    }
    return 0;
}
