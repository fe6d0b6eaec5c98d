// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/plainLayout.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace {

struct PlainPart {
    bool deep = false;
    bool tiled = false;
    std::size_t chunks = 0;
};

bool isMultipart(const std::string& file) {
    return (layoutNumber(file, 4, 4) & 0x1000) != 0;
}

std::size_t readAttribute(const std::string& file, int part, std::size_t offset, PlainAttribute& attribute) {
    attribute.part = part;
    attribute.begin = offset;
    attribute.name = file.c_str() + offset;
    attribute.type = file.c_str() + offset + attribute.name.size() + 1;
    const std::size_t size = offset + attribute.name.size() + attribute.type.size() + 2;
    attribute.value = size + 4;
    attribute.end = attribute.value + layoutNumber(file, size, 4);
    return attribute.end;
}

void readHeaders(const std::string& file, PlainLayout& layout, int& parts) {
    std::size_t at = 8;
    do {
        while (file[at] != 0) {
            PlainAttribute attribute;
            at = readAttribute(file, parts, at, attribute);
            layout.attributes.push_back(attribute);
        }
        ++at;
        ++parts;
    } while (isMultipart(file) && file[at] != 0);
    layout.headersEnd = at + (isMultipart(file) ? 1 : 0);
}

std::size_t linesOf(std::uint64_t compression) {
    constexpr std::size_t lines[] = {1, 1, 1, 16, 32, 16, 32, 32, 32, 256, 256, 32};
    return lines[compression];
}

std::size_t halved(std::size_t size, int level, bool up) {
    for (int i = 0; i < level; ++i) size = up ? (size + 1) / 2 : size / 2;
    return std::max<std::size_t>(size, 1);
}

std::size_t tilesAt(std::size_t size, std::size_t tile, int level, bool up) {
    return (halved(size, level, up) + tile - 1) / tile;
}

int levelsOf(std::size_t size, bool up) {
    int levels = 1;
    while (halved(size, levels - 1, up) > 1) ++levels;
    return levels;
}

std::size_t tilesOf(const std::string& file, std::size_t value, std::size_t width, std::size_t height) {
    const std::size_t tileWidth = layoutNumber(file, value, 4);
    const std::size_t tileHeight = layoutNumber(file, value + 4, 4);
    const int mode = file[value + 8] & 15;
    const bool up = file[value + 8] >> 4 != 0;
    const int columns = mode == 0 ? 1 : levelsOf(mode == 1 ? std::max(width, height) : width, up);
    const int rows = mode == 0 ? 1 : levelsOf(mode == 1 ? std::max(width, height) : height, up);
    std::size_t tiles = 0;
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x)
            if (mode == 2 || x == y) tiles += tilesAt(width, tileWidth, x, up) * tilesAt(height, tileHeight, y, up);
    return tiles;
}

PlainPart partOf(const std::string& file, const PlainLayout& layout, int index) {
    PlainPart part;
    const std::uint64_t flags = layoutNumber(file, 4, 4);
    part.tiled = (flags & 0x200) != 0;
    if (flags & 0x1800) {
        const PlainAttribute& type = layout.attribute(index, "type");
        const std::string text = file.substr(type.value, type.end - type.value);
        part.deep = text.find("deep") == 0;
        part.tiled = text.find("tile") != std::string::npos;
    }
    const std::size_t window = layout.attribute(index, "dataWindow").value;
    const std::size_t width = (layoutNumber(file, window + 8, 4) - layoutNumber(file, window, 4) + 1) & 0xFFFFFFFF;
    const std::size_t height =
        (layoutNumber(file, window + 12, 4) - layoutNumber(file, window + 4, 4) + 1) & 0xFFFFFFFF;
    const std::size_t lines = linesOf(layoutNumber(file, layout.attribute(index, "compression").value, 1));
    part.chunks = part.tiled ? tilesOf(file, layout.attribute(index, "tiles").value, width, height)
                             : (height + lines - 1) / lines;
    return part;
}

PlainChunk chunkOf(const std::string& file, const PlainPart& part, int index, std::size_t entry) {
    PlainChunk chunk;
    chunk.part = index;
    chunk.entry = entry;
    chunk.offset = layoutNumber(file, entry, 8);
    chunk.place = chunk.offset + (isMultipart(file) ? 4 : 0);
    chunk.sizes = chunk.place + (part.tiled ? 16 : 4);
    chunk.data = chunk.sizes + (part.deep ? 24 : 4);
    chunk.end =
        chunk.data + (part.deep ? layoutNumber(file, chunk.sizes, 8) + layoutNumber(file, chunk.sizes + 8, 8)
                                : layoutNumber(file, chunk.sizes, 4));
    return chunk;
}

}  // namespace

const PlainAttribute& PlainLayout::attribute(int part, const std::string& name) const {
    for (const PlainAttribute& attribute : attributes)
        if (attribute.part == part && attribute.name == name) return attribute;
    std::abort();
}

std::uint64_t layoutNumber(const std::string& file, std::size_t offset, std::size_t bytes) {
    std::uint64_t number = 0;
    for (std::size_t i = bytes; i-- > 0;) number = number << 8 | static_cast<unsigned char>(file[offset + i]);
    return number;
}

void putPlainNumber(std::string& file, std::size_t offset, std::size_t bytes, std::uint64_t number) {
    for (std::size_t i = 0; i < bytes; ++i) file[offset + i] = static_cast<char>(number >> (8 * i) & 255);
}

PlainLayout plainLayout(const std::string& file) {
    PlainLayout layout;
    int parts = 0;
    readHeaders(file, layout, parts);
    std::size_t entry = layout.headersEnd;
    for (int part = 0; part < parts; ++part) {
        const PlainPart shape = partOf(file, layout, part);
        for (std::size_t i = 0; i < shape.chunks; ++i, entry += 8)
            layout.chunks.push_back(chunkOf(file, shape, part, entry));
    }
    layout.tablesEnd = entry;
    return layout;
}
