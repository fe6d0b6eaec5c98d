// SPDX-License-Identifier: BSD-3-Clause
// Files of every kind damaged in every way: each damage has its code, at every level at which it can be found.
#include "tests/support/CheckedFile.h"
#include "tests/support/ExrDamage.h"
#include "tests/support/ExrKinds.h"
#include "tests/support/PaintedFrames.h"
#include "tests/support/plainLayout.h"
#include "tests/support/structureDifference.h"

#include <gtest/gtest.h>
#include <openexr.h>

#include <algorithm>
#include <cstddef>
#include <optional>

using namespace kxCheck;

namespace {

const char* const damagedKinds[] = {"flatRowsZip",   "flatRowsNone", "flatTilesZips", "flatTilesPiz",
                                    "mipmapUp",      "ripmapDown",   "deepRowsZips",  "deepTilesRle",
                                    "deepRowsNone",  "partsFlat",    "partsDeep",     "partsMixed",
                                    "flatRowsPxr24", "flatRowsB44",  "flatRowsDwaa",  "decreasingRows"};

std::string bytesOfKind(const std::string& name) {
    const auto& kinds = exrKinds();
    const auto kind = std::find_if(kinds.begin(), kinds.end(), [&](const Kind& k) { return k.name == name; });
    EXPECT_NE(kind, kinds.end()) << name;
    return exrBytes(*kind);
}

// The findings are of one of the codes that the damage may have, and there is one.
void expectFound(const ExrDamage& damage, const FileReport& report) {
    const std::set<std::string> found = codesOf(report);
    EXPECT_FALSE(found.empty()) << damage.what;
    for (const std::string& code : found)
        EXPECT_NE(std::find(damage.codes.begin(), damage.codes.end(), code), damage.codes.end())
            << damage.what << " is " << code << ": " << report.findings[0].text.toStdString();
}

// Headers that announce more chunks than the file has room for are whole themselves.
bool endsWithinTables(const FileReport& report) {
    return textsOf(report) == std::vector<std::string>{"truncated: the file ends within its chunk tables"};
}

}  // namespace

TEST(FileReaderDamage, OfHeadersIsFoundAtEveryLevel) {
    const CheckedFile file;
    for (const char* kind : damagedKinds) {
        SCOPED_TRACE(kind);
        const std::vector<ExrDamage> damages = damagedHeaders(bytesOfKind(kind));
        EXPECT_GT(damages.size(), 60U);
        for (const ExrDamage& damage : damages)
            for (const Level level : {Level::headers, Level::pixels}) {
                const FileReport report = file.check(damage.file, level);
                expectFound(damage, report);
                EXPECT_EQ(report.headers != nullptr, endsWithinTables(report)) << damage.what;
            }
    }
}

TEST(FileReaderDamage, OfHeadersNamesThePartWhereThereAreSeveral) {
    const CheckedFile file;
    const std::string damage = "header: the header is damaged: the attribute channels has a negative size";
    const struct {
        const char* kind;
        int part;
        std::string text;
        std::optional<int> told;
    } cases[] = {{"partsFlat", 0, damage + " (part 0)", 0},
                 {"partsFlat", 1, damage + " (part 1)", 1},
                 {"flatRowsZip", 0, damage, std::nullopt}};
    for (const auto& c : cases) {
        std::string bytes = bytesOfKind(c.kind);
        putPlainNumber(bytes, plainLayout(bytes).attribute(c.part, "channels").value - 4, 4, 0xFFFFFFF0);
        const FileReport report = file.check(bytes);
        EXPECT_EQ(textsOf(report), std::vector<std::string>{c.text});
        EXPECT_EQ(report.findings.at(0).part, c.told) << c.text;
    }
}

