// SPDX-License-Identifier: BSD-3-Clause
// Fills a directory with frames as a renderer writes them: check_frames <directory> <frames of each kind>
//
// zip, piz and dwaa: 1920 x 1080, eleven half channels and one of float depth, of a made-up scene with grain; those
// of dwaa are spread over two parts. Frames are named zip.0001.exr and so on; those after the second are links to
// the first two in turn, because painting takes long.
#include "benchmarks/PictureScenes.h"
#include "tests/support/PaintedFrames.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

namespace {

constexpr int width = 1920;
constexpr int height = 1080;

using Picture = kxP::_imgRGBABuffer8;

// Linear light of one of the picture's colours, with steps between its 256 values, as renderers have.
Paint lightOf(const Picture& picture, int colour, float gain) {
    return [&picture, colour, gain](int x, int y, int) {
        const unsigned char* const pixel = picture.pixels + 4 * (static_cast<std::size_t>(y) * width + x);
        const float between = static_cast<float>((x * 7 + y * 13 + colour) % 16) / 16;
        const float value = (static_cast<float>(pixel[colour]) + between) / 255;
        return gain * value * value;
    };
}

PaintedPart partOf(Imf::Compression compression) {
    PaintedPart part;
    part.display = part.data = {{0, 0}, {width - 1, height - 1}};
    part.compression = compression;
    return part;
}

void addColours(PaintedPart& part, const std::string& layer, const Picture& picture, float gain) {
    const char* const names[] = {"R", "G", "B"};
    for (int i = 0; i < 3; ++i) part.channels.push_back({layer + names[i], lightOf(picture, i, gain)});
}

void addRest(PaintedPart& part, const Picture& picture) {
    addColours(part, "diffuse.", picture, 0.6F);
    addColours(part, "specular.", picture, 0.3F);
    part.channels.push_back({"mask.A", lightOf(picture, 1, 1)});
    part.channels.push_back({"Z", lightOf(picture, 2, 1000), Imf::FLOAT});
}

std::vector<PaintedPart> partsOf(const std::string& kind, const Picture& picture) {
    const bool isLossy = kind == "dwaa";
    const auto compression = isLossy         ? Imf::DWAA_COMPRESSION
                             : kind == "piz" ? Imf::PIZ_COMPRESSION
                                             : Imf::ZIP_COMPRESSION;
    std::vector<PaintedPart> parts(isLossy ? 2 : 1, partOf(compression));
    addColours(parts.front(), "", picture, 1);
    parts.front().channels.push_back({"A", plainPaint(1)});
    addRest(parts.back(), picture);
    return parts;
}

void writeKind(const fs::path& directory, const std::string& kind, int frames) {
    const Scene scene(7);
    Picture picture(width * height);
    setSize(picture, width, height);
    for (int i = 0; i < frames; ++i) {
        char number[16];
        std::snprintf(number, sizeof number, ".%04d.exr", i + 1);
        const fs::path path = directory / (kind + number);
        if (i >= 2) {
            fs::create_hard_link(directory / (kind + (i % 2 == 0 ? ".0001.exr" : ".0002.exr")), path);
            continue;
        }
        Shot shot;
        shot.scene = &scene;
        shot.grain = 0.5;
        shot.seed = static_cast<unsigned>(i);
        draw(picture, shot);
        std::ofstream file(path, std::ios::binary);
        file << paintedBytes(partsOf(kind, picture)) << std::flush;
        if (!file) throw std::runtime_error("no room for " + path.string());
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("Usage: check_frames <directory> <frames of each kind>\n", stderr);
        return 1;
    }
    try {
        fs::create_directories(argv[1]);
        for (const char* kind : {"zip", "piz", "dwaa"}) writeKind(argv[1], kind, std::atoi(argv[2]));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "check_frames: %s\n", error.what());
        return 1;
    }
    return 0;
}
