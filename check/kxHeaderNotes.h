// SPDX-License-Identifier: BSD-3-Clause
// What the headers of a frame say about how it was made: on which machine, and how long that took.
//
// Renderers have no common names for it, so several are known, in any letter case: "host", "hostname",
// "hostComputer" and "machine", of type string; "renderTime", of type string, int, float or double. Each also as
// the last component of a longer name, behind a '.', '/' or ':' ("render.host", "farm/renderTime"). Where several
// say something, a whole name counts more than a component, an earlier one of this list more than a later one, and
// then the first in the file, whichever part it is in.
//
// Each thread may use its own objects.
#pragma once

#include <QByteArray>

#include <cstdint>

namespace kxCheck {

struct HeaderNotes {
    QByteArray infoText;  // the machine, of NoteTaker::mostBytes bytes at most; empty: no attribute says
    int renderTime = -1;  // seconds, rounded; -1: no attribute says
};

// Seconds of a time as "[[hours:]minutes:]seconds", where the first number may be of any size, minutes and seconds
// behind another number are below 60, and seconds may have a fraction: "90", "1:30", "00:01:29.7". Rounded to the
// nearest; -1 for any other text, and where it takes more than 31 bits.
[[nodiscard]] int secondsOfTime(const QByteArray& text);

// Is shown all attributes of a file that the format itself does not need.
class NoteTaker {
public:
    // Of a value, more than this is not looked at.
    static constexpr std::uint32_t mostBytes = 250;

    // Whether the attribute's value could be of use.
    [[nodiscard]] bool wants(const QByteArray& name, const QByteArray& type) const;
    // `value` is at most mostBytes of what stands in the file. One that says nothing (empty text, no time) is
    // passed over.
    void take(const QByteArray& name, const QByteArray& type, const QByteArray& value);

    const HeaderNotes& notes() const { return notes_; }

private:
    static constexpr int noRank = 1000;

    HeaderNotes notes_;
    int machineRank_ = noRank;  // of what was kept; lower ones take its place
    int timeRank_ = noRank;
};

}  // namespace kxCheck
