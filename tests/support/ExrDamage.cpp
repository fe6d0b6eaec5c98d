// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/ExrDamage.h"

#include "tests/support/plainLayout.h"

#include <algorithm>
#include <cstddef>

namespace {

std::string without(const std::string& file, const PlainAttribute& attribute) {
    return file.substr(0, attribute.begin) + file.substr(attribute.end);
}

std::string doubled(const std::string& file, const PlainAttribute& attribute) {
    return file.substr(0, attribute.end) + file.substr(attribute.begin, attribute.end - attribute.begin) +
           file.substr(attribute.end);
}

std::string withNumber(std::string file, std::size_t offset, std::size_t bytes, std::uint64_t number) {
    putPlainNumber(file, offset, bytes, number);
    return file;
}

// "screenWindowCenter" → "screenWindowCenteX"
std::string withLastLetter(std::string file, std::size_t end) {
    file[end - 1] = 'X';
    return file;
}

bool isNeeded(const std::string& file, const std::string& name) {
    static const std::vector<std::string> always{"channels",           "compression",      "dataWindow",
                                                 "displayWindow",      "lineOrder",        "pixelAspectRatio",
                                                 "screenWindowCenter", "screenWindowWidth"};
    if (std::find(always.begin(), always.end(), name) != always.end() || name == "tiles") return true;
    const std::uint64_t flags = layoutNumber(file, 4, 4);
    return ((flags & 0x1000) != 0 && name == "name") ||
           ((flags & 0x1800) != 0 && (name == "type" || name == "chunkCount" || name == "version"));
}

void damageAttribute(const std::string& file, const PlainAttribute& attribute, std::vector<ExrDamage>& all) {
    const std::string label = attribute.name + " of part " + std::to_string(attribute.part);
    all.push_back({label + " doubled", doubled(file, attribute), {"header"}});
    if (!isNeeded(file, attribute.name)) return;
    all.push_back({label + " missing", without(file, attribute), {"header"}});
    all.push_back({label + " renamed", withLastLetter(file, attribute.begin + attribute.name.size()), {"header"}});
    all.push_back({label + " of another type", withLastLetter(file, attribute.value - 5), {"header"}});
    all.push_back({label + " of negative size", withNumber(file, attribute.value - 4, 4, 0xFFFFFFF0), {"header"}});
    all.push_back({label + " of all bytes", withNumber(file, attribute.value - 4, 4, 0x7FFFFFFF), {"truncated"}});
}

void damageValues(const std::string& file, const PlainLayout& layout, std::vector<ExrDamage>& all) {
    const auto value = [&](const char* name) { return layout.attribute(0, name).value; };
    const std::size_t data = value("dataWindow");
    all.push_back({"display window turned round", withNumber(file, value("displayWindow"), 4, 5000), {"header"}});
    all.push_back({"data window turned round", withNumber(file, data + 4, 4, 5000), {"header"}});
    all.push_back({"data window beyond 32 bits", withNumber(file, data + 12, 4, 0x7FFFFFFF), {"header"}});
    all.push_back({"data window of a milliard rows", withNumber(file, data + 12, 4, 0x3F000000), {"truncated"}});
    all.push_back({"aspect ratio 0", withNumber(file, value("pixelAspectRatio"), 4, 0), {"header"}});
    all.push_back({"aspect ratio NaN", withNumber(file, value("pixelAspectRatio"), 4, 0x7FC00000), {"header"}});
    all.push_back({"screen width -1", withNumber(file, value("screenWindowWidth"), 4, 0xBF800000), {"header"}});
    all.push_back({"line order 3", withNumber(file, value("lineOrder"), 1, 3), {"header"}});
    all.push_back({"compression 12", withNumber(file, value("compression"), 1, 12), {"unsupported"}});
    all.push_back({"compression 255", withNumber(file, value("compression"), 1, 255), {"unsupported"}});
    const std::size_t type = value("channels") + file.substr(value("channels")).find('\0') + 1;
    all.push_back({"pixel type 3", withNumber(file, type, 4, 3), {"header"}});
    all.push_back({"sampling 0", withNumber(file, type + 8, 4, 0), {"header"}});
    all.push_back({"sampling -1", withNumber(file, type + 12, 4, 0xFFFFFFFF), {"header"}});
}

void damageTiles(const std::string& file, const PlainLayout& layout, std::vector<ExrDamage>& all) {
    for (const PlainAttribute& attribute : layout.attributes) {
        if (attribute.name != "tiles") continue;
        all.push_back({"tile width 0", withNumber(file, attribute.value, 4, 0), {"header"}});
        all.push_back({"tile height -1", withNumber(file, attribute.value + 4, 4, 0xFFFFFFFF), {"header"}});
        all.push_back({"levels of kind 3", withNumber(file, attribute.value + 8, 1, 3), {"header"}});
        all.push_back({"rounding 2", withNumber(file, attribute.value + 8, 1, 0x20), {"header"}});
    }
}

void damageParts(const std::string& file, const PlainLayout& layout, std::vector<ExrDamage>& all) {
    for (const PlainAttribute& attribute : layout.attributes) {
        if (attribute.name == "type" && isNeeded(file, "type"))
            all.push_back({"part type unknown", withLastLetter(file, attribute.end), {"unsupported"}});
        if (attribute.name == "version" && isNeeded(file, "version"))
            all.push_back({"deep version 2", withNumber(file, attribute.value, 4, 2), {"header"}});
        if (attribute.name == "name" && attribute.part == 1)
            all.push_back({"part names alike", withNumber(file, attribute.end - 1, 1, '0'), {"header"}});
        if (attribute.name == "displayWindow" && attribute.part == 1)
            all.push_back({"display windows not alike", withNumber(file, attribute.value + 8, 4, 99), {"header"}});
    }
}

void damageVersion(const std::string& file, std::vector<ExrDamage>& all) {
    const std::uint64_t version = layoutNumber(file, 4, 4);
    for (const std::uint64_t bit : {0x100U, 0x2000U, 0x10000U, 0x80000000U})
        all.push_back({"flag " + std::to_string(bit), withNumber(file, 4, 4, version | bit), {"unsupported"}});
    for (const std::uint64_t other : {3U, 4U, 255U})
        all.push_back({"version " + std::to_string(other), withNumber(file, 4, 1, other), {"unsupported"}});
    for (const std::uint64_t other : {0U, 1U})
        all.push_back({"version " + std::to_string(other), withNumber(file, 4, 1, other), {"header"}});
    all.push_back({"tiles and parts", withNumber(file, 4, 4, version | 0x1200), {"header"}});
}

std::string withEntries(std::string file, const PlainLayout& layout, std::size_t from, std::size_t step,
                        std::uint64_t number) {
    for (std::size_t i = from; i < layout.chunks.size(); i += step)
        putPlainNumber(file, layout.chunks[i].entry, 8, number);
    return file;
}

void damageEntries(const std::string& file, const PlainLayout& layout, std::vector<ExrDamage>& all) {
    const std::size_t middle = layout.chunks.size() / 2;
    const std::size_t once = layout.chunks.size();
    all.push_back({"table of zeros", withEntries(file, layout, 0, 1, 0), {"unfinished"}});
    all.push_back({"second half zero", withEntries(file, layout, middle, 1, 0), {"unfinished"}});
    all.push_back({"every third zero", withEntries(file, layout, 0, 3, 0), {"unfinished"}});
    for (const std::uint64_t far : {std::uint64_t{1} << 40, ~std::uint64_t{0}, std::uint64_t{1} << 63,
                                    static_cast<std::uint64_t>(file.size())})
        all.push_back(
            {"place " + std::to_string(far), withEntries(file, layout, middle, once, far), {"truncated"}});
    for (const std::uint64_t near :
         {std::uint64_t{1}, std::uint64_t{20}, static_cast<std::uint64_t>(layout.tablesEnd - 1)})
        all.push_back({"place " + std::to_string(near), withEntries(file, layout, middle, once, near), {"chunk"}});
    if (layout.chunks.size() > 1)
        all.push_back(
            {"place of the first", withEntries(file, layout, middle, once, layout.chunks[0].offset), {"chunk"}});
}

// The chunk that lies last is looked at without decoding.
void damageLeader(const std::string& file, const PlainLayout& layout, const PlainChunk& chunk,
                  std::vector<ExrDamage>& all) {
    const bool isLast = std::all_of(layout.chunks.begin(), layout.chunks.end(),
                                    [&](const PlainChunk& other) { return other.offset <= chunk.offset; });
    const std::string label = " of chunk at " + std::to_string(chunk.offset);
    all.push_back({"place moved by a byte" + label,
                   withNumber(file, chunk.entry, 8, chunk.offset + 1),
                   {"chunk", "truncated"},
                   isLast});
    all.push_back({"row or column" + label, withNumber(file, chunk.place, 4, 0x00123456), {"chunk"}, isLast});
    if (chunk.place > chunk.offset)
        all.push_back({"part" + label, withNumber(file, chunk.offset, 4, 77), {"chunk"}, isLast});
    const bool isDeep = chunk.data - chunk.sizes == 24;
    const std::size_t packed = isDeep ? chunk.sizes + 8 : chunk.sizes;
    const std::size_t bytes = isDeep ? 8 : 4;
    all.push_back({"negative size" + label, withNumber(file, packed + bytes - 1, 1, 0xFF), {"chunk"}, isLast});
    all.push_back({"vast size" + label, withNumber(file, packed, 4, 0x7FFFFFF0), {"truncated"}, isLast});
    if (layoutNumber(file, packed, bytes) > 0)
        all.push_back({"size 0" + label, withNumber(file, packed, 4, 0), {"chunk"}, false});
    if (isDeep)
        all.push_back({"vast table" + label, withNumber(file, chunk.sizes, 4, 0x7FFFFFF0), {"truncated"}, isLast});
}

}  // namespace

