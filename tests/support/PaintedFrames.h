// SPDX-License-Identifier: BSD-3-Clause
// EXR files in memory whose samples are what a test says.
#pragma once

#include <ImathBox.h>
#include <ImfCompression.h>
#include <ImfPixelType.h>

#include <functional>
#include <string>
#include <vector>

// The value of a sample of the pixel (x, y) of the data window; `i` counts those of a deep pixel.
using Paint = std::function<float(int x, int y, int i)>;

struct PaintedChannel {
    std::string name;
    Paint paint;
    Imf::PixelType type = Imf::HALF;
    int xSampling = 1;
    int ySampling = 1;
};

struct PaintedPart {
    std::vector<PaintedChannel> channels;
    Imath::Box2i display{{0, 0}, {15, 11}};  // inclusive corners
    Imath::Box2i data = display;
    Imf::Compression compression = Imf::ZIP_COMPRESSION;
    int tileSize = 0;                               // 0: scan lines
    bool mipmap = false;                            // all levels but the full resolution hold NaN only
    std::function<int(int x, int y)> samples = {};  // of each deep pixel; none: the part is flat
};

std::string paintedBytes(const std::vector<PaintedPart>& parts);

// The same value everywhere.
inline Paint plainPaint(float value) {
    return [value](int, int, int) { return value; };
}
