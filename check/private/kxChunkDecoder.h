// SPDX-License-Identifier: BSD-3-Clause
// Decodes the chunks of one part after another with the EXR library, and hands out what is in them.
//
// Memory is kept from chunk to chunk and grows with the largest of them, not with the picture.
#pragma once

#include "check/kxChunkSink.h"
#include "check/kxChunkTable.h"
#include "check/kxReaderDecoder.h"
#include "check/private/kxExrCore.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kxCheck {

class ChunkDecoder {
public:
    enum class Result { good, undecodable, noMemory, unsupported };

    // All must stay as long as the object; `sink` may be null.
    ChunkDecoder(const ExrCore& core, FileBytes& bytes, const Headers& parts, const std::vector<ChunkGrid>& grids,
                 ChunkSink* sink);
    ~ChunkDecoder();
    ChunkDecoder(const ChunkDecoder&) = delete;
    ChunkDecoder& operator=(const ChunkDecoder&) = delete;

    // The leader is one that ChunkTable found no fault in.
    Result decode(int part, std::uint32_t index, const ChunkLeader& leader);

private:
    exr_result_t runCore(std::uint32_t index, const ChunkLeader& leader);
    Result runReader();
    Result give(const void* samples, std::uint64_t size) const;
    bool areCountsPossible(const ChunkLeader& leader) const;
    exr_result_t prepare(const exr_chunk_info_t& chunk);
    void correctRows();
    void startPart(int part);
    void stopPart();

    const kxExr::Part& header() const { return parts_[static_cast<std::size_t>(part_)]; }
    const ChunkGrid& grid() const { return grids_[static_cast<std::size_t>(part_)]; }

    const ExrCore& core_;
    FileBytes& bytes_;
    const Headers& parts_;
    const std::vector<ChunkGrid>& grids_;
    ChunkSink* sink_;
    std::vector<ChunkChannel> channels_;  // of the part
    int part_ = -1;
    bool isReady_ = false;  // the pipeline is set up for the part
    exr_decode_pipeline_t pipeline_;
    ChunkPlace place_;
    bool needsReader_ = false;               // the core can't decode the part's compression
    std::unique_ptr<ReaderDecoder> reader_;  // once it was needed
    std::vector<unsigned char> samples_;     // of the reader
};

}  // namespace kxCheck
