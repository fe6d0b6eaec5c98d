// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxSummary.h"

#include "check/kxEscape.h"
#include "check/kxNumberText.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace kxCheck {

QByteArray frameLabel(const FrameName& frame) {
    if (!frame.number) return frame.path.mid(frame.path.lastIndexOf('/') + 1);
    if (!frame.tile) return frame.text;
    return frame.text + " tile " + numberText(*frame.tile);
}

void Summary::add(const FrameReport& frame) {
    Frames& frames = frames_[static_cast<std::size_t>(frame.verdict)];
    ++frames.count;
    if (frame.name.number)
        frames.numbers.push_back(*frame.name.number);
    else
        frames.names.push_back(frameLabel(frame.name));
}

std::int64_t Summary::count(Verdict verdict) const {
    return frames_[static_cast<std::size_t>(verdict)].count;
}

std::int64_t Summary::total() const {
    return std::accumulate(frames_.begin(), frames_.end(), std::int64_t{0},
                           [](std::int64_t sum, const Frames& frames) { return sum + frames.count; });
}

QByteArray Summary::frames(const std::set<Verdict>& verdicts) const {
    FrameNumbers numbers;
    QByteArray names;
    for (const Verdict verdict : verdicts) {
        const Frames& frames = frames_[static_cast<std::size_t>(verdict)];
        numbers.insert(numbers.end(), frames.numbers.begin(), frames.numbers.end());
        for (const QByteArray& name : frames.names) names += (names.isEmpty() ? "" : ",") + escaped(name);
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    const QByteArray list = formatFrameList(numbers);
    return list.isEmpty() || names.isEmpty() ? list + names : list + ',' + names;
}

int exitCodeOf(const Summary& summary, bool strict) {
    if (summary.count(Verdict::bad) > 0 || summary.count(Verdict::missing) > 0) return 1;
    if (strict && summary.count(Verdict::suspicious) > 0) return 1;
    return summary.count(Verdict::unknown) > 0 || summary.isPartial ? 3 : 0;
}

}  // namespace kxCheck
