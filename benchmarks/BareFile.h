// SPDX-License-Identifier: BSD-3-Clause
// The least that looking into a file of flat scan lines takes: the C core of the EXR library, on one thread,
// without any check of what it says. Ends the program where the library fails.
#pragma once

#include <openexr.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

inline void require(bool isTrue, const std::string& what) {
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
