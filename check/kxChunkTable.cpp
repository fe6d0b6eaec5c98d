// SPDX-License-Identifier: BSD-3-Clause
// The tables follow the headers: for each part one offset of 64 bits a chunk, 0 until the chunk was written.
//
// A chunk begins with the number of its part, in files of several parts; then y of its first row, or column, row
// and the two level numbers of its tile; then its size in 32 bits. Deep chunks have three sizes of 64 bits instead:
// of the packed table of sample counts, of the packed samples, and of these unpacked.
#include "check/kxChunkTable.h"

#include <algorithm>
#include <climits>
#include <functional>

namespace kxCheck {

namespace {

constexpr std::uint64_t deflateExpansion = 1032;  // two bits stand for 258 bytes

// How many bytes one packed byte can become at most.
std::uint64_t mostExpansion(kxExr::Compression compression) {
    switch (compression) {
        case kxExr::Compression::none:
            return 1;
        case kxExr::Compression::rle:
            return 64;  // two bytes stand for 128
        case kxExr::Compression::zips:
        case kxExr::Compression::zip:
            return deflateExpansion;
        case kxExr::Compression::pxr24:
            return deflateExpansion / 3 * 4;  // three bytes of a float are deflated
        case kxExr::Compression::b44:
        case kxExr::Compression::b44a:
            return 11;  // three bytes stand for 16 halves
        default:
            return UINT64_MAX;  // not known
    }
}

std::uint64_t countsSizeOf(std::int64_t width, std::int64_t height) {
    return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) * sizeof(std::int32_t);
}

// Whether a deep chunk of packed sizes like these can have these unpacked ones. The library takes the sizes from
// here and allocates what they say.
bool areSizesPossible(kxExr::Compression compression, std::uint64_t plainCounts, const ChunkLeader& leader) {
    if (compression == kxExr::Compression::none)
        return leader.countsUsed == plainCounts && leader.packedSize == leader.unpackedSize;
    const std::uint64_t most = mostExpansion(compression);
    return leader.countsUsed > 0 && plainCounts / most <= leader.countsUsed &&
           leader.unpackedSize / most <= leader.packedSize && (leader.packedSize > 0 || leader.unpackedSize == 0) &&
           leader.unpackedSize <= INT_MAX;
}

// False when no two of the numbers from `least` on are the same; true when they must be sorted to tell. Takes a
// fifth of the time of sorting: a table, half full at most, has each number in one of a few cells that follow from
// it.
bool mayHaveEqual(const std::vector<std::uint64_t>& numbers, std::uint64_t least) {
    constexpr int mostSteps = 64;
    std::size_t cells = 16;
    while (cells < 2 * numbers.size()) cells *= 2;
    std::vector<std::uint64_t> table(cells, 0);
    for (const std::uint64_t number : numbers) {
        if (number < least) continue;
        std::size_t cell = (number * 0x9E3779B97F4A7C15U >> 32) & (cells - 1);
        int steps = 0;
        while (table[cell] != 0 && table[cell] != number && ++steps < mostSteps) cell = (cell + 1) & (cells - 1);
        if (table[cell] != 0) return true;
        table[cell] = number;
    }
    return false;
}

bool areZeros(const char* bytes, std::size_t count) {
    return std::all_of(bytes, bytes + count, [](char byte) { return byte == 0; });
}

bool isAt(const ChunkPlace& place, bool isTile, const char* leader) {
    if (!isTile) return numberAt<std::int32_t>(leader) == place.firstY;
    return numberAt<std::int32_t>(leader) == place.tile.x && numberAt<std::int32_t>(leader + 4) == place.tile.y &&
           numberAt<std::int32_t>(leader + 8) == place.tile.levelX &&
           numberAt<std::int32_t>(leader + 12) == place.tile.levelY;
}

}  // namespace

