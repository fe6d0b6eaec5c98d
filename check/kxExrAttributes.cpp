// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxExrAttributes.h"

#include "check/kxBytes.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <iterator>

namespace kxCheck {

namespace {

using kxExr::Channel;
using kxExr::Part;
using kxExr::Storage;
using kxExr::Window;

float floatAt(const char* bytes) {
    const auto bits = numberAt<std::uint32_t>(bytes);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

Window windowAt(const char* bytes) {
    return {numberAt<std::int32_t>(bytes), numberAt<std::int32_t>(bytes + 4), numberAt<std::int32_t>(bytes + 8),
            numberAt<std::int32_t>(bytes + 12)};
}

kxExr::TileDescription tilesAt(const char* bytes) {
    kxExr::TileDescription tiles;
    tiles.width = numberAt<std::uint32_t>(bytes);
    tiles.height = numberAt<std::uint32_t>(bytes + 4);
    return tiles;
}

// Text in the file may end in a zero byte that is not part of it.
QByteArray textAt(const char* bytes, std::int32_t size) {
    return QByteArray(bytes, static_cast<int>(strnlen(bytes, static_cast<std::size_t>(size))));
}

using Value = const char*;
using Size = std::int32_t;
using Draft = PartDraft;

// In the order of Attribute.
const AttributeRow attributes[] = {
    {Attribute::channels, -1, "channels", "chlist", nullptr},
    {Attribute::compression, 1, "compression", "compression",
     [](Value v, Size, Draft& d) { d.compression = static_cast<std::uint8_t>(*v); }},
    {Attribute::dataWindow, 16, "dataWindow", "box2i",
     [](Value v, Size, Draft& d) { d.part.dataWindow = windowAt(v); }},
    {Attribute::displayWindow, 16, "displayWindow", "box2i",
     [](Value v, Size, Draft& d) { d.part.displayWindow = windowAt(v); }},
    {Attribute::lineOrder, 1, "lineOrder", "lineOrder",
     [](Value v, Size, Draft& d) { d.lineOrder = static_cast<std::uint8_t>(*v); }},
    {Attribute::pixelAspectRatio, 4, "pixelAspectRatio", "float",
     [](Value v, Size, Draft& d) { d.part.pixelAspectRatio = floatAt(v); }},
    {Attribute::screenWindowCenter, 8, "screenWindowCenter", "v2f", [](Value, Size, Draft&) {}},
    {Attribute::screenWindowWidth, 4, "screenWindowWidth", "float",
     [](Value v, Size, Draft& d) { d.screenWindowWidth = floatAt(v); }},
    {Attribute::tiles, 9, "tiles", "tiledesc",
     [](Value v, Size, Draft& d) {
         d.part.tiles = tilesAt(v);
         d.tileMode = static_cast<std::uint8_t>(v[8]);
     }},
    {Attribute::name, -1, "name", "string", [](Value v, Size size, Draft& d) { d.part.name = textAt(v, size); }},
    {Attribute::type, -1, "type", "string", [](Value v, Size size, Draft& d) { d.type = textAt(v, size); }},
    {Attribute::version, 4, "version", "int",
     [](Value v, Size, Draft& d) { d.version = numberAt<std::int32_t>(v); }},
    {Attribute::chunkCount, 4, "chunkCount", "int", [](Value, Size, Draft&) {}},
};

struct StorageRow {
    Storage storage;
    const char* type;
};

constexpr StorageRow storages[] = {
    {Storage::scanline, "scanlineimage"},
    {Storage::tiled, "tiledimage"},
    {Storage::deepScanline, "deepscanline"},
    {Storage::deepTiled, "deeptile"},
};

// The last compression that the format knows.
constexpr auto lastCompression = static_cast<std::uint8_t>(kxExr::Compression::htj2k32);

// In files of one flat part the flag counts: where an old program rewrote a file the type may say something else.
Storage storageOf(const PartDraft& draft, const FileFlags& flags) {
    Storage storage = flags.tiled ? Storage::tiled : Storage::scanline;
    if (flags.multipart || flags.deep) storageFromType(draft.type, storage);
    return storage;
}

// --- the rules, each with what it found or nothing ---

QByteArray missingIn(const PartDraft& draft, const FileFlags& flags) {
    const Storage storage = storageOf(draft, flags);
    const auto needed = [&](Attribute attribute) {
        switch (attribute) {
            case Attribute::tiles:
                return isTiled(storage);
            case Attribute::name:
                return flags.multipart;
            case Attribute::type:
            case Attribute::chunkCount:
                return flags.multipart || flags.deep;
            case Attribute::version:
                return isDeep(storage);
            default:
                return true;
        }
    };
    for (const AttributeRow& row : attributes)
        if (needed(row.attribute) && !has(draft, row.attribute))
            return QByteArray("the attribute ") + row.name + " is missing";
    return {};
}

// Beyond these, width and height of a picture would not fit into 32 bits.
bool isWindow(const Window& window) {
    constexpr int most = INT_MAX / 2;
    return window.width() > 0 && window.height() > 0 && window.minX > -most && window.minY > -most &&
           window.maxX < most && window.maxY < most;
}

QByteArray badNumberIn(const PartDraft& draft, const FileFlags& flags) {
    const Part& part = draft.part;
    const Storage storage = storageOf(draft, flags);
    if (!isWindow(part.displayWindow)) return "the display window is impossible";
    if (!isWindow(part.dataWindow)) return "the data window is impossible";
    if (!std::isnormal(part.pixelAspectRatio) || part.pixelAspectRatio < 1e-6F || part.pixelAspectRatio > 1e6F)
        return "the pixel aspect ratio is impossible";
    if (draft.screenWindowWidth < 0) return "the screen window's width is negative";
    const std::uint8_t lastOrder = isTiled(storage) ? 2 : 1;
    if (draft.lineOrder > lastOrder) return "the line order is unknown";
    if (isDeep(storage) && draft.version != 1) return "the version of the deep data is unknown";
    if (isDeep(storage) && draft.compression > static_cast<std::uint8_t>(kxExr::Compression::zips))
        return "deep data can't have this compression";
    return {};
}

QByteArray badTilesIn(const PartDraft& draft, const FileFlags& flags) {
    if (!isTiled(storageOf(draft, flags))) return {};
    constexpr std::uint32_t most = INT_MAX / 4;
    const kxExr::TileDescription& tiles = *draft.part.tiles;
    if (tiles.width < 1 || tiles.height < 1 || tiles.width > most || tiles.height > most)
        return "the size of the tiles is impossible";
    if ((draft.tileMode & 0x0F) > 2 || (draft.tileMode >> 4) > 1) return "the tiles' levels are of an unknown kind";
    return {};
}

bool fitsWindow(const Channel& channel, const Window& window) {
    return window.minX % channel.xSampling == 0 && window.minY % channel.ySampling == 0 &&
           window.width() % channel.xSampling == 0 && window.height() % channel.ySampling == 0;
}

QByteArray badSamplingIn(const PartDraft& draft, const FileFlags& flags) {
    const Storage storage = storageOf(draft, flags);
    for (const Channel& channel : draft.part.channels) {
        const bool whole = channel.xSampling == 1 && channel.ySampling == 1;
        if ((isTiled(storage) || isDeep(storage)) && !whole)
            return "channel " + channel.name + " is subsampled in tiles or deep data";
        if (!fitsWindow(channel, draft.part.dataWindow))
            return "the sampling of channel " + channel.name + " does not fit the data window";
    }
    return {};
}

}  // namespace

const AttributeRow* attributeRow(const QByteArray& name) {
    const auto* const row = std::find_if(std::begin(attributes), std::end(attributes),
                                         [&](const AttributeRow& r) { return name == r.name; });
    return row == std::end(attributes) ? nullptr : row;
}

bool storageFromType(const QByteArray& type, Storage& storage) {
    const auto* const row =
        std::find_if(std::begin(storages), std::end(storages), [&](const StorageRow& r) { return type == r.type; });
    if (row == std::end(storages)) return false;
    storage = row->storage;
    return true;
}

QByteArray unknownIn(const PartDraft& draft) {
    Storage known;
    if (has(draft, Attribute::type) && !storageFromType(draft.type, known)) return "part type '" + draft.type + "'";
    if (has(draft, Attribute::compression) && draft.compression > lastCompression)
        return "compression " + QByteArray::number(draft.compression);
    return {};
}

QByteArray damageIn(const PartDraft& draft, const FileFlags& flags) {
    for (const auto& rule : {missingIn, badNumberIn, badTilesIn, badSamplingIn}) {
        QByteArray damage = rule(draft, flags);
        if (!damage.isEmpty()) return damage;
    }
    return {};
}

QByteArray contradictionOf(const PartDraft& part, const PartDraft& first) {
    if (part.part.displayWindow != first.part.displayWindow) return "displayWindow";
    if (part.part.pixelAspectRatio != first.part.pixelAspectRatio) return "pixelAspectRatio";
    if (!part.chromaticities.isEmpty() && part.chromaticities != first.chromaticities) return "chromaticities";
    if (!part.timecode.isEmpty() && part.timecode != first.timecode) return "timecode";
    return {};
}

Part partOf(const PartDraft& draft, const FileFlags& flags) {
    Part part = draft.part;
    part.storage = storageOf(draft, flags);
    part.compression = static_cast<kxExr::Compression>(draft.compression);
    part.lineOrder = static_cast<kxExr::LineOrder>(draft.lineOrder);
    if (!isTiled(part.storage)) {
        part.tiles.reset();
    } else {
        part.tiles->levels = static_cast<kxExr::LevelMode>(draft.tileMode & 0x0F);
        part.tiles->rounding = static_cast<kxExr::LevelRounding>(draft.tileMode >> 4);
    }
    return part;
}

}  // namespace kxCheck
