// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxChunkFaults.h"

#include "check/kxFrameReport.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

kxExr::Part rowsPart(std::int32_t minY, std::int32_t maxY, kxExr::Compression compression) {
    kxExr::Part part;
    part.dataWindow = {0, minY, 99, maxY};
    part.compression = compression;
    part.channels = {{"R", kxExr::PixelType::half, 1, 1}};
    return part;
}

kxExr::Part tilesPart(kxExr::LevelMode levels) {
    kxExr::Part part = rowsPart(0, 99, kxExr::Compression::zip);
    part.storage = kxExr::Storage::tiled;
    part.tiles = kxExr::TileDescription{32, 32, levels, kxExr::LevelRounding::down};
    return part;
}

struct Faults {
    explicit Faults(Headers headers) : parts(std::move(headers)), faults(count()) {}

    std::size_t count() {
        std::size_t chunks = 0;
        for (const kxExr::Part& part : parts) {
            grids.emplace_back(part);
            chunks += grids.back().count();
        }
        return chunks;
    }
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const Finding& finding : faults.findings(parts, grids))
            all.push_back(std::string(rowOf(finding.code).name) + ": " + finding.text.toStdString());
        return all;
    }

    Headers parts;
    std::vector<ChunkGrid> grids;
    ChunkFaults faults;
};

using Texts = std::vector<std::string>;

}  // namespace

TEST(ChunkFaults, NeighboursWithTheSameFaultAreOneRun) {
    Faults f({rowsPart(0, 1079, kxExr::Compression::zip)});
    for (std::size_t i = 10; i < 20; ++i) f.faults.set(i, ChunkFault::truncated);
    f.faults.set(20, ChunkFault::unfinished);
    f.faults.set(67, ChunkFault::undecodable);
    EXPECT_EQ(f.texts(), (Texts{"truncated: rows 160 to 319 of 1080 are missing",
                                "unfinished: rows 320 to 335 of 1080 were never written",
                                "chunk: rows 1072 to 1079 of 1080 can't be decoded"}));
    const ChunkCounts counts = f.faults.counts(f.grids).at(0);
    EXPECT_EQ(counts.chunks, 68);
    EXPECT_EQ(counts.present, 57);
}

TEST(ChunkFaults, KeepsTheFaultThatAppliesFirst) {
    Faults f({rowsPart(0, 9, kxExr::Compression::none)});
    f.faults.set(3, ChunkFault::undecodable);
    f.faults.set(3, ChunkFault::truncated);
    f.faults.set(3, ChunkFault::overlapping);
    EXPECT_EQ(f.faults.at(3), ChunkFault::truncated);
    EXPECT_FALSE(f.faults.areAllGood());
}

TEST(ChunkFaults, SaysWhereRowsLieThatDoNotBeginAtZero) {
    Faults f({rowsPart(-5, 120, kxExr::Compression::none)});
    f.faults.set(2, ChunkFault::wrongLeader);
    EXPECT_EQ(f.texts(), Texts{"chunk: row -3 of -5 to 120 is not at its place"});
}

TEST(ChunkFaults, NamesPartsOnlyWhereThereAreSeveral) {
    Faults f({rowsPart(0, 9, kxExr::Compression::none), rowsPart(0, 9, kxExr::Compression::none)});
    f.faults.set(9, ChunkFault::tooLarge);
    f.faults.set(10, ChunkFault::tooLarge);
    EXPECT_EQ(f.texts(), (Texts{"chunk: row 9 of 10 of part 0 is larger than without compression",
                                "chunk: row 0 of 10 of part 1 is larger than without compression"}));
}

TEST(ChunkFaults, NamesTilesWithTheirLevel) {
    Faults f({tilesPart(kxExr::LevelMode::mipmap)});
    f.faults.set(11, ChunkFault::undecodable);
    f.faults.set(16, ChunkFault::unfinished);
    f.faults.set(17, ChunkFault::unfinished);
    EXPECT_EQ(f.texts(),
              (Texts{"chunk: tile 3,2 of part 0 can't be decoded",
                     "unfinished: 2 tiles of part 0, from 0,0 of level 1,1 to 1,0 of level 1,1, were never "
                     "written"}));
    const std::vector<Finding> findings = f.faults.findings(f.parts, f.grids);
    ASSERT_EQ(findings[1].tiles.size(), 2U);
    EXPECT_EQ(findings[1].tiles[1].x, 1);
    EXPECT_EQ(findings[1].tiles[1].levelX, 1);
    EXPECT_EQ(findings[1].count, 2);
    EXPECT_FALSE(findings[1].rows);
}

