// SPDX-License-Identifier: BSD-3-Clause
// Frames with their findings and verdict, made without files.
#pragma once

#include "check/kxFrameReport.h"
#include "check/kxSummary.h"

#include <optional>
#include <vector>

inline kxCheck::FrameName named(const QByteArray& text, const QByteArray& path = "/r/beauty.x.exr") {
    kxCheck::FrameName name;
    name.text = text;
    name.number = text.toLongLong();
    name.path = path;
    return name;
}

inline kxCheck::FrameName singleFile(const QByteArray& path) {
    kxCheck::FrameName name;
    name.path = path;
    return name;
}

inline kxCheck::FrameReport judgedFrame(const kxCheck::FrameName& name,
                                        const std::vector<kxCheck::Finding>& findings) {
    kxCheck::FrameReport frame;
    frame.name = name;
    frame.findings = findings;
    kxCheck::arrangeFindings(frame.findings);
    frame.verdict = kxCheck::verdictOf(frame.findings);
    return frame;
}

inline kxCheck::Summary summaryOf(const std::vector<kxCheck::FrameReport>& frames, double seconds = 0) {
    kxCheck::Summary summary;
    for (const kxCheck::FrameReport& frame : frames) summary.add(frame);
    summary.seconds = seconds;
    return summary;
}

// As many frames with this finding as from first to last; good without a code.
inline std::vector<kxCheck::FrameReport> run(int first, int last, std::optional<kxCheck::Code> code = {}) {
    std::vector<kxCheck::FrameReport> frames;
    for (int i = first; i <= last; ++i) {
        const std::vector<kxCheck::Finding> findings =
            code ? std::vector<kxCheck::Finding>{kxCheck::makeFinding(*code, "text")}
                 : std::vector<kxCheck::Finding>{};
        frames.push_back(judgedFrame(named(QByteArray::number(i)), findings));
    }
    return frames;
}

inline std::vector<kxCheck::FrameReport> joined(const std::vector<std::vector<kxCheck::FrameReport>>& runs) {
    std::vector<kxCheck::FrameReport> frames;
    for (const auto& part : runs) frames.insert(frames.end(), part.begin(), part.end());
    return frames;
}
