// SPDX-License-Identifier: BSD-3-Clause
// Fills a directory with frames for scripts/bench:
//
//   tool_frames <directory> small|large <frames> [<other entries>]
//
// small: 64 x 36, in turn a plain, a multi-layer, a two-part and a tiled one; large: 1920 x 1080, plain. Every
// pixel is black, so that files stay small. Frames are named beauty.00001.exr and so on, other entries are empty
// files.
#include "examples/SampleFrames.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

using Parts = std::vector<SamplePart>;

int numberFrom(const char* argument) {
    return static_cast<int>(std::strtol(argument, nullptr, 10));
}

std::vector<Parts> smallKinds() {
    SamplePart tiled;
    tiled.tiled = true;
    return {{SamplePart()},
            {samplePartOf({"A", "B", "G", "R", "diffuse.B", "diffuse.G", "diffuse.R"})},
            {SamplePart(), samplePartOf({"Z"})},
            {tiled}};
}

std::vector<Parts> largeKinds() {
    SamplePart part;
    part.displayWindow = part.dataWindow = {{0, 0}, {1919, 1079}};
    return {{part}};
}

std::string entryName(const std::string& directory, const char* prefix, int number, const char* suffix) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%05d", number);
    return directory + "/" + prefix + digits + suffix;
}

// The frames after the first of each kind are copies of it: writing is slow.
void writeFrames(const std::string& directory, const std::vector<Parts>& kinds, int count) {
    const int kindCount = static_cast<int>(kinds.size());
    for (int i = 0; i < count; ++i) {
        const std::string path = entryName(directory, "beauty.", i + 1, ".exr");
        if (i < kindCount) {
            writeSampleFile(path, kinds[static_cast<std::size_t>(i)]);
        } else {
            fs::copy_file(entryName(directory, "beauty.", i + 1 - kindCount, ".exr"), path);
        }
    }
}

void writeOthers(const std::string& directory, int count) {
    for (int i = 1; i <= count; ++i) std::ofstream(entryName(directory, "diffuse.", i, ".exr"));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fputs("Usage: tool_frames <directory> small|large <frames> [<other entries>]\n", stderr);
        return 1;
    }
    try {
        fs::create_directories(argv[1]);
        writeFrames(argv[1], std::strcmp(argv[2], "large") == 0 ? largeKinds() : smallKinds(), numberFrom(argv[3]));
        writeOthers(argv[1], argc > 4 ? numberFrom(argv[4]) : 0);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tool_frames: %s\n", error.what());
        return 1;
    }
    return 0;
}
