// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxChunkFaults.h"

#include "check/kxFrameReport.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace kxCheck {

namespace {

struct FaultRow {
    Code code;
    const char* ofOne;  // after "row 5 of 1080 ", "tile 3,2 of part 0 "
    const char* ofMany;
};

// In the order of ChunkFault.
constexpr FaultRow rows[] = {
    {Code::chunk, "", ""},
    {Code::unfinished, "was never written", "were never written"},
    {Code::truncated, "is missing", "are missing"},
    {Code::truncated, "reaches behind the file's end", "reach behind the file's end"},
    {Code::chunk, "has its place inside the header", "have their places inside the header"},
    {Code::chunk, "has the place of another chunk", "have the places of other chunks"},
    {Code::chunk, "is not at its place", "are not at their places"},
    {Code::chunk, "is larger than without compression", "are larger than without compression"},
    {Code::chunk, "overlaps another chunk", "overlap other chunks"},
    {Code::chunk, "can't be decoded", "can't be decoded"},
};

const FaultRow& rowOf(ChunkFault fault) {
    return rows[static_cast<std::size_t>(fault)];
}

// Tiles of all findings that are listed at most; more of them are only counted.
constexpr std::size_t mostTiles = 1000;

// Chunks of one part that follow each other and have the same fault.
struct Run {
    std::size_t part = 0;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    ChunkFault fault = ChunkFault::none;
};

QByteArray number(std::int64_t value) {
    return QByteArray::number(static_cast<qlonglong>(value));
}

// "3,2", in a lower level "3,2 of level 1,1".
QByteArray tileText(const Tile& tile) {
    QByteArray text = number(tile.x) + "," + number(tile.y);
    if (tile.levelX > 0 || tile.levelY > 0) text += " of level " + number(tile.levelX) + "," + number(tile.levelY);
    return text;
}

QByteArray partText(std::size_t part) {
    return " of part " + number(static_cast<std::int64_t>(part));
}

// "1080", or "-10 to 99" where the rows do not begin at 0.
QByteArray allRowsText(const kxExr::Window& window) {
    if (window.minY == 0) return number(window.height());
    return number(window.minY) + " to " + number(window.maxY);
}

Finding rowsFinding(const Run& run, const Headers& parts, const ChunkGrid& grid) {
    const ChunkPlace last = grid.at(run.last);
    const Rows damaged{grid.at(run.first).firstY, last.firstY + last.height - 1};
    const bool isOne = damaged.first == damaged.last;
    QByteArray text =
        isOne ? "row " + number(damaged.first) : "rows " + number(damaged.first) + " to " + number(damaged.last);
    text += " of " + allRowsText(parts[run.part].dataWindow);
    if (parts.size() > 1) text += partText(run.part);
    const FaultRow& row = rowOf(run.fault);
    Finding finding = makeFinding(row.code, text + " " + (isOne ? row.ofOne : row.ofMany));
    finding.rows = damaged;
    return finding;
}

Finding tilesFinding(const Run& run, const ChunkGrid& grid, std::size_t listed) {
    const FaultRow& row = rowOf(run.fault);
    const std::uint32_t count = run.last - run.first + 1;
    const QByteArray first = tileText(grid.at(run.first).tile);
    const QByteArray text = count == 1 ? "tile " + first + partText(run.part) + " " + row.ofOne
                                       : number(count) + " tiles" + partText(run.part) + ", from " + first +
                                             " to " + tileText(grid.at(run.last).tile) + ", " + row.ofMany;
    Finding finding = makeFinding(row.code, text);
    for (std::uint32_t i = run.first; i <= run.last && finding.tiles.size() < listed; ++i)
        finding.tiles.push_back(grid.at(i).tile);
    return finding;
}

// Tiles are listed as far as there is room.
Finding findingOf(const Run& run, const Headers& parts, const std::vector<ChunkGrid>& grids, std::size_t& room) {
    const ChunkGrid& grid = grids[run.part];
    Finding finding =
        isTiled(parts[run.part].storage) ? tilesFinding(run, grid, room) : rowsFinding(run, parts, grid);
    room -= finding.tiles.size();
    finding.part = static_cast<int>(run.part);
    finding.count = run.last - run.first + 1;
    return finding;
}

// The runs that become findings of their own, and what of the others there is to tell.
class ShownRuns {
public:
    void add(const Run& run) {
        if (run.fault == ChunkFault::none) return;
        const auto code = static_cast<std::size_t>(rowOf(run.fault).code);
        if (runs_.size() < mostFindings || !hasCode_[code])
            runs_.push_back(run);
        else
            hide(run);
        hasCode_[code] = true;
    }

    // Makes room for those that count the rest: those found first of each code stay.
    void shorten() {
        for (std::size_t i = runs_.size(); i-- > 0 && runs_.size() + hidden_.size() > mostFindings;)
            if (!isFirstOfCode(i)) {
                hide(runs_[i]);
                runs_.erase(runs_.begin() + static_cast<std::ptrdiff_t>(i));
            }
    }

    std::vector<Finding> findings(const Headers& parts, const std::vector<ChunkGrid>& grids) const {
        std::vector<Finding> found;
        std::size_t room = mostTiles;
        for (const Run& run : runs_) found.push_back(findingOf(run, parts, grids, room));
        for (const auto& [code, count] : hidden_) found.push_back(findingForOthers(code, count));
        return found;
    }

private:
    void hide(const Run& run) { ++hidden_[rowOf(run.fault).code]; }
    bool isFirstOfCode(std::size_t index) const {
        const Code code = rowOf(runs_[index].fault).code;
        return std::none_of(runs_.begin(), runs_.begin() + static_cast<std::ptrdiff_t>(index),
                            [code](const Run& run) { return rowOf(run.fault).code == code; });
    }

    std::vector<Run> runs_;
    std::array<bool, static_cast<std::size_t>(Code::jump) + 1> hasCode_{};
    std::map<Code, std::int64_t> hidden_;
};

}  // namespace

bool ChunkFaults::areAllGood() const {
    return std::all_of(faults_.begin(), faults_.end(), [](ChunkFault fault) { return fault == ChunkFault::none; });
}

void ChunkFaults::set(std::size_t chunk, ChunkFault fault) {
    if (isGood(chunk) || fault < faults_[chunk]) faults_[chunk] = fault;
}

std::vector<ChunkCounts> ChunkFaults::counts(const std::vector<ChunkGrid>& grids) const {
    std::vector<ChunkCounts> counts;
    auto first = faults_.begin();
    for (const ChunkGrid& grid : grids) {
        const auto chunks = static_cast<std::ptrdiff_t>(grid.count());
        const auto absent = std::count_if(first, first + chunks, [](ChunkFault fault) {
            return fault != ChunkFault::none && rowOf(fault).code != Code::chunk;
        });
        counts.push_back({chunks, chunks - absent});
        first += chunks;
    }
    return counts;
}

std::vector<Finding> ChunkFaults::findings(const Headers& parts, const std::vector<ChunkGrid>& grids) const {
    ShownRuns shown;
    std::size_t chunk = 0;
    for (std::size_t part = 0; part < grids.size(); ++part) {
        Run run;
        for (std::uint32_t i = 0; i < grids[part].count(); ++i, ++chunk) {
            if (i > 0 && faults_[chunk] == run.fault) {
                run.last = i;
                continue;
            }
            shown.add(run);
            run = {part, i, i, faults_[chunk]};
        }
        shown.add(run);
    }
    shown.shorten();
    return shown.findings(parts, grids);
}

}  // namespace kxCheck
