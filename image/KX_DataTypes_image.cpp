#include "image/KX_DataTypes_image.h"

#include <cstring>
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

// --- The view --------------------------------------------------------------------------------------------------

_SingleImageView::_SingleImageView() : thumbnail(nullptr) {
    clear();
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

}  // namespace kxCHK
