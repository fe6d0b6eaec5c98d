// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxSystemCall.h"

#include <locale.h>
#include <string.h>

QString kxSystemErrorText(int errorNumber) {
    // Lives as long as the process; the "C" locale needs no memory that could be missing.
    static const locale_t english = newlocale(LC_ALL_MASK, "C", nullptr);
    return QString::fromLatin1(strerror_l(errorNumber, english));
}
