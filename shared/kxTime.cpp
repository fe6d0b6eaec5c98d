// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxTime.h"

#include <time.h>

QString _kxTime::asString() const {
    constexpr long long perSecond = 1000000000;
    // Division rounds toward zero; times before the epoch need the second below.
    const time_t seconds = nanoseconds_ / perSecond - (nanoseconds_ % perSecond < 0 ? 1 : 0);
    // The system's own calendar: it knows the daylight-saving rules of every year in range.
    tzset();
    struct tm local {};
    localtime_r(&seconds, &local);
    char text[sizeof "yyyy-MM-dd HH:mm:ss"] = "";
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return QString::fromLatin1(text);
}
