// SPDX-License-Identifier: BSD-3-Clause
// Regular expressions in Perl's syntax, on bytes, each a Latin-1 character; "^" and "$" are the ends of the text.
// The standard library's would be compiled anew in every test that uses them.
#pragma once

#include <string>
#include <vector>

// All of a match, then what its groups captured.
using Match = std::vector<std::string>;

// A pattern that is none throws std::invalid_argument, which fails the test, in all of these.

// Whether some part of the text matches.
bool hasMatch(const std::string& text, const std::string& pattern);
// The leftmost match; empty when there is none.
Match firstMatch(const std::string& text, const std::string& pattern);
// The matches that do not overlap, from left to right.
std::vector<Match> allMatches(const std::string& text, const std::string& pattern);
// The text with `with` in place of all of them; "\1" in it is what the first group captured.
std::string withReplaced(const std::string& text, const std::string& pattern, const std::string& with);
