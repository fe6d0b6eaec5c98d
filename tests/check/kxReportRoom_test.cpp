// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxReportRoom.h"

#include "check/kxFrameReport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

constexpr std::int64_t plenty = 1 << 30;

// As many of each of two codes, each with that many tiles.
FileReport damaged(std::size_t findings, std::size_t tiles) {
    FileReport report;
    for (std::size_t i = 0; i < 2 * findings; ++i) {
        report.findings.push_back(makeFinding(i % 2 == 0 ? Code::unfinished : Code::chunk, QByteArray(50, 'x')));
        report.findings.back().tiles.resize(tiles);
    }
    return report;
}

FileReport withHeaders(const std::vector<std::string>& channels, std::int32_t minX = 0) {
    kxExr::Part part;
    part.dataWindow = {minX, 0, 9, 9};
    for (const std::string& name : channels) part.channels.push_back({QByteArray::fromStdString(name)});
    FileReport report;
    report.headers = std::make_shared<const Headers>(Headers{part});
    report.chunks = {{1, 1}};
    return report;
}

std::size_t tilesOf(const FileReport& report) {
    std::size_t count = 0;
    for (const Finding& finding : report.findings) count += finding.tiles.size();
    return count;
}

// "unfinished chunk unfinished:3 chunk:3", the number of others behind those that stand for them.
std::string told(const FileReport& report) {
    std::string text;
    for (const Finding& finding : report.findings) {
        text += (text.empty() ? "" : " ") + std::string(rowOf(finding.code).name);
        if (standsForOthers(finding)) text += ":" + std::to_string(finding.count);
    }
    return text;
}

// Room for two lists of them and half another: nearly all of it is text, whatever the size of an empty string.
constexpr std::int64_t twoLists = 250000;

std::vector<std::string> manyNames() {
    std::vector<std::string> names;
    for (int i = 0; i < 100; ++i) names.push_back(std::string(900, 'l') + "ayer" + std::to_string(i) + ".R");
    return names;
}

}  // namespace

TEST(ReportRoom, CutsNothingWhereThereIsRoom) {
    ReportRoom room;
    FileReport report = damaged(50, 10);
    report.headers = withHeaders(manyNames()).headers;
    room.take(report);
    EXPECT_EQ(report.findings.size(), 100U);
    EXPECT_EQ(tilesOf(report), 1000U);
    EXPECT_TRUE(report.headers);
}

TEST(ReportRoom, LeavesOutTilesBeforeFindings) {
    ReportRoom room(plenty, 10000);
    FileReport report = damaged(10, 100);
    room.take(report);
    EXPECT_EQ(report.findings.size(), 20U);
    EXPECT_EQ(tilesOf(report), 0U);
}

TEST(ReportRoom, LeavesOneFindingOfEachCodeAndTheNumberOfTheOthers) {
    ReportRoom room(plenty, 100);
    FileReport report = damaged(4, 5);
    report.findings.push_back(findingForOthers(Code::chunk, 7));
    room.take(report);
    EXPECT_EQ(told(report), "unfinished chunk unfinished:3 chunk:10");
    FileReport next = damaged(1, 0);
    room.take(next);
    EXPECT_EQ(told(next), "unfinished chunk") << "without anything to leave out";
}

TEST(ReportRoom, IsFreeAgainWhenFindingsAreGivenBack) {
    ReportRoom room(plenty, 10000);
    for (int i = 0; i < 100; ++i) {
        FileReport report = damaged(10, 0);
        room.take(report);
        EXPECT_EQ(report.findings.size(), 20U) << i;
        room.giveBack(report.findings);
    }
    FileReport kept = damaged(10, 0);
    room.take(kept);
    int whole = 0;
    for (FileReport report = damaged(10, 0); whole < 100; ++whole, report = damaged(10, 0)) {
        room.take(report);
        if (report.findings.size() < 20) break;
    }
    EXPECT_LT(whole, 3);
}

TEST(ReportRoom, CountsSharedHeadersAndListsOfChannelsOnce) {
    ReportRoom room(twoLists, plenty);
    FileReport first = withHeaders(manyNames());
    for (std::int32_t i = 0; i < 50; ++i) {
        FileReport same = first;
        room.take(same);
        EXPECT_TRUE(same.headers);
        FileReport moved = withHeaders({}, i);
        Headers headers = *moved.headers;
        headers[0].channels = (*first.headers)[0].channels;
        moved.headers = std::make_shared<const Headers>(headers);
        room.take(moved);
        EXPECT_TRUE(moved.headers) << i;
    }
}

TEST(ReportRoom, MakesALimitOfHeadersWithoutRoom) {
    ReportRoom room(twoLists, plenty);
    std::string outcome;
    for (int i = 0; i < 4; ++i) {
        FileReport report = withHeaders(manyNames());
        report.decoded = true;
        report.hasIdentity = true;
        report.findings = {makeFinding(Code::truncated, "its end")};
        room.take(report);
        outcome += told(report) + "; ";
        EXPECT_EQ(report.headers != nullptr, told(report) == "truncated");
        EXPECT_EQ(report.chunks.size(), report.headers ? 1U : 0U);
        EXPECT_EQ(report.decoded, report.headers != nullptr);
        EXPECT_TRUE(report.hasIdentity);
    }
    EXPECT_EQ(outcome, "truncated; truncated; limit truncated; limit truncated; ");
    FileReport small = withHeaders({"R"});
    room.take(small);
    EXPECT_TRUE(small.headers) << "there is room for a little";
}
