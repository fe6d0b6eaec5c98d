// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxFrameRestriction.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

namespace kxFrames {

FrameList::FrameList(const QString& text) : inUse_(!text.isEmpty()) {
    const QStringList parts = text.split(QLatin1Char(','));
    for (const QString& part : parts) addPart(part.trimmed());
    merge();
}

bool FrameList::allows(long long frame) const {
    if (!inUse_) return true;
    const auto next = std::upper_bound(ranges_.begin(), ranges_.end(), frame,
                                       [](long long f, const Range& range) { return f < range.first; });
    return next != ranges_.begin() && frame <= std::prev(next)->last;
}

void FrameList::addPart(const QString& part) {
    if (part.isEmpty()) return;
    const auto dash = part.indexOf(QLatin1Char('-'));
    const long long first = part.left(dash).toLongLong();  // all of it without a "-"
    const long long last = dash < 0 ? first : part.mid(dash + 1).toLongLong();
    // A range that runs backwards names no frame, but the list is in use all the same.
    if (last >= first) ranges_.push_back({first, last});
}

// Sorted by their start, ranges that share a frame follow each other.
void FrameList::merge() {
    std::sort(ranges_.begin(), ranges_.end(), [](const Range& a, const Range& b) { return a.first < b.first; });
    std::vector<Range> merged;
    for (const Range& range : ranges_) {
        if (merged.empty() || range.first > merged.back().last) {
            merged.push_back(range);
        } else {
            merged.back().last = std::max(merged.back().last, range.last);
        }
    }
    ranges_.swap(merged);
}

bool FrameRestriction::allows(long long frame) const {
    return (start == -1 || frame >= start) && (end == -1 || frame <= end) &&
           (step < 2 || wrappingDifference<long long>(frame, start) % step == 0) && list.allows(frame);
}

}  // namespace kxFrames
