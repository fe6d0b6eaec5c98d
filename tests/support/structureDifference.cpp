// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/structureDifference.h"

#include <openexr.h>

#include <cstddef>
#include <set>
#include <utility>

using kxCheck::Code;

namespace {

// What the library has against headers that the rules let pass.
bool isRefusalOfLibrary(const kxCheck::FileReport& report) {
    if (report.findings.size() != 1 || report.findings[0].code != Code::header) return false;
    const std::string text = report.findings[0].text.toStdString();
    const std::string damaged = "the header is damaged: ";
    if (text == damaged + "it can be read in two ways") return true;
    for (int error = 0; error < EXR_ERR_UNKNOWN; ++error)
        if (text == damaged + exr_get_default_error_message(error)) return true;
    return false;
}

bool isSame(const kxCheck::Finding& finding, const PlainFault& fault) {
    if (finding.code != fault.code || finding.part != fault.part || finding.count != fault.count) return false;
    if (finding.rows.has_value() != fault.rows.has_value()) return false;
    if (fault.rows) return finding.rows->first == fault.rows->first && finding.rows->last == fault.rows->second;
    if (finding.tiles.empty()) return true;  // too many are listed already
    const kxCheck::Tile& tile = finding.tiles.front();
    return std::vector<std::int64_t>{tile.x, tile.y, tile.levelX, tile.levelY} == fault.firstTile;
}

std::set<Code> codesOf(const std::vector<PlainFault>& faults) {
    std::set<Code> codes;
    for (const PlainFault& fault : faults) codes.insert(fault.code);
    return codes;
}

// Of more than there is room for, only the codes are told for sure.
std::string differenceOfFaults(const kxCheck::FileReport& report, const std::vector<PlainFault>& faults) {
    if (faults.size() > kxCheck::mostFindings) {
        std::set<Code> codes;
        for (const kxCheck::Finding& finding : report.findings) codes.insert(finding.code);
        return codes == codesOf(faults) && report.findings.size() == kxCheck::mostFindings ? "" : "codes";
    }
    if (report.findings.size() != faults.size())
        return "findings: " + std::to_string(report.findings.size()) + " for " + std::to_string(faults.size());
    for (std::size_t i = 0; i < faults.size(); ++i)
        if (!isSame(report.findings[i], faults[i])) return "finding " + report.findings[i].text.toStdString();
    return {};
}

std::string differenceOfParts(const kxCheck::FileReport& report, const PlainStructure& plain) {
    if (!report.headers || report.headers->size() != plain.channels.size()) return "parts";
    if (report.chunks.size() != plain.chunks.size()) return "chunks";
    for (std::size_t part = 0; part < plain.channels.size(); ++part) {
        std::vector<std::string> names;
        for (const kxExr::Channel& channel : (*report.headers)[part].channels)
            names.push_back(channel.name.toStdString());
        if (names != plain.channels[part]) return "channels";
        const kxCheck::ChunkCounts& counts = report.chunks[part];
        if (std::make_pair(counts.chunks, counts.present) != plain.chunks[part]) return "counts of chunks";
    }
    return {};
}

}  // namespace

std::string differenceFromPlain(const kxCheck::FileReport& report, const PlainStructure& plain) {
    if (plain.alone) {
        const bool isSameCode = report.findings.size() == 1 && report.findings[0].code == *plain.alone;
        return isSameCode ? "" : std::string("should be ") + kxCheck::rowOf(*plain.alone).name;
    }
    if (isRefusalOfLibrary(report)) return {};
    const std::string parts = differenceOfParts(report, plain);
    return parts.empty() ? differenceOfFaults(report, plain.faults) : parts;
}
