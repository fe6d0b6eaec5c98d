// SPDX-License-Identifier: BSD-3-Clause
// The project's documents and sources as the tests read them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// The folder of the README.
std::filesystem::path projectDir();

// The text of a file of the project, named from its top folder; empty when there is none.
std::string document(const std::string& name);

// The text between the first line that is `opening` and the closing "```"; empty when there is none.
std::string blockAfter(const std::string& text, const std::string& opening);

// What stands below the heading (with its "#") up to the next one of any depth; empty when there is none.
std::string sectionOf(const std::string& text, const std::string& heading);

// What follows each `opening` up to the first of the characters in `closing`.
std::vector<std::string> textsBetween(const std::string& opening, const std::string& closing,
                                      const std::string& text);

bool contains(const std::string& text, const std::string& part);
