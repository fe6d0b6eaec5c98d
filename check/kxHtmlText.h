// SPDX-License-Identifier: BSD-3-Clause
// Pieces of HTML, in UTF-8: every text that comes from files goes through htmlText. Pure functions.
#pragma once

#include <QByteArray>

namespace kxCheck {

// Bytes as on disk, safe between tags and in quoted attributes: U+FFFD for what is no UTF-8 or no character,
// control characters shown as "\n" or "\x1b".
[[nodiscard]] QByteArray htmlText(const QByteArray& bytes);

// <tag attributes>content</tag>; the content is HTML, attributes are written as they are: R"(class="bad")".
[[nodiscard]] QByteArray element(const char* tag, const QByteArray& attributes, const QByteArray& content);

// A name of whatever direction of writing, which does not turn round what stands beside it.
[[nodiscard]] QByteArray htmlName(const QByteArray& bytes);

// The JPEG within the page, so many pixels wide and high; 0: as large as it is. `alternative` is what it shows,
// empty where a text beside it says so.
[[nodiscard]] QByteArray jpegElement(const QByteArray& jpeg, int width, int height, const QByteArray& alternative);

// "1.2", with at most so many digits behind the point, none of them a needless 0.
[[nodiscard]] QByteArray decimalText(double value, int digits);
// "12.1 MB" of bytes.
[[nodiscard]] QByteArray sizeText(qint64 bytes);

}  // namespace kxCheck
