// SPDX-License-Identifier: BSD-3-Clause
// What every frame of a sequence must have, as "compression=zip,zips" names it.
//
// Values and pure functions; each thread may use its own.
#pragma once

#include "check/kxFileReport.h"
#include "check/kxFinding.h"

#include <QByteArray>

#include <optional>
#include <variant>
#include <vector>

namespace kxCheck {

// One of the values must be what the header has; of channels all must be there.
struct Expectation {
    enum class Key {
        size,         // of the first part's display window: "1920x1080"
        dataWindow,   // size, of every part
        compression,  // of every part: "zip", "none", "dwaa" ...
        storage,      // of every part: "scanline", "tiled", "deepscanline", "deeptile"
        type,         // of every channel: "uint", "half", "float"
        parts,        // how many: "2"
        pixelAspect,  // of the first part: "1", "1.33"; equal within one part in ten thousand
        channels,     // names, of all parts together
    };
    Key key = Key::size;
    std::vector<QByteArray> values;  // at least one, numbers without leading zeros
};

inline bool operator==(const Expectation& a, const Expectation& b) {
    return a.key == b.key && a.values == b.values;
}

// The expectation that "KEY=VALUE[,VALUE...]" writes, or one line that says what is wrong with it and what would be
// right (it may hold control characters of the text).
std::variant<Expectation, QByteArray> parseExpectation(const QByteArray& text);

// What of it the headers lack, as a finding `expected` with the first part concerned and the number of parts or
// channels; none when all is as expected. Headers have at least one part.
std::optional<Finding> unmetExpectation(const Expectation& expectation, const Headers& headers);

}  // namespace kxCheck
