// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/ExrKinds.h"

#include <ImfChannelList.h>
#include <ImfDeepFrameBuffer.h>
#include <ImfDeepScanLineInputPart.h>
#include <ImfDeepScanLineOutputPart.h>
#include <ImfDeepTiledInputPart.h>
#include <ImfDeepTiledOutputPart.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputPart.h>
#include <ImfMultiPartInputFile.h>
#include <ImfMultiPartOutputFile.h>
#include <ImfOutputFile.h>
#include <ImfOutputPart.h>
#include <ImfPartType.h>
#include <ImfStdIO.h>
#include <ImfTiledInputPart.h>
#include <ImfTiledOutputFile.h>
#include <ImfTiledOutputPart.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>

namespace {

std::size_t sizeOf(Imf::PixelType type) {
    return type == Imf::HALF ? 2 : 4;
}

std::uint32_t mixed(std::uint32_t a, std::uint32_t b) {
    std::uint32_t h = (a ^ 0x9E3779B9U) * 0x85EBCA6BU + b;
    h ^= h >> 13;
    h *= 0xC2B2AE35U;
    return h ^ (h >> 16);
}

// A smooth value with a little noise: some compressions keep noise as it is.
void putSample(Imf::PixelType type, std::uint32_t seed, int x, int y, char* to) {
    const std::uint32_t noise = mixed(seed, static_cast<std::uint32_t>(x) * 65537U + static_cast<std::uint32_t>(y));
    const float value = 0.01F * static_cast<float>(x + 2 * y) + 0.001F * static_cast<float>(noise % 16);
    if (type == Imf::HALF) {
        const auto half =
            static_cast<std::uint16_t>(0x3000U + (static_cast<unsigned>(x + 2 * y) * 4U + noise % 8) % 0x1000U);
        std::memcpy(to, &half, 2);
    } else if (type == Imf::FLOAT) {
        std::memcpy(to, &value, 4);
    } else {
        const std::uint32_t number = static_cast<std::uint32_t>(x + y) * 1000U + noise % 8;
        std::memcpy(to, &number, 4);
    }
}

// All samples of one channel in a window. The slice points at the bytes, also after a move.
struct KindPlane {
    std::vector<char> bytes;
    Imf::Slice slice;
};

struct PlaneShape {
    Imf::PixelType type = Imf::HALF;
    int xSampling = 1;
    int ySampling = 1;
    Imath::Box2i window;

