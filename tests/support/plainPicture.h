// SPDX-License-Identifier: BSD-3-Clause
// What the samples of an EXR file say, once more: read with the EXR library's ordinary reader and worked out pixel
// by pixel, as simply as the rules read.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct PlainRange {
    double min = 0;
    double max = 0;
    double mean = 0;
};

struct PlainPicture {
    bool isThere = false;  // the first part has R, G, B or Y
    bool hasAlpha = false;
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgba;  // the display window
    bool isBlack = false;
    bool isFlat = false;
    std::array<std::optional<PlainRange>, 4> ranges;
    // By part and channel: samples that are NaN, and that are infinite. Only channels that have some.
    std::map<std::pair<int, std::string>, std::pair<long long, long long>> strange;
};

PlainPicture plainPicture(const std::string& bytes);
