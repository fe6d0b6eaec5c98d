// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxJudge.h"

#include "check/kxFileAge.h"
#include "check/kxNumberText.h"
#include "image/kxExrModes.h"

#include <algorithm>
#include <utility>

namespace kxCheck {

namespace {

void append(std::vector<Finding>& findings, std::vector<Finding> more) {
    findings.insert(findings.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

// What ends too early in a young file may still be written.
std::vector<Finding> findingsOfFile(const FileReport& file, std::int64_t now, int minAge) {
    std::vector<Finding> findings = file.findings;
    if (!file.hasIdentity || !isYoung(file.identity, now, minAge)) return findings;
    for (Finding& finding : findings)
        if (finding.code == Code::truncated) finding.code = Code::unfinished;
    return findings;
}

std::vector<Finding> findingsOfHeaders(const Headers& headers, const Settings& settings, const Likeness& likeness) {
    std::vector<Finding> findings;
    if (headers.empty()) return findings;
    if (auto unmet = unmetModes(settings.modes, headers)) findings.push_back(*std::move(unmet));
    for (const Expectation& expectation : settings.expectations)
        if (auto unmet = unmetExpectation(expectation, headers)) findings.push_back(*std::move(unmet));
    append(findings, likeness.deviations(headers));
    return findings;
}

bool isIgnored(const Finding& finding, const Settings& settings) {
    return finding.severity != Severity::none && settings.ignored.count(finding.code) > 0;
}

void weigh(std::vector<Finding>& findings, const Settings& settings) {
    findings.erase(std::remove_if(findings.begin(), findings.end(),
                                  [&](const Finding& finding) { return isIgnored(finding, settings); }),
                   findings.end());
    for (Finding& finding : findings)
        if (finding.severity == Severity::warning && settings.failOn.count(finding.code) > 0)
            finding.severity = Severity::error;
}

void conclude(FrameReport& frame, const Settings& settings) {
    weigh(frame.findings, settings);
    arrangeFindings(frame.findings);
    frame.verdict = verdictOf(frame.findings);
    frame.level = levelOf(frame.findings, frame.sizeJump, frame.jump);
}

}  // namespace

FrameReport missingFrame(FrameName name) {
    FrameReport frame;
    frame.name = std::move(name);
    frame.file.findings = {makeFinding(Code::missing, "no such file")};
    return frame;
}

void judge(FrameReport& frame, const Settings& settings, const Likeness& likeness, const Comparison& comparison,
           std::int64_t now) {
    const SizeJump& size = comparison.size;
    frame.sizeJump = size.value;
    frame.jump = comparison.picture.jump;
    frame.hasSizeJump = size.isCompared;
    frame.hasJump = comparison.picture.isCompared;
    frame.findings = findingsOfFile(frame.file, now, settings.minAge);
    if (frame.file.headers) append(frame.findings, findingsOfHeaders(*frame.file.headers, settings, likeness));
    if (size.value > conspicuousJump) frame.findings.push_back(makeFinding(Code::sizeJump, size.text));
    append(frame.findings, comparison.picture.findings);
    conclude(frame, settings);
}

void addFinding(FrameReport& frame, Finding finding, const Settings& settings) {
    frame.findings.push_back(std::move(finding));
    conclude(frame, settings);
}

std::optional<Finding> unmetModes(const kxExr::Modes& modes, const Headers& headers) {
    switch (kxExr::modeFailure(modes, headers)) {
        case kxExr::ModeFailure::severalParts:
            return makeFinding(Code::modes, countText(headers.size(), "part") + ", only one is allowed");
        case kxExr::ModeFailure::singlePart:
            return makeFinding(Code::modes, "a single part, several are required");
        case kxExr::ModeFailure::singleLayer:
            return makeFinding(Code::modes, countText(headers.front().channels.size(), "channel") +
                                                ", several layers are required, that is " +
                                                countText(kxExr::multiLayerChannels, "channel") + " or more");
        default:
            return std::nullopt;
    }
}

}  // namespace kxCheck
