// SPDX-License-Identifier: BSD-3-Clause
// Writes a small sequence with a frame of every kind that the tool tells apart into a directory, and prints the
// name of its first file:
//
//   writeSampleSequence <directory>
#include "examples/SampleFrames.h"

#include <cstdio>
#include <exception>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

const std::vector<std::string> layerChannels = {"A",         "B",         "G",        "R",        "diffuse.B",
                                                "diffuse.G", "diffuse.R", "normal.X", "normal.Y", "normal.Z"};

SamplePart multiLayer() {
    SamplePart part = samplePartOf(layerChannels);
    part.compression = Imf::PIZ_COMPRESSION;
    return part;
}

std::vector<SamplePart> multiPart() {
    SamplePart beauty;
    beauty.name = "beauty";
    SamplePart depth = samplePartOf({});
    depth.name = "depth";
    depth.channels = {{"Z", Imf::FLOAT}};
    return {beauty, depth};
}

SamplePart tiled() {
    SamplePart part;
    part.tiled = true;
    part.compression = Imf::RLE_COMPRESSION;
    return part;
}

SamplePart deep() {
    SamplePart part = samplePartOf({"A", "B", "G", "R"});
    part.channels.push_back({"Z", Imf::FLOAT});
    part.channels.push_back({"id", Imf::UINT});
    part.deep = true;
    part.compression = Imf::ZIPS_COMPRESSION;
    return part;
}

SamplePart cropped() {
    SamplePart part = multiLayer();
    part.dataWindow = {{16, 8}, {47, 27}};
    return part;
}

// Frame 5 is missing, frame 8 breaks off in its header.
void writeSequence(const std::string& directory) {
    const auto frame = [&](int number) {
        return (fs::path(directory) / ("beauty.000" + std::to_string(number) + ".exr")).string();
    };
    writeSampleFile(frame(1), {SamplePart()});
    writeSampleFile(frame(2), {multiLayer()});
    writeSampleFile(frame(3), multiPart());
    writeSampleFile(frame(4), {tiled()});
    writeSampleFile(frame(6), {deep()});
    writeSampleFile(frame(7), {cropped()});
    writeSampleFile(frame(8), {SamplePart()});
    fs::resize_file(frame(8), 100);
    std::printf("%s\n", frame(1).c_str());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: writeSampleSequence <directory>\n", stderr);
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
