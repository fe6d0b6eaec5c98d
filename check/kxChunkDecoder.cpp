// SPDX-License-Identifier: BSD-3-Clause
#include "check/private/kxChunkDecoder.h"

#include <algorithm>
#include <tuple>

namespace kxCheck {

namespace {

// Filled here and not by the library, some versions of which mistake the place of a ripmap's tiles in the table and
// the unpacked size of rows with subsampled channels.
exr_chunk_info_t chunkInfo(const kxExr::Part& part, std::uint32_t index, const ChunkPlace& place,
                           const ChunkLeader& leader) {
    const bool isTile = isTiled(part.storage);
    exr_chunk_info_t info{};
    info.idx = static_cast<std::int32_t>(index);
    info.start_x = isTile ? place.tile.x : place.firstX;
    info.start_y = isTile ? place.tile.y : place.firstY;
    info.width = place.width;
    info.height = place.height;
    info.level_x = static_cast<std::uint8_t>(place.tile.levelX);
    info.level_y = static_cast<std::uint8_t>(place.tile.levelY);
    info.type = static_cast<std::uint8_t>(part.storage);
    info.compression = static_cast<std::uint8_t>(part.compression);
    info.sample_count_data_offset = leader.countsSize > 0 ? leader.dataOffset : 0;
    info.sample_count_table_size = leader.countsUsed;
    info.data_offset = leader.dataOffset + leader.countsSize;
    info.packed_size = leader.packedSize;
    info.unpacked_size = leader.unpackedSize;
    return info;
}

// The core of the first versions knows DWAA and DWAB by name only, and its own way of decoding PIZ is slower and
// refuses other damage than the reader does. Seen in 3.1.5; those of 3.1.13 and 3.4 are alike.
bool needsReader(kxExr::Compression compression) {
    int major = 0, minor = 0, patch = 0;
    exr_get_library_version(&major, &minor, &patch, nullptr);
    const bool isEarly = std::make_tuple(major, minor, patch) < std::make_tuple(3, 1, 13);
    return isEarly && (compression == kxExr::Compression::piz || compression == kxExr::Compression::dwaa ||
                       compression == kxExr::Compression::dwab);
}

ChunkDecoder::Result failureOf(exr_result_t result) {
    if (ExrCore::lackedMemory()) return ChunkDecoder::Result::noMemory;
    const bool isUnknown = result == EXR_ERR_FEATURE_NOT_IMPLEMENTED;
    return isUnknown ? ChunkDecoder::Result::unsupported : ChunkDecoder::Result::undecodable;
}

}  // namespace

ChunkDecoder::ChunkDecoder(const ExrCore& core, FileBytes& bytes, const Headers& parts,
                           const std::vector<ChunkGrid>& grids, ChunkSink* sink)
    : core_(core), bytes_(bytes), parts_(parts), grids_(grids), sink_(sink), pipeline_() {}

ChunkDecoder::~ChunkDecoder() {
    stopPart();
}

ChunkDecoder::Result ChunkDecoder::decode(int part, std::uint32_t index, const ChunkLeader& leader) {
    if (part != part_) startPart(part);
    place_ = grid().at(index);
    const bool isDeepPart = isDeep(header().storage);
    if (leader.unpackedSize == 0 && !isDeepPart) return give(nullptr, 0);  // rows in which no channel has samples
    if (needsReader_) return runReader();
    const exr_result_t result = runCore(index, leader);
    if (result != EXR_ERR_SUCCESS) return failureOf(result);
    if (isDeepPart && !areCountsPossible(leader)) return Result::undecodable;
    return give(pipeline_.unpacked_buffer, leader.unpackedSize);
}

void ChunkDecoder::startPart(int part) {
    stopPart();
    part_ = part;
    needsReader_ = needsReader(header().compression);
    channels_.clear();
    for (const kxExr::Channel& channel : header().channels) channels_.push_back({&channel, sizeOf(channel.type)});
    std::sort(channels_.begin(), channels_.end(),
              [](const ChunkChannel& a, const ChunkChannel& b) { return a.channel->name < b.channel->name; });
}

void ChunkDecoder::stopPart() {
    if (isReady_) exr_decoding_destroy(core_.context(), &pipeline_);
    isReady_ = false;
}

exr_result_t ChunkDecoder::runCore(std::uint32_t index, const ChunkLeader& leader) {
    const exr_result_t result = prepare(chunkInfo(header(), index, place_, leader));
    if (result != EXR_ERR_SUCCESS) return result;
    return exr_decoding_run(core_.context(), part_, &pipeline_);
}

// Without its last step, the pipeline leaves the rows as they are unpacked: nothing is copied out of them.
exr_result_t ChunkDecoder::prepare(const exr_chunk_info_t& chunk) {
    exr_result_t result = EXR_ERR_SUCCESS;
    if (isReady_) {
        result = exr_decoding_update(core_.context(), part_, &chunk, &pipeline_);
    } else {
        result = exr_decoding_initialize(core_.context(), part_, &chunk, &pipeline_);
        isReady_ = result == EXR_ERR_SUCCESS;
        if (isReady_) result = exr_decoding_choose_default_routines(core_.context(), part_, &pipeline_);
        pipeline_.unpack_and_convert_fn = nullptr;
    }
    correctRows();
    return result;
}

// Of a channel with samples in every third row, some versions of the library count one too few in some chunks.
void ChunkDecoder::correctRows() {
    for (int i = 0; i < pipeline_.channel_count; ++i) {
        exr_coding_channel_info_t& channel = pipeline_.channels[i];
        channel.height = sampledRows(place_.firstY, place_.height, channel.y_samples);
    }
}

ChunkDecoder::Result ChunkDecoder::runReader() {
    if (!reader_) reader_ = std::make_unique<ReaderDecoder>(bytes_);
    if (!reader_->decode(part_, header(), grid(), place_, samples_)) return Result::undecodable;
    return give(samples_.data(), samples_.size());
}

ChunkDecoder::Result ChunkDecoder::give(const void* samples, std::uint64_t size) const {
    if (!sink_) return Result::good;
    DecodedChunk chunk;
    chunk.part = part_;
    chunk.header = &header();
    chunk.place = place_;
    chunk.channels = &channels_;
    chunk.size = size;
    if (size > 0) chunk.samples = static_cast<const unsigned char*>(samples);
    if (isDeep(header().storage)) chunk.counts = pipeline_.sample_count_table;
    sink_->take(chunk);
    return Result::good;
}

// The counts of a row never fall, and all samples are there. Not all versions of the library look at both.
bool ChunkDecoder::areCountsPossible(const ChunkLeader& leader) const {
    if (!pipeline_.sample_count_table) return false;
    std::uint64_t samples = 0;
    const std::int32_t* count = pipeline_.sample_count_table;
    for (std::int32_t y = 0; y < place_.height; ++y) {
        std::int32_t before = 0;
        for (std::int32_t x = 0; x < place_.width; ++x, ++count) {
            if (*count < before) return false;
            before = *count;
        }
        samples += static_cast<std::uint64_t>(before);
    }
    return samples <= leader.unpackedSize / grid().sampleSize();
}

}  // namespace kxCheck
