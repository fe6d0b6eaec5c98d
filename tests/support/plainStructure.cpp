// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/plainStructure.h"

#include "tests/support/plainHeaders.h"
#include "tests/support/plainLayout.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <map>

using kxCheck::Code;

namespace {

using Number = std::int64_t;
constexpr Number mostChunks = INT_MAX;

struct PlainLevel {
    Number x = 0;
    Number y = 0;
    Number columns = 0;
    Number rows = 0;
};

Number halved(Number side, Number level, bool up) {
    for (Number i = 0; i < level; ++i) side = up && side > 1 ? (side + 1) / 2 : side / 2;
    return std::max<Number>(side, 1);
}

Number levelsOf(Number side, bool up) {
    Number levels = 1;
    for (; side > 1; side = halved(side, 1, up)) ++levels;
    return levels;
}

std::vector<PlainLevel> levelsOf(const PlainHeader& header) {
    const PlainWindow window = plainWindow(header, "dataWindow");
    const std::string& tiles = header.values.at("tiles");
    const std::uint64_t mode = layoutNumber(tiles, 8, 1);
    const bool up = mode / 16 == 1;
    const Number longer = levelsOf(std::max(window.width(), window.height()), up);
    const Number columns = mode % 16 == 0 ? 1 : mode % 16 == 1 ? longer : levelsOf(window.width(), up);
    const Number rows = mode % 16 == 0 ? 1 : mode % 16 == 1 ? longer : levelsOf(window.height(), up);
    const auto tilesOf = [](Number side, Number tile) { return (side + tile - 1) / tile; };
    std::vector<PlainLevel> levels;
    for (Number y = 0; y < rows; ++y)
        for (Number x = 0; x < columns; ++x)
            if (mode % 16 == 2 || x == y)
                levels.push_back({x, y, tilesOf(halved(window.width(), x, up), plainInt(tiles, 0)),
                                  tilesOf(halved(window.height(), y, up), plainInt(tiles, 4))});
    return levels;
}

// One chunk as its table and its header say it is.
struct Chunk {
    int part = 0;
    std::vector<Number> place;  // as its leader must say it: the first row; or column, row and levels of the tile
    Number lastRow = 0;
    std::uint64_t offset = 0;
    int fault = 0;  // row of `faults`
};

// In the order in which they apply.
enum Fault { none, unfinished, truncated, insideHeader, sharedPlace, wrongLeader };

Number rowsOfChunk(const PlainHeader& header) {
    constexpr Number rows[] = {1, 1, 1, 16, 32, 16, 32, 32, 32, 256, 256, 32};
    return rows[plainCompression(header)];
}

// Of one part; a number beyond all bounds where there are too many to count.
double countOf(const PlainHeader& header) {
    if (!header.isTiled)
        return std::ceil(static_cast<double>(plainWindow(header, "dataWindow").height()) /
                         static_cast<double>(rowsOfChunk(header)));
    double count = 0;
    for (const PlainLevel& level : levelsOf(header))
        count += static_cast<double>(level.columns) * static_cast<double>(level.rows);
    return count;
}

void addChunks(const PlainHeader& header, int part, std::vector<Chunk>& chunks) {
    if (header.isTiled) {
        for (const PlainLevel& level : levelsOf(header))
            for (Number y = 0; y < level.rows; ++y)
                for (Number x = 0; x < level.columns; ++x) chunks.push_back({part, {x, y, level.x, level.y}});
        return;
    }
    const PlainWindow window = plainWindow(header, "dataWindow");
    const Number rows = rowsOfChunk(header);
    for (Number y = window.minY; y <= window.maxY; y += rows)
        chunks.push_back({part, {y}, std::min(y + rows - 1, window.maxY)});
}

// What the leader of the chunk that lies last says.
Fault leaderFault(const std::string& file, const PlainHeaders& headers, const Chunk& chunk) {
    const PlainHeader& header = headers.parts[static_cast<std::size_t>(chunk.part)];
    std::size_t at = chunk.offset;
    const std::size_t size = (headers.flags.multipart ? 4 : 0) + 4 * chunk.place.size() + (header.isDeep ? 24 : 4);
    if (file.size() - at < size) return truncated;
    if (headers.flags.multipart) {
        if (plainInt(file, at) != chunk.part) return wrongLeader;
        at += 4;
    }
    for (const Number expected : chunk.place) {
        if (plainInt(file, at) != expected) return wrongLeader;
        at += 4;
    }
    const std::uint64_t room = file.size() - chunk.offset - size;
    if (!header.isDeep) {
        if (plainInt(file, at) < 0) return wrongLeader;
        return layoutNumber(file, at, 4) > room ? truncated : none;
    }
    std::uint64_t sizes[3];
    for (std::size_t i = 0; i < 3; ++i) sizes[i] = layoutNumber(file, at + 8 * i, 8);
    if (*std::max_element(sizes, sizes + 3) > INT64_MAX) return wrongLeader;
    return sizes[0] > room || sizes[1] > room - sizes[0] ? truncated : none;
}

void setFaults(const std::string& file, const PlainHeaders& headers, std::uint64_t end,
               std::vector<Chunk>& chunks) {
    std::map<std::uint64_t, int> claims;
    std::uint64_t last = 0;
    for (Chunk& chunk : chunks) {
        ++claims[chunk.offset];
        chunk.fault = chunk.offset == 0             ? unfinished
                      : chunk.offset >= file.size() ? truncated
                      : chunk.offset < end          ? insideHeader
                                                    : none;
        if (chunk.fault == none) last = std::max(last, chunk.offset);
    }
    for (Chunk& chunk : chunks) {
        const Fault ofLeader = chunk.offset == last && last > 0 ? leaderFault(file, headers, chunk) : none;
        const Fault ofPlace = chunk.offset >= end && claims[chunk.offset] > 1 ? sharedPlace : none;
        for (const Fault fault : {ofLeader, ofPlace})
            if (fault != none && (chunk.fault == none || fault < chunk.fault)) chunk.fault = fault;
    }
}

Code codeOf(int fault) {
    return fault == unfinished ? Code::unfinished : fault == truncated ? Code::truncated : Code::chunk;
}

void addFaults(const PlainHeaders& headers, const std::vector<Chunk>& chunks, PlainStructure& structure) {
    structure.chunks.resize(headers.parts.size());
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        const Chunk& chunk = chunks[i];
        auto& counts = structure.chunks[static_cast<std::size_t>(chunk.part)];
        ++counts.first;
        if (chunk.fault != unfinished && chunk.fault != truncated) ++counts.second;
        if (chunk.fault == none) continue;
        const bool goesOn = i > 0 && chunks[i - 1].part == chunk.part && chunks[i - 1].fault == chunk.fault;
        const bool isTile = chunk.place.size() > 1;
        if (!goesOn) {
            structure.faults.push_back({chunk.part, codeOf(chunk.fault), 0, std::nullopt, {}});
            if (isTile) structure.faults.back().firstTile = chunk.place;
            if (!isTile) structure.faults.back().rows = {chunk.place[0], 0};
        }
        ++structure.faults.back().count;
        if (!isTile) structure.faults.back().rows->second = chunk.lastRow;
    }
}

