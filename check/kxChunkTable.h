// SPDX-License-Identifier: BSD-3-Clause
// The chunk tables of an EXR file, what stands before each chunk, and what both say about the chunks.
#pragma once

#include "check/kxChunkFaults.h"
#include "check/kxExrHeader.h"
#include "check/kxFileBytes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace kxCheck {

// What stands before a chunk: which it is, and how many bytes follow.
struct ChunkLeader {
    std::uint64_t dataOffset = 0;  // of the first byte behind the leader
    std::uint64_t countsSize = 0;  // bytes of the table of sample counts, which comes first; 0 for flat chunks
    std::uint64_t countsUsed = 0;  // those of them that say something
    std::uint64_t packedSize = 0;
    std::uint64_t unpackedSize = 0;
    bool hasSizes = false;  // they are not all 0

    std::uint64_t end() const { return dataOffset + countsSize + packedSize; }
};

// All chunks of a file, the parts one after another. Keeps the bytes that it is made with.
class ChunkTable {
public:
    // The reading must have no finding. `finding` is set, and nothing else, when the tables do not fit into the
    // file or have more chunks than a file may have.
    ChunkTable(FileBytes& bytes, const HeaderReading& reading);

    const std::optional<Finding>& finding() const { return finding_; }
    const std::vector<ChunkGrid>& grids() const { return grids_; }
    // Of all chunks; empty before checkPlaces().
    const std::vector<std::uint64_t>& offsets() const { return offsets_; }

    // Reads the tables and sets the faults that show in them and in the leader of the chunk that lies last; returns
    // all faults. Makes no sense of what could not be read: ask the bytes for an error.
    ChunkFaults checkPlaces();
    // Reads the leader of a chunk that has no fault so far. The leader counts when no fault is returned.
    ChunkFault readLeader(std::size_t part, std::uint32_t index, std::uint64_t offset, ChunkLeader& leader);
    // Looks at the end of a chunk that can't be decoded though its leader has no fault.
    void lookAtEnd(const ChunkLeader& leader);
    // Whether zeros stand for the sizes in a leader, or for the end of a chunk, that was found faulty.
    [[nodiscard]] bool hasZeros() const { return hasZeros_; }

private:
    ChunkFault checkLeader(std::size_t part, std::uint32_t index, std::uint64_t offset, ChunkLeader& leader);
    bool readOffsets();
    void checkOffsets(ChunkFaults& faults) const;
    void checkLast(ChunkFaults& faults);
    void checkShared(ChunkFaults& faults) const;
    ChunkFault checkFlatSizes(kxExr::Compression compression, const ChunkPlace& place, const ChunkGrid& grid,
                              const char* sizes, ChunkLeader& leader) const;
    ChunkFault checkDeepSizes(const kxExr::Part& header, const ChunkPlace& place, const char* sizes,
                              ChunkLeader& leader) const;

    FileBytes& bytes_;
    const HeaderReading& reading_;
    std::optional<Finding> finding_;
    std::vector<ChunkGrid> grids_;
    std::vector<std::uint64_t> offsets_;
    std::uint64_t count_ = 0;  // of all chunks
    std::uint64_t end_ = 0;    // of the tables
    std::uint64_t last_ = 0;   // where the chunk begins that lies last; 0: not known yet, or there is none
    bool hasZeros_ = false;
};

}  // namespace kxCheck
