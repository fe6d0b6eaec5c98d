// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxWorkerMessage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using namespace kxCheck;

namespace {

kxExr::Part somePart() {
    kxExr::Part part;
    part.name = QByteArray("left\0eye", 8);
    part.storage = kxExr::Storage::deepTiled;
    part.displayWindow = {-1, 2, std::numeric_limits<std::int32_t>::max(), 4};
    part.dataWindow = {5, std::numeric_limits<std::int32_t>::min(), 7, 8};
    part.compression = kxExr::Compression::dwab;
    part.lineOrder = kxExr::LineOrder::random;
    part.pixelAspectRatio = 1.5F;
    part.tiles = {64, 0xffffffffU, kxExr::LevelMode::ripmap, kxExr::LevelRounding::up};
    part.channels = {{"A", kxExr::PixelType::half, 1, 1}, {"\xff.Z", kxExr::PixelType::float32, 2, -3}};
    return part;
}

Finding someFinding() {
    Finding finding = makeFinding(Code::truncated, "rows 540 to 1079 of 1080 are missing");
    finding.part = 3;
    finding.rows = {-5, 1079};
    finding.tiles = {{1, 2, 3, 4}, {5, 6, 0, 0}};
    finding.channel = "R";
    finding.count = 1234567890123;
    return finding;
}

PictureReport somePicture() {
    PictureReport picture;
    PictureFacts& facts = picture.picture.emplace();
    facts.histogram[3][31] = 1000000;
    facts.histogram[0][0] = 0xffffffffU;
    facts.hasAlpha = facts.isTileMissing = facts.isFlat = true;
    facts.ranges = {SampleRange{-1.5, 65504, 0.25}, std::nullopt, SampleRange{0, 0, 0}, std::nullopt};
    picture.strange = {{0, "R", 12, 0}, {1, "diffuse.G", 0, 345678901234}};
    picture.hash = {0xfedcba9876543210U, 1};
    return picture;
}

FileReport someReport() {
    FileReport report;
    report.hasIdentity = true;
    report.identity = {0xfffffffffffffffeU, 7, 1234567890123, -5};
    report.headers = std::make_shared<const Headers>(Headers{somePart(), kxExr::Part()});
    report.chunks = {{10, 9}, {0, 0}};
    report.decoded = true;
    report.notes = {"node\xe9", 754};
    report.picture = std::make_shared<const PictureReport>(somePicture());
    report.preview = {QByteArray("\xff\xd8\0\xd9", 4), 580, 326, "small"};
    report.hasZeros = true;
    report.findings = {someFinding(), makeFinding(Code::nan, "")};
    report.cacheFault = "File too large";
    report.seconds = 0.25;
    return report;
}

// Each encoder names headers of its own, so reports are compared by what a fresh one writes.
QByteArray bytesOfReport(const FileReport& report) {
    return ReportEncoder().encode(report);
}

std::optional<FileReport> decoded(const QByteArray& content) {
    HeaderStore store;
    return ReportDecoder(store).decode(content);
}

// The bytes of the first number in a message that is `value`.
int placeOf(const QByteArray& content, std::int64_t value) {
    QByteArray number(8, 0);
    for (int i = 0; i < 8; ++i) number[7 - i] = static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i));
    return static_cast<int>(content.indexOf(number));
}

QByteArray withNumber(QByteArray content, std::int64_t old, std::int64_t value) {
    const int place = placeOf(content, old);
    EXPECT_GE(place, 0);
    for (int i = 0; i < 8; ++i)
        content[place + 7 - i] = static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i));
    return content;
}

}  // namespace

TEST(WorkerMessage, IsReadWholeOrNotAtAll) {
    QByteArray stream;
    appendMessage(stream, "first");
    appendMessage(stream, "");
    appendMessage(stream, "third");
    for (int size = 0; size < 9; ++size) {
        int at = 0;
        QByteArray content = "untouched";
        EXPECT_EQ(readMessage(stream.left(size), at, content), Arrival::incomplete);
        EXPECT_EQ(at, 0);
        EXPECT_EQ(content, "untouched");
    }
    int at = 0;
    for (const char* expected : {"first", "", "third"}) {
        QByteArray content;
        ASSERT_EQ(readMessage(stream, at, content), Arrival::whole);
        EXPECT_EQ(content, expected);
    }
    QByteArray content;
    EXPECT_EQ(readMessage(stream, at, content), Arrival::incomplete);
    EXPECT_EQ(at, stream.size());
}