TEST(FileReaderDamage, OfChunksIsFoundWhereItShows) {
    const CheckedFile file;
    for (const char* kind : damagedKinds) {
        SCOPED_TRACE(kind);
        for (const ExrDamage& damage : damagedChunks(bytesOfKind(kind))) {
            expectFound(damage, file.check(damage.file, Level::pixels));
            const FileReport structure = file.check(damage.file, Level::structure);
            if (damage.isStructural)
                expectFound(damage, structure);
            else
                EXPECT_EQ(textsOf(structure), std::vector<std::string>{}) << damage.what;
        }
    }
}

TEST(FileReaderDamage, IsWhatAPlainReadingFinds) {
    const CheckedFile file;
    int faults = 0;
    const auto expectSame = [&](const std::string& what, const std::string& bytes) {
        const PlainStructure plain = plainStructure(bytes, EXR_COMPRESSION_LAST_TYPE);
        EXPECT_EQ(differenceFromPlain(file.check(bytes, Level::structure), plain), "") << what;
        faults += plain.alone || !plain.faults.empty() ? 1 : 0;
    };
    for (const Kind& kind : exrKinds()) {
        SCOPED_TRACE(kind.name);
        const std::string good = exrBytes(kind);
        expectSame("nothing", good);
        EXPECT_FALSE(plainStructure(good, EXR_COMPRESSION_LAST_TYPE).alone);
        for (const ExrDamage& damage : damagedHeaders(good)) expectSame(damage.what, damage.file);
        for (const ExrDamage& damage : damagedChunks(good)) expectSame(damage.what, damage.file);
    }
    EXPECT_GT(faults, 3000);
}

// The other compressions hold no sum over their data: there a flipped byte may just be another picture.
TEST(FileReaderDamage, OfDataIsFoundInChunkAndOnlyThere) {
    const CheckedFile file;
    for (const char* kind :
         {"flatRowsZip", "flatRowsZips", "flatTilesZip", "deepRowsZips", "deepTilesZips", "partsFlat"}) {
        SCOPED_TRACE(kind);
        const std::string good = bytesOfKind(kind);
        std::size_t found = 0;
        const std::vector<ExrDamage> damages = damagedData(good);
        for (const ExrDamage& damage : damages) {
            const FileReport report = file.check(damage.file);
            EXPECT_EQ(textsOf(file.check(damage.file, Level::structure)), std::vector<std::string>{});
            EXPECT_LE(report.findings.size(), 1U) << damage.what;
            found += report.findings.size();
            for (const Finding& finding : report.findings) {
                EXPECT_EQ(finding.code, Code::chunk);
                EXPECT_EQ(finding.count, 1);
            }
        }
        EXPECT_GT(found, damages.size() / 2);
    }
}

TEST(FileReaderDamage, FlippedBytesNeverStopTheCheck) {
    const CheckedFile file;
    for (const Kind& kind : exrKinds()) {
        SCOPED_TRACE(kind.name);
        for (const ExrDamage& damage : damagedData(exrBytes(kind)))
            for (const std::string& code : codesOf(file.check(damage.file)))
                EXPECT_EQ(code, "chunk") << damage.what;
    }
}

TEST(FileReaderDamage, CutFilesAreTruncatedWhereverTheCutIs) {
    const CheckedFile file;
    for (const char* kind :
         {"flatRowsZip", "flatTilesZips", "deepRowsZips", "deepTilesRle", "partsMixed", "ripmapDown"}) {
        SCOPED_TRACE(kind);
        const std::string good = bytesOfKind(kind);
        const PlainLayout layout = plainLayout(good);
        for (std::size_t size = 8; size < good.size(); size += size < layout.tablesEnd + 60 ? 1 : 97) {
            const std::string cut = good.substr(0, size);
            const Level level = size < layout.tablesEnd ? Level::headers : Level::structure;
            const FileReport report = file.check(cut, level);
            EXPECT_EQ(codesOf(report), std::set<std::string>{"truncated"}) << size;
            EXPECT_EQ(report.headers != nullptr, size >= layout.headersEnd) << size;
        }
    }
}