ChunkTable::ChunkTable(FileBytes& bytes, const HeaderReading& reading) : bytes_(bytes), reading_(reading) {
    for (const kxExr::Part& part : reading.parts) {
        grids_.emplace_back(part);
        count_ = std::min(count_ + grids_.back().count(), ChunkGrid::countless);
        if (grids_.back().count() > INT_MAX)
            finding_ = makeFinding(Code::header, "the header is damaged: it announces more chunks than can be");
    }
    const std::uint64_t room = bytes.size() - std::min(bytes.size(), reading.end);
    if (count_ > room / sizeof(std::uint64_t))
        finding_ = makeFinding(Code::truncated, "the file ends within its chunk tables");
    if (!finding_) end_ = reading.end + count_ * sizeof(std::uint64_t);
}

ChunkFaults ChunkTable::checkPlaces() {
    ChunkFaults faults(count_);
    if (!readOffsets()) return faults;
    checkOffsets(faults);
    checkLast(faults);
    checkShared(faults);
    return faults;
}

bool ChunkTable::readOffsets() {
    offsets_.assign(count_, 0);
    if (!bytes_.read(reading_.end, offsets_.size() * sizeof(std::uint64_t), offsets_.data())) return false;
    qFromLittleEndian<std::uint64_t>(offsets_.data(), static_cast<qsizetype>(offsets_.size()), offsets_.data());
    return true;
}

void ChunkTable::checkOffsets(ChunkFaults& faults) const {
    for (std::size_t i = 0; i < offsets_.size(); ++i) {
        if (offsets_[i] == 0)
            faults.set(i, ChunkFault::unfinished);
        else if (offsets_[i] >= bytes_.size())
            faults.set(i, ChunkFault::truncated);
        else if (offsets_[i] < end_)
            faults.set(i, ChunkFault::insideHeader);
    }
}

// A file that was cut ends within the chunk that lies last, which need not be that of the last rows. Several may
// claim that place.
void ChunkTable::checkLast(ChunkFaults& faults) {
    for (std::size_t i = 0; i < offsets_.size(); ++i)
        if (faults.isGood(i)) last_ = std::max(last_, offsets_[i]);
    if (last_ == 0) return;
    std::size_t chunk = 0;
    for (std::size_t part = 0; part < grids_.size(); ++part)
        for (std::uint32_t i = 0; i < grids_[part].count(); ++i, ++chunk) {
            if (offsets_[chunk] != last_) continue;
            ChunkLeader leader;
            const ChunkFault fault = readLeader(part, i, last_, leader);
            if (fault == ChunkFault::truncated || fault == ChunkFault::wrongLeader) faults.set(chunk, fault);
        }
}

// The places of one part nearly always ascend; the chunks of several parts may stand in turn.
void ChunkTable::checkShared(ChunkFaults& faults) const {
    if (std::adjacent_find(offsets_.begin(), offsets_.end(), std::greater_equal<>()) == offsets_.end()) return;
    if (!mayHaveEqual(offsets_, end_)) return;
    std::vector<std::uint64_t> sorted(offsets_);
    std::sort(sorted.begin(), sorted.end());
    std::vector<std::uint64_t> shared;
    for (std::size_t i = 1; i < sorted.size(); ++i)
        if (sorted[i] == sorted[i - 1] && sorted[i] >= end_) shared.push_back(sorted[i]);
    for (std::size_t i = 0; i < offsets_.size(); ++i)
        if (std::binary_search(shared.begin(), shared.end(), offsets_[i])) faults.set(i, ChunkFault::sharedPlace);
}

// Of a file that was cut, data are missing from the chunk that lies last. Before another one they are all there,
// and the size is wrong.
ChunkFault ChunkTable::readLeader(std::size_t part, std::uint32_t index, std::uint64_t offset,
                                  ChunkLeader& leader) {
    const ChunkFault fault = checkLeader(part, index, offset, leader);
    const bool isFaulty = fault == ChunkFault::wrongLeader || fault == ChunkFault::undecodable;
    if (isFaulty && !leader.hasSizes) hasZeros_ = true;
    return fault == ChunkFault::truncated && offset < last_ ? ChunkFault::pastEnd : fault;
}

void ChunkTable::lookAtEnd(const ChunkLeader& leader) {
    constexpr std::uint64_t mostLooked = 8;
    const std::uint64_t count = std::min(leader.end() - leader.dataOffset, mostLooked);
    const char* const bytes = bytes_.view(leader.end() - count, count);
    if (bytes && count > 0 && areZeros(bytes, count)) hasZeros_ = true;
}

