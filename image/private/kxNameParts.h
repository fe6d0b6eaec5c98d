// SPDX-License-Identifier: BSD-3-Clause
// What the name tests are made of.
#pragma once

#include <QString>

namespace kxFrames {

constexpr QLatin1Char Lpoint('.');
constexpr QLatin1Char LUnderline('_');

inline bool isSeparator(QChar c) {
    return c == Lpoint || c == LUnderline;
}

// 1 when the text begins with a separator, otherwise 0.
inline int leadingSeparator(const QString& text) {
    return !text.isEmpty() && isSeparator(text.at(0)) ? 1 : 0;
}

// In exact letter case. Null texts are empty ones here, other than for QString::startsWith.
inline bool beginsWith(const QString& text, const QString& start) {
    return start.isEmpty() || text.startsWith(start);
}

// True when the text begins with `start` and ends with `end` without overlap.
inline bool hasEnds(const QString& text, const QString& start, const QString& end) {
    return text.size() >= start.size() + end.size() && beginsWith(text, start) &&
           (end.isEmpty() || text.endsWith(end));
}

}  // namespace kxFrames
