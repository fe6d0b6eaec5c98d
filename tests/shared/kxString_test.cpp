// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxString.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <new>
#include <random>
#include <string>

namespace {

using Text8 = _kxString8_allSize<8>;
using Text16 = _kxString<8>;

// A text as it lies in a record: memory of its own, with guard bytes behind it that nothing may change.
template <class Text>
struct Stored {
    Text text;
    unsigned char guard[8] = {0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5};

    bool guardIsWhole() const {
        for (const unsigned char byte : guard) {
            if (byte != 0xA5) return false;
        }
        return true;
    }
};

template <class Text>
std::string memoryOf(const Text& text) {
    std::string bytes(sizeof text, '\0');
    std::memcpy(&bytes[0], static_cast<const void*>(&text), sizeof text);
    return bytes;
}

// The text that lies in these bytes, whatever they are.
template <class Text>
Text fromMemory(const std::string& bytes) {
    Text text;
    std::memcpy(static_cast<void*>(&text), bytes.data(), sizeof text);
    return text;
}

std::string lengthBytes(unsigned length) {
    const unsigned short stored = static_cast<unsigned short>(length);
    std::string bytes(2, '\0');
    std::memcpy(&bytes[0], &stored, 2);
    return bytes;
}

TEST(KxString8, StartsEmpty) {
    const Text8 text;
    EXPECT_TRUE(text.isEmpty());
    EXPECT_EQ(text.length(), 0);
    EXPECT_STREQ(text.data(), "");
    EXPECT_EQ(text.toQString(), QString());
}

TEST(KxString8, SizeIsLengthTextAndTerminatorRoundedUpTo2) {
    EXPECT_EQ(sizeof(_kxString8_allSize<1>), 4U);
    EXPECT_EQ(sizeof(_kxString8_allSize<14>), 18U);
    EXPECT_EQ(sizeof(_kxString8_allSize<15>), 18U);
    EXPECT_EQ(sizeof(_kxString8_allSize<50>), 54U);
    EXPECT_EQ(sizeof(_kxString8_allSize<250>), 254U);
    EXPECT_EQ(sizeof(_kxString8_allSize<500>), 504U);
}

TEST(KxString8, LiesInMemoryAsLengthTextAndZeros) {
    EXPECT_EQ(memoryOf(_kxString8_allSize<4>("ab")), lengthBytes(2) + std::string("ab\0\0\0\0", 6));
    EXPECT_EQ(memoryOf(_kxString8_allSize<3>("abc")), lengthBytes(3) + std::string("abc\0", 4));
}

TEST(KxString8, LeavesNoByteOfItsMemoryUnset) {
    using Odd = _kxString8_allSize<4>;  // text and terminator are five bytes
    alignas(Odd) unsigned char memory[sizeof(Odd)];
    std::memset(memory, 0xA5, sizeof memory);
    EXPECT_EQ(memoryOf(*new (memory) Odd("abcd")), lengthBytes(4) + std::string("abcd\0\0", 6));
}

TEST(KxString8, CutsWhatDoesNotFit) {
    const struct {
        const char* given;
        const char* kept;
    } cases[] = {{"", ""}, {"a", "a"}, {"1234567", "1234567"}, {"12345678", "12345678"}, {"123456789", "12345678"}};
    for (const auto& c : cases) {
        Stored<Text8> fromChars;
        fromChars.text = c.given;
        Stored<Text8> fromText;
        fromText.text = QString::fromLatin1(c.given);
        for (const Stored<Text8>* stored : {&fromChars, &fromText}) {
            EXPECT_STREQ(stored->text.data(), c.kept);
            EXPECT_EQ(stored->text.length(), static_cast<int>(std::strlen(c.kept)));
            EXPECT_EQ(stored->text.isEmpty(), *c.kept == '\0');
            EXPECT_TRUE(stored->text.isIntact());
            EXPECT_TRUE(stored->guardIsWhole());
        }
    }
}

TEST(KxString8, NullIsEmpty) {
    Text8 text("old");
    text = static_cast<const char*>(nullptr);
    EXPECT_TRUE(text.isEmpty());
    EXPECT_TRUE(Text8(QString()).isEmpty());
}

TEST(KxString8, KeepsEveryLatin1Character) {
    std::string all;
    for (int code = 1; code < 256; ++code) all.push_back(static_cast<char>(code));
    const _kxString8_allSize<500> text(latin1(all));
    EXPECT_EQ(text.length(), 255);
    EXPECT_EQ(std::string(text.data()), all);
    EXPECT_EQ(text.toQString(), latin1(all));
    EXPECT_EQ(_kxString8_allSize<500>(all.c_str()), text);
}

TEST(KxString8, CharactersBeyondLatin1BecomeQuestionMarks) {
    EXPECT_STREQ(Text8(QString(QChar(0x4E2D)) + QChar(0x100) + QChar(0xE9)).data(), "??\xE9");
    const QString surrogates(20, QChar(0xD800));
    Stored<Text8> stored;
    stored.text = surrogates;
    EXPECT_EQ(stored.text.length(), 8);
    EXPECT_TRUE(stored.guardIsWhole());
}

TEST(KxString8, KeepsEmbeddedZerosOfAQString) {
    const QString given = latin1(std::string("a\0b", 3));
    const Text8 text(given);
    EXPECT_EQ(text.length(), 3);
    EXPECT_EQ(text.toQString(), given);
    EXPECT_NE(text, Text8("a"));
    EXPECT_TRUE(text.isIntact());
}

TEST(KxString8, ReadsNoCharacterBeyondItsCapacity) {
    const char unterminated[8] = {'1', '2', '3', '4', '5', '6', '7', '8'};
    EXPECT_EQ(Text8(unterminated).toQString(), QStringLiteral("12345678"));
}

TEST(KxString8, AssignsFromItself) {
    Text8 text("abc");
    const Text8& same = text;
    text = same;
    EXPECT_STREQ(text.data(), "abc");
    text = text.data();
    EXPECT_STREQ(text.data(), "abc");
    text = text.data() + 1;
    EXPECT_STREQ(text.data(), "bc");
    text = text.toQString();
    EXPECT_STREQ(text.data(), "bc");
}

TEST(KxString8, ShorterTextLeavesNothingOfTheOldOne) {
    Text8 text("12345678");
    text = "x";
    EXPECT_EQ(memoryOf(text), memoryOf(Text8("x")));
    text.clear();
    EXPECT_EQ(memoryOf(text), std::string(sizeof text, '\0'));
}

TEST(KxString8, EqualTextsAreEqual) {
    EXPECT_TRUE(Text8("ab") == Text8("ab"));
    EXPECT_TRUE(Text8() == Text8(""));
    EXPECT_FALSE(Text8("ab") == Text8("abc"));
    EXPECT_FALSE(Text8("ab") == Text8("aB"));
    EXPECT_TRUE(Text8("ab") != Text8("aB"));
    EXPECT_TRUE(Text8("ab") == "ab");
    EXPECT_TRUE(Text8("ab") == QStringLiteral("ab"));
}

TEST(KxString8, AppendingGivesAQString) {
    EXPECT_EQ(Text8("12345678") + "90\xE9", latin1("1234567890\xE9"));
    EXPECT_EQ(Text8("ab") + nullptr, QStringLiteral("ab"));
    EXPECT_EQ(Text8() + "x", QStringLiteral("x"));
}

TEST(KxString8, DamagedLengthNeverReadsBeyondTheCapacity) {
    for (const unsigned length : {9U, 10U, 255U, 32767U, 32768U, 65535U}) {
        const Text8 damaged = fromMemory<Text8>(lengthBytes(length) + "12345678" + std::string(2, '\0'));
        EXPECT_EQ(damaged.length(), 8);
        EXPECT_FALSE(damaged.isIntact());
        EXPECT_EQ(damaged.toQString(), QStringLiteral("12345678"));
        EXPECT_EQ(damaged + "!", QStringLiteral("12345678!"));
        EXPECT_TRUE(damaged == Text8("12345678"));
        Stored<Text8> copy;
        copy.text = damaged;
        EXPECT_TRUE(copy.guardIsWhole());
    }
}

TEST(KxString8, MissingTerminatorIsNotIntact) {
    EXPECT_FALSE(fromMemory<Text8>(lengthBytes(8) + std::string(10, 'x')).isIntact());
    EXPECT_FALSE(fromMemory<Text8>(lengthBytes(2) + std::string(10, 'x')).isIntact());
    EXPECT_TRUE(fromMemory<Text8>(lengthBytes(2) + std::string("ab\0cdefghi", 10)).isIntact());
    EXPECT_TRUE(Text8("12345678").isIntact());
    EXPECT_TRUE(Text8().isIntact());
}

TEST(KxString16, SizeIsLengthTextAndTerminator) {
    EXPECT_EQ(sizeof(_kxString<1>), 6U);
    EXPECT_EQ(sizeof(_kxString<250>), 504U);
}

TEST(KxString16, LiesInMemoryAsLengthAndUnits) {
    const char16_t units[] = {0x4E2D, 'b', 0, 0};
    std::string bytes(sizeof units, '\0');
    std::memcpy(&bytes[0], units, sizeof units);
    EXPECT_EQ(memoryOf(_kxString<3>(QString(QChar(0x4E2D)) + QLatin1Char('b'))), lengthBytes(2) + bytes);
}

TEST(KxString16, CutsWhatDoesNotFit) {
    const QString ten = QStringLiteral("1234567890");
    for (int given = 0; given <= 10; ++given) {
        Stored<Text16> stored;
        stored.text = ten.left(given);
        EXPECT_EQ(stored.text.length(), given < 8 ? given : 8);
        EXPECT_EQ(stored.text.isEmpty(), given == 0);
        EXPECT_EQ(stored.text.toQString(), ten.left(given < 8 ? given : 8));
        EXPECT_TRUE(stored.text.isIntact());
        EXPECT_TRUE(stored.guardIsWhole());
    }
}

TEST(KxString16, NullIsEmpty) {
    Text16 text(QStringLiteral("old"));
    text = QString();
    EXPECT_TRUE(text.isEmpty());
    EXPECT_EQ(memoryOf(text), std::string(sizeof text, '\0'));
}

TEST(KxString16, KeepsEveryUnit) {
    const ushort units[] = {0xFEFF, 'a', 0, 0x4E2D, 0xD83D, 0xDE00, 0xFFFE};
    for (const ushort first : {ushort(0xFEFF), ushort(0xFFFE), ushort(0xD800), ushort('a')}) {
        QString given(QChar{first});
        for (const ushort unit : units) given += QChar(unit);
        EXPECT_EQ(Text16(given).toQString(), given);
    }
}

TEST(KxString16, ClearLeavesNothingOfTheOldText) {
    Text16 text(QStringLiteral("12345678"));
    text.clear();
    EXPECT_EQ(memoryOf(text), std::string(sizeof text, '\0'));
}

TEST(KxString16, AssignsFromItself) {
    Text16 text(QStringLiteral("abc"));
    const Text16& same = text;
    text = same;
    text = text.toQString();
    EXPECT_EQ(text.toQString(), QStringLiteral("abc"));
}

TEST(KxString16, DamagedLengthNeverReadsBeyondTheCapacity) {
    for (const unsigned length : {9U, 10U, 255U, 32767U, 32768U, 65535U}) {
        const Text16 damaged = fromMemory<Text16>(lengthBytes(length) + std::string(18, 'x'));
        EXPECT_EQ(damaged.length(), 8);
        EXPECT_EQ(damaged.toQString(), QString(8, QChar(0x7878)));
        EXPECT_FALSE(damaged.isIntact());
    }
    EXPECT_FALSE(fromMemory<Text16>(lengthBytes(8) + std::string(18, 'x')).isIntact());
}

// The rule as it reads: the first eight characters, each in Latin-1.
std::string firstEightInLatin1(const QString& text) {
    std::string kept;
    for (const QChar unit : text) {
        if (kept.size() < 8) kept.push_back(unit.unicode() < 256 ? static_cast<char>(unit.unicode()) : '?');
    }
    return kept;
}

TEST(KxStrings, RandomTextsAgreeWithThePlainRule) {
    std::minstd_rand random(7);
    for (int i = 0; i < 5000; ++i) {
        QString given;
        const auto size = random() % 20;
        for (auto k = size; k > 0; --k) given += QChar(static_cast<ushort>(random() % (i % 2 ? 256 : 65536)));
        Stored<Text8> narrow;
        narrow.text = given;
        Stored<Text16> wide;
        wide.text = given;
        ASSERT_EQ(bytesOf(narrow.text.toQString()), firstEightInLatin1(given));
        ASSERT_EQ(wide.text.toQString(), given.left(8));
        ASSERT_TRUE(narrow.guardIsWhole() && wide.guardIsWhole());
        ASSERT_TRUE(narrow.text.isIntact() && wide.text.isIntact());
    }
}

}  // namespace
