// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxJsonLines.h"

#include "tests/support/FullFrames.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

#include <string>

using namespace kxCheck;

namespace {

QJsonObject parsed(const QByteArray& line) {
    QJsonParseError error = {};
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << line.constData();
    EXPECT_FALSE(line.contains('\n'));
    return document.object();
}

std::string keysOf(const QJsonObject& object) {
    return object.keys().join(QLatin1Char(' ')).toStdString();
}

std::string textAt(const QJsonObject& object, const char* key) {
    return object.value(QLatin1String(key)).toString().toStdString();
}

}  // namespace

TEST(JsonLines, ShowASequence) {
    EXPECT_EQ(sequenceJson(fullSequence()).toStdString(),
              R"({"directory":"/r/","first":-1,"frames":368,"last":1100,"path":"/r/beauty.####.exr",)"
              R"("prefix":"beauty.","step":3,"suffix":".exr","type":"sequence"})");
}

TEST(JsonLines, LeaveTheRangeOfASingleFileOut) {
    SequenceName sequence = fullSequence();
    sequence.range.reset();
    EXPECT_EQ(keysOf(parsed(sequenceJson(sequence))), "directory frames path prefix suffix type");
}

TEST(JsonLines, ShowAllOfAFrame) {
    EXPECT_EQ(frameJson(fullFrame()).toStdString(),
              R"({"action":"delete","findings":[{"channel":"Z","code":"chunk","count":2,"part":1,"rows":[-8,55],)"
              R"("severity":"error","text":"2 tiles can't be decoded","tiles":[[0,1,2,3],[4,5,6,7]]}],"frame":42,)"
              R"("level":3,"modified":"2024-02-29T23:59:59.123456789Z","parts":[{"channels":[{"name":"R",)"
              R"("sampling":[1,1],"type":"half"},{"name":"Z","sampling":[2,4],"type":"float"}],"chunks":510,)"
              R"("chunksPresent":500,"compression":"dwaa","dataWindow":[-8,-8,1927,1087],)"
              R"("displayWindow":[0,0,1919,1079],"lineOrder":"random","name":"rgba","pixelAspectRatio":1.1,)"
              R"("tileSize":[64,32],"type":"tiled"},{"channels":[{"name":"id","sampling":[1,1],"type":"uint"}],)"
              R"("chunks":68,"chunksPresent":68,"compression":"none","dataWindow":[0,0,0,0],)"
              R"("displayWindow":[0,0,0,0],"lineOrder":"increasing","pixelAspectRatio":1,"type":"deepscanline"}],)"
              R"("path":"/r/beauty.0042.exr","picture":{"sizeJump":0.5},"seconds":0.012346,"size":123456789012,)"
              R"("text":"0042","tile":3,"type":"frame","verdict":"bad"})");
}

TEST(JsonLines, ShowThePictureOfADecodedFrame) {
    const QByteArray line = frameJson(fullDecodedFrame());
    EXPECT_TRUE(line.contains(R"("picture":{"jump":5.125,"max":[65504,1,null,null],"mean":[0.25,0.1,null,null],)"
                              R"("min":[-0.5,0,null,null],"sizeJump":0.5})"))
        << line.constData();
    EXPECT_TRUE(line.contains(R"("cached":true)"));
    FrameReport frame = fullDecodedFrame();
    auto withoutPicture = std::make_shared<PictureReport>();
    frame.file.picture = withoutPicture;
    EXPECT_TRUE(frameJson(frame).contains(R"("picture":{"sizeJump":0.5})"));
    EXPECT_FALSE(frameJson(frame).contains("cached"));
}

TEST(JsonLines, LeaveOutWhatDoesNotApply) {
    const FrameReport missing = judgedFrame(named("0042"), {makeFinding(Code::missing, "no such file")});
    EXPECT_EQ(frameJson(missing).toStdString(),
              R"({"findings":[{"code":"missing","text":"no such file"}],"frame":42,"level":0,)"
              R"("path":"/r/beauty.x.exr","text":"0042","type":"frame","verdict":"missing"})");
    const FrameReport unreadable = judgedFrame(singleFile("a.exr"), {makeFinding(Code::unreadable, "Input")});
    EXPECT_EQ(keysOf(parsed(frameJson(unreadable))), "findings level path seconds type verdict");
    FrameReport headers = fullFrame();
    headers.file.chunks.clear();
    headers.action = Action::none;
    EXPECT_EQ(keysOf(parsed(frameJson(headers))),
              "findings frame level modified parts path picture seconds size text tile type verdict");
    EXPECT_FALSE(frameJson(headers).contains("chunksPresent"));
}

