// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxReaderDecoder.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfIO.h>
#include <ImfInputPart.h>
#include <ImfMultiPartInputFile.h>
#include <ImfTiledInputPart.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>

namespace kxCheck {

namespace {

class BytesStream : public Imf::IStream {
public:
    explicit BytesStream(FileBytes& bytes) : Imf::IStream("frame"), bytes_(bytes) {}

    bool read(char to[], int count) override {
        if (!bytes_.read(position_, static_cast<std::uint64_t>(count), to))
            throw std::runtime_error("no more bytes");
        position_ += static_cast<std::uint64_t>(count);
        return position_ < bytes_.size();
    }
    std::uint64_t tellg() override { return position_; }
    void seekg(std::uint64_t position) override { position_ = position; }

private:
    FileBytes& bytes_;
    std::uint64_t position_ = 0;
};

// The samples of one channel in a chunk, row by row.
struct Plane {
    const kxExr::Channel* channel = nullptr;
    std::size_t rowBytes = 0;
    std::vector<char> bytes;
};

bool hasRow(const kxExr::Channel& channel, std::int32_t y) {
    return y % channel.ySampling == 0;
}

Plane planeOf(const kxExr::Channel& channel, const ChunkPlace& place) {
    Plane plane;
    plane.channel = &channel;
    plane.rowBytes = sizeOf(channel.type) * static_cast<std::size_t>(place.width / channel.xSampling);
    plane.bytes.resize(plane.rowBytes * static_cast<std::size_t>(place.height));
    return plane;
}

// In the order of the names, as the samples of a chunk are.
std::vector<Plane> planesOf(const kxExr::Part& part, const ChunkPlace& place) {
    std::vector<Plane> planes;
    for (const kxExr::Channel& channel : part.channels) planes.push_back(planeOf(channel, place));
    std::sort(planes.begin(), planes.end(),
              [](const Plane& a, const Plane& b) { return a.channel->name < b.channel->name; });
    return planes;
}

// The reader finds a sample at base + x / xSampling * xStride + y / ySampling * yStride.
Imf::FrameBuffer frameOf(std::vector<Plane>& planes, const ChunkPlace& place) {
    Imf::FrameBuffer frame;
    for (Plane& plane : planes) {
        const kxExr::Channel& channel = *plane.channel;
        const std::int32_t firstRow =
            place.firstY + (channel.ySampling - place.firstY % channel.ySampling) % channel.ySampling;
        const auto sampleSize = static_cast<std::ptrdiff_t>(sizeOf(channel.type));
        const std::ptrdiff_t toFirst = place.firstX / channel.xSampling * sampleSize +
                                       firstRow / channel.ySampling * static_cast<std::ptrdiff_t>(plane.rowBytes);
        frame.insert(
            channel.name.toStdString(),
            Imf::Slice(static_cast<Imf::PixelType>(channel.type), plane.bytes.data() - toFirst,
                       static_cast<std::size_t>(sampleSize), plane.rowBytes, channel.xSampling, channel.ySampling));
    }
    return frame;
}

void interleave(const std::vector<Plane>& planes, const ChunkPlace& place, std::vector<unsigned char>& samples) {
    std::vector<std::size_t> used(planes.size(), 0);
    unsigned char* to = samples.data();
    for (std::int32_t y = place.firstY; y < place.firstY + place.height; ++y)
        for (std::size_t i = 0; i < planes.size(); ++i) {
            if (!hasRow(*planes[i].channel, y)) continue;
            std::memcpy(to, planes[i].bytes.data() + used[i], planes[i].rowBytes);
            used[i] += planes[i].rowBytes;
            to += planes[i].rowBytes;
        }
}

}  // namespace

class ReaderDecoder::State {
public:
    explicit State(FileBytes& bytes) : stream_(bytes), file_(stream_, 0, false) {}

    void read(int part, bool isTile, const Imf::FrameBuffer& frame, const ChunkPlace& place) {
        if (part != part_) start(part, isTile);
        if (tiles_) {
            tiles_->setFrameBuffer(frame);
            tiles_->readTile(place.tile.x, place.tile.y, place.tile.levelX, place.tile.levelY);
        } else {
            rows_->setFrameBuffer(frame);
            rows_->readPixels(place.firstY, place.firstY + place.height - 1);
        }
    }

private:
    void start(int part, bool isTile) {
        part_ = -1;
        tiles_.reset();
        rows_.reset();
        if (isTile)
            tiles_.emplace(file_, part);
        else
            rows_.emplace(file_, part);
        part_ = part;
    }

    BytesStream stream_;
    Imf::MultiPartInputFile file_;
    std::optional<Imf::TiledInputPart> tiles_;
    std::optional<Imf::InputPart> rows_;
    int part_ = -1;
};

ReaderDecoder::ReaderDecoder(FileBytes& bytes) {
    try {
        state_ = std::make_unique<State>(bytes);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        // Then nothing can be decoded.
    }
}

ReaderDecoder::~ReaderDecoder() = default;

bool ReaderDecoder::decode(int part, const kxExr::Part& header, const ChunkGrid& grid, const ChunkPlace& place,
                           std::vector<unsigned char>& samples) {
    if (!state_) return false;
    std::vector<Plane> planes = planesOf(header, place);
    try {
        state_->read(part, isTiled(header.storage), frameOf(planes, place), place);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return false;
    }
    samples.resize(grid.unpackedSize(place));
    interleave(planes, place, samples);
    return true;
}

}  // namespace kxCheck
