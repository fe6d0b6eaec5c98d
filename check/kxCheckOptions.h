// SPDX-License-Identifier: BSD-3-Clause
// The command line of kxCheckFrames: its options, and what they ask for.
//
// Texts are bytes as the system gave them. Pure functions; one thread at a time.
#pragma once

#include "check/kxCheckSettings.h"

#include <QByteArray>

#include <variant>
#include <vector>

namespace kxCheck {

// One option. Help, manual page, README and completions hold the same rows.
struct OptionRow {
    const char* name;   // without the dashes
    char letter;        // the short form; 0: none
    const char* value;  // what its value is called; null: it takes none
    const char* words;  // the values it can have, separated by blanks; null: others, or too many
    const char* help;   // what it does, and the default

    // Puts the value into the settings. Empty, or what is wrong with it and what would be right. Null: the option
    // asks for a text.
    QByteArray (*apply)(Settings& settings, const QByteArray& value, const OptionRow& row);
};

struct OptionRows {
    const OptionRow* first;
    const OptionRow* last;
    const OptionRow* begin() const { return first; }
    const OptionRow* end() const { return last; }
};

// In the order of the help.
OptionRows optionRows();

// What is asked for with --help and --version: for standard output, lines with their ends.
struct WantedText {
    QByteArray text;
};

// One line for standard error, without its end and without control characters: what is wrong and what would be
// right.
struct UsageError {
    QByteArray line;
};

// The settings that the arguments, without the program's name, ask for; with a fault in any of them nothing else.
// Options may stand behind names; "--" ends them. An option given twice has its last value, but for --expect,
// --list,
// --fail-on and --ignore, which add up. The disk is not touched.
std::variant<Settings, WantedText, UsageError> parseCommandLine(const std::vector<QByteArray>& arguments);

}  // namespace kxCheck
