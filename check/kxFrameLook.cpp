// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameLook.h"

#include "check/kxCacheFolder.h"

#include <algorithm>
#include <utility>

namespace kxCheck {

bool usesCache(const Settings& settings) {
    return settings.level == Level::pixels && !settings.cacheDirectory.isEmpty();
}

FileCheck lookAt(const FrameName& frame, Level level, const QByteArray& cacheFolder) {
    FileCheck check;
    check.path = frame.path;
    check.level = level;
    if (!cacheFolder.isEmpty() && level != Level::headers)
        check.cacheFile = cacheFolder + '/' + cacheFileName(frame);
    return check;
}

bool isLimited(const FileReport& file) {
    const auto& findings = file.findings;
    return std::any_of(findings.begin(), findings.end(), [](const Finding& f) { return f.code == Code::limit; });
}

void addKnown(FileReport& second, FileReport first) {
    if (second.hasIdentity && (!first.hasIdentity || second.identity != first.identity)) return;
    second.hasIdentity = first.hasIdentity;
    second.identity = first.identity;
    if (!second.headers) second.headers = std::move(first.headers);
    for (Finding& finding : first.findings)
        if (finding.severity != Severity::none) second.findings.push_back(std::move(finding));
}

}  // namespace kxCheck
