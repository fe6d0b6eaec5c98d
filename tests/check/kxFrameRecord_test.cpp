// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameRecord.h"

#include <gtest/gtest.h>

#include <memory>

using namespace kxCheck;

namespace {

kxExr::Part somePart() {
    kxExr::Part part;
    part.displayWindow = {0, 0, 1919, 1079};
    part.dataWindow = {-10, -10, 9, 9};
    part.compression = kxExr::Compression::zip;
    part.channels = {{"A"}, {"B"}, {"G"}, {"R"}};
    return part;
}

FileReport someReport(const Headers& headers) {
    FileReport report;
    report.hasIdentity = true;
    report.identity = {1, 2, 1234567, 1709251199000000000};
    report.headers = std::make_shared<const Headers>(headers);
    return report;
}

FileReport pictureReport() {
    FileReport report = someReport({somePart()});
    report.decoded = true;
    report.notes = {"node7", 125};
    PictureReport picture;
    picture.picture.emplace();
    picture.picture->histogram[2][5] = 777;
    picture.picture->isTileMissing = true;
    report.picture = std::make_shared<const PictureReport>(picture);
    return report;
}

// The line of the info text that says what the file is.
QString sourceLine(const Headers& headers) {
    kxCHK::_SingleImageView view;
    fillRecord(view, someReport(headers));
    return view.imageInfoLines().section(QLatin1Char('\n'), 2, 2);
}

}  // namespace

TEST(FrameRecord, SaysInItsInfoLinesWhatIsKnown) {
    kxCHK::_SingleImageView view;
    view.frameText = QStringLiteral("0042");
    fillRecord(view, pictureReport());
    const QString expected =
        QStringLiteral("0042\n\n1920x1080  Half Float, zip, A B G R\n gamma ()\n1.234.567 bytes\n") +
        view.fileTime.asString() + QStringLiteral("\nnode7\nAverage Render Time: 2.05 m.s\n");
    EXPECT_EQ(view.imageInfoLines(), expected);
}

TEST(FrameRecord, HoldsWhatThePictureSays) {
    kxCHK::_SingleImageView view;
    fillRecord(view, pictureReport());
    EXPECT_TRUE(view.fileFound);
    EXPECT_EQ(view.fileTime.nanoseconds(), 1709251199000000000);
    EXPECT_EQ(+view.fileSize, 1234567);
    EXPECT_EQ(view.histogramValid, 1);
    EXPECT_EQ(view.histogram[2][5], 777U);
    EXPECT_EQ(view.errorFlags, kxCHK::errorTileMissing);
    EXPECT_EQ(view.errorLevel, 3);
    EXPECT_EQ(view.averageRenderTime, 125);
}

TEST(FrameRecord, TakesItsLevelFromTheAnalyseValuesToo) {
    kxCHK::_SingleImageView view;
    view.analyseValue1 = 3;
    fillRecord(view, someReport({somePart()}));
    EXPECT_EQ(view.errorLevel, 1);
    EXPECT_EQ(view.analyseValue1, 3);
}

TEST(FrameRecord, ForgetsTheFrameThatItHeldBefore) {
    kxCHK::_SingleImageView view;
    fillRecord(view, pictureReport());
    fillRecord(view, FileReport());
    EXPECT_FALSE(view.fileFound);
    EXPECT_EQ(+view.fileSize, -1);
    EXPECT_EQ(view.fileTime.nanoseconds(), 0);
    EXPECT_TRUE(view.infoText.isEmpty());
    EXPECT_EQ(view.averageRenderTime, -1);
    EXPECT_EQ(view.histogramValid, 0);
    EXPECT_EQ(view.histogram[2][5], 0U);
    EXPECT_EQ(view.errorFlags, 0);
    EXPECT_EQ(view.errorLevel, 0);
}

TEST(FrameRecord, WithoutHeadersHasNoThumbnail) {
    kxCHK::_SingleImageView view;
    fillRecord(view, FileReport());
    EXPECT_FALSE(view.thumbnail);
    fillRecord(view, someReport({somePart()}));
    ASSERT_TRUE(view.thumbnail);
    EXPECT_EQ(view.thumbnail->pixelCount, 0U);
    EXPECT_EQ(view.thumbnail->flags, 0) << "no pixel was looked at";
}

TEST(FrameRecord, LeavesPixelsAsTheyAre) {
    kxCHK::_SingleImageView view;
    kxP::_imgRGBABuffer8& thumbnail = view.ensureThumbnail();
    thumbnail.setWidth(2);
    thumbnail.setHeight(1);
    thumbnail.write(1, {1, 2, 3, 4});
    fillRecord(view, pictureReport());
    EXPECT_EQ(view.thumbnail->pixelCount, 2U);
    EXPECT_EQ(view.thumbnail->read(1).b, 3);
    EXPECT_EQ(view.thumbnail->flags, KX_IMG_GAMMA22);
    EXPECT_EQ(view.thumbnail->bitsPerChannel, 16);
}

TEST(FrameRecord, NamesTypesCompressionChannelsAndParts) {
    using kxExr::PixelType;
    kxExr::Part part = somePart();
    EXPECT_EQ(sourceLine({part, part, part}),
              QStringLiteral("1920x1080  Half Float, zip, A B G R, first of 3 parts"));
    part.compression = kxExr::Compression::dwaa;
    part.channels = {{"Y", PixelType::float32}};
    EXPECT_EQ(sourceLine({part}), QStringLiteral("1920x1080  Float, dwaa, Y"));
    part.channels = {{"R"}, {"Z", PixelType::float32}, {"id", PixelType::uint}};
    EXPECT_EQ(sourceLine({part}),
              QStringLiteral("1920x1080  Half Float and Float and Unsigned Integer (no Float), dwaa, R Z id"));
    part.channels = {{"id", PixelType::uint}};
    EXPECT_EQ(sourceLine({part}), QStringLiteral("1920x1080  Unsigned Integer (no Float), dwaa, id"));
    part.channels = std::vector<kxExr::Channel>(1000, {"channel"});
    EXPECT_TRUE(sourceLine({part}).endsWith(QStringLiteral("...")));
}

TEST(FrameRecord, OfALargeFileHasTheMarkerOfFourGigabytes) {
    FileReport report = someReport({somePart()});
    kxCHK::_SingleImageView view;
    for (const long long size : {4199999999LL, 4200000000LL, 1LL << 40}) {
        report.identity.size = size;
        fillRecord(view, report);
        EXPECT_EQ(+view.fileSize, std::min(size, kxCHK::fileSizeMarker4GB));
    }
}

TEST(FrameRecord, CutsTheMachineToFiftyCharacters) {
    FileReport report = someReport({somePart()});
    report.notes.infoText = QByteArray(200, 'x');
    kxCHK::_SingleImageView view;
    fillRecord(view, report);
    EXPECT_EQ(view.infoText.toQString(), QString(50, QLatin1Char('x')));
}
