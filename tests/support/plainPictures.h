// SPDX-License-Identifier: BSD-3-Clause
// What is found wrong with the pictures of a sequence, written as simply as the rules read, over all frames at once
// and independent of the system's own headers.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

struct PlainPicture {
    int number = 0;
    int tile = -1;           // -1: the sequence has no tiles
    bool hasFile = true;     // false: the frame is missing
    bool isDecoded = true;   // every chunk
    bool hasPicture = true;  // R, G, B or Y in its first part
    int samples = 0;         // equal for equal samples
    bool isTileMissing = false;
    bool hasDarkCorner = false;
    bool isAlphaMissing = false;
    bool isBlack = false;
    bool isFlat = false;
    int nan = 0;  // samples of `channel`
    int infinite = 0;
    std::string channel = "R";
    std::array<std::array<unsigned, 32>, 3> histogram{};  // r, g, b
};

struct PlainVerdict {
    std::vector<std::string> codes;  // in the order of a report; "tile-missing!" where it is an error
    double jump = 0;
};

// Of the frames of a run, [first, last) of a sequence. Frames of one number and tile come once.
std::vector<PlainVerdict> plainPictureVerdicts(const std::vector<PlainPicture>& frames, std::size_t first,
                                               std::size_t last, int step);

// What it costs to carry the values of one channel to where they are in the other, one by one from the lowest on,
// as share of all values by bins.
double plainTransport(const std::array<unsigned, 32>& from, const std::array<unsigned, 32>& to);
