// SPDX-License-Identifier: BSD-3-Clause
// What is wrong with the chunks of a file, and how it is said: neighbours with the same fault make one finding.
#pragma once

#include "check/kxChunkGrid.h"
#include "check/kxFileReport.h"

#include <cstdint>
#include <vector>

namespace kxCheck {

// In the order in which they apply: a chunk has the first only.
enum class ChunkFault : std::uint8_t {
    none,
    unfinished,    // no place in the chunk table
    truncated,     // begins behind the file's end, or lies last and ends there
    pastEnd,       // ends behind the file's end, though another chunk lies behind it
    insideHeader,  // its place is before the end of the chunk tables
    sharedPlace,   // its place is another chunk's too
    wrongLeader,   // what stands at its place says that it is another chunk
    tooLarge,      // takes more room than it would without compression
    overlapping,   // reaches into another chunk
    undecodable,
};

// The chunks of a file, all parts in one row.
class ChunkFaults {
public:
    explicit ChunkFaults(std::size_t chunks) : faults_(chunks, ChunkFault::none) {}

    ChunkFault at(std::size_t chunk) const { return faults_[chunk]; }
    bool isGood(std::size_t chunk) const { return faults_[chunk] == ChunkFault::none; }
    bool areAllGood() const;
    // Keeps the fault that applies first.
    void set(std::size_t chunk, ChunkFault fault);

    // The chunks of each part, and those of them that are neither unfinished nor truncated.
    std::vector<ChunkCounts> counts(const std::vector<ChunkGrid>& grids) const;
    // At most mostFindings, in the order of parts and chunks; of more, one of each code is told at least, and the
    // last ones count the rest, each that of its code: some codes may be ignored.
    std::vector<Finding> findings(const Headers& parts, const std::vector<ChunkGrid>& grids) const;

private:
    std::vector<ChunkFault> faults_;
};

}  // namespace kxCheck
