// SPDX-License-Identifier: BSD-3-Clause
// The system's reason for an error number, in English whatever the locale of the process.
#pragma once

#include <locale.h>
#include <string.h>
#include <QString>

// "Permission denied" for EACCES. Safe in several threads at once.
inline QString kxSystemErrorText(int errorNumber) {
    // Lives as long as the process; the "C" locale needs no memory that could be missing.
    static const locale_t english = newlocale(LC_ALL_MASK, "C", nullptr);
    return QString::fromLatin1(strerror_l(errorNumber, english));
}
