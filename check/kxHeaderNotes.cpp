// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxHeaderNotes.h"

#include "check/kxBytes.h"

#include <QList>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <iterator>
#include <optional>

namespace kxCheck {

namespace {

// In lower case; earlier ones count more.
constexpr const char* machineNames[] = {"host", "hostname", "hostcomputer", "machine"};
constexpr const char* timeNames[] = {"rendertime"};

QByteArray lastComponent(const QByteArray& name) {
    const int separator =
        static_cast<int>(std::max({name.lastIndexOf('.'), name.lastIndexOf('/'), name.lastIndexOf(':')}));
    return name.mid(separator + 1);
}

// 0 is best; nothing when the name is none of these. Components come behind all whole names.
template <std::size_t N>
std::optional<int> rankOf(const QByteArray& name, const char* const (&names)[N]) {
    const QByteArray component = lastComponent(name);
    const QByteArray lower = component.toLower();
    const auto* const found =
        std::find_if(std::begin(names), std::end(names), [&](const char* known) { return lower == known; });
    if (found == std::end(names)) return std::nullopt;
    const int place = static_cast<int>(found - std::begin(names));
    return component.size() == name.size() ? place : place + static_cast<int>(N);
}

// Text in the file may end in a zero byte that is not part of it.
QByteArray textOf(const QByteArray& value) {
    return QByteArray(value.constData(),
                      static_cast<int>(qstrnlen(value.constData(), static_cast<uint>(value.size()))))
        .trimmed();
}

template <class Real, class Bits>
double realOf(const QByteArray& value) {
    const Bits bits = numberAt<Bits>(value.constData());
    Real real;
    std::memcpy(&real, &bits, sizeof real);
    return static_cast<double>(real);
}

int roundedSeconds(double seconds) {
    const bool fits = seconds >= 0 && seconds < INT_MAX;  // NaN is neither
    return fits ? static_cast<int>(std::lround(seconds)) : -1;
}

struct TimeType {
    const char* name;
    int size;  // bytes; -1: any
    int (*seconds)(const QByteArray& value);
};

constexpr TimeType timeTypes[] = {
    {"string", -1, [](const QByteArray& value) { return secondsOfTime(textOf(value)); }},
    {"int", 4, [](const QByteArray& value) { return roundedSeconds(numberAt<std::int32_t>(value.constData())); }},
    {"float", 4, [](const QByteArray& value) { return roundedSeconds(realOf<float, std::uint32_t>(value)); }},
    {"double", 8, [](const QByteArray& value) { return roundedSeconds(realOf<double, std::uint64_t>(value)); }},
};

const TimeType* timeType(const QByteArray& name) {
    const auto* const row =
        std::find_if(std::begin(timeTypes), std::end(timeTypes), [&](const TimeType& t) { return name == t.name; });
    return row == std::end(timeTypes) ? nullptr : row;
}

// Digits; with a fraction when `mayBeReal`.
bool readField(const QByteArray& text, bool mayBeReal, double& number) {
    const auto isPart = [mayBeReal](char c) { return (c >= '0' && c <= '9') || (c == '.' && mayBeReal); };
    bool isNumber = std::all_of(text.begin(), text.end(), isPart);
    if (isNumber) number = text.toDouble(&isNumber);
    return isNumber;
}

}  // namespace

int secondsOfTime(const QByteArray& text) {
    const QList<QByteArray> fields = text.split(':');
    if (fields.size() > 3) return -1;
    double total = 0;
    for (int i = 0; i < fields.size(); ++i) {
        double number = 0;
        const bool isLast = i + 1 == fields.size();
        if (!readField(fields[i], isLast, number) || (i > 0 && number >= 60)) return -1;
        total = total * 60 + number;
    }
    return roundedSeconds(total);
}

bool NoteTaker::wants(const QByteArray& name, const QByteArray& type) const {
    const std::optional<int> machine = rankOf(name, machineNames);
    if (machine) return type == "string" && *machine < machineRank_;
    const std::optional<int> time = rankOf(name, timeNames);
    return time && timeType(type) && *time < timeRank_;
}

void NoteTaker::take(const QByteArray& name, const QByteArray& type, const QByteArray& value) {
    if (const std::optional<int> machine = rankOf(name, machineNames)) {
        const QByteArray text = textOf(value);
        if (text.isEmpty()) return;
        notes_.infoText = text;
        machineRank_ = *machine;
        return;
    }
    const TimeType& row = *timeType(type);
    const int seconds = row.size < 0 || row.size == value.size() ? row.seconds(value) : -1;
    if (seconds < 0) return;
    notes_.renderTime = seconds;
    timeRank_ = *rankOf(name, timeNames);
}

}  // namespace kxCheck
