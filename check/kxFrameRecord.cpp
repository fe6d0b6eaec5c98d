// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameRecord.h"

#include "check/kxEscape.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace kxCheck {

namespace {

using kxExr::PixelType;

// The info lines take a text with the word "Float" for one that says the depth itself; without it they would call
// every 32 bits a float.
const char* typeText(PixelType type) {
    switch (type) {
        case PixelType::half:
            return "Half Float";
        case PixelType::float32:
            return "Float";
        case PixelType::uint:
            return "Unsigned Integer (no Float)";
    }
    return "";
}

QByteArray typesText(const std::vector<kxExr::Channel>& channels) {
    QByteArray text;
    for (const PixelType type : {PixelType::half, PixelType::float32, PixelType::uint}) {
        const auto isOf = [type](const kxExr::Channel& channel) { return channel.type == type; };
        if (std::none_of(channels.begin(), channels.end(), isOf)) continue;
        if (!text.isEmpty()) text += " and ";
        text += typeText(type);
    }
    return text;
}

// "Half Float, zip, A B G R"; of several parts the first.
QString formatText(const Headers& headers) {
    const kxExr::Part& part = headers.front();
    QByteArray text = typesText(part.channels) + ", " + compressionName(part.compression) + ",";
    for (const kxExr::Channel& channel : part.channels) text += ' ' + channel.name;
    if (headers.size() > 1) text += ", first of " + QByteArray::number(static_cast<int>(headers.size())) + " parts";
    return QString::fromLatin1(escaped(text));
}

unsigned char flagsOf(const PictureReport* report) {
    const bool hasPicture = report && report->picture;
    const bool isCached = report && report->isCached;
    return static_cast<unsigned char>((hasPicture ? KX_IMG_GAMMA22 : 0) | (isCached ? KX_IMG_FROM_CACHE : 0));
}

void describeSource(const Headers& headers, const PictureReport* report, kxP::_imgRGBABuffer8& image) {
    const kxExr::Part& part = headers.front();
    const auto isHalf = [](const kxExr::Channel& channel) { return channel.type == PixelType::half; };
    const auto side = [](std::int64_t pixels) { return static_cast<int>(std::min<std::int64_t>(pixels, INT_MAX)); };
    image.sourceWidth = side(part.displayWindow.width());
    image.sourceHeight = side(part.displayWindow.height());
    image.bitsPerChannel = std::all_of(part.channels.begin(), part.channels.end(), isHalf) ? 16 : 32;
    image.formatText = formatText(headers);
    image.flags = flagsOf(report);
}

unsigned short errorFlagsOf(const PictureFacts& facts) {
    return static_cast<unsigned short>((facts.isTileMissing ? kxCHK::errorTileMissing : 0) |
                                       (facts.isAlphaMissing ? kxCHK::errorAlphaPixelMissing : 0));
}

}  // namespace

void fillRecord(kxCHK::_SingleImageView& view, const FileReport& file) {
    const PictureFacts* facts = file.picture && file.picture->picture ? &*file.picture->picture : nullptr;
    view.fileFound = file.hasIdentity;
    view.fileTime = _kxTime(file.hasIdentity ? file.identity.modified : 0);
    view.fileSize = file.hasIdentity ? std::min<long long>(file.identity.size, kxCHK::fileSizeMarker4GB) : -1;
    view.infoText = QString::fromLatin1(escaped(file.notes.infoText));
    view.averageRenderTime = file.notes.renderTime;
    const kxCHK::Histogram histogram = facts ? facts->histogram : kxCHK::Histogram{};
    static_assert(sizeof histogram == sizeof view.histogram, "bin by bin");
    std::memcpy(view.histogram, histogram.data(), sizeof view.histogram);
    view.histogramValid = facts ? 1 : 0;
    view.errorFlags = facts ? errorFlagsOf(*facts) : 0;
    view.setAnalyseErrorLevel();
    if (file.headers) describeSource(*file.headers, file.picture.get(), view.ensureThumbnail());
}

}  // namespace kxCheck