TEST(ChunkFaults, ListsAThousandTilesOfAllFindings) {
    kxExr::Part part = tilesPart(kxExr::LevelMode::one);
    part.tiles->width = part.tiles->height = 1;
    Faults f({part});
    for (std::size_t i = 0; i < 3000; ++i)
        if (i % 300 != 0) f.faults.set(i, ChunkFault::unfinished);
    std::size_t listed = 0;
    std::int64_t counted = 0;
    for (const Finding& finding : f.faults.findings(f.parts, f.grids)) {
        listed += finding.tiles.size();
        counted += finding.count;
    }
    EXPECT_EQ(listed, 1000U);
    EXPECT_EQ(counted, 2990);
}

TEST(ChunkFaults, CountsTheRestInTheLastOfAHundred) {
    Faults f({rowsPart(0, 999, kxExr::Compression::none)});
    for (std::size_t i = 0; i < 400; i += 2) f.faults.set(i, ChunkFault::undecodable);
    f.faults.set(900, ChunkFault::unfinished);
    const std::vector<Finding> findings = f.faults.findings(f.parts, f.grids);
    ASSERT_EQ(findings.size(), mostFindings);
    EXPECT_EQ(findings[98].code, Code::unfinished);
    EXPECT_EQ(findings[99].code, Code::chunk);
    EXPECT_EQ(findings[99].text, "102 more findings");
    EXPECT_EQ(findings[99].count, 102);
    EXPECT_TRUE(standsForOthers(findings[99]));

    std::vector<Finding> judged = findings;
    judged.push_back(makeFinding(Code::expected, "size"));
    arrangeFindings(judged);
    ASSERT_EQ(judged.size(), mostFindings);
    EXPECT_EQ(judged[99].count, 103);
}

TEST(ChunkFaults, CountsTheRestOfEachCodeByItself) {
    Faults f({rowsPart(0, 999, kxExr::Compression::none)});
    for (std::size_t i = 0; i < 400; i += 2) f.faults.set(i, ChunkFault::undecodable);
    for (std::size_t i = 500; i < 600; i += 2) f.faults.set(i, ChunkFault::unfinished);
    f.faults.set(700, ChunkFault::truncated);
    const std::vector<Finding> findings = f.faults.findings(f.parts, f.grids);
    ASSERT_EQ(findings.size(), mostFindings);
    const struct {
        Code code;
        std::int64_t others;  // 0: a finding of its own
    } expected[] = {{Code::unfinished, 0}, {Code::truncated, 0}, {Code::unfinished, 49}, {Code::chunk, 104}};
    for (std::size_t i = 0; i < 4; ++i) {
        const Finding& finding = findings[mostFindings - 4 + i];
        EXPECT_EQ(finding.code, expected[i].code) << i;
        EXPECT_EQ(standsForOthers(finding) ? finding.count : 0, expected[i].others) << i;
    }
}

TEST(ChunkFaults, TellsDataThatAreMissingFromSizesThatAreTooLarge) {
    Faults f({rowsPart(0, 1079, kxExr::Compression::zip), tilesPart(kxExr::LevelMode::one)});
    f.faults.set(3, ChunkFault::pastEnd);
    f.faults.set(70, ChunkFault::pastEnd);
    f.faults.set(71, ChunkFault::pastEnd);
    EXPECT_EQ(f.texts(), (Texts{"truncated: rows 48 to 63 of 1080 of part 0 reach behind the file's end",
                                "truncated: 2 tiles of part 1, from 2,0 to 3,0, reach behind the file's end"}));
    EXPECT_EQ(f.faults.counts(f.grids).at(0).present, 67);
}

TEST(ChunkFaults, AHundredRunsAreAllTold) {
    Faults f({rowsPart(0, 999, kxExr::Compression::none)});
    for (std::size_t i = 0; i < 200; i += 2) f.faults.set(i, ChunkFault::undecodable);
    const std::vector<Finding> findings = f.faults.findings(f.parts, f.grids);
    ASSERT_EQ(findings.size(), mostFindings);
    EXPECT_EQ(findings[99].text, "row 198 of 1000 can't be decoded");
}
