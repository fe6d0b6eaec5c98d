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
#include <half.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>

namespace {

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
    if (part.tiled) header.setTileDescription({part.tileSize, part.tileSize, Imf::ONE_LEVEL});
    return header;
}

int widthOf(const SamplePart& part) {
    return part.dataWindow.max.x - part.dataWindow.min.x + 1;
}

int rowsOf(const SamplePart& part) {
    return part.dataWindow.max.y - part.dataWindow.min.y + 1;
}

// From 0 to 1; of all channels the same.
float patternAt(const SamplePart& part, int x, int y) {
    const auto column = static_cast<uint32_t>(x + part.phase);
    switch (part.pixels) {
        case SamplePixels::gradient:
            return static_cast<float>(column % 48 + 1) / 48;
        case SamplePixels::noise:
            return static_cast<float>(
                       (column * 2654435761U ^ static_cast<uint32_t>(y + 1) * 2246822519U) * 3266489917U >> 22U) /
                   1024;
        default:
            return 0;
    }
}

// Samples of one type, for a channel or for all that have no patches. Rows that are all the same are kept once: the
// step from row to row may be 0.
template <class Sample>
class Plane {
public:
    Plane(const SamplePart& part, const std::vector<SamplePatch>& patches, float scale)
        : part_(part), hasRows_(part.pixels == SamplePixels::noise || !patches.empty()) {
        for (int y = 0; y < (hasRows_ ? rowsOf(part) : 1); ++y)
            for (int x = 0; x < widthOf(part); ++x) add(patternAt(part, x, y) * part.gain * scale);
        for (const SamplePatch& patch : patches) cover(patch, scale);
    }

    Imf::Slice slice(Imf::PixelType type) {
        const std::size_t step = hasRows_ ? sizeof(Sample) * static_cast<std::size_t>(widthOf(part_)) : 0;
        const auto& origin = part_.dataWindow.min;
        char* const first = reinterpret_cast<char*>(samples_.data());
        return {type,
                first - origin.x * static_cast<ptrdiff_t>(sizeof(Sample)) - origin.y * static_cast<ptrdiff_t>(step),
                sizeof(Sample), step};
    }

private:
    void add(float value) { samples_.push_back(static_cast<Sample>(value)); }
    void cover(const SamplePatch& patch, float scale) {
        const Imath::Box2i& data = part_.dataWindow;
        for (int y = std::max(patch.window.min.y, data.min.y); y <= std::min(patch.window.max.y, data.max.y); ++y)
            for (int x = std::max(patch.window.min.x, data.min.x); x <= std::min(patch.window.max.x, data.max.x);
                 ++x)
                samples_[static_cast<std::size_t>(y - data.min.y) * static_cast<std::size_t>(widthOf(part_)) +
                         static_cast<std::size_t>(x - data.min.x)] = static_cast<Sample>(patch.value * scale);
    }

    const SamplePart& part_;
    bool hasRows_;
    std::vector<Sample> samples_;
};

std::vector<SamplePatch> patchesOf(const SamplePart& part, const std::string& channel) {
    std::vector<SamplePatch> patches;
    for (const SamplePatch& patch : part.patches)
        if (patch.channel.empty() || patch.channel == channel) patches.push_back(patch);
    return patches;
}

// Channels without patches share their samples.
class SampleRows {
public:
    explicit SampleRows(const SamplePart& part) : part_(part) {}

    Imf::FrameBuffer frame() {
        Imf::FrameBuffer frame;
        for (const SampleChannel& channel : part_.channels) frame.insert(channel.name, slice(channel));
        return frame;
    }

private:
    Imf::Slice slice(const SampleChannel& channel) {
        if (channel.type == Imf::HALF) return sliceOf(halves_, channel, 1);
        return channel.type == Imf::FLOAT ? sliceOf(floats_, channel, 1) : sliceOf(counts_, channel, 255);
    }

    template <class Sample>
    Imf::Slice sliceOf(std::map<std::string, Plane<Sample>>& planes, const SampleChannel& channel, float scale) {
        const std::vector<SamplePatch> patches = patchesOf(part_, channel.name);
        const std::string key = patches.empty() ? "" : channel.name;
        return planes.try_emplace(key, part_, patches, scale).first->second.slice(channel.type);
    }

    const SamplePart& part_;
    std::map<std::string, Plane<Imath::half>> halves_;
    std::map<std::string, Plane<float>> floats_;
    std::map<std::string, Plane<unsigned>> counts_;
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
    SampleRows rows(part);
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
        out.setFrameBuffer(rows.frame());
        writeAllTiles(out);
    } else {
        Imf::OutputPart out(file, index);
        out.setFrameBuffer(rows.frame());
        out.writePixels(rowsOf(part));
    }
}

// A flat file of one part, without the attributes that only files of several parts need.
void writeFlatFile(const std::string& path, const SamplePart& part) {
    SampleRows rows(part);
    if (part.tiled) {
        Imf::TiledOutputFile out(path.c_str(), headerOf(part));
        out.setFrameBuffer(rows.frame());
        writeAllTiles(out);
    } else {
        Imf::OutputFile out(path.c_str(), headerOf(part));
        out.setFrameBuffer(rows.frame());
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
    for (std::size_t i = 0; i < parts.size(); ++i) writePixels(file, static_cast<int>(i), parts[i]);
}

SamplePart samplePartOf(const std::vector<std::string>& channelNames) {
    SamplePart part;
    part.channels.clear();
    for (const std::string& name : channelNames) part.channels.push_back({name, Imf::HALF});
    return part;
}
