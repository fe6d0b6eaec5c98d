// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxTime.h"

#include <QDateTime>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

constexpr long long second = 1000000000;
constexpr long long lowest = std::numeric_limits<long long>::min();
constexpr long long highest = std::numeric_limits<long long>::max();

// Sets the process's time zone and puts the old one back.
class TimeZone {
public:
    explicit TimeZone(const char* zone) : before_(qgetenv("TZ")), wasSet_(qEnvironmentVariableIsSet("TZ")) {
        qputenv("TZ", zone);
    }
    ~TimeZone() { wasSet_ ? qputenv("TZ", before_) : qunsetenv("TZ"); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    QByteArray before_;
    bool wasSet_;
};

// Central Europe: one hour east, two from the last Sunday of March to that of October, both at 01:00 UTC.
constexpr char centralEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr char newfoundland[] = "NST3:30NDT,M3.2.0,M11.1.0";
constexpr char utc[] = "UTC0";

std::string textIn(const char* zone, long long nanoseconds) {
    const TimeZone here(zone);
    return _kxTime(nanoseconds).asString().toStdString();
}

TEST(KxTime, DefaultIsTheEpoch) {
    EXPECT_EQ(_kxTime().nanoseconds(), 0);
    EXPECT_EQ(_kxTime(), _kxTime(0));
    EXPECT_EQ(textIn(utc, 0), "1970-01-01 00:00:00");
}

TEST(KxTime, KeepsEveryNanosecond) {
    for (const long long value : {lowest, lowest + 1, -1LL, 0LL, 1LL, 1700000000123456789LL, highest}) {
        EXPECT_EQ(_kxTime(value).nanoseconds(), value);
    }
}

TEST(KxTime, ComparesByValue) {
    EXPECT_TRUE(_kxTime(5) == _kxTime(5));
    EXPECT_FALSE(_kxTime(5) != _kxTime(5));
    for (const _kxTime& other : {_kxTime(4), _kxTime(6)}) {
        EXPECT_FALSE(_kxTime(5) == other);
        EXPECT_TRUE(_kxTime(5) != other);
    }
    EXPECT_TRUE(_kxTime(5) < _kxTime(6));
    EXPECT_FALSE(_kxTime(5) < _kxTime(5));
    EXPECT_FALSE(_kxTime(6) < _kxTime(5));
    EXPECT_TRUE(_kxTime(lowest) < _kxTime(-1));
    EXPECT_TRUE(_kxTime(-1) < _kxTime(highest));
}

TEST(KxTime, IsEightBytesAligned4) {
    static_assert(sizeof(_kxTime) == 8 && alignof(_kxTime) == 4, "as in the frame record");
    const _kxTime time(0x0102030405060708);
    long long stored = 0;
    std::memcpy(&stored, &time, sizeof stored);
    EXPECT_EQ(stored, 0x0102030405060708);
}

TEST(KxTime, AsStringDropsTheFraction) {
    EXPECT_EQ(textIn(utc, 1700000000 * second), "2023-11-14 22:13:20");
    EXPECT_EQ(textIn(utc, 1700000000 * second + 999999999), "2023-11-14 22:13:20");
    EXPECT_EQ(textIn(utc, 1700000001 * second), "2023-11-14 22:13:21");
}

TEST(KxTime, AsStringBeforeTheEpochRoundsDown) {
    EXPECT_EQ(textIn(utc, -1), "1969-12-31 23:59:59");
    EXPECT_EQ(textIn(utc, -second), "1969-12-31 23:59:59");
    EXPECT_EQ(textIn(utc, -second - 1), "1969-12-31 23:59:58");
    EXPECT_EQ(textIn(utc, -86400 * second), "1969-12-31 00:00:00");
}

TEST(KxTime, AsStringOfExtremeTimes) {
    EXPECT_EQ(textIn(utc, lowest), "1677-09-21 00:12:43");
    EXPECT_EQ(textIn(utc, highest), "2262-04-11 23:47:16");
}

TEST(KxTime, AsStringIsLocalTime) {
    EXPECT_EQ(textIn(centralEurope, 0), "1970-01-01 01:00:00");
    EXPECT_EQ(textIn(newfoundland, 0), "1969-12-31 20:30:00");
}

TEST(KxTime, AsStringFollowsDaylightSaving) {
    const long long spring = 1711846800 * second;  // 2024-03-31 01:00:00 UTC
    EXPECT_EQ(textIn(centralEurope, spring - 1), "2024-03-31 01:59:59");
    EXPECT_EQ(textIn(centralEurope, spring), "2024-03-31 03:00:00");
    const long long autumn = 1729990800 * second;  // 2024-10-27 01:00:00 UTC
    EXPECT_EQ(textIn(centralEurope, autumn - second), "2024-10-27 02:59:59");
    EXPECT_EQ(textIn(centralEurope, autumn), "2024-10-27 02:00:00");
    const long long summerOf2100 = 4118083200 * second;  // 2100-07-01 00:00:00 UTC, beyond 32-bit seconds
    EXPECT_EQ(textIn(centralEurope, summerOf2100), "2100-07-01 02:00:00");
}

TEST(KxTime, AsStringAgreesWithQtsCalendar) {
    std::mt19937_64 random(1);
    std::uniform_int_distribution<long long> seconds(0, std::numeric_limits<int>::max());
    for (const char* zone : {utc, centralEurope, newfoundland}) {
        const TimeZone here(zone);
        for (int i = 0; i < 2000; ++i) {
            const long long time = seconds(random);
            const QString plain =
                QDateTime::fromSecsSinceEpoch(time).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
            ASSERT_EQ(_kxTime(time * second).asString().toStdString(), plain.toStdString()) << zone << " " << time;
        }
    }
}

}  // namespace