TEST(JsonLines, ShowTheTextOfATooLongNumber) {
    FrameName name = named("1");
    name.number.reset();
    name.text = "0123456789012345";
    const QJsonObject object = parsed(frameJson(judgedFrame(name, {makeFinding(Code::unreadable, "x")})));
    EXPECT_EQ(keysOf(object), "findings level path seconds text type verdict");
    EXPECT_EQ(textAt(object, "text"), "0123456789012345");
}

TEST(JsonLines, ShowWhatWasKept) {
    EXPECT_EQ(
        keptJson(named("0042"), "Permission denied").toStdString(),
        R"({"action":"kept","frame":42,"path":"/r/beauty.x.exr","reason":"Permission denied","type":"action"})");
    EXPECT_EQ(keysOf(parsed(keptJson(singleFile("a.exr"), "x"))), "action path reason type");
}

TEST(JsonLines, ShowTheSummary) {
    Summary summary = summaryOf(joined({run(1, 3), run(4, 4, Code::nan), run(5, 6, Code::chunk),
                                        run(8, 12, Code::missing), run(14, 18, Code::limit)}),
                                1.5);
    EXPECT_EQ(summaryJson(summary, 1).toStdString(),
              R"({"bad":{"count":2,"frames":"5-6"},"exitCode":1,"good":{"count":3,"frames":"1-3"},)"
              R"("missing":{"count":5,"frames":"8-12"},"seconds":1.5,)"
              R"("suspicious":{"count":1,"frames":"4"},"type":"summary","unknown":{"count":5,"frames":"14-18"}})");
    summary.isHeld = true;
    EXPECT_TRUE(parsed(summaryJson(summary, 1)).value(QLatin1String("removalHeld")).toBool());
}

TEST(JsonLines, HoldNamesOfAnyBytes) {
    const QByteArray path = "/r/\xe9t\xc3\xa9\n\x1b\"\\.exr";
    for (const QByteArray& line : {frameJson(judgedFrame(named("1", path), {})), keptJson(named("1", path), "x")}) {
        const QJsonObject object = parsed(line);
        EXPECT_EQ(textAt(object, "path"), "/r/\xef\xbf\xbdt\xc3\xa9\n\x1b\"\\.exr");
        EXPECT_EQ(QByteArray::fromBase64(textAt(object, "pathBytes").c_str()), path);
    }
    SequenceName sequence = fullSequence();
    sequence.path = path;
    EXPECT_EQ(QByteArray::fromBase64(textAt(parsed(sequenceJson(sequence)), "pathBytes").c_str()), path);
    EXPECT_FALSE(sequenceJson(fullSequence()).contains("pathBytes"));
}

TEST(JsonLines, HoldValuesOfDamagedHeaders) {
    FrameReport frame = fullFrame();
    Headers headers = fullHeaders();
    headers[0].pixelAspectRatio = std::numeric_limits<float>::quiet_NaN();
    headers[1].pixelAspectRatio = std::numeric_limits<float>::infinity();
    headers[0].tiles = kxExr::TileDescription{UINT32_MAX, 0};
    headers[0].channels.edit()[0].name = "\xff\x01";
    frame.file.headers = std::make_shared<const Headers>(headers);
    const QByteArray line = frameJson(frame);
    EXPECT_FALSE(parsed(line).isEmpty());
    EXPECT_EQ(line.count("\"pixelAspectRatio\":null"), 2);
    EXPECT_TRUE(line.contains("\"tileSize\":[4294967295,0]"));
    EXPECT_TRUE(line.contains("\"name\":\"\xef\xbf\xbd\\u0001\""));
}