TEST(FileReaderDamage, CutFileTellsEveryRowThatIsMissing) {
    const CheckedFile file;
    const std::string good = bytesOfKind("flatRowsZips");
    const PlainLayout layout = plainLayout(good);
    const std::string cut = good.substr(0, layout.chunks[40].data + 2);
    const FileReport report = file.check(cut, Level::structure);
    ASSERT_EQ(textsOf(report), std::vector<std::string>{"truncated: rows 40 to 69 of 70 are missing"});
    EXPECT_EQ(report.findings[0].part, 0);
    EXPECT_EQ(report.findings[0].rows->first, 40);
    EXPECT_EQ(report.findings[0].rows->last, 69);
    EXPECT_EQ(report.findings[0].count, 30);
    EXPECT_EQ(report.chunks[0].chunks, 70);
    EXPECT_EQ(report.chunks[0].present, 40);
    EXPECT_TRUE(report.headers);
}

// Nothing is missing from a file whose last chunk is whole: what is wrong is a size.
TEST(FileReaderDamage, SizeBehindTheEndIsNoMissingRow) {
    const CheckedFile file;
    const std::string good = bytesOfKind("flatRowsZips");
    const PlainLayout layout = plainLayout(good);
    std::string bytes = good;
    putPlainNumber(bytes, layout.chunks[40].sizes, 4, good.size());
    EXPECT_EQ(textsOf(file.check(bytes)),
              std::vector<std::string>{"truncated: row 40 of 70 reaches behind the file's end"});
    EXPECT_EQ(textsOf(file.check(bytes, Level::structure)), std::vector<std::string>{});
    bytes = good;
    putPlainNumber(bytes, layout.chunks[69].sizes, 4, good.size());
    for (const Level level : {Level::structure, Level::pixels})
        EXPECT_EQ(textsOf(file.check(bytes, level)),
                  std::vector<std::string>{"truncated: row 69 of 70 is missing"});
}

// Whoever decodes such a chunk would first make room for all that the header announces.
TEST(FileReaderDamage, ChunksTooSmallForTheirRowsAreNotDecoded) {
    const CheckedFile file;
    for (const char* kind :
         {"flatRowsNone", "flatRowsRle", "flatRowsZip", "flatRowsPxr24", "flatRowsB44", "flatRowsB44a"}) {
        std::string bytes = bytesOfKind(kind);
        EXPECT_EQ(textsOf(file.check(bytes)), std::vector<std::string>{}) << kind;
        putPlainNumber(bytes, plainLayout(bytes).attribute(0, "dataWindow").value + 8, 4, 0x3FFFFFFE);
        EXPECT_EQ(codesOf(file.check(bytes)), std::set<std::string>{"chunk"}) << kind;
    }
}

TEST(FileReaderDamage, NoChunkOfABlackFrameIsTooSmall) {
    const CheckedFile file;
    for (int compression = 0; compression < Imf::NUM_COMPRESSION_METHODS; ++compression)
        for (const Imf::PixelType type : {Imf::HALF, Imf::FLOAT}) {
            PaintedPart part;
            for (const char* channel : {"B", "G", "R"}) part.channels.push_back({channel, plainPaint(0), type});
            part.data = {{0, 0}, {1023, 255}};
            part.compression = static_cast<Imf::Compression>(compression);
            EXPECT_EQ(textsOf(file.check(paintedBytes({part}))), std::vector<std::string>{}) << compression;
        }
}

TEST(FileReaderDamage, UnfinishedTellsRowsAndTiles) {
    const CheckedFile file;
    std::string rows = bytesOfKind("flatRowsZip");
    putPlainNumber(rows, plainLayout(rows).chunks[2].entry, 8, 0);
    EXPECT_EQ(textsOf(file.check(rows)),
              std::vector<std::string>{"unfinished: rows 32 to 47 of 70 were never written"});
    std::string tiles = bytesOfKind("flatTilesZip");
    putPlainNumber(tiles, plainLayout(tiles).chunks[5].entry, 8, 0);
    EXPECT_EQ(textsOf(file.check(tiles)),
              std::vector<std::string>{"unfinished: tile 2,1 of part 0 was never written"});
}