std::vector<ExrDamage> damagedHeaders(const std::string& file) {
    const PlainLayout layout = plainLayout(file);
    std::vector<ExrDamage> all;
    for (const PlainAttribute& attribute : layout.attributes) damageAttribute(file, attribute, all);
    damageValues(file, layout, all);
    damageTiles(file, layout, all);
    damageParts(file, layout, all);
    damageVersion(file, all);
    return all;
}

std::vector<ExrDamage> damagedChunks(const std::string& file) {
    const PlainLayout layout = plainLayout(file);
    std::vector<ExrDamage> all;
    damageEntries(file, layout, all);
    for (const std::size_t i : {std::size_t{0}, layout.chunks.size() / 2, layout.chunks.size() - 1})
        if (layout.chunks[i].end - layout.chunks[i].data > 0) damageLeader(file, layout, layout.chunks[i], all);
    return all;
}

std::vector<ExrDamage> damagedData(const std::string& file) {
    const PlainLayout layout = plainLayout(file);
    std::vector<ExrDamage> all;
    for (std::size_t i = 0; i < layout.chunks.size(); i += layout.chunks.size() / 6 + 1) {
        const PlainChunk& chunk = layout.chunks[i];
        for (std::size_t at = chunk.data; at < chunk.end; at += (chunk.end - chunk.data) / 4 + 1) {
            std::string flipped = file;
            flipped[at] = static_cast<char>(flipped[at] ^ 0x55);
            all.push_back({"byte " + std::to_string(at) + " flipped", flipped, {"chunk"}, false});
        }
    }
    return all;
}

std::vector<ExrDamage> foreignFiles() {
    const std::string magic("\x76\x2f\x31\x01", 4);
    return {{"nothing", "", {"empty"}},
            {"one byte", "v", {"not-exr"}},
            {"three bytes", magic.substr(0, 3), {"not-exr"}},
            {"a picture of another kind", std::string("\x89PNG\r\n\x1a\n", 8) + std::string(500, 'x'), {"not-exr"}},
            {"text", "#!/bin/sh\necho hello\n", {"not-exr"}},
            {"zeros", std::string(4096, '\0'), {"not-exr"}},
            {"the magic number", magic, {"truncated"}},
            {"magic number and version", magic + std::string("\x02\0\0\0", 4), {"truncated"}},
            {"an empty header", magic + std::string("\x02\0\0\0\0", 5), {"header"}},
            {"a name without end", magic + std::string("\x02\0\0\0", 4) + std::string(600, 'n'), {"header"}}};
}
