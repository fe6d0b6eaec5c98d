// SPDX-License-Identifier: BSD-3-Clause
// Writes small real EXR files of every kind the tool tells apart. For the examples, tests and benchmarks.
#pragma once

#include <ImathBox.h>
#include <ImfCompression.h>
#include <ImfPixelType.h>

#include <string>
#include <vector>

struct SampleChannel {
    std::string name;
    Imf::PixelType type = Imf::HALF;
};

// The gradient runs along the rows, which are all the same.
enum class SamplePixels { black, gradient, noise };

// Samples that have this value instead of the part's.
struct SamplePatch {
    std::string channel;  // empty: all
    Imath::Box2i window;  // with inclusive corners; what lies beyond the data window is left out
    float value = 0;      // NaN and infinite too, of half and float channels
};

// One part of a file; a file of one part is written as a single-part file.
struct SamplePart {
    // Windows with inclusive corners, as in the file.
    Imath::Box2i displayWindow{{0, 0}, {63, 35}};
    Imath::Box2i dataWindow{{0, 0}, {63, 35}};
    Imf::Compression compression = Imf::ZIP_COMPRESSION;
    std::vector<SampleChannel> channels{{"A"}, {"B"}, {"G"}, {"R"}};
    bool tiled = false;
    unsigned tileSize = 16;
    bool deep = false;  // one black sample a pixel; allows no, RLE and ZIPS compression only
    SamplePixels pixels = SamplePixels::black;
    int phase = 0;                     // moves gradient and noise, so that frames can differ
    float gain = 1;                    // by which their values are multiplied
    std::vector<SamplePatch> patches;  // later ones cover earlier ones; not in deep parts
    std::string name;                  // part name; empty becomes "part<index>" in a file of several parts
};

// Writes the file. Throws what the EXR library throws.
void writeSampleFile(const std::string& path, const std::vector<SamplePart>& parts);

// A part with these channels, all half.
SamplePart samplePartOf(const std::vector<std::string>& channelNames);
