// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxFileSystem.h"
#include "tests/support/TempDir.h"
#include "tests/support/plainNames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace {

// Makes an empty file of each name.
class Files : public TempDir {
public:
    explicit Files(const std::vector<std::string>& names) {
        for (const std::string& name : names) EXPECT_TRUE(writeFileBytes(file(name), "")) << name;
    }
};

std::vector<std::string> listed(const TempDir& dir, const QString& prefix, const QString& suffix) {
    kxDirListing listing;
    listing.setNameFilter(prefix, suffix);
    listing.init(dir.qpath() + QLatin1Char('*'), false, true, false, false);
    std::vector<std::string> names;
    while (listing.nextFile()) names.push_back(bytesOf(listing.fileName()));
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> plainListed(const TempDir& dir, const QString& prefix, const QString& suffix) {
    std::vector<std::string> names;
    for (const std::string& name : dir.entries()) {
        if (plainNameIsListed(latin1(name), prefix, suffix)) names.push_back(name);
    }
    return names;
}

TEST(KxNameFilter, ListsNamesBetweenPrefixAndSuffix) {
    const Files dir({"beauty.0001.exr", "beauty.0002.exr", "beauty..exr", "beauty.exr", "beauty.0001.exr.bak",
                     "xbeauty.0001.exr", "beauty_0001.exr", "beaut", "beauty.", ".exr", "beauty.0001.ex"});
    EXPECT_EQ(listed(dir, QStringLiteral("beauty."), QStringLiteral(".exr")),
              (std::vector<std::string>{"beauty..exr", "beauty.0001.exr", "beauty.0002.exr"}));
    EXPECT_EQ(listed(dir, QStringLiteral("beauty.0001.exr"), QString()),
              (std::vector<std::string>{"beauty.0001.exr", "beauty.0001.exr.bak"}));
    EXPECT_EQ(listed(dir, QString(), QStringLiteral(".ex")), std::vector<std::string>{"beauty.0001.ex"});
}

TEST(KxNameFilter, PrefixAndSuffixDoNotOverlap) {
    const Files dir({"aba", "abba", "ababa", "ab", "ba"});
    EXPECT_EQ(listed(dir, QStringLiteral("ab"), QStringLiteral("ba")), (std::vector<std::string>{"ababa", "abba"}));
}

TEST(KxNameFilter, IgnoresCaseOnBothSides) {
    const Files dir({"BEAUTY.0001.EXR", "Beauty.0002.eXr", "beauty.0003.exr", "BEAUTX.0001.EXR"});
    const std::vector<std::string> expected{"BEAUTY.0001.EXR", "Beauty.0002.eXr", "beauty.0003.exr"};
    EXPECT_EQ(listed(dir, QStringLiteral("beauty."), QStringLiteral(".exr")), expected);
    EXPECT_EQ(listed(dir, QStringLiteral("bEAUTY."), QStringLiteral(".EXR")), expected);
}

TEST(KxNameFilter, EmptyFilterListsAll) {
    const Files dir({"a", ".b", "c.exr"});
    EXPECT_EQ(listed(dir, QString(), QString()), dir.entries());
    EXPECT_EQ(listed(dir, QStringLiteral(""), QStringLiteral("")), dir.entries());
}

TEST(KxNameFilter, StaysUntilTheNextOne) {
    const Files dir({"a.exr", "b.exr"});
    kxDirListing listing;
    const auto countOnce = [&] {
        listing.init(dir.qpath() + QLatin1Char('*'), false, true, false, false);
        int count = 0;
        while (listing.nextFile()) ++count;
        return count;
    };
    EXPECT_EQ(countOnce(), 2);
    listing.setNameFilter(QStringLiteral("A"), QString());
    EXPECT_EQ(countOnce(), 1);
    EXPECT_EQ(countOnce(), 1);
    listing.setNameFilter(QString(), QString());
    EXPECT_EQ(countOnce(), 2);
}

TEST(KxNameFilter, EveryByteMatchesAsItsLowerCaseCharacterDoes) {
    std::vector<std::string> names;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') names.push_back(std::string("n") + static_cast<char>(byte));
    }
    const Files dir(names);
    for (int code = 0; code < 256; ++code) {
        const QString character(QChar(static_cast<ushort>(code)));
        const QString prefix = QLatin1Char('N') + character;
        EXPECT_EQ(listed(dir, prefix, QString()), plainListed(dir, prefix, QString())) << code;
        EXPECT_EQ(listed(dir, QString(), character), plainListed(dir, QString(), character)) << code;
    }
}

