#include "shared/kxTime.h"

#include <QDateTime>

QString _kxTime::asString() const {
    constexpr long long perSecond = 1000000000;
    // Division rounds toward zero; times before the epoch need the second below.
    const long long seconds = nanoseconds_ / perSecond - (nanoseconds_ % perSecond < 0 ? 1 : 0);
    return QDateTime::fromSecsSinceEpoch(seconds).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}
