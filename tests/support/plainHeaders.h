// SPDX-License-Identifier: BSD-3-Clause
// The headers of a file of whatever bytes: read from the whole file in memory, one rule after the other, without
// the EXR library.
#pragma once

#include "check/kxFinding.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct PlainChannel {
    std::string name;
    std::int64_t xSampling = 1;
    std::int64_t ySampling = 1;
};

struct PlainHeader {
    std::map<std::string, std::string> values;  // of the attributes that count
    std::vector<PlainChannel> channels;
    bool isTiled = false;
    bool isDeep = false;
};

struct PlainFlags {
    bool tiled = false;
    bool deep = false;
    bool multipart = false;
};

struct PlainHeaders {
    std::vector<PlainHeader> parts;
    PlainFlags flags;
    std::size_t end = 8;  // where the chunk tables begin
};

// Ends a reading: all that is to be said of the file.
struct PlainEnd {
    kxCheck::Code code;
};

// `compressions`: how many of them the EXR library knows. Throws PlainEnd.
PlainHeaders plainHeaders(const std::string& file, int compressions);

struct PlainWindow {
    std::int64_t minX, minY, maxX, maxY;
    std::int64_t width() const { return maxX - minX + 1; }
    std::int64_t height() const { return maxY - minY + 1; }
};

PlainWindow plainWindow(const PlainHeader& header, const char* name);
std::int64_t plainCompression(const PlainHeader& header);
// Four bytes with sign.
std::int64_t plainInt(const std::string& bytes, std::size_t offset);
