// SPDX-License-Identifier: BSD-3-Clause
// Which frames of a sequence a discovery takes: a range, a step and a list.
//
// Values; any thread may ask one at any time.
#pragma once

#include <QString>

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
// number counts as 0, so that "-5" is 0 .. 5. An empty text is no list; one that names no frame (",") allows none.
class FrameList {
public:
    explicit FrameList(const QString& text);

    [[nodiscard]] bool isInUse() const { return inUse_; }

    // True for every frame when the list is not in use.
    [[nodiscard]] bool allows(long long frame) const;

private:
    struct Range {
        long long first, last;
    };

    void addPart(const QString& part);
    void merge();

    bool inUse_;
    std::vector<Range> ranges_;
};

struct FrameRestriction {
    int start, end;  // -1 is open
    int step;        // below 2: every frame
    FrameList list;

    // The step counts from `start` even where that is the -1 of an open start.
    [[nodiscard]] bool allows(long long frame) const;
};

}  // namespace kxFrames
