// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxReportRoom.h"

#include "check/kxFrameReport.h"

#include <map>
#include <utility>

namespace kxCheck {

namespace {

// What an allocation takes beside its bytes, about.
constexpr std::int64_t besideBlock = 32;

std::int64_t sizeOf(const QByteArray& bytes) {
    return bytes.isEmpty() ? 0 : bytes.size() + besideBlock;
}

template <class T>
std::int64_t sizeOfBlock(const std::vector<T>& values) {
    return values.empty() ? 0 : static_cast<std::int64_t>(values.size() * sizeof(T)) + besideBlock;
}

std::int64_t sizeOf(const std::vector<Finding>& findings) {
    std::int64_t size = sizeOfBlock(findings);
    for (const Finding& finding : findings)
        size += sizeOf(finding.text) + sizeOf(finding.channel) + sizeOfBlock(finding.tiles);
    return size;
}

std::int64_t sizeOf(const std::vector<kxExr::Channel>& channels) {
    std::int64_t size = sizeOfBlock(channels);
    for (const kxExr::Channel& channel : channels) size += sizeOf(channel.name);
    return size;
}

// One finding of each code, and one that stands for the others of the code.
std::vector<Finding> firstOfEachCode(const std::vector<Finding>& findings) {
    std::vector<Finding> kept;
    std::map<std::pair<Code, Severity>, std::int64_t> others;  // 0: the first was kept
    for (const Finding& finding : findings) {
        const auto [at, isFirst] = others.try_emplace({finding.code, finding.severity}, 0);
        if (standsForOthers(finding))
            at->second += finding.count;
        else if (isFirst)
            kept.push_back(finding);
        else
            ++at->second;
    }
    for (const auto& [kind, count] : others) {
        if (count == 0) continue;
        kept.push_back(findingForOthers(kind.first, count));
        kept.back().severity = kind.second;
    }
    return kept;
}

}  // namespace

void ReportRoom::take(FileReport& report) {
    if (report.headers && !takeHeaders(report.headers)) {
        report.headers = nullptr;
        report.chunks.clear();
        report.decoded = false;
        report.findings.push_back(
            makeFinding(Code::limit, "its headers, with those of the other frames, take too much memory"));
        arrangeFindings(report.findings);
    }
    take(report.findings);
}

void ReportRoom::take(std::vector<Finding>& findings) {
    const auto fits = [&] { return sizeOf(findings) <= findingRoom_; };
    if (!fits())
        for (Finding& finding : findings) finding.tiles = {};
    if (!fits()) findings = firstOfEachCode(findings);
    findingRoom_ -= sizeOf(findings);
}

void ReportRoom::giveBack(const std::vector<Finding>& findings) {
    findingRoom_ += sizeOf(findings);
}

bool ReportRoom::takeHeaders(const std::shared_ptr<const Headers>& headers) {
    if (headers_.count(headers) > 0) return true;
    std::int64_t size = sizeOfBlock(*headers);
    std::set<kxExr::ChannelList::Shared> lists;
    for (const kxExr::Part& part : *headers) {
        size += sizeOf(part.name);
        const auto& list = part.channels.shared();
        if (lists_.count(list) == 0 && lists.insert(list).second) size += sizeOf(part.channels.all());
    }
    if (size > headerRoom_) return false;
    headerRoom_ -= size;
    headers_.insert(headers);
    lists_.merge(lists);
    return true;
}

}  // namespace kxCheck
