// SPDX-License-Identifier: BSD-3-Clause
// Which frames of a sequence a discovery takes: a range, a step and a list.
#pragma once

#include <QString>
#include <QStringList>
#include <algorithm>
#include <iterator>
#include <type_traits>
#include <vector>

namespace kxFrames {

// Frame numbers come from file names and fill all 64 bits, ranges and offsets from the command line all 32: their
// sums and differences wrap.
template <class T>
T wrappingSum(T a, T b) {
    using Unsigned = std::make_unsigned_t<T>;
    return static_cast<T>(static_cast<Unsigned>(a) + static_cast<Unsigned>(b));
}

template <class T>
T wrappingDifference(T a, T b) {
    using Unsigned = std::make_unsigned_t<T>;
    return static_cast<T>(static_cast<Unsigned>(a) - static_cast<Unsigned>(b));
}

// A list such as "1-10, 15", kept as sorted, disjoint ranges: "1-2000000000" takes two numbers. Text that is no
// number counts as 0, so that "-5" is 0 .. 5.
class FrameList {
public:
    explicit FrameList(const QString& text) : inUse_(!text.isEmpty()) {
        const QStringList parts = text.split(QLatin1Char(','));
        for (const QString& part : parts) addPart(part.trimmed());
        merge();
    }

    bool isInUse() const { return inUse_; }

    // True for every frame when the list is not in use.
    bool allows(long long frame) const {
        if (!inUse_) return true;
        const auto next = std::upper_bound(ranges_.begin(), ranges_.end(), frame,
                                           [](long long f, const Range& range) { return f < range.first; });
        return next != ranges_.begin() && frame <= std::prev(next)->last;
    }

private:
    struct Range {
        long long first, last;
    };

    void addPart(const QString& part) {
        if (part.isEmpty()) return;
        const auto dash = part.indexOf(QLatin1Char('-'));
        const long long first = part.left(dash).toLongLong();  // all of it without a "-"
        const long long last = dash < 0 ? first : part.mid(dash + 1).toLongLong();
        if (last >= first) ranges_.push_back({first, last});
    }

    void merge() {
        std::sort(ranges_.begin(), ranges_.end(), [](const Range& a, const Range& b) { return a.first < b.first; });
        std::vector<Range> merged;
        for (const Range& range : ranges_) {
            if (merged.empty() || range.first > merged.back().last)
                merged.push_back(range);
            else
                merged.back().last = std::max(merged.back().last, range.last);
        }
        ranges_.swap(merged);
    }

    bool inUse_;
    std::vector<Range> ranges_;
};

struct FrameRestriction {
    int start, end;  // -1 is open
    int step;        // below 2: every frame
    FrameList list;

    // The step counts from `start` even where that is the -1 of an open start.
    bool allows(long long frame) const {
        return (start == -1 || frame >= start) && (end == -1 || frame <= end) &&
               (step < 2 || wrappingDifference<long long>(frame, start) % step == 0) && list.allows(frame);
    }
};

}  // namespace kxFrames