    std::size_t columns() const { return static_cast<std::size_t>((window.max.x - window.min.x) / xSampling) + 1; }
    std::size_t rows() const { return static_cast<std::size_t>((window.max.y - window.min.y) / ySampling) + 1; }
};

// The window's first corner is a multiple of the sampling, as in every file.
KindPlane planeOf(const PlaneShape& shape) {
    KindPlane plane;
    const std::size_t row = shape.columns() * sizeOf(shape.type);
    plane.bytes.resize(row * shape.rows());
    const ptrdiff_t toFirst = shape.window.min.x / shape.xSampling * static_cast<ptrdiff_t>(sizeOf(shape.type)) +
                              shape.window.min.y / shape.ySampling * static_cast<ptrdiff_t>(row);
    plane.slice = Imf::Slice(shape.type, plane.bytes.data() - toFirst, sizeOf(shape.type), row, shape.xSampling,
                             shape.ySampling);
    return plane;
}

void fill(KindPlane& plane, const PlaneShape& shape, std::uint32_t seed) {
    for (std::size_t y = 0; y < shape.rows(); ++y)
        for (std::size_t x = 0; x < shape.columns(); ++x)
            putSample(shape.type, seed, static_cast<int>(x), static_cast<int>(y),
                      plane.bytes.data() + (y * shape.columns() + x) * sizeOf(shape.type));
}

// The planes of a part's channels in a window; `frame` reads or writes them.
struct KindPicture {
    std::vector<KindPlane> planes;
    Imf::FrameBuffer frame;
};

KindPicture pictureOf(const Imf::ChannelList& channels, const Imath::Box2i& window, std::uint32_t seed) {
    KindPicture picture;
    for (auto c = channels.begin(); c != channels.end(); ++c) {
        const PlaneShape shape{c.channel().type, c.channel().xSampling, c.channel().ySampling, window};
        picture.planes.push_back(planeOf(shape));
        fill(picture.planes.back(), shape, seed + static_cast<std::uint32_t>(picture.planes.size()));
        picture.frame.insert(c.name(), picture.planes.back().slice);
    }
    return picture;
}

// Deep samples: counts per pixel, and for each channel pointers to each pixel's samples.
struct DeepPicture {
    std::vector<unsigned> counts;
    std::vector<std::vector<char>> samples;
    std::vector<std::vector<char*>> pointers;
    Imf::DeepFrameBuffer frame;
};

void insertCounts(DeepPicture& picture, const Imath::Box2i& window) {
    const int width = window.max.x - window.min.x + 1;
    const int height = window.max.y - window.min.y + 1;
    picture.counts.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    const ptrdiff_t toFirst = window.min.x + static_cast<ptrdiff_t>(window.min.y) * width;
    picture.frame.insertSampleCountSlice(
        Imf::Slice(Imf::UINT, reinterpret_cast<char*>(picture.counts.data() - toFirst), sizeof(unsigned),
                   sizeof(unsigned) * static_cast<std::size_t>(width)));
}

// Makes room for the samples that the counts ask for.
void insertSamples(DeepPicture& picture, const Imf::ChannelList& channels, const Imath::Box2i& window) {
    const int width = window.max.x - window.min.x + 1;
    std::size_t total = 0;
    for (const unsigned count : picture.counts) total += count;
    std::size_t i = 0;
    for (auto c = channels.begin(); c != channels.end(); ++c, ++i) {
        picture.samples.emplace_back();
        picture.pointers.emplace_back();
        const std::size_t size = sizeOf(c.channel().type);
        picture.samples[i].resize(total * size);
        char* next = picture.samples[i].data();
        for (const unsigned count : picture.counts) {
            picture.pointers[i].push_back(next);
            next += count * size;
        }
        const ptrdiff_t toFirst = window.min.x + static_cast<ptrdiff_t>(window.min.y) * width;
        picture.frame.insert(
            c.name(),
            Imf::DeepSlice(c.channel().type, reinterpret_cast<char*>(picture.pointers[i].data() - toFirst),
                           sizeof(char*), sizeof(char*) * static_cast<std::size_t>(width), size));
    }
}

void fillDeep(DeepPicture& picture, const Imf::ChannelList& channels, std::uint32_t seed) {
    std::size_t i = 0;
    for (auto c = channels.begin(); c != channels.end(); ++c, ++i) {
        const std::size_t size = sizeOf(c.channel().type);
        for (std::size_t s = 0; s * size < picture.samples[i].size(); ++s)
            putSample(c.channel().type, seed + static_cast<std::uint32_t>(i), static_cast<int>(s), 1,
                      picture.samples[i].data() + s * size);
    }
}

DeepPicture deepPictureOf(const Imf::Header& header, std::uint32_t seed) {
    DeepPicture picture;
    insertCounts(picture, header.dataWindow());
    // Whole rows without samples are among them.
    const std::size_t width = static_cast<std::size_t>(header.dataWindow().max.x - header.dataWindow().min.x) + 1;
    for (std::size_t p = 0; p < picture.counts.size(); ++p)
        picture.counts[p] = p / width % 9 == 4 ? 0 : mixed(seed, static_cast<std::uint32_t>(p)) % 4;
    insertSamples(picture, header.channels(), header.dataWindow());
    fillDeep(picture, header.channels(), seed);
    return picture;
}

const std::string& typeOf(const KindPart& part) {
    if (part.deep) return part.tiled ? Imf::DEEPTILE : Imf::DEEPSCANLINE;
    return part.tiled ? Imf::TILEDIMAGE : Imf::SCANLINEIMAGE;
}

Imf::Header headerOf(const KindPart& part) {
    Imf::Header header(part.displayWindow, part.dataWindow);
    header.compression() = part.compression;
    header.lineOrder() = part.lineOrder;
    for (const KindChannel& channel : part.channels)
        header.channels().insert(channel.name, Imf::Channel(channel.type, channel.xSampling, channel.ySampling));
    if (part.tiled)
        header.setTileDescription(Imf::TileDescription(static_cast<unsigned>(part.tileWidth),
                                                       static_cast<unsigned>(part.tileHeight), part.levels,
                                                       part.rounding));
    return header;
}

template <class Tiles>
void writeLevels(Tiles& out, std::uint32_t seed) {
    for (int y = 0; y < out.numYLevels(); ++y)
        for (int x = 0; x < out.numXLevels(); ++x) {
            if (!out.isValidLevel(x, y)) continue;
            const KindPicture picture = pictureOf(out.header().channels(), out.dataWindowForLevel(x, y), seed);
            out.setFrameBuffer(picture.frame);
            out.writeTiles(0, out.numXTiles(x) - 1, 0, out.numYTiles(y) - 1, x, y);
        }
}

template <class Rows>
void writeRows(Rows& out, std::uint32_t seed) {
    const Imath::Box2i window = out.header().dataWindow();
    const KindPicture picture = pictureOf(out.header().channels(), window, seed);
    out.setFrameBuffer(picture.frame);
    out.writePixels(window.max.y - window.min.y + 1);
}

void writeDeepTiles(Imf::MultiPartOutputFile& file, int index) {
    Imf::DeepTiledOutputPart out(file, index);
    const DeepPicture picture = deepPictureOf(out.header(), static_cast<std::uint32_t>(index));
    out.setFrameBuffer(picture.frame);
    out.writeTiles(0, out.numXTiles() - 1, 0, out.numYTiles() - 1);
}

void writeDeepRows(Imf::MultiPartOutputFile& file, int index) {
    Imf::DeepScanLineOutputPart out(file, index);
    const DeepPicture picture = deepPictureOf(out.header(), static_cast<std::uint32_t>(index));
    out.setFrameBuffer(picture.frame);
    out.writePixels(out.header().dataWindow().max.y - out.header().dataWindow().min.y + 1);
}

void writePart(Imf::MultiPartOutputFile& file, int index, const KindPart& part) {
    const auto seed = static_cast<std::uint32_t>(index);
    if (part.deep) {
        part.tiled ? writeDeepTiles(file, index) : writeDeepRows(file, index);
    } else if (part.tiled) {
        Imf::TiledOutputPart out(file, index);
        writeLevels(out, seed);
    } else {
        Imf::OutputPart out(file, index);
        writeRows(out, seed);
    }
}

void writeFlatFile(Imf::OStream& stream, const KindPart& part) {
    if (part.tiled) {
        Imf::TiledOutputFile out(stream, headerOf(part));
        writeLevels(out, 0);
    } else {
        Imf::OutputFile out(stream, headerOf(part));
        writeRows(out, 0);
    }
}

void writeParts(Imf::OStream& stream, const std::vector<KindPart>& parts) {
    std::vector<Imf::Header> headers;
    for (const KindPart& part : parts) {
        headers.push_back(headerOf(part));
        headers.back().setType(typeOf(part));
        headers.back().setName("part" + std::to_string(headers.size() - 1));
    }
    Imf::MultiPartOutputFile file(stream, headers.data(), static_cast<int>(headers.size()));
    for (std::size_t i = 0; i < parts.size(); ++i) writePart(file, static_cast<int>(i), parts[i]);
}

struct CompressionName {
    Imf::Compression compression;
    const char* name;
};

std::vector<CompressionName> compressions() {
    std::vector<CompressionName> all{{Imf::NO_COMPRESSION, "None"},   {Imf::RLE_COMPRESSION, "Rle"},
                                     {Imf::ZIPS_COMPRESSION, "Zips"}, {Imf::ZIP_COMPRESSION, "Zip"},
                                     {Imf::PIZ_COMPRESSION, "Piz"},   {Imf::PXR24_COMPRESSION, "Pxr24"},
                                     {Imf::B44_COMPRESSION, "B44"},   {Imf::B44A_COMPRESSION, "B44a"},
                                     {Imf::DWAA_COMPRESSION, "Dwaa"}, {Imf::DWAB_COMPRESSION, "Dwab"}};
    const int known = static_cast<int>(Imf::NUM_COMPRESSION_METHODS);
    if (known > 10) all.push_back({static_cast<Imf::Compression>(10), "Htj2k256"});
    if (known > 11) all.push_back({static_cast<Imf::Compression>(11), "Htj2k32"});
    return all;
}

bool isForDeep(Imf::Compression compression) {
    return compression <= Imf::ZIPS_COMPRESSION;
}

// The library writes JPEG 2000 with samplings that are powers of two only.
bool writesAnySampling(Imf::Compression compression) {
    return compression <= Imf::DWAB_COMPRESSION;
}

const std::vector<KindChannel> threeTypes{{"A", Imf::HALF}, {"Z", Imf::FLOAT}, {"id", Imf::UINT}, {"R", Imf::HALF}};

KindPart partOf(bool tiled, bool deep, Imf::Compression compression) {
    KindPart part;
    part.tiled = tiled;
    part.deep = deep;
    part.compression = compression;
    return part;
}

void addStorages(const CompressionName& row, std::vector<Kind>& kinds) {
    for (const bool deep : {false, true})
        for (const bool tiled : {false, true}) {
            if (deep && !isForDeep(row.compression)) continue;
            KindPart part = partOf(tiled, deep, row.compression);
            const std::string name = std::string(deep ? "deep" : "flat") + (tiled ? "Tiles" : "Rows") + row.name;
            kinds.push_back({name, {part}});
            part.channels = threeTypes;
            part.dataWindow = {{-14, -9}, {20, 40}};
            kinds.push_back({name + "ThreeTypes", {part}});
        }
}

void addSubsampled(const CompressionName& row, std::vector<Kind>& kinds) {
    KindPart part = partOf(false, false, row.compression);
    part.channels = {{"BY", Imf::HALF, 2, 2}, {"RY", Imf::HALF, 2, 2}, {"Y"}};
    part.dataWindow = {{-4, -6}, {43, 63}};
    kinds.push_back({std::string("halved") + row.name, {part}});
    if (!writesAnySampling(row.compression)) return;
    part.channels = {{"BY", Imf::HALF, 3, 3}, {"Y"}};
    part.dataWindow = {{-3, -6}, {44, 62}};
    kinds.push_back({std::string("thirded") + row.name, {part}});
}

void addSubsampledOneWay(std::vector<Kind>& kinds) {
    for (const bool columns : {false, true}) {
        KindPart part = partOf(false, false, Imf::ZIPS_COMPRESSION);
        part.channels = {{"BY", Imf::HALF, columns ? 2 : 1, columns ? 1 : 2}, {"Y"}};
        part.dataWindow = {{-4, -6}, {43, 63}};
        kinds.push_back({columns ? "halvedColumns" : "halvedRows", {part}});
    }
}

void addLevels(std::vector<Kind>& kinds) {
    for (const Imf::LevelMode mode : {Imf::MIPMAP_LEVELS, Imf::RIPMAP_LEVELS})
        for (const Imf::LevelRoundingMode rounding : {Imf::ROUND_DOWN, Imf::ROUND_UP}) {
            KindPart part = partOf(true, false, Imf::ZIPS_COMPRESSION);
            part.levels = mode;
            part.rounding = rounding;
            kinds.push_back({std::string(mode == Imf::MIPMAP_LEVELS ? "mipmap" : "ripmap") +
                                 (rounding == Imf::ROUND_UP ? "Up" : "Down"),
                             {part}});
        }
}

void addOrders(std::vector<Kind>& kinds) {
    for (const bool tiled : {false, true}) {
        KindPart part = partOf(tiled, false, Imf::ZIPS_COMPRESSION);
        part.lineOrder = Imf::DECREASING_Y;
        kinds.push_back({tiled ? "decreasingTiles" : "decreasingRows", {part}});
    }
}

// With flat and deep parts together, with one pixel, and with tiles of one.
void addParts(std::vector<Kind>& kinds) {
    const KindPart rows = partOf(false, false, Imf::ZIPS_COMPRESSION);
    const KindPart tiles = partOf(true, false, Imf::RLE_COMPRESSION);
    kinds.push_back({"partsFlat", {rows, tiles, partOf(false, false, Imf::PIZ_COMPRESSION)}});
    kinds.push_back(
        {"partsDeep", {partOf(false, true, Imf::ZIPS_COMPRESSION), partOf(true, true, Imf::RLE_COMPRESSION)}});
    kinds.push_back({"partsMixed", {rows, partOf(false, true, Imf::ZIPS_COMPRESSION), tiles}});
    KindPart pixel = rows;
    pixel.dataWindow = {{3, 4}, {3, 4}};
    kinds.push_back({"onePixel", {pixel}});
    KindPart small = tiles;
    small.tileWidth = small.tileHeight = 1;
    small.dataWindow = {{0, 0}, {3, 2}};
    kinds.push_back({"onePixelTiles", {small}});
}

std::vector<Kind> allKinds() {
    std::vector<Kind> kinds;
    for (const CompressionName& row : compressions()) {
        addStorages(row, kinds);
        addSubsampled(row, kinds);
    }
    addSubsampledOneWay(kinds);
    addLevels(kinds);
    addOrders(kinds);
    addParts(kinds);
    return kinds;
}

std::vector<std::string> bytesOf(const KindPicture& picture) {
    std::vector<std::string> all;
    for (const KindPlane& plane : picture.planes) all.emplace_back(plane.bytes.begin(), plane.bytes.end());
    return all;
}

// Reads the counts first, then all once more with room for the samples that they tell of.
template <class Counts, class Samples>
std::vector<std::string> readDeep(const Imf::Header& header, const Counts& readCounts, const Samples& readSamples) {
    DeepPicture picture;
    insertCounts(picture, header.dataWindow());
    readCounts(picture.frame);
    insertSamples(picture, header.channels(), header.dataWindow());
    readSamples(picture.frame);
    std::vector<std::string> all{std::string(reinterpret_cast<const char*>(picture.counts.data()),
                                             picture.counts.size() * sizeof(unsigned))};
    for (const std::vector<char>& samples : picture.samples) all.emplace_back(samples.begin(), samples.end());
    return all;
}

}  // namespace

