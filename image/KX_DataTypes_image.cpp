// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_DataTypes_image.h"

#include "image/kxRenderErrors.h"

#include <cstring>
#include <iterator>
#include <utility>

namespace kxCHK {

namespace {

struct ErrorText {
    unsigned short bit;
    const char* text;
};

constexpr ErrorText errorTexts[] = {
    {errorTileMissing, "Tile Missing; "},
    {errorAlphaPixelMissing, "Alpha Pixel Missing; "},
    {errorBrokenLine, "Broken line; "},
};

// By errorLevel.
constexpr const char* errorLevelColours[] = {"-", "yellow", "orange", "red"};

}  // namespace

QString imageAnalyseError2Str(unsigned short const& flags) {
    QString text;
    for (const ErrorText& error : errorTexts) {
        if (flags & error.bit) text += QString::fromLatin1(error.text);
    }
    return text;
}

// --- The record ------------------------------------------------------------------------------------------------

_SingleImageData::_SingleImageData() : recordId(currentRecordId), reserved1_{}, reserved2_(0) {
    clearBase();
}

void _SingleImageData::clearBase() {
    fileTime = _kxTime();
    fileSize = -1;
    auxValue = 0;
    errorFlags = 0;
    errorLevel = 0;
    infoText.clear();
    averageRenderTime = -1;
    histogramValid = 0;
    std::memset(histogramReserve_, 0, sizeof histogramReserve_);
    analyseValue1 = 0.0F;
    analyseValue2 = 0.0F;
}

unsigned char _SingleImageData::setAnalyseErrorLevel() {
    const auto aboveEither = [this](float limit) { return analyseValue1 > limit || analyseValue2 > limit; };
    if (errorFlags & errorTileMissing) {
        errorLevel = 3;
    } else if ((errorFlags & errorAlphaPixelMissing) || aboveEither(4.0F)) {
        errorLevel = 2;
    } else {
        errorLevel = aboveEither(2.0F) ? 1 : 0;
    }
    return errorLevel;
}

QString _SingleImageData::analyseErrorLevelAsColorString() {
    return QString::fromLatin1(errorLevel < std::size(errorLevelColours) ? errorLevelColours[errorLevel] : "?");
}

// --- The view --------------------------------------------------------------------------------------------------

_SingleImageView::_SingleImageView() : thumbnail(nullptr), thumbnailLoaded(0) {
    clearDisplay();
}

_SingleImageView::~_SingleImageView() {
    releaseThumbnail();
}

_SingleImageView::_SingleImageView(_SingleImageView&& other) noexcept : thumbnail(nullptr) {
    *this = std::move(other);
}

_SingleImageView& _SingleImageView::operator=(_SingleImageView&& other) noexcept {
    if (this == &other) return *this;
    releaseThumbnail();
    static_cast<_SingleImageData&>(*this) = other;
    thumbnail = std::exchange(other.thumbnail, nullptr);
    checkPending = other.checkPending;
    thumbnailLoaded = std::exchange(other.thumbnailLoaded, static_cast<unsigned char>(0));
    fileFound = other.fileFound;
    cacheFlag = other.cacheFlag;
    frameNumber = other.frameNumber;
    frameText = other.frameText;
    displayName2 = other.displayName2;
    std::memcpy(displayReserve, other.displayReserve, sizeof displayReserve);
    return *this;
}

void _SingleImageView::clear() {
    clearBase();
    releaseThumbnail();
    clearDisplay();
}

void _SingleImageView::clearDisplay() {
    checkPending = 1;
    fileFound = false;
    cacheFlag = 0;
    frameNumber = 0;
    frameText.clear();
    displayName2.clear();
    std::memset(displayReserve, 0, sizeof displayReserve);
}

void _SingleImageView::releaseThumbnail() {
    delete thumbnail;
    thumbnail = nullptr;
    thumbnailLoaded = 0;
}

kxP::_imgRGBABuffer8& _SingleImageView::ensureThumbnail() {
    if (!thumbnail) thumbnail = new kxP::_imgRGBABuffer8(thumbnailCapacity);
    return *thumbnail;
}

// --- Info lines ------------------------------------------------------------------------------------------------

namespace {

// Groups of three digits, except that the leading group runs from 1 to 1000: 1000 and 1000.500, but 1.001.
QString withGroupSeparators(long long value) {
    QString groups;
    for (; value > 1000; value /= 1000) {
        groups.prepend(QStringLiteral(".%1").arg(value % 1000, 3, 10, QLatin1Char('0')));
    }
    return QString::number(value) + groups;
}

QString fileSizeLine(long long size) {
    constexpr long long gigabyte = 1LL << 30;
    // Sizes of 4 GB and more are stored as one marker: how much more is not known.
    if (size == fileSizeMarker4GB) return QStringLiteral("4+ GB\n");
    if (size > gigabyte) return withGroupSeparators(size >> 20) + QStringLiteral(" MiB\n");
    return withGroupSeparators(size) + QStringLiteral(" bytes\n");
}

QString sourceLines(const kxP::_imgRGBABuffer8& image) {
    constexpr int shownCharacters = 150;
    QString text = QStringLiteral("%1x%2  ").arg(image.sourceWidth).arg(image.sourceHeight);
    const QString format = image.formatText.toQString();
    // A format text that names floats says the depth itself, and begins on the line of the resolution.
    if (!format.contains(QStringLiteral("Float"))) {
        const int bits = image.bitsPerChannel;
        text += bits == 32 ? QStringLiteral("Float\n") : QStringLiteral("%1bit\n").arg(bits);
    }
    text += format.left(shownCharacters);
    if (format.size() > shownCharacters) text += QStringLiteral("...");
    return text + QLatin1Char('\n');
}

QString flagsLine(unsigned char flags) {
    QString text;
    if (flags & KX_IMG_GAMMA22) text += QStringLiteral(" gamma");
    if (flags & KX_IMG_SUPERWHITE) text += QStringLiteral(" SuperWhite");
    if (flags & KX_IMG_FROM_CACHE) return text + QStringLiteral(" (kxCache)\n");
    if (flags & KX_IMG_CACHE_REWRITTEN) return text + QStringLiteral(" (kxCache rewritten)\n");
    return text + QStringLiteral(" ()\n");
}

QString renderTimeLine(int seconds) {
    return QStringLiteral("Average Render Time: %1.%2 m.s\n")
        .arg(seconds / 60)
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

}  // namespace

QString _SingleImageView::imageInfoLines() {
    QString text = frameText + "\n\n";
    if (thumbnail) text += sourceLines(*thumbnail) + flagsLine(thumbnail->flags);
    text += fileSizeLine(fileSize);
    text += fileTime.asString() + QLatin1Char('\n');
    text += infoText + "\n";
    if (averageRenderTime > 0) text += renderTimeLine(averageRenderTime);
    return text;
}

// --- Render errors ---------------------------------------------------------------------------------------------

void _SingleImageData::createHistogram(kxP::_imgRGBABuffer8 const* image) {
    const Histogram computed = image ? histogramOf(*image) : Histogram{};
    static_assert(sizeof histogram == sizeof computed, "the record holds it bin by bin");
    std::memcpy(histogram, computed.data(), sizeof histogram);
    if (image && image->pixelsInMemory() > 0) histogramValid = 1;
}

unsigned short doErrorSearch(kxP::_imgRGBABuffer8& image, _SingleImageData* record) {
    unsigned short errors = hasMissingTile(image) ? errorTileMissing : 0;
    if (!record) return errors;

    record->createHistogram(&image);
    Histogram histogram;
    std::memcpy(histogram.data(), record->histogram, sizeof histogram);
    const bool isOpaque = record->histogramValid && isPracticallyOpaque(histogram);
    if (image.valid && isOpaque && hasMissingAlpha(image)) errors |= errorAlphaPixelMissing;
    record->errorFlags = errors;
    record->setAnalyseErrorLevel();
    return errors;
}

}  // namespace kxCHK