ChunkFault ChunkTable::checkLeader(std::size_t part, std::uint32_t index, std::uint64_t offset,
                                   ChunkLeader& leader) {
    const kxExr::Part& header = reading_.parts[part];
    const bool isDeepPart = isDeep(header.storage);
    const bool isTile = isTiled(header.storage);
    const std::size_t partBytes = reading_.multipart ? 4 : 0;
    const std::size_t placeBytes = isTile ? 16 : 4;
    const std::size_t sizeBytes = isDeepPart ? 24 : 4;
    const std::size_t count = partBytes + placeBytes + sizeBytes;
    if (!bytes_.holds(offset, count)) return ChunkFault::truncated;
    const char* bytes = bytes_.view(offset, count);
    if (!bytes) return ChunkFault::wrongLeader;
    leader.hasSizes = !areZeros(bytes + partBytes + placeBytes, sizeBytes);
    if (partBytes > 0 && numberAt<std::uint32_t>(bytes) != part) return ChunkFault::wrongLeader;
    const ChunkPlace place = grids_[part].at(index);
    if (!isAt(place, isTile, bytes + partBytes)) return ChunkFault::wrongLeader;
    leader.dataOffset = offset + count;
    const char* sizes = bytes + partBytes + placeBytes;
    return isDeepPart ? checkDeepSizes(header, place, sizes, leader)
                      : checkFlatSizes(header.compression, place, grids_[part], sizes, leader);
}

ChunkFault ChunkTable::checkFlatSizes(kxExr::Compression compression, const ChunkPlace& place,
                                      const ChunkGrid& grid, const char* sizes, ChunkLeader& leader) const {
    const auto packed = numberAt<std::int32_t>(sizes);
    if (packed < 0) return ChunkFault::wrongLeader;
    leader.packedSize = static_cast<std::uint64_t>(packed);
    leader.unpackedSize = grid.unpackedSize(place);
    if (!bytes_.holds(leader.dataOffset, leader.packedSize)) return ChunkFault::truncated;
    if (leader.packedSize > leader.unpackedSize) return ChunkFault::tooLarge;
    // Whoever decodes it would allocate the unpacked size first.
    const bool isPossible = leader.unpackedSize / mostExpansion(compression) <= leader.packedSize &&
                            (leader.packedSize > 0 || leader.unpackedSize == 0);
    return isPossible ? ChunkFault::none : ChunkFault::undecodable;
}

ChunkFault ChunkTable::checkDeepSizes(const kxExr::Part& header, const ChunkPlace& place, const char* sizes,
                                      ChunkLeader& leader) const {
    std::int64_t numbers[3];
    for (std::ptrdiff_t i = 0; i < 3; ++i) numbers[i] = numberAt<std::int64_t>(sizes + 8 * i);
    if (*std::min_element(numbers, numbers + 3) < 0) return ChunkFault::wrongLeader;
    leader.countsSize = static_cast<std::uint64_t>(numbers[0]);
    leader.packedSize = static_cast<std::uint64_t>(numbers[1]);
    leader.unpackedSize = static_cast<std::uint64_t>(numbers[2]);
    if (!bytes_.holds(leader.dataOffset, leader.countsSize) ||
        !bytes_.holds(leader.dataOffset + leader.countsSize, leader.packedSize))
        return ChunkFault::truncated;
    const std::uint64_t plain = countsSizeOf(place.width, place.height);
    const std::uint64_t widest = header.tiles ? countsSizeOf(header.tiles->width, header.tiles->height) : plain;
    if (leader.countsSize > widest || leader.packedSize > leader.unpackedSize) return ChunkFault::tooLarge;
    // Tables without compression take the room of a whole tile also where the picture ends within it.
    const bool isPlain = leader.countsSize == widest;
    leader.countsUsed = isPlain ? plain : leader.countsSize;
    return areSizesPossible(header.compression, plain, leader) ? ChunkFault::none : ChunkFault::undecodable;
}

}  // namespace kxCheck
