// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageHead.h"

#include "tests/support/JudgedFrames.h"
#include "tests/support/PageDrawings.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

// Frames from 1001 on with these findings and such a difference from their neighbours.
PageSequence sequenceOf(const std::vector<std::vector<Code>>& codes, double jump = 0) {
    PageSequence sequence;
    for (const std::vector<Code>& ofFrame : codes) {
        std::vector<Finding> findings;
        for (const Code code : ofFrame) findings.push_back(makeFinding(code, "text"));
        FrameReport report =
            judgedFrame(named(QByteArray::number(static_cast<int>(1001 + sequence.frames.size()))), findings);
        report.level = levelOf(findings, 0, jump);
        sequence.summary.add(report);
        sequence.frames.push_back(pageFrame(report));
    }
    return sequence;
}

PageMarkup head(const PageSequence& sequence, const QByteArray& sheetAnchor = {}) {
    return markup(sequenceHead(
        sequence, [](std::size_t place) { return 'f' + QByteArray::number(static_cast<int>(place)); },
        sheetAnchor));
}

// Their text with every space as one.
std::string causesOf(const PageSequence& sequence, std::size_t line) {
    return QByteArray::fromStdString(head(sequence).ofClass("causes").at(line).text)
        .replace("\u00a0", " ")
        .toStdString();
}

std::string linksOf(const PageMarkup& page) {
    std::string links;
    for (const PageElement& link : page.named("a")) links += link.text + " " + link.attribute("href") + "; ";
    return links;
}

}  // namespace

TEST(SequenceHead, LeadsToTheFirstFrameOfEachVerdict) {
    const PageSequence sequence =
        sequenceOf({{}, {Code::flat}, {Code::chunk}, {Code::missing}, {Code::chunk}, {}, {Code::limit}});
    EXPECT_EQ(linksOf(head(sequence)), "✕ bad #f2; ∅ missing #f3; ! suspicious #f1; ? unknown #f6; ");
    EXPECT_EQ(linksOf(head(sequenceOf({{}, {}}), "c1")), "↓ contact sheet #c1; ");
    EXPECT_EQ(linksOf(head(sequenceOf({}))), "");
}

TEST(SequenceHead, HasTheColourOfTheWorstFrame) {
    EXPECT_EQ(head(sequenceOf({{Code::flat}, {Code::jump}}, 3)).textsOf("a"),
              std::vector<std::string>{"! suspicious"});
    const PageMarkup worse = head(sequenceOf({{Code::flat}, {Code::jump}, {Code::flat}}, 5));
    EXPECT_EQ(worse.textsOf("a"), std::vector<std::string>{"!! suspicious"});
    EXPECT_TRUE(worse.ofClass("chip")[0].isOf("l2"));
}

TEST(SequenceHead, SaysWhatIsWrongAndOnWhichMachines) {
    PageSequence sequence = sequenceOf({{}, {Code::truncated}});
    EXPECT_EQ(head(sequence).ofClass("causes").size(), 0U);
    sequence.causes = {
        {Code::missing, 9000}, {Code::jump, 3}, {Code::truncated, 2500}, {Code::chunk, 2}, {Code::sizeJump, 2}};
    ASSERT_EQ(head(sequence).ofClass("causes").size(), 1U);
    EXPECT_EQ(causesOf(sequence, 0), "truncated 2500 · jump 3 · chunk 2 · size-jump 2");
    sequence.machines = {{"render3", 6}, {"render<5>", 17}};
    EXPECT_EQ(causesOf(sequence, 1), "machines of these frames: render<5> 17, render3 6");
    for (int i = 10; i < 20; ++i) sequence.machines["node" + QByteArray::number(i)] = 1;
    EXPECT_EQ(causesOf(sequence, 1),
              "machines of these frames: render<5> 17, render3 6, node10 1, node11 1, node12 1, node13 1, "
              "node14 1, node15 1, and 4 others");
}
