// SPDX-License-Identifier: BSD-3-Clause
// EXR files of every kind in memory, small, with samples that differ from place to place.
#pragma once

#include <ImathBox.h>
#include <ImfCompression.h>
#include <ImfLineOrder.h>
#include <ImfPixelType.h>
#include <ImfTileDescription.h>

#include <string>
#include <vector>

struct KindChannel {
    std::string name;
    Imf::PixelType type = Imf::HALF;
    int xSampling = 1;
    int ySampling = 1;
};

struct KindPart {
    bool tiled = false;
    bool deep = false;  // allows no, RLE and ZIPS compression only
    Imf::Compression compression = Imf::ZIP_COMPRESSION;
    Imath::Box2i dataWindow{{0, 0}, {44, 69}};  // inclusive corners
    std::vector<KindChannel> channels{{"A"}, {"B"}, {"G"}, {"R"}};
    Imf::LineOrder lineOrder = Imf::INCREASING_Y;
    Imf::LevelMode levels = Imf::ONE_LEVEL;
    Imf::LevelRoundingMode rounding = Imf::ROUND_DOWN;
    int tileWidth = 16;
    int tileHeight = 13;
    Imath::Box2i displayWindow{{0, 0}, {63, 35}};
};

struct Kind {
    std::string name;  // of letters and digits
    std::vector<KindPart> parts;
};

// Every storage with every compression that the library can write for it; levels, sampling, line orders, pixel
// types, windows off the origin; files of several parts.
const std::vector<Kind>& exrKinds();
// The file's bytes, as the library writes them. Files of one flat part are written as such.
std::string exrBytes(const Kind& kind);

// What the library's ordinary reader finds in one level of a flat part: for each channel, in the order of the
// names, its samples row by row.
std::vector<std::string> readerPlanes(const std::string& bytes, int part, int levelX, int levelY);
// The same of a deep part: first the number of samples of each pixel (32 bits), then for each channel all samples,
// pixel by pixel.
std::vector<std::string> readerDeepPlanes(const std::string& bytes, int part);