TEST(FileReaderDamage, OverlappingChunksAreBothNamed) {
    const CheckedFile file;
    std::string bytes = bytesOfKind("flatRowsNone");
    const PlainLayout layout = plainLayout(bytes);
    // Row 10 as a whole once more inside row 20, over the beginning of row 21.
    const PlainChunk& inner = layout.chunks[10];
    const std::size_t place = layout.chunks[20].data + 4;
    bytes.replace(place, inner.end - inner.offset, bytes.substr(inner.offset, inner.end - inner.offset));
    putPlainNumber(bytes, inner.entry, 8, place);
    const std::vector<std::string> expected{"chunk: row 10 of 70 overlaps another chunk",
                                            "chunk: row 20 of 70 overlaps another chunk",
                                            "chunk: row 21 of 70 is not at its place"};
    EXPECT_EQ(textsOf(file.check(bytes)), expected);
}

TEST(FileReaderDamage, ForeignFilesHaveTheirCodes) {
    const CheckedFile file;
    for (const ExrDamage& damage : foreignFiles())
        for (const Level level : {Level::headers, Level::pixels})
            expectFound(damage, file.check(damage.file, level));
}

// Whoever writes it is not through, if it is young.
TEST(FileReaderDamage, ZerosWhereAFileMadeAtFullSizeIsNotWrittenAreNoted) {
    const CheckedFile file;
    const auto withZeros = [](std::string bytes, std::size_t begin, std::size_t end) {
        std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(begin),
                  bytes.begin() + static_cast<std::ptrdiff_t>(end), '\0');
        return bytes;
    };
    for (const char* kind : damagedKinds) {
        SCOPED_TRACE(kind);
        const std::string good = bytesOfKind(kind);
        const PlainLayout layout = plainLayout(good);
        for (const Level level : {Level::headers, Level::structure, Level::pixels}) {
            EXPECT_FALSE(file.check(good, level).hasZeros);
            EXPECT_TRUE(file.check(withZeros(good, 0, good.size()), level).hasZeros);
            EXPECT_TRUE(file.check(withZeros(good, 0, 4), level).hasZeros);
            EXPECT_FALSE(file.check("x" + good.substr(1), level).hasZeros);
            const FileReport begun = file.check(withZeros(good, layout.tablesEnd, good.size()), level);
            EXPECT_EQ(begun.hasZeros, level != Level::headers);
        }
        const PlainChunk& middle = layout.chunks[layout.chunks.size() / 2];
        std::string nonsense = withZeros(good, middle.place, middle.data);
        EXPECT_TRUE(file.check(nonsense).hasZeros);
        std::fill(nonsense.begin() + static_cast<std::ptrdiff_t>(middle.place),
                  nonsense.begin() + static_cast<std::ptrdiff_t>(middle.data), 'x');
        EXPECT_FALSE(file.check(nonsense).hasZeros);
    }
}

TEST(FileReaderDamage, ZerosAtTheEndOfAChunkThatCantBeDecodedAreNoted) {
    const CheckedFile file;
    std::string bytes = bytesOfKind("flatRowsZip");
    const PlainChunk last = plainLayout(bytes).chunks.back();
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(last.data), bytes.end(), '\0');
    const FileReport zeros = file.check(bytes);
    EXPECT_EQ(codesOf(zeros), std::set<std::string>{"chunk"});
    EXPECT_TRUE(zeros.hasZeros);
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(last.data), bytes.end(), 'x');
    const FileReport others = file.check(bytes);
    EXPECT_EQ(codesOf(others), std::set<std::string>{"chunk"});
    EXPECT_FALSE(others.hasZeros);
}