TEST(KxNameFilter, CharactersBeyondLatin1MatchWhatTheirLowerCaseIs) {
    const Files dir({"k.exr", "K.exr", "\xE5.exr", "\xDF.exr", "?.exr", "i.exr", "\xB5.exr", "\xFF.exr", "-.exr"});
    const ushort kelvinSign = 0x212A;
    const ushort angstromSign = 0x212B;
    const ushort capitalSharpS = 0x1E9E;
    EXPECT_EQ(listed(dir, QChar(kelvinSign), QString()), (std::vector<std::string>{"K.exr", "k.exr"}));
    EXPECT_EQ(listed(dir, QChar(angstromSign), QString()), std::vector<std::string>{"\xE5.exr"});
    EXPECT_EQ(listed(dir, QChar(capitalSharpS), QString()), std::vector<std::string>{"\xDF.exr"});
    const ushort dottedCapitalI = 0x130;
    const ushort greekMu = 0x3BC;
    const ushort cjk = 0x4E2D;
    const ushort wideHyphen = 0x122D;  // its low byte is "-"
    for (const ushort code : {dottedCapitalI, greekMu, cjk, wideHyphen, ushort(0xD800), ushort(0x178), ushort(0)}) {
        EXPECT_EQ(listed(dir, QChar(code), QString()), plainListed(dir, QChar(code), QString())) << code;
    }
    EXPECT_TRUE(listed(dir, QChar(cjk), QString()).empty());
}

TEST(KxNameFilter, TextsLongerThanAnyNameListNothing) {
    const Files dir({"a.exr", std::string(255, 'x')});
    EXPECT_EQ(listed(dir, QString(255, QLatin1Char('X')), QString()),
              std::vector<std::string>{std::string(255, 'x')});
    EXPECT_TRUE(listed(dir, QString(256, QLatin1Char('x')), QString()).empty());
    EXPECT_TRUE(listed(dir, QString(128, QLatin1Char('x')), QString(128, QLatin1Char('x'))).empty());
    EXPECT_TRUE(listed(dir, QString(1 << 20, QLatin1Char('x')), QString(1 << 20, QLatin1Char('x'))).empty());
}

// Few letters, so that prefixes and suffixes match often; both cases of an ASCII and of a Latin-1 letter among
// them.
std::string randomText(std::mt19937& random, int longest) {
    const std::string letters = "aAbB.\xE4\xC4\xD7\xF7";
    std::string text(static_cast<std::size_t>(std::uniform_int_distribution<int>(0, longest)(random)), ' ');
    for (char& c : text) c = letters[random() % letters.size()];
    return text;
}

TEST(KxNameFilter, RandomNamesAgreeWithThePlainRule) {
    std::mt19937 random(11);
    std::vector<std::string> names;
    for (int i = 0; i < 300; ++i) names.push_back("n" + randomText(random, 8));
    const Files dir(names);
    std::size_t matches = 0;
    for (int i = 0; i < 1000; ++i) {
        const QString prefix = latin1((i % 4 ? "N" : "") + randomText(random, 3));
        const QString suffix = latin1(randomText(random, 3));
        const std::vector<std::string> result = listed(dir, prefix, suffix);
        ASSERT_EQ(result, plainListed(dir, prefix, suffix)) << bytesOf(prefix) << " " << bytesOf(suffix);
        matches += result.size();
    }
    EXPECT_GT(matches, 1000U) << "the random texts match too seldom to show anything";
}

}  // namespace
