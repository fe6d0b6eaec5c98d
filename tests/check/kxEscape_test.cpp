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

// A name could show its end at its beginning, and the verdict beside it as another.
TEST(EscapeTest, MarksThatTurnTheDirectionAreSpelledOut) {
    const struct {
        const char* text;
        const char* escaped;
    } cases[] = {{"a\xe2\x80\xae"
                  "b",
                  "a\\u202eb"},
                 {"\xe2\x80\xaa", "\\u202a"},
                 {"\xe2\x80\x8e", "\\u200e"},
                 {"\xe2\x80\x8f", "\\u200f"},
                 {"\xe2\x81\xa6", "\\u2066"},
                 {"\xe2\x81\xa9", "\\u2069"},
                 {"\xe2\x80\xa9", "\xe2\x80\xa9"},
                 {"\xe2\x80\xaf", "\xe2\x80\xaf"},
                 {"\xe2\x80\x8d", "\xe2\x80\x8d"},
                 {"\xe2\x80\x90", "\xe2\x80\x90"},
                 {"\xe2\x81\xa5", "\xe2\x81\xa5"},
                 {"\xe2\x81\xaa", "\xe2\x81\xaa"},
                 {"\xd7\xa9", "\xd7\xa9"}};
    for (const auto& c : cases) EXPECT_EQ(escaped(c.text), c.escaped);
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
