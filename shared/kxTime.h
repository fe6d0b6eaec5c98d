// SPDX-License-Identifier: BSD-3-Clause
// A point in time: nanoseconds since the Unix epoch, UTC, in one signed 64-bit number (years 1677 to 2262).
#pragma once

#include <QString>

#include <type_traits>

// The frame record holds a _kxTime at an offset that is a multiple of 4 only, hence the reduced alignment.
#pragma pack(push, 4)
class _kxTime {
public:
    _kxTime() : nanoseconds_(0) {}
    explicit _kxTime(long long nanoseconds) : nanoseconds_(nanoseconds) {}

    long long nanoseconds() const { return nanoseconds_; }

    // Any thread may ask, as long as none sets the environment's time zone. Local time as "yyyy-MM-dd HH:mm:ss";
    // the fraction of the second is dropped (rounded down).
    QString asString() const;

    bool operator==(const _kxTime& other) const { return nanoseconds_ == other.nanoseconds_; }
    bool operator!=(const _kxTime& other) const { return nanoseconds_ != other.nanoseconds_; }
    bool operator<(const _kxTime& other) const { return nanoseconds_ < other.nanoseconds_; }

private:
    long long nanoseconds_;
};
#pragma pack(pop)

static_assert(sizeof(_kxTime) == 8 && alignof(_kxTime) == 4, "stored record");
static_assert(std::is_trivially_copyable<_kxTime>::value, "copied byte for byte");