const std::vector<Kind>& exrKinds() {
    static const std::vector<Kind> kinds = allKinds();
    return kinds;
}

std::string exrBytes(const Kind& kind) {
    Imf::StdOSStream stream;
    if (kind.parts.size() == 1 && !kind.parts[0].deep)
        writeFlatFile(stream, kind.parts[0]);
    else
        writeParts(stream, kind.parts);
    return stream.str();
}

std::vector<std::string> readerPlanes(const std::string& bytes, int part, int levelX, int levelY) {
    Imf::StdISStream stream;
    stream.str(bytes);
    Imf::MultiPartInputFile file(stream);
    const Imf::Header& header = file.header(part);
    if (header.hasTileDescription() && header.type() == Imf::TILEDIMAGE) {
        Imf::TiledInputPart in(file, part);
        KindPicture picture = pictureOf(header.channels(), in.dataWindowForLevel(levelX, levelY), 99);
        in.setFrameBuffer(picture.frame);
        in.readTiles(0, in.numXTiles(levelX) - 1, 0, in.numYTiles(levelY) - 1, levelX, levelY);
        return bytesOf(picture);
    }
    Imf::InputPart in(file, part);
    KindPicture picture = pictureOf(header.channels(), header.dataWindow(), 99);
    in.setFrameBuffer(picture.frame);
    in.readPixels(header.dataWindow().min.y, header.dataWindow().max.y);
    return bytesOf(picture);
}

