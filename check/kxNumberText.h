// SPDX-License-Identifier: BSD-3-Clause
// Whole numbers in texts for people.
#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>

namespace kxCheck {

inline QByteArray numberText(std::int64_t value) {
    return QByteArray::number(static_cast<qlonglong>(value));
}

// "1 channel", "4 channels".
inline QByteArray countText(std::size_t count, const char* singular) {
    return QByteArray::number(static_cast<qulonglong>(count)) + ' ' + singular + (count == 1 ? "" : "s");
}

}  // namespace kxCheck
