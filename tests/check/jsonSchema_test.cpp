// SPDX-License-Identifier: BSD-3-Clause
// docs/kxCheckFrames.schema.json describes what the program writes, and refuses what it never writes.
#include "check/kxJsonLines.h"
#include "tests/support/FullFrames.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

constexpr int noValidator = 77;

std::string joinedLines(const std::vector<QByteArray>& lines) {
    std::string text;
    for (const QByteArray& line : lines) text += line.toStdString() + "\n";
    return text;
}

ProcessResult validated(const std::vector<QByteArray>& lines) {
    const TempDir dir;
    EXPECT_TRUE(writeFileBytes(dir.file("lines"), joinedLines(lines)));
    const std::string source = KX_SOURCE_DIR;
    return runProcess({"/usr/bin/env", "python3", source + "/tests/support/validateJson.py",
                       source + "/docs/kxCheckFrames.schema.json", dir.file("lines")});
}

class JsonSchemaTest : public testing::Test {
protected:
    void SetUp() override {
        const int exitCode = validated({keptJson(named("1"), "x")}).exitCode;
        if (exitCode == noValidator || exitCode == 127) GTEST_SKIP() << "needs python3 and python3-jsonschema";
    }

    // What the validator says of each line.
    static std::vector<std::string> faults(const std::vector<QByteArray>& lines) {
        const ProcessResult result = validated(lines);
        EXPECT_EQ(result.err, "");
        std::vector<std::string> texts;
        std::istringstream out(result.out);
        for (std::string line; std::getline(out, line);) texts.push_back(line.substr(line.find(": ") + 2));
        EXPECT_EQ(texts.size(), lines.size()) << result.out;
        return texts;
    }
};

QByteArray replaced(QByteArray line, const char* from, const char* to) {
    EXPECT_EQ(line.count(from), 1) << from << " in " << line.constData();
    return line.replace(from, to);
}

std::vector<QByteArray> oneFrameOfEachCode() {
    std::vector<QByteArray> lines;
    for (int code = 0; code <= static_cast<int>(Code::jump); ++code) {
        FrameReport frame = judgedFrame(named("1"), {makeFinding(static_cast<Code>(code), "text")});
        frame.file.hasIdentity = true;
        frame.level = levelOf(frame.findings, 0, 0);
        lines.push_back(frameJson(frame));
    }
    return lines;
}

// One frame with every value of the header's enumerations.
QByteArray frameOfAllKinds() {
    FrameReport frame = fullFrame();
    Headers headers;
    for (int i = 0; i <= static_cast<int>(kxExr::Compression::htj2k32); ++i) {
        kxExr::Part part = fullHeaders()[0];
        part.compression = static_cast<kxExr::Compression>(i);
        part.storage = static_cast<kxExr::Storage>(i % 4);
        part.lineOrder = static_cast<kxExr::LineOrder>(i % 3);
        part.channels.edit()[0].type = static_cast<kxExr::PixelType>(i % 3);
        headers.push_back(part);
    }
    frame.file.headers = std::make_shared<const Headers>(headers);
    return frameJson(frame);
}

}  // namespace

TEST_F(JsonSchemaTest, DescribesWhatIsWritten) {
    SequenceName single = fullSequence();
    single.range.reset();
    single.path = "\xff";
    Summary summary = summaryOf(joined({run(1, 9), run(10, 10, Code::chunk)}), 1.25);
    std::vector<QByteArray> lines = {sequenceJson(fullSequence()),
                                     sequenceJson(single),
                                     frameJson(fullFrame()),
                                     frameJson(fullDecodedFrame()),
                                     frameJson(judgedFrame(singleFile("\xff"), {})),
                                     frameJson(judgedFrame({std::nullopt, "0123456789012345", {}, "/r/a.exr"}, {})),
                                     frameOfAllKinds(),
                                     keptJson(named("1", "\xff"), "x"),
                                     keptJson(singleFile("a"), "y"),
                                     summaryJson(summary, 1),
                                     summaryJson(Summary(), 0)};
    summary.isHeld = true;
    lines.push_back(summaryJson(summary, 3));
    const std::vector<QByteArray> codes = oneFrameOfEachCode();
    lines.insert(lines.end(), codes.begin(), codes.end());
    const ProcessResult result = validated(lines);
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
}

