// SPDX-License-Identifier: BSD-3-Clause
// Looking into a file at each level beside a bare loop over the C core of the EXR library, that opens the file
// itself and stops where the level stops: at the headers; at the chunk tables, by asking for one chunk; after
// reading, decompressing and unpacking every chunk into planes. Both read the same file from a warm cache on one
// thread. At the level of pixels also with all that is made of the picture, beside the same without.
// Takes files as arguments that are no options; without one, made files in full HD.
#include "benchmarks/Compare.h"
#include "check/kxFileReader.h"
#include "check/kxFrameCheck.h"
#include "tests/support/ExrKinds.h"
#include "tests/support/TempDir.h"

#include <benchmark/benchmark.h>
#include <openexr.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using kxCheck::Level;

void require(bool isTrue, const std::string& what) {
    if (isTrue) return;
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(1);
}

class BareFile {
public:
    explicit BareFile(const std::string& path) {
        exr_context_initializer_t setup{};
        setup.size = sizeof setup;
        setup.zip_level = -2;
        setup.dwa_quality = -1;
        setup.flags = EXR_CONTEXT_FLAG_STRICT_HEADER | EXR_CONTEXT_FLAG_DISABLE_CHUNK_RECONSTRUCTION;
        require(exr_start_read(&context_, path.c_str(), &setup) == EXR_ERR_SUCCESS, path + " can't be opened");
        exr_get_count(context_, &parts_);
    }
    ~BareFile() { exr_finish(&context_); }
    BareFile(const BareFile&) = delete;
    BareFile& operator=(const BareFile&) = delete;

    void askForOneChunk() {
        for (int part = 0; part < parts_; ++part) require(infoOf(part, 0), "no chunk");
    }

    void decodeAll() {
        for (int part = 0; part < parts_; ++part) decodePart(part);
    }

private:
    // Flat scan lines: what the comparison is made with.
    bool infoOf(int part, std::int32_t row) {
        exr_attr_box2i_t window{};
        exr_get_data_window(context_, part, &window);
        return exr_read_scanline_chunk_info(context_, part, window.min.y + row, &info_) == EXR_ERR_SUCCESS;
    }

    void decodePart(int part) {
        std::int32_t chunks = 0;
        std::int32_t rows = 0;
        exr_get_chunk_count(context_, part, &chunks);
        exr_get_scanlines_per_chunk(context_, part, &rows);
        exr_decode_pipeline_t pipeline{};
        for (std::int32_t i = 0; i < chunks; ++i) {
            require(infoOf(part, i * rows), "no chunk");
            if (i == 0)
                start(part, pipeline);
            else
                exr_decoding_update(context_, part, &info_, &pipeline);
            require(exr_decoding_run(context_, part, &pipeline) == EXR_ERR_SUCCESS, "a chunk can't be decoded");
        }
        exr_decoding_destroy(context_, &pipeline);
    }

    void start(int part, exr_decode_pipeline_t& pipeline) {
        exr_decoding_initialize(context_, part, &info_, &pipeline);
        planes_.resize(static_cast<std::size_t>(pipeline.channel_count));
        for (int c = 0; c < pipeline.channel_count; ++c) {
            exr_coding_channel_info_t& channel = pipeline.channels[c];
            const int row = channel.width * channel.bytes_per_element;
            planes_[static_cast<std::size_t>(c)].resize(static_cast<std::size_t>(row) *
                                                        static_cast<std::size_t>(info_.height));
            channel.decode_to_ptr = planes_[static_cast<std::size_t>(c)].data();
            channel.user_pixel_stride = channel.bytes_per_element;
            channel.user_line_stride = row;
        }
        exr_decoding_choose_default_routines(context_, part, &pipeline);
    }

    exr_context_t context_ = nullptr;
    int parts_ = 0;
    exr_chunk_info_t info_{};
    std::vector<std::vector<std::uint8_t>> planes_;
};

void addFile(const std::string& name, const std::string& path) {
    const auto look = [path](Level level) {
        return [path, level] {
            const kxCheck::FileReport report = kxCheck::checkFile({QByteArray::fromStdString(path), level});
            require(report.findings.empty(), path + " is not good");
        };
    };
    addComparison("headers/" + name, 1, look(Level::headers), [path] { const BareFile file(path); });
    addComparison("structure/" + name, 1, look(Level::structure), [path] { BareFile(path).askForOneChunk(); });
    addComparison("pixels/" + name, 1, look(Level::pixels), [path] { BareFile(path).decodeAll(); });
    const auto lookAtPicture = [path] {
        const kxCheck::FileReport report = kxCheck::checkFrame({QByteArray::fromStdString(path)});
        require(report.picture && report.picture->picture, path + " has no picture");
    };
    addComparison("picture/" + name, 1, lookAtPicture, look(Level::pixels));
}

Kind madeFile(Imf::Compression compression, std::size_t parts) {
    KindPart part;
    part.compression = compression;
    part.dataWindow = part.displayWindow = {{0, 0}, {1919, 1079}};
    return {"", std::vector<KindPart>(parts, part)};
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const TempDir dir;
    for (int i = 1; i < argc; ++i) addFile(argv[i], argv[i]);
    if (argc == 1) {
        const std::pair<const char*, Kind> made[] = {{"zip", madeFile(Imf::ZIP_COMPRESSION, 1)},
                                                     {"zips", madeFile(Imf::ZIPS_COMPRESSION, 1)},
                                                     {"piz", madeFile(Imf::PIZ_COMPRESSION, 1)},
                                                     {"none", madeFile(Imf::NO_COMPRESSION, 1)},
                                                     {"zip10parts", madeFile(Imf::ZIP_COMPRESSION, 10)}};
        for (const auto& [name, kind] : made) {
            require(writeFileBytes(dir.file(name), exrBytes(kind)), "no room for the made files");
            addFile(name, dir.file(name));
        }
    }
    benchmark::RunSpecifiedBenchmarks();
}
