// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameReport.h"

#include <gtest/gtest.h>

#include <string>

using namespace kxCheck;

namespace {

std::vector<Finding> findingsOf(const std::vector<Code>& codes) {
    std::vector<Finding> findings;
    for (const Code code : codes) findings.push_back(makeFinding(code, "text"));
    return findings;
}

Finding errorOf(Code code) {
    Finding finding = makeFinding(code, "text");
    finding.severity = Severity::error;
    return finding;
}

// "chunk:a chunk:b nan:c".
std::string described(const std::vector<Finding>& findings) {
    std::string all;
    for (const Finding& finding : findings)
        all += (all.empty() ? "" : " ") + std::string(rowOf(finding.code).name) + ":" + finding.text.toStdString();
    return all;
}

std::vector<Finding> numbered(Code code, int count) {
    std::vector<Finding> findings;
    for (int i = 0; i < count; ++i) findings.push_back(makeFinding(code, QByteArray::number(i)));
    return findings;
}

std::vector<Finding> joined(std::vector<Finding> a, const std::vector<Finding>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct VerdictCase {
    std::vector<Code> codes;
    Verdict verdict;
    int level;
};

}  // namespace

TEST(FrameReport, FirstVerdictThatAppliesHolds) {
    const std::vector<VerdictCase> cases = {
        {{}, Verdict::good, 0},
        {{Code::nan}, Verdict::suspicious, 1},
        {{Code::differsCoding, Code::black}, Verdict::suspicious, 1},
        {{Code::alphaMissing}, Verdict::suspicious, 2},
        {{Code::nan, Code::alphaMissing}, Verdict::suspicious, 2},
        {{Code::chunk}, Verdict::bad, 3},
        {{Code::alphaMissing, Code::truncated}, Verdict::bad, 3},
        {{Code::tileMissing}, Verdict::bad, 3},
        {{Code::unreadable}, Verdict::unknown, 1},
        {{Code::unsupported}, Verdict::unknown, 1},
        {{Code::changing}, Verdict::unknown, 1},
        {{Code::limit}, Verdict::unknown, 1},
        {{Code::modes, Code::limit}, Verdict::unknown, 1},
        {{Code::limit, Code::alphaMissing}, Verdict::unknown, 2},
        {{Code::missing}, Verdict::missing, 3},
        {{Code::limit, Code::header, Code::missing}, Verdict::missing, 3},
    };
    for (const VerdictCase& c : cases) {
        const std::vector<Finding> findings = findingsOf(c.codes);
        EXPECT_EQ(verdictOf(findings), c.verdict) << described(findings);
        EXPECT_EQ(levelOf(findings, 0, 0), c.level) << described(findings);
    }
}

TEST(FrameReport, SeverityOfTheFindingDecidesAndNotThatOfItsCode) {
    Finding finding = makeFinding(Code::tileMissing, "text");
    finding.severity = Severity::warning;
    EXPECT_EQ(verdictOf({finding}), Verdict::suspicious);
    EXPECT_EQ(levelOf({finding}, 0, 0), 1);
    EXPECT_EQ(verdictOf({errorOf(Code::nan)}), Verdict::bad);
    EXPECT_EQ(levelOf({errorOf(Code::nan)}, 0, 0), 3);
}

TEST(FrameReport, JumpsAboveFourRaiseTheLevelWhereTheyAreReported) {
    struct {
        std::vector<Code> codes;
        double sizeJump;
        double jump;
        int level;
    } const cases[] = {
        {{Code::sizeJump}, 4, 0, 1},
        {{Code::sizeJump}, 4.001, 0, 2},
        {{Code::jump}, 0, 4, 1},
        {{Code::jump}, 0, 4.001, 2},
        {{}, 9, 9, 0},
        {{Code::jump}, 9, 3, 1},
        {{Code::sizeJump}, 3, 9, 1},
        {{Code::sizeJump, Code::jump}, 3, 9, 2},
        {{Code::unreadable}, 9, 0, 1},
        {{Code::unreadable, Code::sizeJump}, 9, 0, 2},
    };
    for (const auto& c : cases)
        EXPECT_EQ(levelOf(findingsOf(c.codes), c.sizeJump, c.jump), c.level) << described(findingsOf(c.codes));
}

TEST(FrameReport, VerdictsHaveNamesThatLeadBack) {
    for (const char* name : {"good", "suspicious", "bad", "missing", "unknown"}) {
        const std::optional<Verdict> verdict = verdictFromName(name);
        ASSERT_TRUE(verdict) << name;
        EXPECT_STREQ(verdictName(*verdict), name);
    }
    for (const char* name : {"", "Good", "goo", "good ", "none"}) EXPECT_FALSE(verdictFromName(name)) << name;
}

TEST(FrameReport, ActionsHaveTheNamesOfScripts) {
    EXPECT_STREQ(actionName(Action::remove), "delete");
    EXPECT_STREQ(actionName(Action::move), "move");
    EXPECT_EQ(actionName(Action::none), nullptr);
}

TEST(ArrangedFindings, StandBySeverityThenCodeThenAsFound) {
    std::vector<Finding> findings = {
        makeFinding(Code::jump, "a"),
        makeFinding(Code::chunk, "b"),
        makeFinding(Code::truncated, "c"),
        makeFinding(Code::chunk, "d"),
        makeFinding(Code::limit, "e"),
        makeFinding(Code::sizeJump, "f"),
        errorOf(Code::nan),
        makeFinding(Code::modes, "g"),
    };
    arrangeFindings(findings);
    EXPECT_EQ(described(findings), "limit:e modes:g truncated:c chunk:b chunk:d nan:text size-jump:f jump:a");
}

TEST(ArrangedFindings, AreAtMostAHundredTheLastOfWhichCountsTheRest) {
    std::vector<Finding> findings = numbered(Code::chunk, 100);
    arrangeFindings(findings);
    ASSERT_EQ(findings.size(), 100U);
    EXPECT_EQ(findings.back().text, "99");

    findings = numbered(Code::chunk, 101);
    arrangeFindings(findings);
    ASSERT_EQ(findings.size(), 100U);
    EXPECT_EQ(findings[98].text, "98");
    EXPECT_EQ(findings.back().text, "2 more findings");
    EXPECT_EQ(findings.back().count, 2);
    EXPECT_EQ(findings.back().code, Code::chunk);
    EXPECT_EQ(findings.back().severity, Severity::error);
}

TEST(ArrangedFindings, KeepTheCountWhenArrangedAgain) {
    std::vector<Finding> findings = numbered(Code::chunk, 250);
    arrangeFindings(findings);
    const std::string once = described(findings);
    arrangeFindings(findings);
    EXPECT_EQ(described(findings), once);

    findings.push_back(makeFinding(Code::modes, "m"));
    findings.push_back(makeFinding(Code::sizeJump, "s"));
    arrangeFindings(findings);
    ASSERT_EQ(findings.size(), 100U);
    EXPECT_EQ(findings.front().text, "m");
    EXPECT_EQ(findings[98].text, "s");
    EXPECT_EQ(findings.back().text, "153 more findings");

    findings.erase(findings.begin(), findings.begin() + 50);
    arrangeFindings(findings);
    ASSERT_EQ(findings.size(), 50U);
    EXPECT_EQ(findings.back().text, "153 more findings");
}

TEST(ArrangedFindings, KeepOneOfEachKindSoThatTheVerdictStays) {
    std::vector<Finding> findings = joined(numbered(Code::nan, 200), numbered(Code::black, 1));
    findings = joined(findings, numbered(Code::alphaMissing, 300));
    findings.push_back(makeFinding(Code::chunk, "c"));
    arrangeFindings(findings);
    ASSERT_EQ(findings.size(), 100U);
    EXPECT_EQ(verdictOf(findings), Verdict::bad);
    EXPECT_EQ(findings.front().text, "c");
    EXPECT_EQ(findings[98].code, Code::black);
    EXPECT_EQ(findings[97].code, Code::nan);
    EXPECT_EQ(findings[96].code, Code::alphaMissing);
    EXPECT_EQ(findings.back().text, "403 more findings");
}
