// SPDX-License-Identifier: BSD-3-Clause
// Good files of every kind: nothing is found, and what is decoded is what the EXR library's ordinary reader reads.
#include "tests/support/CheckedFile.h"
#include "tests/support/ExrKinds.h"
#include "tests/support/plainLayout.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <tuple>

using namespace kxCheck;

namespace {

using Level3 = std::tuple<int, int, int>;  // part and the two level numbers

// Sorts the samples of all chunks into planes.
class PlaneSink : public ChunkSink {
public:
    void take(const DecodedChunk& chunk) override {
        if (chunk.counts)
            takeDeep(chunk);
        else
            takeFlat(chunk);
        bytes += chunk.size;
    }
    void restart() override { FAIL() << "the file has not changed"; }

    // Of each level of each flat part: rows by channel and y.
    std::map<Level3, std::map<std::pair<std::size_t, int>, std::map<int, std::string>>> rows;
    // Of each deep part: counts of each pixel, samples by channel and pixel.
    std::map<int, std::map<std::pair<int, int>, unsigned>> counts;
    std::map<int, std::map<std::size_t, std::map<std::pair<int, int>, std::string>>> samples;
    std::size_t bytes = 0;  // of all samples

private:
    void takeFlat(const DecodedChunk& chunk) {
        const char* at = reinterpret_cast<const char*>(chunk.samples);
        auto& level = rows[{chunk.part, chunk.place.tile.levelX, chunk.place.tile.levelY}];
        for (int y = chunk.place.firstY; y < chunk.place.firstY + chunk.place.height; ++y)
            for (std::size_t c = 0; c < chunk.channels->size(); ++c) {
                const ChunkChannel& channel = (*chunk.channels)[c];
                if (y % channel.channel->ySampling != 0) continue;
                const std::size_t size =
                    channel.sampleSize * static_cast<std::size_t>(chunk.place.width / channel.channel->xSampling);
                level[{c, y}][chunk.place.firstX] = std::string(at, size);
                at += size;
            }
        EXPECT_EQ(static_cast<std::size_t>(at - reinterpret_cast<const char*>(chunk.samples)), chunk.size);
    }

    void takeDeep(const DecodedChunk& chunk) {
        const char* at = reinterpret_cast<const char*>(chunk.samples);
        for (int y = 0; y < chunk.place.height; ++y) {
            const std::int32_t* ends = chunk.counts + std::ptrdiff_t{y} * chunk.place.width;
            for (std::size_t c = 0; c < chunk.channels->size(); ++c)
                for (int x = 0; x < chunk.place.width; ++x) {
                    const auto count = static_cast<unsigned>(ends[x] - (x > 0 ? ends[x - 1] : 0));
                    const std::pair<int, int> pixel{chunk.place.firstY + y, chunk.place.firstX + x};
                    counts[chunk.part][pixel] = count;
                    const std::size_t size = std::size_t{count} * (*chunk.channels)[c].sampleSize;
                    if (size > 0) samples[chunk.part][c][pixel] = std::string(at, size);
                    at += size;
                }
        }
        EXPECT_EQ(static_cast<std::size_t>(at - reinterpret_cast<const char*>(chunk.samples)), chunk.size);
    }
};

std::vector<std::string> flatPlanes(const PlaneSink& sink, const Level3& level, std::size_t channels) {
    std::vector<std::string> planes(channels);
    for (const auto& [key, pieces] : sink.rows.at(level))
        for (const auto& piece : pieces) planes[key.first] += piece.second;
    return planes;
}

std::vector<std::string> deepPlanes(const PlaneSink& sink, int part, std::size_t channels) {
    std::vector<std::string> planes(channels + 1);
    for (const auto& pixel : sink.counts.at(part))
        planes[0] += std::string(reinterpret_cast<const char*>(&pixel.second), sizeof pixel.second);
    for (std::size_t c = 0; c < channels; ++c)
        for (const auto& piece : sink.samples.at(part).at(c)) planes[c + 1] += piece.second;
    return planes;
}

// The file of one part, with a type that it says to be.
std::string withType(const std::string& good, const std::string& type) {
    const std::string size{static_cast<char>(type.size()), '\0', '\0', '\0'};
    const std::string attribute = std::string("type") + '\0' + "string" + '\0' + size + type;
    const PlainLayout layout = plainLayout(good);
    std::string bytes = good;
    for (const PlainChunk& chunk : layout.chunks)
        putPlainNumber(bytes, chunk.entry, 8, chunk.offset + attribute.size());
    bytes.insert(layout.attributes.front().begin, attribute);
    return bytes;
}

}  // namespace

TEST(FileReaderKinds, AreGoodAtEveryLevel) {
    const CheckedFile file;
    ASSERT_GT(exrKinds().size(), 80U);
    for (const Kind& kind : exrKinds()) {
        SCOPED_TRACE(kind.name);
        const std::string bytes = exrBytes(kind);
        for (const Level level : {Level::headers, Level::structure, Level::pixels}) {
            const FileReport report = file.check(bytes, level);
            EXPECT_EQ(textsOf(report), std::vector<std::string>{});
            EXPECT_EQ(report.decoded, level == Level::pixels);
            ASSERT_TRUE(report.headers);
            EXPECT_EQ(report.headers->size(), kind.parts.size());
            EXPECT_EQ(report.identity.size, static_cast<std::int64_t>(bytes.size()));
            EXPECT_EQ(report.chunks.size(), level == Level::headers ? 0 : kind.parts.size());
        }
    }
}

