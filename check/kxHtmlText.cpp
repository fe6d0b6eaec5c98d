// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxHtmlText.h"

#include "check/kxEscape.h"
#include "check/kxJsonText.h"

#include <QLocale>
#include <QString>

#include <cmath>

namespace kxCheck {

namespace {

// U+FDD0 to U+FDEF, and the last two of each plane, which have FFFE and FFFF as the second half of a pair.
bool isNoCharacter(const QString& text, int i) {
    const ushort unit = text.at(i).unicode();
    if (unit >= 0xfdd0 && unit <= 0xfdef) return true;
    if (unit >= 0xfffe) return true;
    return text.at(i).isLowSurrogate() && i > 0 &&
           (QChar::surrogateToUcs4(text.at(i - 1), text.at(i)) & 0xfffe) == 0xfffe;
}

}  // namespace

QByteArray htmlText(const QByteArray& bytes) {
    QString text = jsonText(escaped(bytes));
    for (int i = 0; i < static_cast<int>(text.size()); ++i) {
        if (!isNoCharacter(text, i)) continue;
        const bool isPair = text.at(i).isLowSurrogate();
        text.replace(isPair ? i - 1 : i, isPair ? 2 : 1, QChar(QChar::ReplacementCharacter));
        if (isPair) --i;
    }
    return text.toHtmlEscaped().toUtf8();
}

QByteArray element(const char* tag, const QByteArray& attributes, const QByteArray& content) {
    const QByteArray opening = attributes.isEmpty() ? QByteArray(tag) : tag + (' ' + attributes);
    return '<' + opening + '>' + content + "</" + tag + '>';
}

QByteArray htmlName(const QByteArray& bytes) {
    return element("bdi", {}, htmlText(bytes));
}

QByteArray jpegElement(const QByteArray& jpeg, int width, int height, const QByteArray& alternative) {
    QByteArray attributes = R"(alt=")" + htmlText(alternative) + '"';
    if (width > 0 && height > 0)
        attributes +=
            R"( width=")" + QByteArray::number(width) + R"(" height=")" + QByteArray::number(height) + '"';
    return "<img " + attributes + R"( src="data:image/jpeg;base64,)" + jpeg.toBase64() + R"(" />)";
}

QByteArray decimalText(double value, int digits) {
    if (!std::isfinite(value)) return std::isnan(value) ? "not a number" : "infinite";
    QByteArray text = QByteArray::number(value, 'f', digits);
    if (digits == 0) return text;
    while (text.endsWith('0')) text.chop(1);
    if (text.endsWith('.')) text.chop(1);
    return text == "-0" ? QByteArray("0") : text;
}

QByteArray sizeText(qint64 bytes) {
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeTraditionalFormat).toUtf8();
}

}  // namespace kxCheck
