// SPDX-License-Identifier: BSD-3-Clause
// What the header of one part of an EXR file says, as plain values: no type of the EXR library is needed to use
// them. Names are bytes as they stand in the file. Values only; each thread may use its own.
#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace kxExr {

// The numbers are those of the file format.
enum class PixelType : std::uint8_t { uint = 0, half = 1, float32 = 2 };
enum class LineOrder : std::uint8_t { increasing = 0, decreasing = 1, random = 2 };
enum class LevelMode : std::uint8_t { one = 0, mipmap = 1, ripmap = 2 };
enum class LevelRounding : std::uint8_t { down = 0, up = 1 };
enum class Compression : std::uint8_t {
    none = 0,
    rle = 1,
    zips = 2,
    zip = 3,
    piz = 4,
    pxr24 = 5,
    b44 = 6,
    b44a = 7,
    dwaa = 8,
    dwab = 9,
    htj2k256 = 10,
    htj2k32 = 11,
};

enum class Storage : std::uint8_t { scanline = 0, tiled = 1, deepScanline = 2, deepTiled = 3 };

[[nodiscard]] inline bool isDeep(Storage storage) {
    return storage == Storage::deepScanline || storage == Storage::deepTiled;
}
[[nodiscard]] inline bool isTiled(Storage storage) {
    return storage == Storage::tiled || storage == Storage::deepTiled;
}

// Corners in pixels, both inside. Those of a damaged header may be in the wrong order.
struct Window {
    std::int32_t minX = 0;
    std::int32_t minY = 0;
    std::int32_t maxX = 0;
    std::int32_t maxY = 0;

    // Below 1 where the corners are in the wrong order.
    [[nodiscard]] std::int64_t width() const { return std::int64_t{maxX} - minX + 1; }
    [[nodiscard]] std::int64_t height() const { return std::int64_t{maxY} - minY + 1; }
};

inline bool operator==(const Window& a, const Window& b) {
    return a.minX == b.minX && a.minY == b.minY && a.maxX == b.maxX && a.maxY == b.maxY;
}
inline bool operator!=(const Window& a, const Window& b) {
    return !(a == b);
}

struct Channel {
    QByteArray name;
    PixelType type = PixelType::half;
    std::int32_t xSampling = 1;  // every x-th column has a sample
    std::int32_t ySampling = 1;
};

inline bool operator==(const Channel& a, const Channel& b) {
    return a.name == b.name && a.type == b.type && a.xSampling == b.xSampling && a.ySampling == b.ySampling;
}

// The channels of a part. Copies share one list until one of them is changed: the headers of thousands of frames
// have the same one, and it is most of what there is in them. Reading never copies it.
class ChannelList {
public:
    using Shared = std::shared_ptr<const std::vector<Channel>>;
    using value_type = Channel;
    using const_iterator = std::vector<Channel>::const_iterator;
    using iterator = const_iterator;

    ChannelList() = default;
    ChannelList(std::vector<Channel> channels)
        : list_(std::make_shared<std::vector<Channel>>(std::move(channels))) {}
    ChannelList(std::initializer_list<Channel> channels) : ChannelList(std::vector<Channel>(channels)) {}
    // One more copy of a list whose shared() this is.
    explicit ChannelList(Shared list) : list_(std::move(list)) {}

    [[nodiscard]] const std::vector<Channel>& all() const;
    operator const std::vector<Channel>&() const { return all(); }
    [[nodiscard]] std::size_t size() const { return all().size(); }
    [[nodiscard]] bool empty() const { return all().empty(); }
    [[nodiscard]] const Channel& operator[](std::size_t index) const { return all()[index]; }
    [[nodiscard]] const Channel& front() const { return all().front(); }
    [[nodiscard]] const_iterator begin() const { return all().begin(); }
    [[nodiscard]] const_iterator end() const { return all().end(); }

    // For a change: the list of this object alone, which is copied first where others share it.
    [[nodiscard]] std::vector<Channel>& edit();
    void push_back(Channel channel) { edit().push_back(std::move(channel)); }

    // What all copies have in common; null of a list that was never set.
    [[nodiscard]] const Shared& shared() const { return list_; }

private:
    Shared list_;  // made without const
};

inline bool operator==(const ChannelList& a, const ChannelList& b) {
    return a.shared() == b.shared() || a.all() == b.all();
}
inline bool operator!=(const ChannelList& a, const ChannelList& b) {
    return !(a == b);
}

struct TileDescription {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    LevelMode levels = LevelMode::one;
    LevelRounding rounding = LevelRounding::down;
};

inline bool operator==(const TileDescription& a, const TileDescription& b) {
    return a.width == b.width && a.height == b.height && a.levels == b.levels && a.rounding == b.rounding;
}

struct Part {
    QByteArray name;  // empty where the part has none
    Storage storage = Storage::scanline;
    Window displayWindow;
    Window dataWindow;
    Compression compression = Compression::none;
    LineOrder lineOrder = LineOrder::increasing;
    float pixelAspectRatio = 1.0F;
    std::optional<TileDescription> tiles;  // of tiled storage
    ChannelList channels;                  // in the file's order
};

// The usual short name: "none", "zips", "dwaa" ...
[[nodiscard]] const char* compressionName(Compression compression);
// "scanline", "tiled", "deepscanline", "deeptile".
[[nodiscard]] const char* storageName(Storage storage);
// "uint", "half", "float".
[[nodiscard]] const char* pixelTypeName(PixelType type);
// "increasing", "decreasing", "random".
[[nodiscard]] const char* lineOrderName(LineOrder order);

}  // namespace kxExr
