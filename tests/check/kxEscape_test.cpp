// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxEscape.h"

#include <gtest/gtest.h>

namespace {

using kxCheck::escaped;

TEST(EscapeTest, ControlCharactersAreSpelledOut) {
    EXPECT_EQ(escaped("a\nb"), "a\\nb");
    EXPECT_EQ(escaped("a\r\tb"), "a\\r\\tb");
    EXPECT_EQ(escaped("\x1b[31mred"), "\\x1b[31mred");
    EXPECT_EQ(escaped("\x7f\x01"), "\\x7f\\x01");
    EXPECT_EQ(escaped(QByteArray("a\0b", 3)), "a\\x00b");
}

TEST(EscapeTest, ControlCharactersBeyondAsciiAreSpelledOutInEitherEncoding) {
    EXPECT_EQ(escaped("\xc2\x9b"
                      "31m"),
              "\\xc2\\x9b31m");
    EXPECT_EQ(escaped("\x9b"
                      "31m"),
              "\\x9b31m");
}

TEST(EscapeTest, OtherTextStaysAsItIs) {
    for (const QByteArray text : {"", "beauty.####.exr", "Sch\xc3\xb6n", "\xe2\x82\xac", "\xf0\x9f\x8e\xac",
                                  "Sch\xf6n", "back\\slash", "\xc2\xa0", "50%"})
        EXPECT_EQ(escaped(text), text);
}

// The continuation bytes of a letter lie where control characters do.
TEST(EscapeTest, ContinuationBytesAreNoControlCharacters) {
    EXPECT_EQ(escaped("\xc4\x9b"), "\xc4\x9b");
    EXPECT_EQ(escaped("\xe2\x9b\x84\n"), "\xe2\x9b\x84\\n");
}

TEST(EscapeTest, CutAndBrokenSequencesAreTakenByteByByte) {
    EXPECT_EQ(escaped("\xe2\x82"), "\xe2\\x82");
    EXPECT_EQ(escaped("\xe2\n"), "\xe2\\n");
    EXPECT_EQ(escaped("\xc1\x9b"), "\xc1\\x9b");
    EXPECT_EQ(escaped("\xff\xfe\x80"), "\xff\xfe\\x80");
}

}  // namespace
