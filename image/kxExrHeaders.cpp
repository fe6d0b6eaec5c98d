// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxExrHeaders.h"

#include "image/private/kxExrStream.h"

#include <ImfBoxAttribute.h>
#include <ImfChannelListAttribute.h>
#include <ImfCompressionAttribute.h>
#include <ImfFloatAttribute.h>
#include <ImfHeader.h>
#include <ImfLineOrderAttribute.h>
#include <ImfMultiPartInputFile.h>
#include <ImfPartType.h>
#include <ImfStringAttribute.h>
#include <ImfThreading.h>
#include <ImfTileDescriptionAttribute.h>
#if __has_include(<ImfContextInit.h>)
#include <ImfContextInit.h>
#endif

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

namespace kxExr {

namespace {

// The last numbers of both sides' enumerations, which follow the file format. Storage is not among them: it is text
// in a file.
static_assert(static_cast<int>(Imf::B44A_COMPRESSION) == static_cast<int>(Compression::b44a));
static_assert(static_cast<int>(Imf::DWAB_COMPRESSION) == static_cast<int>(Compression::dwab));
static_assert(static_cast<int>(Imf::FLOAT) == static_cast<int>(PixelType::float32));
static_assert(static_cast<int>(Imf::RANDOM_Y) == static_cast<int>(LineOrder::random));
static_assert(static_cast<int>(Imf::RIPMAP_LEVELS) == static_cast<int>(LevelMode::ripmap));
static_assert(static_cast<int>(Imf::ROUND_UP) == static_cast<int>(LevelRounding::up));

Window windowFrom(const Imath::Box2i& box) {
    return {box.min.x, box.min.y, box.max.x, box.max.y};
}

TileDescription tilesFrom(const Imf::TileDescription& tiles) {
    return {tiles.xSize, tiles.ySize, static_cast<LevelMode>(tiles.mode),
            static_cast<LevelRounding>(tiles.roundingMode)};
}

// Most parts have no more; the library does not tell how many there are.
constexpr std::size_t usualChannels = 8;

std::vector<Channel> channelsFrom(const Imf::ChannelList& list) {
    std::vector<Channel> channels;
    channels.reserve(usualChannels);
    for (auto channel = list.begin(); channel != list.end(); ++channel) {
        const Imf::Channel& described = channel.channel();
        channels.push_back(
            {channel.name(), static_cast<PixelType>(described.type), described.xSampling, described.ySampling});
    }
    return channels;
}

// Gives the attribute's value to `take`; nothing happens when it has another type than the file format gives it,
// and the part keeps its default.
template <class Value, class Take>
void withValue(const Imf::Attribute& attribute, const Take& take) {
    const auto* const typed = dynamic_cast<const Imf::TypedAttribute<Value>*>(&attribute);
    if (typed) take(typed->value());
}

void takeName(const Imf::Attribute& attribute, Part& part) {
    withValue<std::string>(attribute, [&](const auto& name) { part.name = QByteArray::fromStdString(name); });
}

// Whether a deep part is tiled the tile description says.
void takeType(const Imf::Attribute& attribute, Part& part) {
    withValue<std::string>(attribute, [&](const auto& type) {
        if (Imf::isDeepData(type)) part.storage = Storage::deepScanline;
    });
}

void takeDisplayWindow(const Imf::Attribute& attribute, Part& part) {
    withValue<Imath::Box2i>(attribute, [&](const auto& box) { part.displayWindow = windowFrom(box); });
}

void takeDataWindow(const Imf::Attribute& attribute, Part& part) {
    withValue<Imath::Box2i>(attribute, [&](const auto& box) { part.dataWindow = windowFrom(box); });
}

void takeCompression(const Imf::Attribute& attribute, Part& part) {
    withValue<Imf::Compression>(attribute, [&](auto value) { part.compression = static_cast<Compression>(value); });
}

void takeLineOrder(const Imf::Attribute& attribute, Part& part) {
    withValue<Imf::LineOrder>(attribute, [&](auto value) { part.lineOrder = static_cast<LineOrder>(value); });
}

void takePixelAspectRatio(const Imf::Attribute& attribute, Part& part) {
    withValue<float>(attribute, [&](float value) { part.pixelAspectRatio = value; });
}

void takeTiles(const Imf::Attribute& attribute, Part& part) {
    withValue<Imf::TileDescription>(attribute, [&](const auto& tiles) { part.tiles = tilesFrom(tiles); });
}

void takeChannels(const Imf::Attribute& attribute, Part& part) {
    withValue<Imf::ChannelList>(attribute, [&](const auto& list) { part.channels = channelsFrom(list); });
}

// What is taken of a header. The library makes up the required ones where a file lacks them.
constexpr struct {
    std::string_view name;
    void (*take)(const Imf::Attribute& attribute, Part& part);
} attributes[] = {
    {"channels", takeChannels},
    {"compression", takeCompression},
    {"dataWindow", takeDataWindow},
    {"displayWindow", takeDisplayWindow},
    {"lineOrder", takeLineOrder},
    {"name", takeName},
    {"pixelAspectRatio", takePixelAspectRatio},
    {"tiles", takeTiles},
    {"type", takeType},
};

// In one walk: looking each attribute up by its name costs more than all the rest of it.
Part partFrom(const Imf::Header& header) {
    Part part;
    for (auto attribute = header.begin(); attribute != header.end(); ++attribute) {
        const std::string_view name = attribute.name();
        for (const auto& row : attributes) {
            if (row.name == name) row.take(attribute.attribute(), part);
        }
    }
    if (part.tiles) part.storage = isDeep(part.storage) ? Storage::deepTiled : Storage::tiled;
    return part;
}

#if __has_include(<ImfContextInit.h>)
void discardError(exr_const_context_t /*context*/, exr_result_t /*code*/, const char* /*message*/) {}

// From 3.3 on the EXR library reads through its C core, from the file itself: over a Stream that takes fifteen
// times as long. And it prints each error before it throws it, unless it is told what else to do. The other
// settings are those of the constructor without settings.
struct OpenFile {
    explicit OpenFile(const QByteArray& path)
        : reader(path.constData(),
                 Imf::ContextInitializer().silentHeaderParse(true).strictHeaderValidation(false).setErrorHandler(
                     discardError),
                 Imf::globalThreadCount()) {}

    Imf::MultiPartInputFile reader;
};
#else
// Over a Stream in two thirds of the time that the library's own takes.
struct OpenFile {
    explicit OpenFile(const QByteArray& path)
        : stream(path.constData()), reader(stream, Imf::globalThreadCount(), true) {}

    Stream stream;
    Imf::MultiPartInputFile reader;
};
#endif

// Throws what the EXR library throws.
Headers headersOf(const QByteArray& path) {
    const OpenFile file(path);
    Headers headers;
    headers.reserve(static_cast<std::size_t>(file.reader.parts()));
    for (int part = 0; part < file.reader.parts(); ++part) headers.push_back(partFrom(file.reader.header(part)));
    return headers;
}

}  // namespace

std::optional<Headers> readHeaders(const QString& path, QString* reason) {
    try {
        return headersOf(path.toLatin1());
    } catch (const std::exception& error) {
        if (reason) *reason = QString::fromLatin1(error.what());
    } catch (...) {
        if (reason) *reason = QStringLiteral("unknown error");
    }
    return std::nullopt;
}

}  // namespace kxExr