TEST(WorkerMessage, IsNeverLongerThanTheGreatest) {
    for (const std::uint32_t length : {greatestMessage, greatestMessage + 1, 0xffffffffU}) {
        QByteArray stream(sizeof length, 0);
        std::memcpy(stream.data(), &length, sizeof length);
        int at = 0;
        QByteArray content;
        const Arrival expected = length > greatestMessage ? Arrival::tooLong : Arrival::incomplete;
        EXPECT_EQ(readMessage(stream, at, content), expected);
    }
}

TEST(Checks, ComeBackAsTheyWere) {
    const std::vector<FileCheck> sent = {{QByteArray("/r/\xff\n.exr"), Level::headers},
                                         {"", Level::structure, "", true, false},
                                         {"x", Level::pixels, QByteArray("/c/\xff"), false, true}};
    const auto received = decodeChecks(encodeChecks(sent));
    ASSERT_TRUE(received);
    ASSERT_EQ(received->size(), sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ((*received)[i].path, sent[i].path);
        EXPECT_EQ((*received)[i].level, sent[i].level);
        EXPECT_EQ((*received)[i].cacheFile, sent[i].cacheFile);
        EXPECT_EQ((*received)[i].keepsInCache, sent[i].keepsInCache);
        EXPECT_EQ((*received)[i].wantsPreview, sent[i].wantsPreview);
    }
}

TEST(Checks, OfAnotherLengthOrLevelAreRejected) {
    const QByteArray right = encodeChecks({{"/r/a.exr", Level::pixels}, {"/r/b.exr", Level::pixels}});
    for (int size = 0; size < right.size(); ++size) EXPECT_FALSE(decodeChecks(right.left(size))) << size;
    EXPECT_FALSE(decodeChecks(right + '\0'));
    QByteArray wrongFlag = right;
    wrongFlag[wrongFlag.size() - 1] = 2;
    EXPECT_FALSE(decodeChecks(wrongFlag));
    EXPECT_FALSE(decodeChecks(encodeChecks({{"/r/a.exr", static_cast<Level>(3)}})));
}

TEST(Report, ComesBackAsItWas) {
    const FileReport sent = someReport();
    const auto received = decoded(bytesOfReport(sent));
    ASSERT_TRUE(received);
    EXPECT_EQ(bytesOfReport(*received), bytesOfReport(sent));
    EXPECT_TRUE(received->hasIdentity);
    EXPECT_EQ(received->identity, sent.identity);
    EXPECT_TRUE(received->decoded);
    EXPECT_EQ(received->cacheFault, "File too large");
    EXPECT_EQ(received->seconds, 0.25);
    ASSERT_EQ(received->chunks.size(), 2U);
    EXPECT_EQ(received->chunks[0].present, 9);
    ASSERT_TRUE(received->headers);
    ASSERT_EQ(received->headers->size(), 2U);
    const kxExr::Part part = received->headers->front();
    const kxExr::Part expected = somePart();
    EXPECT_EQ(part.name, expected.name);
    EXPECT_EQ(part.storage, expected.storage);
    EXPECT_EQ(part.displayWindow, expected.displayWindow);
    EXPECT_EQ(part.dataWindow, expected.dataWindow);
    EXPECT_EQ(part.compression, expected.compression);
    EXPECT_EQ(part.lineOrder, expected.lineOrder);
    EXPECT_EQ(part.pixelAspectRatio, expected.pixelAspectRatio);
    EXPECT_EQ(part.tiles, expected.tiles);
    EXPECT_EQ(part.channels, expected.channels);
    ASSERT_EQ(received->findings.size(), 2U);
    const Finding& finding = received->findings[0];
    EXPECT_EQ(finding.code, Code::truncated);
    EXPECT_EQ(finding.severity, Severity::error);
    EXPECT_EQ(finding.text, someFinding().text);
    EXPECT_EQ(finding.part, 3);
    ASSERT_TRUE(finding.rows);
    EXPECT_EQ(finding.rows->first, -5);
    EXPECT_EQ(finding.rows->last, 1079);
    ASSERT_EQ(finding.tiles.size(), 2U);
    EXPECT_EQ(finding.tiles[0].levelY, 4);
    EXPECT_EQ(finding.channel, "R");
    EXPECT_EQ(finding.count, 1234567890123);
}

