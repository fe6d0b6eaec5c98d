// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameList.h"

#include "check/kxNumberText.h"

#include <QList>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

namespace kxCheck {

namespace {

struct Range {
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::int64_t step = 1;
};

// Takes a number off the front of `rest`: digits, with a "-" before them where the number is negative.
std::optional<std::int64_t> takeNumber(QByteArray& rest) {
    auto end = rest.startsWith('-') ? 1 : 0;
    const auto firstDigit = end;
    while (end < rest.size() && rest.at(end) >= '0' && rest.at(end) <= '9') ++end;
    if (end == firstDigit || end > longestFrameText) return std::nullopt;
    const std::int64_t number = rest.left(end).toLongLong();
    rest.remove(0, end);
    return number;
}

bool take(QByteArray& rest, char mark) {
    if (!rest.startsWith(mark)) return false;
    rest.remove(0, 1);
    return true;
}

// "7", "1-10" or "1-10x3", in any order of the numbers.
std::optional<Range> rangeFromText(QByteArray rest) {
    const auto first = takeNumber(rest);
    if (!first) return std::nullopt;
    Range range{*first, *first, 1};
    if (take(rest, '-')) {
        const auto last = takeNumber(rest);
        const bool hasStep = last && take(rest, 'x');
        const auto step = hasStep ? takeNumber(rest) : 1;
        if (!last || !step) return std::nullopt;
        range = {*first, *last, *step};
    }
    return rest.isEmpty() ? std::optional(range) : std::nullopt;
}

QByteArray tooMany(const QByteArray& what) {
    return what + " more than " + QByteArray::number(mostFrames) +
           " frames; check a longer sequence in parts, or without a list";
}

// What is wrong with the range that is written `item`; empty when it is right.
QByteArray faultOf(const Range& range, const QByteArray& item) {
    const QByteArray quoted = '\'' + item + '\'';
    if (range.last < range.first)
        return quoted + " descends; write '" + numberText(range.last) + '-' + numberText(range.first) + '\'';
    if (range.step < 1) return quoted + " has a step below 1; write it like 1-99x2";
    if ((range.last - range.first) / range.step >= mostFrames) return tooMany(quoted + " is");
    return {};
}

void makeUnique(FrameNumbers& frames) {
    std::sort(frames.begin(), frames.end());
    frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
}

// Ranges that overlap again and again take no more than a few times the room of a full list.
void append(FrameNumbers& frames, const Range& range) {
    for (std::int64_t frame = range.first; frame <= range.last; frame += range.step) frames.push_back(frame);
    if (frames.size() > std::size_t{4} * mostFrames) makeUnique(frames);
}

}  // namespace

std::variant<FrameNumbers, QByteArray> parseFrameList(const QByteArray& text) {
    FrameNumbers frames;
    const auto items = text.split(',');
    for (const QByteArray& part : items) {
        const QByteArray item = part.trimmed();
        const auto range = rangeFromText(item);
        if (!range) return '\'' + item + "' is no frame or range; write frames like 1001-1100 or 1-99x2,150";
        const QByteArray fault = faultOf(*range, item);
        if (!fault.isEmpty()) return fault;
        append(frames, *range);
        if (frames.size() > std::size_t{4} * mostFrames) break;
    }
    makeUnique(frames);
    if (frames.size() > mostFrames) return tooMany("the list has");
    return frames;
}

QByteArray formatFrameList(const FrameNumbers& frames) {
    QByteArray text;
    for (std::size_t first = 0; first < frames.size();) {
        std::size_t last = std::min(first + 1, frames.size() - 1);
        const std::int64_t step = frames[last] - frames[first];
        while (last + 1 < frames.size() && frames[last + 1] - frames[last] == step) ++last;
        if (step != 1 && last - first < 2) last = first;

        if (!text.isEmpty()) text += ',';
        text += numberText(frames[first]);
        if (last > first) text += '-' + numberText(frames[last]);
        if (last > first && step != 1) text += 'x' + numberText(step);
        first = last + 1;
    }
    return text;
}

}  // namespace kxCheck
