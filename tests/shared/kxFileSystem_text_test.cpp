// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxFileSystem.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(KxFileSystemText, TheDelimiterIsASlash) {
    EXPECT_EQ(PDs, QStringLiteral("/"));
}

TEST(KxFileSystemText, SplitsAPathAfterTheLastSeparator) {
    const struct {
        const char* path;
        const char* dir;
        const char* file;
    } cases[] = {
        {"/r/beauty.0042.exr", "/r/", "beauty.0042.exr"},
        {"beauty.0042.exr", "", "beauty.0042.exr"},
        {"/beauty.exr", "/", "beauty.exr"},
        {"./beauty.exr", "./", "beauty.exr"},
        {"/r//beauty.exr", "/r//", "beauty.exr"},
        {"/r/shot/", "/r/shot/", ""},
        {"/", "/", ""},
        {"", "", ""},
        {"/r\\s/a b\xFC.exr", "/r\\s/", "a b\xFC.exr"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(bytesOf(kxGetDirName(latin1(c.path), '/')), c.dir) << c.path;
        EXPECT_EQ(bytesOf(kxGetFileName(latin1(c.path), '/')), c.file) << c.path;
    }
}

TEST(KxFileSystemText, SplitsAPathAtTheSeparatorThatIsAskedFor) {
    EXPECT_EQ(bytesOf(kxGetDirName(latin1("c:\\r/s\\a/b"), '\\')), "c:\\r/s\\");
    EXPECT_EQ(bytesOf(kxGetFileName(latin1("c:\\r/s\\a/b"), '\\')), "a/b");
    const QString wide = QString(QChar(0x4E2D)) + QChar(0x2215) + QLatin1Char('a');
    EXPECT_EQ(kxGetDirName(wide, 0x2215), wide.left(2));
    EXPECT_EQ(kxGetFileName(wide, 0x2215), QStringLiteral("a"));
}

TEST(KxFileSystemText, ConvertsEveryDelimiter) {
    const struct {
        const char* given;
        const char* converted;
    } cases[] = {
        {"", ""},
        {"/r/a.exr", "/r/a.exr"},
        {"\\r\\shot\\a.exr", "/r/shot/a.exr"},
        {"\\\\server\\r/a.exr", "//server/r/a.exr"},
        {"a.exr", "a.exr"},
        {"\\", "/"},
        {"/r\xFC/%1\xC3\xA4.exr", "/r\xFC/%1\xC3\xA4.exr"},
    };
    for (const auto& c : cases) EXPECT_EQ(bytesOf(kxConvertPDToOS(latin1(c.given))), c.converted);
}

TEST(KxFileSystemText, LogTextIsUtf8ByteForCharacter) {
    EXPECT_EQ(bytesOf(kxToKXUTF8(QStringLiteral("beauty.exr"), false)), "beauty.exr");
    EXPECT_EQ(bytesOf(kxToKXUTF8(QString(), false)), "");
    EXPECT_EQ(bytesOf(kxToKXUTF8(latin1("\xFC\x80"), false)), "\xC3\xBC\xC2\x80");
    EXPECT_EQ(bytesOf(kxToKXUTF8(QString(QChar(0x4E2D)), false)), "\xE4\xB8\xAD");
    EXPECT_EQ(bytesOf(kxToKXUTF8(latin1(std::string("a\0b", 3)), false)), std::string("a\0b", 3));
    EXPECT_EQ(kxToKXUTF8(latin1("\xFC"), true), kxToKXUTF8(latin1("\xFC"), false));
}

TEST(KxFileSystemText, SplitsAtTheLastOccurence) {
    const struct {
        const char* text;
        const char* separator;
        const char* first;
        const char* second;
    } cases[] = {
        {"diffuse.R", ".", "diffuse", ".R"},
        {"light.key.R", ".", "light.key", ".R"},
        {".R", ".", "", ".R"},
        {"layer.", ".", "layer", "."},
        {".", ".", "", "."},
        {"a..b", ".", "a.", ".b"},
        {"R", ".", "R", ""},
        {"", ".", "", ""},
        {"a.b", "", "a.b", ""},
        {"a->b->c", "->", "a->b", "->c"},
        {"a->b", ">-", "a->b", ""},
        {"\xFC.\xE4", ".", "\xFC", ".\xE4"},
    };
    for (const auto& c : cases) {
        QString first = latin1(c.text);
        QString second = first;
        splitAtLastOccurence(first, second, latin1(c.separator), QString(), QString());
        EXPECT_EQ(bytesOf(first), c.first) << c.text;
        EXPECT_EQ(bytesOf(second), c.second) << c.text;
    }
}

}  // namespace
