// SPDX-License-Identifier: BSD-3-Clause
// What level structure must find in a file of whatever bytes: read from the whole file in memory, one rule after
// the other, without the EXR library.
#pragma once

#include "check/kxFinding.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Chunks of one part that follow each other and have the same fault.
struct PlainFault {
    int part = 0;
    kxCheck::Code code = kxCheck::Code::chunk;
    std::int64_t count = 0;
    std::optional<std::pair<std::int64_t, std::int64_t>> rows;  // first and last, of scan lines
    std::vector<std::int64_t> firstTile;                        // column, row and levels of the first, of tiles
};

struct PlainStructure {
    std::optional<kxCheck::Code> alone;              // all that is to be said; then the rest counts for nothing
    std::vector<std::vector<std::string>> channels;  // their names, per part
    std::vector<std::pair<std::int64_t, std::int64_t>> chunks;  // per part how many, and how many are there
    std::vector<PlainFault> faults;                             // in the order of parts and chunks
};

// `compressions`: how many of them the EXR library knows.
PlainStructure plainStructure(const std::string& file, int compressions);
