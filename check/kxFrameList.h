// SPDX-License-Identifier: BSD-3-Clause
// Frame numbers as people and job scripts write them: "1001-1100", "1-99x2,150", "-5--1".
//
// Pure functions; any thread may call them.
#pragma once

#include <QByteArray>

#include <cstdint>
#include <variant>
#include <vector>

namespace kxCheck {

// Most frames of one sequence and of one list.
constexpr int mostFrames = 24999;
// A frame number is written with at most this many characters, its sign included.
constexpr int longestFrameText = 15;

// Ascending, each once.
using FrameNumbers = std::vector<std::int64_t>;

// The frames of a list of numbers and ranges, in any order and overlapping, with blanks around them allowed; or one
// line that says what is wrong with it and what would be right (it may hold control characters of the text). A
// range ascends; behind "x" stands its step, and its end need not be met: "1-10x4" is 1, 5, 9. Numbers may be
// negative.
std::variant<FrameNumbers, QByteArray> parseFrameList(const QByteArray& text);

// The shortest of these forms for each run, ascending: "17", "44-45" (neighbours), "50-60x2" (three and more with a
// step). Parses to the same frames; empty for none. The frames ascend, each once.
QByteArray formatFrameList(const FrameNumbers& frames);

}  // namespace kxCheck
