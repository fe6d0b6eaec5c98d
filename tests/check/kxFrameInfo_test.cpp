// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameInfo.h"

#include "shared/kxTime.h"
#include "tests/support/FullFrames.h"

#include <gtest/gtest.h>

#include <string>

using namespace kxCheck;

namespace {

std::string infoOf(const FrameReport& frame) {
    std::string text;
    for (const QByteArray& line : infoLines(frame)) text += line.toStdString() + "\n";
    return text;
}

FrameReport usualFrame() {
    kxExr::Part part;
    part.displayWindow = {0, 0, 1919, 1079};
    part.compression = kxExr::Compression::zip;
    part.channels = {{"A", kxExr::PixelType::half, 1, 1}, {"G", kxExr::PixelType::half, 1, 1}};
    FrameReport frame = judgedFrame(named("0042"), {});
    frame.file.hasIdentity = true;
    frame.file.identity = {1, 2, 123456, 1709251199123456789};
    frame.file.headers = std::make_shared<const Headers>(Headers{part});
    frame.file.notes = {"node0042", 2467};
    frame.file.picture = fullPicture();
    return frame;
}

const std::string modified = _kxTime(1709251199123456789).asString().toStdString();

}  // namespace

TEST(FrameInfo, SaysWhatIsKnownOfAFrame) {
    FrameReport frame = usualFrame();
    const std::string source = "0042\n1920x1080  Half Float, zip, A G\n";
    const std::string rest = "123.456 bytes\n" + modified + "\nnode0042\nAverage Render Time: 41.07 m.s\n";
    EXPECT_EQ(infoOf(frame), source + " gamma (kxCache)\n" + rest);
    auto decoded = std::make_shared<PictureReport>(*frame.file.picture);
    decoded->isCached = false;
    frame.file.picture = decoded;
    EXPECT_EQ(infoOf(frame), source + " gamma ()\n" + rest);
}

TEST(FrameInfo, LeavesOutWhatIsNotKnown) {
    FrameReport frame = usualFrame();
    frame.file.headers = nullptr;
    frame.file.notes = {};
    frame.file.picture = nullptr;
    EXPECT_EQ(infoOf(frame), "0042\n123.456 bytes\n" + modified + "\n");
    frame.file.hasIdentity = false;
    EXPECT_EQ(infoOf(frame), "");
    EXPECT_EQ(infoOf(judgedFrame(named("0042"), {makeFinding(Code::missing, "no such file")})), "");
}

TEST(FrameInfo, HasNoControlCharacters) {
    FrameReport frame = usualFrame();
    frame.file.notes.infoText = "no\x1b[31mde\t1";
    EXPECT_NE(infoOf(frame).find("\nno\\x1b[31mde\\t1\n"), std::string::npos) << infoOf(frame);
}

// What stands in a file is no line of its own, which could look like a finding.
TEST(FrameInfo, HasNoLinesThatFilesMadeUp) {
    FrameReport frame = usualFrame();
    const auto lines = infoLines(frame).size();
    frame.file.notes.infoText = "node\n1044  bad  chunk";
    kxExr::Part part = frame.file.headers->front();
    part.channels = {{"A\n1045  bad", kxExr::PixelType::half, 1, 1}};
    frame.file.headers = std::make_shared<const Headers>(Headers{part});
    EXPECT_EQ(infoLines(frame).size(), lines);
    EXPECT_NE(infoOf(frame).find("\nnode\\n1044  bad  chunk\n"), std::string::npos) << infoOf(frame);
    EXPECT_NE(infoOf(frame).find("A\\n1045  bad"), std::string::npos) << infoOf(frame);
}

TEST(FrameInfo, NamesTilesAndNoSingleFiles) {
    FrameReport frame = usualFrame();
    frame.name.tile = 3;
    EXPECT_EQ(infoOf(frame).substr(0, 12), "0042 tile 3\n");
    frame.name = singleFile("/r/comp.exr");
    EXPECT_EQ(infoOf(frame).substr(0, 9), "1920x1080");
}
