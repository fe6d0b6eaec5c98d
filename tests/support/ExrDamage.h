// SPDX-License-Identifier: BSD-3-Clause
// Damages a good EXR file in one way at a time, and knows what there is to find then.
#pragma once

#include <string>
#include <vector>

struct ExrDamage {
    std::string what;                // for messages
    std::string file;                // the damaged bytes
    std::vector<std::string> codes;  // those that must be found, and no other; any of them when there are several
    bool isStructural = true;        // false: found at level pixels only
};

// Headers without each attribute that the format needs, doubled ones, wrong types and sizes, impossible values,
// unknown versions, flags, compressions and part types, names too long or twice.
std::vector<ExrDamage> damagedHeaders(const std::string& file);
// Chunk tables: all or some entries zero, behind the file's end, inside the header, doubled; wrong numbers, places
// and sizes before the chunks.
std::vector<ExrDamage> damagedChunks(const std::string& file);
// One flipped byte in the data of each of some chunks; whether it can be found depends on the compression.
std::vector<ExrDamage> damagedData(const std::string& file);
// Files of other kinds, and beginnings of EXR files.
std::vector<ExrDamage> foreignFiles();
