// SPDX-License-Identifier: BSD-3-Clause
// The operations of the command module, called as other front ends call them.

// As the module itself: its operator+ takes the place of Qt's.
#ifndef QT_NO_CAST_FROM_ASCII
#define QT_NO_CAST_FROM_ASCII
#endif

#include "tool/main.h"

#include "examples/SampleFrames.h"
#include "image/kxExrModes.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <utility>

namespace {

struct Verification : kxExr::Modes {
    bool del = false;
    bool showChannel = false;
};

// What the check of the file prints.
std::string check(const std::string& path, const Verification& modes = {}) {
    testing::internal::CaptureStdout();
    testExr(latin1(path), modes.requireMultiLayer, modes.requireMultipart, modes.noMultipart, modes.del,
            modes.showChannel);
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

const std::string fourChannels = "  imagesize: 64x36 scanline  Zip-16line    4 channels ";

TEST(TestExr, CompletesTheLine) {
    const TempDir dir;
    writeSampleFile(dir.file("a"), {SamplePart()});
    EXPECT_EQ(check(dir.file("a")), fourChannels + "\n");
}

TEST(TestExr, TakesItsModesInThisOrder) {
    const TempDir dir;
    const std::string file = dir.file("a");
    writeSampleFile(file, {SamplePart()});
    const std::string wouldDelete = "   => DELETE (delete disabled)";
    Verification modes;
    modes.requireMultiLayer = true;
    EXPECT_EQ(check(file, modes), fourChannels + wouldDelete + "\n");
    modes = Verification();
    modes.requireMultipart = true;
    EXPECT_EQ(check(file, modes), fourChannels + wouldDelete + "\n");
    modes = Verification();
    modes.noMultipart = true;
    EXPECT_EQ(check(file, modes), fourChannels + "\n");
    modes = Verification();
    modes.showChannel = true;
    EXPECT_EQ(check(file, modes), fourChannels + "  [|half: A, B, G, R]\n");
    modes = Verification();
    modes.del = true;
    EXPECT_EQ(check(file, modes), fourChannels + "\n");
    EXPECT_TRUE(entryExists(file));
    modes.requireMultipart = true;
    EXPECT_EQ(check(file, modes), fourChannels + "   => DELETE\n");
    EXPECT_FALSE(entryExists(file));
}

TEST(TestExr, ReportsWhatCannotBeLoaded) {
    const TempDir dir;
    Verification modes;
    modes.requireMultipart = modes.del = modes.showChannel = true;
    writeFileBytes(dir.file("text"), "not EXR");
    for (const std::string& path : {dir.file("missing"), dir.file("text"), dir.path(), std::string()}) {
        EXPECT_EQ(check(path, modes), "     Error: Unable to load file\n") << path;
    }
    EXPECT_TRUE(entryExists(dir.file("text")));
    EXPECT_TRUE(entryExists(dir.path()));
}

TEST(TestExr, TakesNamesAsBytes) {
    const TempDir dir;
    for (const char* name : {"\xc3\xa9", "\xe9", "%s%n%1", "\xff\xfe"}) {
        writeSampleFile(dir.file(name), {SamplePart()});
        EXPECT_EQ(check(dir.file(name)), fourChannels + "\n") << name;
    }
}

// Every byte of a header spoiled three ways, and the file cut at every length: one line each, nothing deleted that
// could not be read.
TEST(TestExr, DamagedHeadersGiveOneLineEach) {
    const TempDir dir;
    const std::string path = dir.file("frame");
    SamplePart part;
    part.dataWindow = Imath::Box2i({0, 0}, {3, 3});
    part.displayWindow = part.dataWindow;
    writeSampleFile(path, {part});
    const std::string good = readFileBytes(path);
    Verification modes;
    modes.showChannel = true;
    const auto expectOneLine = [&](const std::string& content) {
        writeFileBytes(path, content);
        const std::string text = check(path, modes);
        ASSERT_FALSE(text.empty());
        EXPECT_EQ(text.find('\n'), text.size() - 1);
        EXPECT_TRUE(entryExists(path));
    };
    for (std::size_t at = 0; at < good.size(); ++at) {
        expectOneLine(good.substr(0, at));
        for (const char spoiled : {'\0', '\xff', static_cast<char>(~good[at])}) {
            std::string content = good;
            content[at] = spoiled;
            expectOneLine(content);
        }
    }
}

TEST(MessageOutput, DiscardsEveryMessage) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    KXMessageOutput_none(QtWarningMsg, "a warning");
    KXMessageOutput_none(QtFatalMsg, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(StringPlusBytes, AppendsBytesAsLatinOne) {
    EXPECT_EQ(bytesOf(latin1("a\xe9") + "b\xc3\xa9"),
              "a\xe9"
              "b\xc3\xa9");
    EXPECT_EQ(bytesOf(latin1("a") + ""), "a");
    EXPECT_EQ(bytesOf(QString() + "b"), "b");
}

TEST(StringPlusBytes, KeepsTheStringUnlessItIsATemporary) {
    const QString constant = latin1("a");
    QString variable = latin1("b");
    EXPECT_EQ(bytesOf(constant + "\xe9"), "a\xe9");
    EXPECT_EQ(bytesOf(variable + "\xe9"), "b\xe9");
    EXPECT_EQ(bytesOf(constant), "a");
    EXPECT_EQ(bytesOf(variable), "b");
    EXPECT_EQ(bytesOf(constant + "1" + "2"), "a12");
    EXPECT_EQ(bytesOf(std::move(variable) + "\xe9"), "b\xe9");
}

}  // namespace