TEST(Report, BringsThePictureAsItWas) {
    const auto received = decoded(bytesOfReport(someReport()));
    ASSERT_TRUE(received && received->picture && received->picture->picture);
    const PictureReport& picture = *received->picture;
    const PictureReport expected = somePicture();
    EXPECT_EQ(picture.picture->histogram, expected.picture->histogram);
    EXPECT_TRUE(picture.picture->hasAlpha);
    EXPECT_TRUE(picture.picture->isTileMissing);
    EXPECT_FALSE(picture.picture->isAlphaMissing);
    EXPECT_FALSE(picture.picture->isBlack);
    EXPECT_TRUE(picture.picture->isFlat);
    ASSERT_TRUE(picture.picture->ranges[0]);
    EXPECT_EQ(picture.picture->ranges[0]->min, -1.5);
    EXPECT_EQ(picture.picture->ranges[0]->max, 65504);
    EXPECT_EQ(picture.picture->ranges[0]->mean, 0.25);
    EXPECT_FALSE(picture.picture->ranges[1]);
    EXPECT_TRUE(picture.picture->ranges[2]);
    ASSERT_EQ(picture.strange.size(), 2U);
    EXPECT_EQ(picture.strange[1].part, 1);
    EXPECT_EQ(picture.strange[1].channel, "diffuse.G");
    EXPECT_EQ(picture.strange[0].nan, 12);
    EXPECT_EQ(picture.strange[1].infinite, 345678901234);
    EXPECT_EQ(picture.hash, expected.hash);
    EXPECT_FALSE(picture.isCached);
    EXPECT_EQ(received->preview.jpeg, someReport().preview.jpeg);
    EXPECT_EQ(received->preview.width, 580);
    EXPECT_EQ(received->preview.height, 326);
    EXPECT_EQ(received->preview.small, "small");
    EXPECT_EQ(received->notes.infoText, "node\xe9");
    EXPECT_EQ(received->notes.renderTime, 754);
}

// A report with this one picture.
FileReport reportOf(const PictureReport& picture) {
    FileReport report = someReport();
    report.picture = std::make_shared<const PictureReport>(picture);
    return report;
}

TEST(Report, BringsEachFactOfThePictureByItself) {
    using Fact = bool PictureFacts::*;
    const Fact facts[] = {&PictureFacts::hasAlpha,      &PictureFacts::isTileMissing, &PictureFacts::isAlphaMissing,
                          &PictureFacts::hasDarkCorner, &PictureFacts::isBlack,       &PictureFacts::isFlat};
    for (const Fact only : facts) {
        PictureReport picture = somePicture();
        for (const Fact fact : facts) (*picture.picture).*fact = fact == only;
        const auto received = decoded(bytesOfReport(reportOf(picture)));
        ASSERT_TRUE(received && received->picture && received->picture->picture);
        for (const Fact fact : facts) EXPECT_EQ((*received->picture->picture).*fact, fact == only);
    }
}

TEST(Report, WithoutPictureInTheFirstPartKeepsTheRest) {
    PictureReport picture = somePicture();
    picture.picture.reset();
    const auto received = decoded(bytesOfReport(reportOf(picture)));
    ASSERT_TRUE(received && received->picture);
    EXPECT_FALSE(received->picture->picture);
    EXPECT_EQ(received->picture->strange.size(), 2U);
}

TEST(Report, BringsAPreviewOfWhatWasDecodedInPart) {
    FileReport report = someReport();
    report.decoded = false;
    report.picture = nullptr;
    const auto received = decoded(bytesOfReport(report));
    ASSERT_TRUE(received);
    EXPECT_FALSE(received->picture);
    EXPECT_EQ(received->preview.small, "small");
}

