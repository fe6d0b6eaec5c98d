// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameLines.h"

#include "check/kxEscape.h"
#include "check/kxNumberText.h"

#include <QByteArrayList>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <set>

namespace kxCheck {

namespace {

constexpr const char* columnGap = "  ";
constexpr int verdictWidth = 10;  // of "suspicious"

// In the order of the verdicts: green, yellow, red, magenta, cyan.
constexpr const char* colors[] = {"\x1b[32m", "\x1b[33m", "\x1b[31m", "\x1b[35m", "\x1b[36m"};
constexpr const char* colorEnd = "\x1b[0m";
static_assert(std::size(colors) == verdictCount, "each verdict has a colour");

QByteArray rangeText(const FrameRange& range) {
    if (range.first == range.last) return numberText(range.first);
    const QByteArray text = numberText(range.first) + '-' + numberText(range.last);
    return range.step == 1 ? text : text + 'x' + numberText(range.step);
}

// "4 channels half", of all parts together; types in the order of the format.
QByteArray channelsText(const Headers& headers) {
    std::size_t count = 0;
    std::set<kxExr::PixelType> types;
    for (const kxExr::Part& part : headers) {
        count += part.channels.size();
        for (const kxExr::Channel& channel : part.channels) types.insert(channel.type);
    }
    QByteArray text = countText(count, "channel");
    for (const kxExr::PixelType type : types) text += QByteArray(" ") + kxExr::pixelTypeName(type);
    return text;
}

// "zip", "zip,piz": each once, as they appear.
QByteArray compressionsText(const Headers& headers) {
    QByteArrayList names;
    for (const kxExr::Part& part : headers) {
        const QByteArray name = kxExr::compressionName(part.compression);
        if (!names.contains(name)) names += name;
    }
    return names.join(',');
}

QByteArray padded(const QByteArray& text, int width) {
    return text.leftJustified(width, ' ');
}

QByteArray colored(Verdict verdict, const LineStyle& style) {
    QByteArray name = verdictName(verdict);
    if (!style.hasColors) return name;
    return colors[static_cast<std::size_t>(verdict)] + name + colorEnd;
}

std::int64_t countOfCode(const std::vector<Finding>& findings, Code code) {
    return std::count_if(findings.begin(), findings.end(), [code](const Finding& finding) {
        return finding.code == code && !standsForOthers(finding);
    });
}

QByteArray findingText(const Finding& finding, std::int64_t count) {
    const QByteArray text = rowOf(finding.code).name + QByteArray(": ") + escaped(finding.text);
    return count == 1 ? text : text + " (and " + numberText(count - 1) + " more)";
}

}  // namespace

int labelWidthOf(const std::vector<FrameReport>& frames) {
    int width = 0;
    for (const FrameReport& frame : frames)
        width = std::max(width, static_cast<int>(escaped(frameLabel(frame.name)).size()));
    return width;
}

QByteArray sequenceLine(const SequenceName& sequence, const Headers* headers) {
    QByteArrayList columns = {escaped(sequence.path)};
    if (sequence.range) columns += rangeText(*sequence.range);
    if (headers && !headers->empty()) {
        const kxExr::Window& window = headers->front().displayWindow;
        columns += numberText(window.width()) + 'x' + numberText(window.height());
        if (headers->size() > 1) columns += countText(headers->size(), "part");
        columns += channelsText(*headers);
        columns += compressionsText(*headers);
    }
    return columns.join(columnGap);
}

QByteArray frameLine(const FrameReport& frame, const LineStyle& style) {
    QByteArray line = padded(escaped(frameLabel(frame.name)), style.labelWidth) + columnGap;
    line += colored(frame.verdict, style);
    const QByteArray findings = findingsText(frame.findings);
    if (!findings.isEmpty()) {
        const int nameLength = static_cast<int>(qstrlen(verdictName(frame.verdict)));
        line += QByteArray(verdictWidth - nameLength, ' ') + columnGap + findings;
    }
    if (const char* const action = actionName(frame.action)) line += QByteArray(columnGap) + "=> " + action;
    return line;
}

// The findings are sorted, so those of one code follow each other unless they differ in severity.
QByteArray findingsText(const std::vector<Finding>& findings) {
    QByteArrayList texts;
    std::vector<Code> said = {Code::missing};
    for (const Finding& finding : findings) {
        if (standsForOthers(finding)) {
            texts += finding.text;
        } else if (std::find(said.begin(), said.end(), finding.code) == said.end()) {
            said.push_back(finding.code);
            texts += findingText(finding, countOfCode(findings, finding.code));
        }
    }
    return texts.join("; ");
}

QByteArray totalLine(const Summary& summary) {
    QByteArrayList counts;
    for (const Verdict verdict :
         {Verdict::good, Verdict::suspicious, Verdict::bad, Verdict::missing, Verdict::unknown}) {
        if (summary.count(verdict) == 0) continue;
        QByteArray text = numberText(summary.count(verdict)) + ' ' + verdictName(verdict);
        if (verdict != Verdict::good) text += " (" + summary.frames({verdict}) + ')';
        counts += text;
    }
    counts += durationText(summary.seconds);
    return "total " + numberText(summary.total()) + ": " + counts.join(", ");
}

QByteArray heldLine(std::int64_t removable, std::int64_t checked) {
    return "nothing removed: " + numberText(removable) + " of " + numberText(checked) +
           " checked frames would go, more than half (--remove-most removes them)";
}

QByteArray keptLine(const FrameName& frame, const QByteArray& reason, const LineStyle& style) {
    return padded(escaped(frameLabel(frame)), style.labelWidth) + columnGap + "kept: " + escaped(reason);
}

QByteArray durationText(double seconds) {
    const std::int64_t whole = std::llround(seconds);
    if (whole < 60) return numberText(whole) + " s";
    if (whole < 3600) return numberText(whole / 60) + " min " + numberText(whole % 60) + " s";
    const std::int64_t minutes = std::llround(seconds / 60);
    return numberText(minutes / 60) + " h " + numberText(minutes % 60) + " min";
}

}  // namespace kxCheck
