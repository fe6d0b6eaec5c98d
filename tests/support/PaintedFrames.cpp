// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/PaintedFrames.h"

#include <ImfChannelList.h>
#include <ImfDeepFrameBuffer.h>
#include <ImfDeepScanLineOutputPart.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfMultiPartOutputFile.h>
#include <ImfOutputPart.h>
#include <ImfPartType.h>
#include <ImfStdIO.h>
#include <ImfTiledOutputPart.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <sstream>

namespace {

std::size_t sizeOf(Imf::PixelType type) {
    return type == Imf::HALF ? 2 : 4;
}

void put(Imf::PixelType type, float value, std::vector<char>& to) {
    char bytes[4];
    if (type == Imf::HALF) {
        const std::uint16_t bits = half(value).bits();
        std::memcpy(bytes, &bits, 2);
    } else if (type == Imf::FLOAT) {
        std::memcpy(bytes, &value, 4);
    } else {
        const auto number = static_cast<std::uint32_t>(value);
        std::memcpy(bytes, &number, 4);
    }
    to.insert(to.end(), bytes, bytes + sizeOf(type));
}

Imf::Header headerOf(const PaintedPart& part, std::size_t index) {
    Imf::Header header(part.display, part.data);
    header.setName("part" + std::to_string(index));
    header.setType(part.samples ? Imf::DEEPSCANLINE : part.tileSize > 0 ? Imf::TILEDIMAGE : Imf::SCANLINEIMAGE);
    header.compression() = part.compression;
    for (const PaintedChannel& channel : part.channels)
        header.channels().insert(channel.name, Imf::Channel(channel.type, channel.xSampling, channel.ySampling));
    const auto side = static_cast<unsigned>(part.tileSize);
    if (side > 0)
        header.setTileDescription(
            Imf::TileDescription(side, side, part.mipmap ? Imf::MIPMAP_LEVELS : Imf::ONE_LEVEL));
    return header;
}

// Samples of the channels in a window, and a frame buffer that reads them.
struct Planes {
    std::vector<std::vector<char>> bytes;
    Imf::FrameBuffer frame;
};

Planes planesOf(const PaintedPart& part, const Imath::Box2i& window, bool isStrange) {
    Planes planes;
    for (const PaintedChannel& channel : part.channels) {
        std::vector<char>& bytes = planes.bytes.emplace_back();
        for (int y = window.min.y; y <= window.max.y; y += channel.ySampling)
            for (int x = window.min.x; x <= window.max.x; x += channel.xSampling)
                put(channel.type, isStrange ? std::nanf("") : channel.paint(x, y, 0), bytes);
        const std::size_t size = sizeOf(channel.type);
        const auto columns = static_cast<std::size_t>((window.max.x - window.min.x) / channel.xSampling) + 1;
        const std::ptrdiff_t toFirst =
            window.min.x / channel.xSampling * static_cast<std::ptrdiff_t>(size) +
            window.min.y / channel.ySampling * static_cast<std::ptrdiff_t>(size * columns);
        planes.frame.insert(channel.name, Imf::Slice(channel.type, bytes.data() - toFirst, size, size * columns,
                                                     channel.xSampling, channel.ySampling));
    }
    return planes;
}

void writeTiles(Imf::MultiPartOutputFile& file, int index, const PaintedPart& part) {
    Imf::TiledOutputPart out(file, index);
    for (int level = 0; level < out.numLevels(); ++level) {
        const Planes planes = planesOf(part, out.dataWindowForLevel(level), level > 0);
        out.setFrameBuffer(planes.frame);
        out.writeTiles(0, out.numXTiles(level) - 1, 0, out.numYTiles(level) - 1, level);
    }
}

void writeRows(Imf::MultiPartOutputFile& file, int index, const PaintedPart& part) {
    Imf::OutputPart out(file, index);
    const Planes planes = planesOf(part, part.data, false);
    out.setFrameBuffer(planes.frame);
    out.writePixels(part.data.max.y - part.data.min.y + 1);
}

// One row at a time: it needs no more than the samples of that.
void writeDeepRow(Imf::DeepScanLineOutputPart& out, const PaintedPart& part, int y) {
    const int width = part.data.max.x - part.data.min.x + 1;
    std::vector<unsigned> counts;
    for (int x = part.data.min.x; x <= part.data.max.x; ++x)
        counts.push_back(static_cast<unsigned>(part.samples(x, y)));
    Imf::DeepFrameBuffer frame;
    frame.insertSampleCountSlice(
        Imf::Slice(Imf::UINT, reinterpret_cast<char*>(counts.data() - part.data.min.x), sizeof(unsigned), 0));
    std::vector<std::vector<char>> samples(part.channels.size());
    std::vector<std::vector<char*>> pointers(part.channels.size());
    for (std::size_t c = 0; c < part.channels.size(); ++c) {
        const PaintedChannel& channel = part.channels[c];
        for (int x = 0; x < width; ++x)
            for (int i = 0; i < static_cast<int>(counts[static_cast<std::size_t>(x)]); ++i)
                put(channel.type, channel.paint(part.data.min.x + x, y, i), samples[c]);
        char* next = samples[c].data();
        for (const unsigned count : counts) {
            pointers[c].push_back(next);
            next += count * sizeOf(channel.type);
        }
        frame.insert(channel.name,
                     Imf::DeepSlice(channel.type, reinterpret_cast<char*>(pointers[c].data() - part.data.min.x),
                                    sizeof(char*), 0, sizeOf(channel.type)));
    }
    out.setFrameBuffer(frame);
    out.writePixels(1);
}

}  // namespace

std::string paintedBytes(const std::vector<PaintedPart>& parts) {
    std::vector<Imf::Header> headers;
    for (const PaintedPart& part : parts) headers.push_back(headerOf(part, headers.size()));
    Imf::StdOSStream stream;
    {
        Imf::MultiPartOutputFile file(stream, headers.data(), static_cast<int>(headers.size()));
        for (std::size_t i = 0; i < parts.size(); ++i) {
            const int index = static_cast<int>(i);
            if (parts[i].samples) {
                Imf::DeepScanLineOutputPart out(file, index);
                for (int y = parts[i].data.min.y; y <= parts[i].data.max.y; ++y) writeDeepRow(out, parts[i], y);
            } else if (parts[i].tileSize > 0) {
                writeTiles(file, index, parts[i]);
            } else {
                writeRows(file, index, parts[i]);
            }
        }
    }
    return stream.str();
}
