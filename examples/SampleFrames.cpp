// SPDX-License-Identifier: BSD-3-Clause
#include "examples/SampleFrames.h"

#include <ImfChannelList.h>
#include <ImfDeepFrameBuffer.h>
#include <ImfDeepScanLineOutputPart.h>
#include <ImfDeepTiledOutputPart.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfMultiPartOutputFile.h>
#include <ImfOutputFile.h>
#include <ImfOutputPart.h>
#include <ImfPartType.h>
#include <ImfTileDescription.h>
#include <ImfTiledOutputFile.h>
#include <ImfTiledOutputPart.h>

namespace {

constexpr unsigned tileSize = 16;

const std::string& partType(const SamplePart& part) {
    if (part.deep) return part.tiled ? Imf::DEEPTILE : Imf::DEEPSCANLINE;
    return part.tiled ? Imf::TILEDIMAGE : Imf::SCANLINEIMAGE;
}

Imf::Header headerOf(const SamplePart& part) {
    Imf::Header header(part.displayWindow, part.dataWindow);
    header.compression() = part.compression;
    for (const SampleChannel& channel : part.channels) {
        header.channels().insert(channel.name, Imf::Channel(channel.type));
    }
    if (part.tiled) header.setTileDescription(Imf::TileDescription(tileSize, tileSize, Imf::ONE_LEVEL));
    return header;
}

int widthOf(const SamplePart& part) {
    return part.dataWindow.max.x - part.dataWindow.min.x + 1;
}

int rowsOf(const SamplePart& part) {
    return part.dataWindow.max.y - part.dataWindow.min.y + 1;
}

// One row of black pixels that stands for every row of every channel: only the step from row to row may be 0.
class BlackRow {
public:
    explicit BlackRow(const SamplePart& part)
        : bytes_(static_cast<size_t>(widthOf(part)) * pixelBytes), part_(part) {}

    Imf::FrameBuffer frame() {
        Imf::FrameBuffer frame;
        char* const atZero = bytes_.data() - static_cast<ptrdiff_t>(part_.dataWindow.min.x) * pixelBytes;
        for (const SampleChannel& channel : part_.channels) {
            frame.insert(channel.name, Imf::Slice(channel.type, atZero, pixelBytes, 0));
        }
        return frame;
    }

private:
    static constexpr int pixelBytes = 4;
    std::vector<char> bytes_;
    const SamplePart& part_;
};

// One sample a pixel: the counts all read the same 1, the sample pointers the same zero bytes.
Imf::DeepFrameBuffer blackDeepFrame(const SamplePart& part, unsigned* one, char** zero) {
    Imf::DeepFrameBuffer frame;
    frame.insertSampleCountSlice(Imf::Slice(Imf::UINT, reinterpret_cast<char*>(one), 0, 0));
    for (const SampleChannel& channel : part.channels) {
        frame.insert(channel.name, Imf::DeepSlice(channel.type, reinterpret_cast<char*>(zero), 0, 0, 4));
    }
    return frame;
}

template <class Part>
void writeAllTiles(Part& out) {
    out.writeTiles(0, out.numXTiles() - 1, 0, out.numYTiles() - 1);
}

void writePixels(Imf::MultiPartOutputFile& file, int index, const SamplePart& part) {
    BlackRow row(part);
    char zero[4] = {};
    char* zeroPointer = zero;
    unsigned one = 1;
    if (part.deep && part.tiled) {
        Imf::DeepTiledOutputPart out(file, index);
        out.setFrameBuffer(blackDeepFrame(part, &one, &zeroPointer));
        writeAllTiles(out);
    } else if (part.deep) {
        Imf::DeepScanLineOutputPart out(file, index);
        out.setFrameBuffer(blackDeepFrame(part, &one, &zeroPointer));
        out.writePixels(rowsOf(part));
    } else if (part.tiled) {
        Imf::TiledOutputPart out(file, index);
        out.setFrameBuffer(row.frame());
        writeAllTiles(out);
    } else {
        Imf::OutputPart out(file, index);
        out.setFrameBuffer(row.frame());
        out.writePixels(rowsOf(part));
    }
}

// A flat file of one part, without the attributes that only files of several parts need.
void writeFlatFile(const std::string& path, const SamplePart& part) {
    BlackRow row(part);
    if (part.tiled) {
        Imf::TiledOutputFile out(path.c_str(), headerOf(part));
        out.setFrameBuffer(row.frame());
        writeAllTiles(out);
    } else {
        Imf::OutputFile out(path.c_str(), headerOf(part));
        out.setFrameBuffer(row.frame());
        out.writePixels(rowsOf(part));
    }
}

}  // namespace

void writeSampleFile(const std::string& path, const std::vector<SamplePart>& parts) {
    if (parts.size() == 1 && !parts[0].deep) {
        writeFlatFile(path, parts[0]);
        return;
    }
    std::vector<Imf::Header> headers;
    for (const SamplePart& part : parts) {
        headers.push_back(headerOf(part));
        headers.back().setType(partType(part));
        headers.back().setName(part.name.empty() ? "part" + std::to_string(headers.size() - 1) : part.name);
    }
    Imf::MultiPartOutputFile file(path.c_str(), headers.data(), static_cast<int>(headers.size()));
    for (size_t i = 0; i < parts.size(); ++i) writePixels(file, static_cast<int>(i), parts[i]);
}

SamplePart samplePartOf(const std::vector<std::string>& channelNames) {
    SamplePart part;
    part.channels.clear();
    for (const std::string& name : channelNames) part.channels.push_back({name, Imf::HALF});
    return part;
}
