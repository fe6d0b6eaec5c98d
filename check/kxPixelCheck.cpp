// SPDX-License-Identifier: BSD-3-Clause
#include "check/private/kxPixelCheck.h"

#include <algorithm>

namespace kxCheck {

namespace {

// Where a chunk whose leader is right lies in the file.
struct Extent {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::size_t chunk = 0;
};

// In the order of the file, each is held against the one before it that reaches furthest.
void checkOverlaps(std::vector<Extent>& extents, ChunkFaults& faults) {
    const auto isBefore = [](const Extent& a, const Extent& b) { return a.begin < b.begin; };
    if (!std::is_sorted(extents.begin(), extents.end(), isBefore))
        std::sort(extents.begin(), extents.end(), isBefore);
    const Extent* furthest = nullptr;
    for (const Extent& extent : extents) {
        if (furthest && extent.begin < furthest->end) {
            faults.set(furthest->chunk, ChunkFault::overlapping);
            faults.set(extent.chunk, ChunkFault::overlapping);
        }
        if (!furthest || extent.end > furthest->end) furthest = &extent;
    }
}

class PixelCheck {
public:
    PixelCheck(const ExrCore& core, const Headers& parts, FileBytes& bytes, ChunkTable& table, ChunkFaults& faults,
               ChunkSink* sink)
        : bytes_(bytes), table_(table), faults_(faults), decoder_(core, bytes, parts, table.grids(), sink) {}

    std::optional<Finding> run() {
        std::size_t chunk = 0;
        for (std::size_t part = 0; part < table_.grids().size(); ++part)
            for (std::uint32_t i = 0; i < table_.grids()[part].count(); ++i, ++chunk) {
                std::optional<Finding> end = check(part, i, chunk);
                if (end || bytes_.error() != 0) return end;
            }
        checkOverlaps(extents_, faults_);
        return std::nullopt;
    }

private:
    std::optional<Finding> check(std::size_t part, std::uint32_t index, std::size_t chunk) {
        const bool hasPlace = faults_.isGood(chunk);
        if (!hasPlace && faults_.at(chunk) != ChunkFault::sharedPlace) return std::nullopt;
        ChunkLeader leader;
        const std::uint64_t offset = table_.offsets()[chunk];
        const ChunkFault fault = table_.readLeader(part, index, offset, leader);
        if (fault != ChunkFault::none) faults_.set(chunk, fault);
        if (!faults_.isGood(chunk)) return std::nullopt;
        extents_.push_back({offset, leader.end(), chunk});
        return decode(part, index, chunk, leader);
    }

    std::optional<Finding> decode(std::size_t part, std::uint32_t index, std::size_t chunk,
                                  const ChunkLeader& leader) {
        switch (decoder_.decode(static_cast<int>(part), index, leader)) {
            case ChunkDecoder::Result::good:
                break;
            case ChunkDecoder::Result::undecodable:
                faults_.set(chunk, ChunkFault::undecodable);
                table_.lookAtEnd(leader);
                break;
            case ChunkDecoder::Result::noMemory:
                return makeFinding(Code::limit, "there is not enough memory");
            case ChunkDecoder::Result::unsupported:
                return makeFinding(Code::unsupported,
                                   "its data can't be decoded by this version of the EXR library");
        }
        return std::nullopt;
    }

    FileBytes& bytes_;
    ChunkTable& table_;
    ChunkFaults& faults_;
    ChunkDecoder decoder_;
    std::vector<Extent> extents_;
};

}  // namespace

std::optional<Finding> checkPixels(const ExrCore& core, const Headers& parts, FileBytes& bytes, ChunkTable& table,
                                   ChunkFaults& faults, ChunkSink* sink) {
    bytes.setPieces(FileBytes::Pieces::pixels);
    return PixelCheck(core, parts, bytes, table, faults, sink).run();
}

}  // namespace kxCheck
