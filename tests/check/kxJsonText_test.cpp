// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxJsonText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace kxCheck;

namespace {

QByteArray timeText(std::int64_t nanoseconds) {
    return jsonTime(nanoseconds).toLatin1();
}

}  // namespace

TEST(JsonText, ReplacesBytesThatAreNoUtf8) {
    EXPECT_EQ(jsonText("a\xc3\xa9").toUtf8(), "a\xc3\xa9");
    EXPECT_EQ(jsonText("a\xe9.exr").toUtf8(), "a\xef\xbf\xbd.exr");
    EXPECT_EQ(jsonText({}), QString());
}

TEST(JsonText, KeepsAByteOrderMarkThatBeginsAName) {
    QJsonObject object;
    putPath(object, "\xef\xbb\xbf.exr");
    EXPECT_EQ(object.value(QLatin1String("path")).toString().toUtf8(), "\xef\xbb\xbf.exr");
    EXPECT_FALSE(object.contains(QLatin1String("pathBytes")));
}

TEST(JsonText, AddsTheBytesOfAPathThatIsNoUtf8Only) {
    QJsonObject object;
    putPath(object, "/r/\xe9.exr");
    EXPECT_EQ(object.value(QLatin1String("pathBytes")).toString(), QLatin1String("L3Iv6S5leHI="));
    object = {};
    // A replacement character that stands in the name is one of its characters.
    putPath(object, "\xef\xbf\xbd");
    EXPECT_FALSE(object.contains(QLatin1String("pathBytes")));
}

TEST(JsonTime, IsIsoInUtcWithNanoseconds) {
    EXPECT_EQ(timeText(0), "1970-01-01T00:00:00.000000000Z");
    EXPECT_EQ(timeText(1709251199123456789), "2024-02-29T23:59:59.123456789Z");
    EXPECT_EQ(timeText(-1), "1969-12-31T23:59:59.999999999Z");
    EXPECT_EQ(timeText(-1000000000), "1969-12-31T23:59:59.000000000Z");
    EXPECT_EQ(timeText(std::numeric_limits<std::int64_t>::max()), "2262-04-11T23:47:16.854775807Z");
    EXPECT_EQ(timeText(std::numeric_limits<std::int64_t>::min()), "1677-09-21T00:12:43.145224192Z");
}

TEST(ShortNumber, GivesTheSameFloatBack) {
    EXPECT_EQ(shortNumber(1.1F), 1.1);
    EXPECT_EQ(shortNumber(2.0F), 2.0);
    EXPECT_EQ(shortNumber(1.3333334F), 1.3333334);
    for (const float value : {0.1F, 1.0F / 3, 16777217.0F, 1e-38F, std::numeric_limits<float>::max(),
                              std::numeric_limits<float>::denorm_min(), -0.9375F})
        EXPECT_EQ(static_cast<float>(shortNumber(value)), value);
    EXPECT_TRUE(std::isnan(shortNumber(std::numeric_limits<float>::quiet_NaN())));
}

TEST(JsonSeconds, AreWholeMicroseconds) {
    EXPECT_EQ(jsonSeconds(0.0123456789), 0.012346);
    EXPECT_EQ(jsonSeconds(0), 0);
}
