// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxJsonText.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace kxCheck {

QString jsonText(const QByteArray& bytes) {
    // A byte order mark is dropped from the beginning of a text; in a name it is part of the name.
    return QString::fromUtf8('_' + bytes).mid(1);
}

void putPath(QJsonObject& object, const QByteArray& path) {
    const QString text = jsonText(path);
    object.insert(QStringLiteral("path"), text);
    if (text.toUtf8() != path) object.insert(QStringLiteral("pathBytes"), QString::fromLatin1(path.toBase64()));
}

QString jsonTime(std::int64_t nanoseconds) {
    constexpr std::int64_t second = 1000000000;
    // Before the epoch too, the fraction counts from the second before.
    const std::int64_t fraction = (nanoseconds % second + second) % second;
    const auto seconds = static_cast<time_t>(nanoseconds / second - (nanoseconds % second < 0 ? 1 : 0));
    std::tm date = {};
    gmtime_r(&seconds, &date);
    std::array<char, 80> text = {};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%09dZ", date.tm_year + 1900,
                  date.tm_mon + 1, date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec,
                  static_cast<int>(fraction));
    return QString::fromLatin1(text.data());
}

double shortNumber(float value) {
    const auto exact = static_cast<double>(value);
    if (!std::isfinite(value)) return exact;
    for (int digits = 6; digits < 9; ++digits) {
        const double shorter = QByteArray::number(exact, 'g', digits).toDouble();
        if (static_cast<float>(shorter) == value) return shorter;
    }
    return QByteArray::number(exact, 'g', 9).toDouble();
}

double jsonSeconds(double seconds) {
    return std::round(seconds * 1e6) / 1e6;
}

}  // namespace kxCheck
