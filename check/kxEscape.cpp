// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxEscape.h"

namespace kxCheck {

namespace {

using Size = decltype(QByteArray().size());

unsigned char byteAt(const QByteArray& text, Size i) {
    return static_cast<unsigned char>(text.at(i));
}

// The length of the well-formed UTF-8 sequence of two bytes and more that begins here; 0 where there is none.
// Overlong forms and surrogates are let pass: what matters is which bytes are continuations.
Size sequenceLength(const QByteArray& text, Size start) {
    const unsigned char lead = byteAt(text, start);
    const Size length = lead < 0xc2 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : lead < 0xf5 ? 4 : 0;
    if (length == 0 || start + length > text.size()) return 0;
    for (Size i = 1; i < length; ++i)
        if ((byteAt(text, start + i) & 0xc0) != 0x80) return 0;
    return length;
}

bool isControl(unsigned char byte) {
    return byte < 0x20 || (byte >= 0x7f && byte < 0xa0);
}

// The mark of direction that these three bytes are; 0: none.
unsigned directionMark(const QByteArray& text, Size start) {
    const unsigned code = (byteAt(text, start) & 0xfU) << 12U | (byteAt(text, start + 1) & 0x3fU) << 6U |
                          (byteAt(text, start + 2) & 0x3fU);
    const bool isMark = code == 0x200e || code == 0x200f || (code >= 0x202a && code <= 0x202e) ||
                        (code >= 0x2066 && code <= 0x2069);
    return isMark ? code : 0;
}

QByteArray escapedByte(unsigned char byte) {
    switch (byte) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            return "\\x" + QByteArray::number(byte, 16).rightJustified(2, '0');
    }
}

}  // namespace

QByteArray escaped(const QByteArray& text) {
    QByteArray result;
    result.reserve(text.size());
    for (Size i = 0; i < text.size();) {
        const Size length = sequenceLength(text, i);
        const bool isC1 = length == 2 && byteAt(text, i) == 0xc2 && byteAt(text, i + 1) < 0xa0;
        const unsigned mark = length == 3 ? directionMark(text, i) : 0;
        if (isC1) {
            result += escapedByte(byteAt(text, i)) + escapedByte(byteAt(text, i + 1));
        } else if (mark != 0) {
            result += "\\u" + QByteArray::number(mark, 16);
        } else if (length > 0) {
            result += text.mid(i, length);
        } else {
            result += isControl(byteAt(text, i)) ? escapedByte(byteAt(text, i)) : text.mid(i, 1);
        }
        i += length > 0 ? length : 1;
    }
    return result;
}

}  // namespace kxCheck