TEST_F(JsonSchemaTest, RefusesWhatIsNeverWritten) {
    const QByteArray frame = frameJson(fullFrame());
    const QByteArray decoded = frameJson(fullDecodedFrame());
    const QByteArray sequence = sequenceJson(fullSequence());
    const QByteArray kept = keptJson(named("1"), "x");
    const QByteArray summary = summaryJson(Summary(), 0);
    const std::vector<QByteArray> lines = {
        "{}",
        "[]",
        "no JSON",
        replaced(frame, R"("type":"frame")", R"("type":"picture")"),
        replaced(frame, R"("type":"frame")", R"("type":"frame","extra":1)"),
        replaced(frame, R"("verdict":"bad")", R"("verdict":"fine")"),
        replaced(frame, R"("level":3)", R"("level":4)"),
        replaced(frame, R"("code":"chunk")", R"("code":"broken")"),
        replaced(frame, R"("code":"chunk",)", ""),
        replaced(frame, R"("code":"chunk")", R"("code":"chunk","where":1)"),
        replaced(frame, R"("severity":"error")", R"("severity":"fatal")"),
        replaced(frame, R"("rows":[-8,55])", R"("rows":[-8])"),
        replaced(frame, R"([0,1,2,3])", R"([0,1,2])"),
        replaced(frame, R"("compression":"dwaa")", R"("compression":"lz4")"),
        replaced(frame, R"("name":"rgba")", R"("name":"rgba","view":"left")"),
        replaced(frame, R"("pixelAspectRatio":1.1)", R"("pixelAspectRatio":"1.1")"),
        replaced(frame, R"(,"chunksPresent":500)", ""),
        replaced(frame, R"("modified":"2024-02-29T23:59:59.123456789Z",)", ""),
        replaced(frame, "59.123456789Z", "59Z"),
        replaced(frame, R"("frame":42)", R"("frame":"0042")"),
        replaced(frame, R"("text":"0042",)", ""),
        replaced(frame, R"("action":"delete")", R"("action":"kept")"),
        replaced(frame, R"("sizeJump":0.5)", R"("sizeJump":-1)"),
        replaced(frame, R"("sizeJump":0.5)", R"("sharpness":1)"),
        replaced(frame, R"("sizeJump":0.5)", R"("jump":1)"),
        replaced(decoded, R"("jump":5.125)", R"("jump":-5.125)"),
        replaced(decoded, R"("mean":[0.25,0.1,null,null],)", ""),
        replaced(decoded, R"("mean":[0.25,0.1,null,null])", R"("mean":[0.25,0.1,null])"),
        replaced(decoded, R"("mean":[0.25,0.1,null,null])", R"("mean":[0.25,"0.1",null,null])"),
        replaced(decoded, R"("cached":true)", R"("cached":false)"),
        replaced(sequence, R"("step":3)", R"("step":0)"),
        replaced(sequence, R"("last":1100,)", ""),
        replaced(sequence, R"("path":"/r/beauty.####.exr",)", ""),
        replaced(kept, R"("action":"kept")", R"("action":"delete")"),
        replaced(kept, R"("reason":"x")", R"("reason":"")"),
        replaced(summary, R"("exitCode":0)", R"("exitCode":2)"),
        replaced(summary, R"("seconds":0)", R"("seconds":-1)"),
        replaced(summary, R"("good":{"count":0,"frames":""})", R"("good":{"count":0})"),
        replaced(summary, R"("good":{"count":0,"frames":""},)", ""),
    };
    const std::vector<std::string> texts = faults(lines);
    ASSERT_EQ(texts.size(), lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_NE(texts[i], "valid") << lines[i].constData();
}
