// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameReport.h"

#include "check/kxNumberText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <utility>

namespace kxCheck {

namespace {

constexpr double greatJump = 4;

// In the order of the verdicts.
constexpr std::array<const char*, verdictCount> verdictNames = {"good", "suspicious", "bad", "missing", "unknown"};

bool hasCode(const std::vector<Finding>& findings, Code code) {
    return std::any_of(findings.begin(), findings.end(), [code](const Finding& f) { return f.code == code; });
}

bool hasSeverity(const std::vector<Finding>& findings, Severity severity) {
    return std::any_of(findings.begin(), findings.end(),
                       [severity](const Finding& f) { return f.severity == severity; });
}

// Severities in the order of a report.
int rankOf(Severity severity) {
    switch (severity) {
        case Severity::none:
            return 0;
        case Severity::error:
            return 1;
        default:
            return 2;
    }
}

bool standsBefore(const Finding& a, const Finding& b) {
    const int rankA = rankOf(a.severity);
    const int rankB = rankOf(b.severity);
    return rankA != rankB ? rankA < rankB : a.code < b.code;
}

QByteArray restText(std::int64_t count) {
    return countText(static_cast<std::size_t>(count), "more finding");
}

// One that stands for all of these.
Finding restOf(const std::vector<Finding>& findings) {
    Finding rest;
    rest.code = findings.front().code;
    rest.severity = findings.front().severity;
    for (const Finding& finding : findings) rest.count += standsForOthers(finding) ? finding.count : 1;
    rest.text = restText(rest.count);
    return rest;
}

// Moves those that stand for others out of the findings.
std::vector<Finding> takeRests(std::vector<Finding>& findings) {
    const auto rests = std::stable_partition(findings.begin(), findings.end(),
                                             [](const Finding& finding) { return !standsForOthers(finding); });
    std::vector<Finding> taken;
    std::move(rests, findings.end(), std::back_inserter(taken));
    findings.erase(rests, findings.end());
    return taken;
}

bool isSameKind(const Finding& a, const Finding& b) {
    return a.severity == b.severity && a.code == b.code;
}

// Moves those that there is no room for out of the sorted findings. The first of each kind stays, so that no
// verdict changes.
std::vector<Finding> takeSurplus(std::vector<Finding>& sorted, std::size_t room) {
    std::vector<bool> isFirst(sorted.size());
    for (std::size_t i = 0; i < sorted.size(); ++i) isFirst[i] = i == 0 || !isSameKind(sorted[i - 1], sorted[i]);
    auto others = static_cast<std::ptrdiff_t>(room) - std::count(isFirst.begin(), isFirst.end(), true);
    std::vector<Finding> kept;
    std::vector<Finding> taken;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        const bool stays = isFirst[i] || others-- > 0;
        (stays ? kept : taken).push_back(sorted[i]);
    }
    sorted = std::move(kept);
    return taken;
}

}  // namespace

const char* verdictName(Verdict verdict) {
    return verdictNames[static_cast<std::size_t>(verdict)];
}

std::optional<Verdict> verdictFromName(const QByteArray& name) {
    const auto* const found = std::find_if(verdictNames.begin(), verdictNames.end(),
                                           [&name](const char* candidate) { return name == candidate; });
    if (found == verdictNames.end()) return std::nullopt;
    return static_cast<Verdict>(found - verdictNames.begin());
}

const char* actionName(Action action) {
    switch (action) {
        case Action::remove:
            return "delete";
        case Action::move:
            return "move";
        default:
            return nullptr;
    }
}

Verdict verdictOf(const std::vector<Finding>& findings) {
    if (hasCode(findings, Code::missing)) return Verdict::missing;
    if (hasSeverity(findings, Severity::none)) return Verdict::unknown;
    if (hasSeverity(findings, Severity::error)) return Verdict::bad;
    return findings.empty() ? Verdict::good : Verdict::suspicious;
}

int levelOf(const std::vector<Finding>& findings, double sizeJump, double jump) {
    const Verdict verdict = verdictOf(findings);
    if (verdict == Verdict::bad || verdict == Verdict::missing) return 3;
    if (hasCode(findings, Code::alphaMissing)) return 2;
    if (hasCode(findings, Code::sizeJump) && sizeJump > greatJump) return 2;
    if (hasCode(findings, Code::jump) && jump > greatJump) return 2;
    return verdict == Verdict::good ? 0 : 1;
}

Finding findingForOthers(Code code, std::int64_t count) {
    Finding finding = makeFinding(code, restText(count));
    finding.count = count;
    return finding;
}

bool standsForOthers(const Finding& finding) {
    return finding.count > 0 && finding.text == restText(finding.count);
}

void arrangeFindings(std::vector<Finding>& findings) {
    std::vector<Finding> rests = takeRests(findings);
    std::stable_sort(findings.begin(), findings.end(), standsBefore);
    if (findings.size() + (rests.empty() ? 0 : 1) > mostFindings) {
        const std::vector<Finding> surplus = takeSurplus(findings, mostFindings - 1);
        rests.insert(rests.end(), surplus.begin(), surplus.end());
    }
    if (!rests.empty()) findings.push_back(restOf(rests));
}

}  // namespace kxCheck