std::vector<std::string> readerDeepPlanes(const std::string& bytes, int part) {
    Imf::StdISStream stream;
    stream.str(bytes);
    Imf::MultiPartInputFile file(stream);
    const Imf::Header& header = file.header(part);
    if (header.type() == Imf::DEEPTILE) {
        Imf::DeepTiledInputPart in(file, part);
        const int x = in.numXTiles() - 1;
        const int y = in.numYTiles() - 1;
        return readDeep(
            header,
            [&](const Imf::DeepFrameBuffer& frame) {
                in.setFrameBuffer(frame);
                in.readPixelSampleCounts(0, x, 0, y);
            },
            [&](const Imf::DeepFrameBuffer& frame) {
                in.setFrameBuffer(frame);
                in.readPixelSampleCounts(0, x, 0, y);
                in.readTiles(0, x, 0, y);
            });
    }
    Imf::DeepScanLineInputPart in(file, part);
    const Imath::Box2i window = header.dataWindow();
    return readDeep(
        header,
        [&](const Imf::DeepFrameBuffer& frame) {
            in.setFrameBuffer(frame);
            in.readPixelSampleCounts(window.min.y, window.max.y);
        },
        [&](const Imf::DeepFrameBuffer& frame) {
            in.setFrameBuffer(frame);
            in.readPixelSampleCounts(window.min.y, window.max.y);
            in.readPixels(window.min.y, window.max.y);
        });
}