void readStructure(const std::string& file, int compressions, PlainStructure& structure) {
    const PlainHeaders headers = plainHeaders(file, compressions);
    double count = 0;
    bool isCountable = true;
    for (const PlainHeader& header : headers.parts) {
        structure.channels.emplace_back();
        for (const PlainChannel& channel : header.channels) structure.channels.back().push_back(channel.name);
        count += countOf(header);
        isCountable = isCountable && countOf(header) <= static_cast<double>(mostChunks);
    }
    if (count > static_cast<double>((file.size() - headers.end) / 8)) throw PlainEnd{Code::truncated};
    if (!isCountable) throw PlainEnd{Code::header};
    std::vector<Chunk> chunks;
    for (std::size_t part = 0; part < headers.parts.size(); ++part)
        addChunks(headers.parts[part], static_cast<int>(part), chunks);
    for (std::size_t i = 0; i < chunks.size(); ++i) chunks[i].offset = layoutNumber(file, headers.end + 8 * i, 8);
    setFaults(file, headers, headers.end + 8 * chunks.size(), chunks);
    addFaults(headers, chunks, structure);
}

}  // namespace

PlainStructure plainStructure(const std::string& file, int compressions) {
    PlainStructure structure;
    try {
        readStructure(file, compressions, structure);
    } catch (const PlainEnd& end) {
        structure.alone = end.code;
    }
    return structure;
}
