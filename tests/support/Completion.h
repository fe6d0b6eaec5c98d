// SPDX-License-Identifier: BSD-3-Clause
// The completions of the programs, asked in real shells.
#pragma once

#include <set>
#include <string>
#include <vector>

using Words = std::set<std::string>;

Words wordsOf(const std::string& text);

// What completing the last of these words behind the program's name gives in bash, in this directory.
Words completedInBash(const std::string& program, const std::vector<std::string>& words,
                      const std::string& directory);

bool isZshThere();
// What each of these lines becomes in zsh, on a terminal, with the completion key behind it.
std::vector<std::string> completedInZsh(const std::vector<std::string>& lines, const std::string& directory);
