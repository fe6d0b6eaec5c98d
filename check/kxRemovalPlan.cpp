// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxRemovalPlan.h"

#include <algorithm>

namespace kxCheck {

namespace {

bool isNamedLikeExr(const QByteArray& path) {
    return path.toLower().endsWith(".exr");
}

bool isForeign(const Finding& finding) {
    return finding.code == Code::notExr || finding.code == Code::empty;
}

bool condemns(const Finding& finding, const Settings& settings) {
    if (finding.severity != Severity::error) return false;
    return rowOf(finding.code).level != Level::pixels || settings.failOn.count(finding.code) > 0;
}

bool mayBeRemoved(const FrameReport& frame, const Settings& settings) {
    const std::vector<Finding>& findings = frame.findings;
    if (frame.verdict != Verdict::bad || !frame.file.hasIdentity) return false;
    if (std::any_of(findings.begin(), findings.end(), isForeign) && !isNamedLikeExr(frame.name.path)) return false;
    return std::any_of(findings.begin(), findings.end(),
                       [&](const Finding& finding) { return condemns(finding, settings); });
}

}  // namespace

Action plannedAction(const FrameReport& frame, const Settings& settings) {
    if (settings.removal == Removal::none || !mayBeRemoved(frame, settings)) return Action::none;
    return settings.removal == Removal::move ? Action::move : Action::remove;
}

RemovalCount countRemovals(const std::vector<FrameReport>& frames) {
    RemovalCount count;
    for (const FrameReport& frame : frames) {
        if (frame.verdict != Verdict::missing && frame.verdict != Verdict::unknown) ++count.checked;
        if (frame.action != Action::none) ++count.removable;
    }
    return count;
}

}  // namespace kxCheck
