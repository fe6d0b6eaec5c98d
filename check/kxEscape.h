// SPDX-License-Identifier: BSD-3-Clause
// Names as they may be shown: a name can hold any byte, and a terminal obeys some of them.
#pragma once

#include <QByteArray>

namespace kxCheck {

// The text with its control characters as "\n", "\t", "\r" or "\x1b": those below 0x20, 0x7f, and 0x80 to 0x9f, be
// they written in UTF-8 ("\xc2\x9b") or as bytes that are none. Marks that turn the direction of writing round
// (U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069) in UTF-8 become "\u202e". All else, in whatever encoding,
// stays as it is. The result is one line, moves no cursor, and stands in the order of its bytes, but for letters
// that are written from right to left.
QByteArray escaped(const QByteArray& text);

}  // namespace kxCheck