TEST(FileReaderKinds, AreWhatTheFlagsSayWhateverTypeAFileOfOnePartNames) {
    const CheckedFile file;
    for (const Kind& kind : exrKinds()) {
        if (kind.name != "flatRowsZips" && kind.name != "flatTilesZips") continue;
        SCOPED_TRACE(kind.name);
        for (const char* const type : {"scanlineimage", "tiledimage", "deepscanline", "deeptile"}) {
            const FileReport report = file.check(withType(exrBytes(kind), type));
            EXPECT_EQ(textsOf(report), std::vector<std::string>{}) << type;
            EXPECT_TRUE(report.decoded) << type;
        }
    }
}

TEST(FileReaderKinds, HaveTheChunksOfThePlainLayout) {
    const CheckedFile file;
    for (const Kind& kind : exrKinds()) {
        SCOPED_TRACE(kind.name);
        const std::string bytes = exrBytes(kind);
        const FileReport report = file.check(bytes, Level::structure);
        std::vector<std::int64_t> chunks(kind.parts.size(), 0);
        for (const PlainChunk& chunk : plainLayout(bytes).chunks) ++chunks[static_cast<std::size_t>(chunk.part)];
        ASSERT_EQ(report.chunks.size(), chunks.size());
        for (std::size_t i = 0; i < chunks.size(); ++i) {
            EXPECT_EQ(report.chunks[i].chunks, chunks[i]);
            EXPECT_EQ(report.chunks[i].present, chunks[i]);
        }
    }
}

TEST(FileReaderKinds, HaveTheHeadersTheyWereWrittenWith) {
    const CheckedFile file;
    for (const Kind& kind : exrKinds()) {
        SCOPED_TRACE(kind.name);
        const FileReport report = file.check(exrBytes(kind), Level::headers);
        ASSERT_TRUE(report.headers);
        for (std::size_t i = 0; i < kind.parts.size(); ++i) {
            const KindPart& written = kind.parts[i];
            const kxExr::Part& read = (*report.headers)[i];
            EXPECT_EQ(isTiled(read.storage), written.tiled);
            EXPECT_EQ(isDeep(read.storage), written.deep);
            EXPECT_EQ(static_cast<int>(read.compression), static_cast<int>(written.compression));
            EXPECT_EQ(static_cast<int>(read.lineOrder), static_cast<int>(written.lineOrder));
            const auto& window = written.dataWindow;
            EXPECT_EQ(read.dataWindow, (kxExr::Window{window.min.x, window.min.y, window.max.x, window.max.y}));
            EXPECT_EQ(read.displayWindow, (kxExr::Window{0, 0, 63, 35}));
            EXPECT_EQ(read.pixelAspectRatio, 1.0F);
            EXPECT_EQ(read.channels.size(), written.channels.size());
            EXPECT_EQ(read.tiles.has_value(), written.tiled);
            if (read.tiles) {
                EXPECT_EQ(static_cast<int>(read.tiles->width), written.tileWidth);
                EXPECT_EQ(static_cast<int>(read.tiles->height), written.tileHeight);
                EXPECT_EQ(static_cast<int>(read.tiles->levels), static_cast<int>(written.levels));
                EXPECT_EQ(static_cast<int>(read.tiles->rounding), static_cast<int>(written.rounding));
            }
            const bool isNamed = kind.parts.size() > 1 || written.deep;
            EXPECT_EQ(read.name, isNamed ? "part" + QByteArray::number(static_cast<int>(i)) : QByteArray());
        }
    }
}

TEST(FileReaderKinds, DecodeToTheSamplesOfTheOrdinaryReader) {
    const CheckedFile file;
    for (const Kind& kind : exrKinds()) {
        SCOPED_TRACE(kind.name);
        const std::string bytes = exrBytes(kind);
        const FileReport headers = file.check(bytes, Level::headers);
        ASSERT_TRUE(headers.headers);
        PlaneSink sink;
        ASSERT_TRUE(file.check(bytes, Level::pixels, &sink).decoded);
        for (const auto& level : sink.rows) {
            const auto [part, x, y] = level.first;
            const std::size_t channels = (*headers.headers)[static_cast<std::size_t>(part)].channels.size();
            EXPECT_EQ(flatPlanes(sink, level.first, channels), readerPlanes(bytes, part, x, y));
        }
        for (const auto& part : sink.counts) {
            const std::size_t channels = (*headers.headers)[static_cast<std::size_t>(part.first)].channels.size();
            EXPECT_EQ(deepPlanes(sink, part.first, channels), readerDeepPlanes(bytes, part.first));
        }
        EXPECT_GT(sink.bytes, 0U);
    }
}