TEST(Report, IsRejectedWithAPreviewBeyondItsBounds) {
    FileReport report = someReport();
    report.preview.jpeg.fill('x', mostPreviewBytes);
    EXPECT_TRUE(decoded(bytesOfReport(report)));
    report.preview.jpeg.append('x');
    EXPECT_FALSE(decoded(bytesOfReport(report)));
    report = someReport();
    report.preview.small.fill('x', mostSmallPreviewBytes + 1);
    EXPECT_FALSE(decoded(bytesOfReport(report)));
    for (int Preview::*const side : {&Preview::width, &Preview::height})
        for (const int length : {-1, 190001}) {
            report = someReport();
            report.preview.*side = length;
            EXPECT_FALSE(decoded(bytesOfReport(report))) << length;
        }
}

TEST(Report, IsRejectedWithAPictureThatIsNone) {
    FileReport report = someReport();
    report.decoded = false;
    EXPECT_FALSE(decoded(bytesOfReport(report))) << "a picture of what was not decoded";

    PictureReport picture = somePicture();
    picture.strange[1].part = 2;
    EXPECT_FALSE(decoded(bytesOfReport(reportOf(picture)))) << "samples of a part that is not there";
    picture = somePicture();
    picture.strange[1].nan = -1;
    EXPECT_FALSE(decoded(bytesOfReport(reportOf(picture))));
    for (const SampleRange range : {SampleRange{2, 1, 1}, SampleRange{0, 1, std::nan("")},
                                    SampleRange{-HUGE_VAL, 1, 0}, SampleRange{0, HUGE_VAL, 0}}) {
        picture = somePicture();
        picture.picture->ranges[1] = range;
        EXPECT_FALSE(decoded(bytesOfReport(reportOf(picture))));
    }
}

TEST(Report, IsRejectedWithNotesThatNoHeaderGives) {
    FileReport report = someReport();
    report.notes.infoText.fill('x', static_cast<int>(NoteTaker::mostBytes) + 1);
    EXPECT_FALSE(decoded(bytesOfReport(report)));
    report = someReport();
    report.notes.renderTime = -2;
    EXPECT_FALSE(decoded(bytesOfReport(report)));
}

TEST(Report, KeepsAnAspectRatioThatIsNoNumber) {
    FileReport report;
    kxExr::Part part;
    part.pixelAspectRatio = std::numeric_limits<float>::quiet_NaN();
    report.headers = std::make_shared<const Headers>(Headers{part});
    const auto received = decoded(bytesOfReport(report));
    ASSERT_TRUE(received);
    EXPECT_TRUE(std::isnan(received->headers->front().pixelAspectRatio));
}

TEST(Report, IsRejectedWhenItIsNotTheNext) {
    ReportEncoder encoder;
    HeaderStore store;
    ReportDecoder decoder(store);
    const QByteArray first = encoder.encode(someReport());
    const QByteArray second = encoder.encode(someReport());
    const QByteArray third = encoder.encode(someReport());
    EXPECT_TRUE(decoder.decode(first));
    EXPECT_FALSE(decoder.decode(first));
    EXPECT_TRUE(decoder.wasSurplus());
    EXPECT_FALSE(decoder.decode(third));
    EXPECT_FALSE(decoder.wasSurplus());
    EXPECT_TRUE(decoder.decode(second));
    EXPECT_FALSE(decoder.wasSurplus());
    EXPECT_FALSE(decoder.decode(first.left(20)));
    EXPECT_FALSE(decoder.wasSurplus());
}

TEST(Report, IsRejectedWhereverItIsCut) {
    const QByteArray right = bytesOfReport(someReport());
    for (int size = 0; size < right.size(); ++size) EXPECT_FALSE(decoded(right.left(size))) << size;
    EXPECT_FALSE(decoded(right + '\0'));
}

