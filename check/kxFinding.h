// SPDX-License-Identifier: BSD-3-Clause
// What can be found wrong with a frame: a code, how bad it is, a text for people, and where it is.
//
// Codes are known to scripts by name and never change their meaning. Values only; each thread may use its own.
#pragma once

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <vector>

namespace kxCheck {

enum class Code {
    missing,
    unreadable,
    unsupported,
    changing,
    limit,
    empty,
    notExr,
    header,
    modes,
    expected,
    differs,
    differsCoding,
    sizeJump,
    unfinished,
    truncated,
    chunk,
    tileMissing,
    alphaMissing,
    nan,
    inf,
    black,
    flat,
    repeated,
    jump,
};

// `none`: nothing is known about the frame's quality (missing, unreadable ...).
enum class Severity { none, warning, error };

// How far a frame is looked at; each includes those before it.
enum class Level { headers, structure, pixels };

struct CodeRow {
    Code code;
    const char* name;
    Severity severity;  // usual; a finding may differ
    Level level;        // from which it can be found
};

const CodeRow& rowOf(Code code);
// The code of that name, in exact spelling.
std::optional<Code> codeFromName(const QByteArray& name);
// "warning", "error"; null for none.
const char* severityName(Severity severity);

// Rows by their y in the data window, both included.
struct Rows {
    std::int32_t first = 0;
    std::int32_t last = 0;
};

struct Tile {
    std::int32_t x = 0;  // column of tiles, from 0
    std::int32_t y = 0;
    std::int32_t levelX = 0;
    std::int32_t levelY = 0;
};

struct Finding {
    Code code = Code::missing;
    Severity severity = Severity::none;
    QByteArray text;           // for people; may hold bytes of names, so control characters are possible
    std::optional<int> part;   // from 0
    std::optional<Rows> rows;  // one run of rows
    std::vector<Tile> tiles;   // or a group of tiles
    QByteArray channel;        // empty: concerns no single channel
    std::int64_t count = 0;    // samples, chunks or tiles concerned; 0: does not apply
};

// At most this many findings are kept for a frame; the last of them then counts the rest.
constexpr std::size_t mostFindings = 100;

// A finding with the code's usual severity.
Finding makeFinding(Code code, QByteArray text);

}  // namespace kxCheck
