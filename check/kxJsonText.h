// SPDX-License-Identifier: BSD-3-Clause
// Bytes, numbers and times as JSON values. Pure functions.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <cstdint>

namespace kxCheck {

// The bytes as UTF-8, U+FFFD for those that are none.
[[nodiscard]] QString jsonText(const QByteArray& bytes);

// Puts "path" into the object, and "pathBytes" with the path in base64 where it is not UTF-8.
void putPath(QJsonObject& object, const QByteArray& path);

// Exact up to 2^53 in either direction; beyond it the nearest double with older Qt.
[[nodiscard]] inline QJsonValue jsonWhole(std::int64_t value) {
    return {static_cast<qint64>(value)};
}

// "2024-02-29T23:59:59.123456789Z" of nanoseconds since the Unix epoch.
[[nodiscard]] QString jsonTime(std::int64_t nanoseconds);

// The fewest digits that give the same number back: 1.1 where the nearest number is 1.10000002384185791.
[[nodiscard]] double shortNumber(float value);

// Whole microseconds.
[[nodiscard]] double jsonSeconds(double seconds);

}  // namespace kxCheck