TEST(Report, IsRejectedWithAValueOutOfRange) {
    FileReport report;
    report.headers = std::make_shared<const Headers>(Headers{kxExr::Part()});
    report.chunks = {{4711, 4712}};
    EXPECT_FALSE(decoded(bytesOfReport(report))) << "more chunks present than there are";
    report.chunks = {{4711, 4711}, {1, 1}};
    EXPECT_FALSE(decoded(bytesOfReport(report))) << "chunks of a part that is not there";
    report.chunks = {{4711, 4711}};
    const QByteArray right = bytesOfReport(report);
    EXPECT_TRUE(decoded(right));
    EXPECT_FALSE(decoded(withNumber(right, 4711, -1)));
    for (const double seconds : {-1.0, std::nan(""), HUGE_VAL, 1e303}) {
        report.seconds = seconds;
        EXPECT_FALSE(decoded(bytesOfReport(report))) << seconds;
    }
    report.seconds = 0;
    report.findings = {someFinding()};
    const QByteArray withFinding = bytesOfReport(report);
    EXPECT_TRUE(decoded(withNumber(withFinding, 1234567890123, 5)));
    EXPECT_FALSE(decoded(withNumber(withFinding, 1234567890123, -5)));
    EXPECT_FALSE(decoded(withNumber(withFinding, static_cast<std::int64_t>(Code::truncated), 24)));
    EXPECT_FALSE(decoded(withNumber(withFinding, static_cast<std::int64_t>(Code::truncated), -1)));
    report.findings.assign(mostFindings + 1, Finding());
    EXPECT_FALSE(decoded(bytesOfReport(report))) << "too many findings";
}

// A spoiled byte may give another right report, but never more than the message holds, and never a crash.
TEST(Report, WithAnyByteSpoiledIsRejectedOrWithinBounds) {
    const QByteArray right = bytesOfReport(someReport());
    std::mt19937 random(1);
    int rejected = 0;
    for (int at = 0; at < right.size(); ++at) {
        for (const int change : {0x01, 0x80, 0xff, static_cast<int>(random() % 255) + 1}) {
            QByteArray spoiled = right;
            spoiled[at] = static_cast<char>(spoiled[at] ^ change);
            const auto report = decoded(spoiled);
            if (!report) {
                ++rejected;
                continue;
            }
            EXPECT_LE(report->findings.size(), mostFindings);
            EXPECT_TRUE(!report->picture || report->picture->strange.size() <= 2);
            EXPECT_TRUE(!report->headers || report->headers->size() <= 2);
        }
    }
    EXPECT_GT(rejected, right.size());
}

TEST(Report, LeavesTheTilesOutWhereTheyAreTooMany) {
    FileReport report = someReport();
    report.findings[0].tiles.resize(greatestMessage / 16);
    const QByteArray content = bytesOfReport(report);
    EXPECT_LE(content.size(), static_cast<int>(greatestMessage));
    const auto received = decoded(content);
    ASSERT_TRUE(received);
    EXPECT_TRUE(received->findings[0].tiles.empty());
    EXPECT_EQ(received->findings[0].count, report.findings[0].count);
    EXPECT_EQ(received->findings[0].code, Code::truncated);
    EXPECT_TRUE(received->headers);
}

TEST(Report, LeavesThePreviewOutWhereOnlyThatMakesRoom) {
    FileReport report = someReport();
    PictureReport picture = somePicture();
    picture.strange.assign((greatestMessage - (256U << 10U)) / 29, {0, "R", 1, 1});
    report.picture = std::make_shared<const PictureReport>(picture);
    report.preview.jpeg.fill('x', mostPreviewBytes);
    const QByteArray content = bytesOfReport(report);
    EXPECT_LE(content.size(), static_cast<int>(greatestMessage));
    const auto received = decoded(content);
    ASSERT_TRUE(received && received->picture);
    EXPECT_TRUE(received->preview.jpeg.isEmpty());
    EXPECT_EQ(received->picture->strange.size(), picture.strange.size());
}

TEST(Report, OfHeadersTooLargeForAMessageIsALimit) {
    FileReport report = someReport();
    report.headers = std::make_shared<const Headers>(Headers(greatestMessage / 64));
    const auto received = decoded(bytesOfReport(report));
    ASSERT_TRUE(received);
    EXPECT_FALSE(received->headers);
    EXPECT_EQ(received->identity, report.identity);
    ASSERT_EQ(received->findings.size(), report.findings.size() + 1);
    EXPECT_EQ(received->findings[0].code, Code::limit);
    EXPECT_EQ(received->findings[1].code, report.findings[0].code);

    report.findings.assign(mostFindings, makeFinding(Code::chunk, "rows"));
    const auto full = decoded(bytesOfReport(report));
    ASSERT_TRUE(full);
    EXPECT_EQ(full->findings.size(), mostFindings);
    EXPECT_EQ(full->findings[0].code, Code::limit);
    EXPECT_EQ(full->findings.back().count, 2);
}
