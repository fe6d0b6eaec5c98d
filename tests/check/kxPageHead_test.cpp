// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageHead.h"

#include "tests/support/JudgedFrames.h"
#include "tests/support/PageDrawings.h"

#include <gtest/gtest.h>

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
