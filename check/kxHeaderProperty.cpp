// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxHeaderProperty.h"

#include "check/kxChannelDifference.h"
#include "check/kxNumberText.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <utility>

namespace kxCheck {

namespace {

using kxExr::Part;

// A part of the frame and that of the others which it is compared with.
struct PartPair {
    int index;  // in the frame
    const Part* part;
    const Part* other;
};

QByteArray quoted(const QByteArray& name) {
    return "'" + name + "'";
}

// "1920x1080", with "from 10,20" where it does not begin at 0,0.
QByteArray windowText(const kxExr::Window& window) {
    QByteArray text = numberText(window.width()) + 'x' + numberText(window.height());
    if (window.minX != 0 || window.minY != 0)
        text += " from " + numberText(window.minX) + ',' + numberText(window.minY);
    return text;
}

bool isSameWindow(const Part& a, const Part& b) {
    return a.displayWindow == b.displayWindow;
}

QByteArray displayWindowText(const Part& part) {
    return windowText(part.displayWindow);
}

bool isSameAspect(const Part& a, const Part& b) {
    return a.pixelAspectRatio == b.pixelAspectRatio ||
           (std::isnan(a.pixelAspectRatio) && std::isnan(b.pixelAspectRatio));
}

// As many digits as tell two values apart.
QByteArray aspectText(const Part& part) {
    return QByteArray::number(static_cast<double>(part.pixelAspectRatio), 'g', 9);
}

bool isSameNameAndType(const Part& a, const Part& b) {
    return a.name == b.name && a.storage == b.storage;
}

bool isSameCompression(const Part& a, const Part& b) {
    return a.compression == b.compression;
}

QByteArray compressionText(const Part& part) {
    return kxExr::compressionName(part.compression);
}

bool isSameLineOrder(const Part& a, const Part& b) {
    return a.lineOrder == b.lineOrder;
}

QByteArray lineOrderText(const Part& part) {
    return kxExr::lineOrderName(part.lineOrder);
}

QByteArray tileSizeText(const Part& part) {
    if (!part.tiles) return "none";
    return numberText(part.tiles->width) + 'x' + numberText(part.tiles->height);
}

bool isSameTileSize(const Part& a, const Part& b) {
    if (!a.tiles || !b.tiles) return !a.tiles && !b.tiles;
    return a.tiles->width == b.tiles->width && a.tiles->height == b.tiles->height;
}

bool hasSameChannels(const Part& a, const Part& b) {
    return isSameChannels(a.channels, b.channels);
}

// Parts that stand at the same place; where their numbers differ, those of the same name.
std::vector<PartPair> pairsOf(const HeaderProperty& property, const Headers& headers, const Headers& common) {
    if (property.ofFirstPart) return {{0, &headers.front(), &common.front()}};
    std::vector<PartPair> pairs;
    for (std::size_t i = 0; i < headers.size(); ++i) {
        const auto other = headers.size() == common.size()
                               ? common.begin() + static_cast<std::ptrdiff_t>(i)
                               : std::find_if(common.begin(), common.end(),
                                              [&](const Part& part) { return part.name == headers[i].name; });
        if (other != common.end()) pairs.push_back({static_cast<int>(i), &headers[i], &*other});
    }
    return pairs;
}

Finding differenceOf(const HeaderProperty& property, QByteArray text, std::optional<int> part) {
    Finding finding = makeFinding(property.code, std::move(text));
    finding.part = part;
    return finding;
}

QByteArray valuesText(const HeaderProperty& property, const PartPair& pair) {
    return property.textOf(*pair.part) + ", the others have " + property.textOf(*pair.other);
}

std::vector<PartPair> unlikePairs(const HeaderProperty& property, std::vector<PartPair> pairs) {
    pairs.erase(
        std::remove_if(pairs.begin(), pairs.end(),
                       [&](const PartPair& pair) { return property.isSameInPart(*pair.part, *pair.other); }),
        pairs.end());
    return pairs;
}

// One for all parts where all differ alike, otherwise one for each part that differs.
std::vector<Finding> differentValues(const HeaderProperty& property, const Headers& headers,
                                     const Headers& common) {
    const std::vector<PartPair> pairs = pairsOf(property, headers, common);
    const std::vector<PartPair> unlike = unlikePairs(property, pairs);
    if (unlike.empty()) return {};
    const QByteArray name = property.name;
    const QByteArray first = valuesText(property, unlike.front());
    const auto isAsFirst = [&](const PartPair& pair) { return valuesText(property, pair) == first; };
    if (unlike.size() == pairs.size() && std::all_of(unlike.begin(), unlike.end(), isAsFirst))
        return {differenceOf(property, name + ' ' + first, std::nullopt)};
    std::vector<Finding> findings;
    for (const PartPair& pair : unlike) {
        const QByteArray text = name + " of part " + numberText(pair.index) + ' ' + valuesText(property, pair);
        findings.push_back(differenceOf(property, text, pair.index));
    }
    return findings;
}

QByteArray partText(const Part& part) {
    return (part.name.isEmpty() ? QByteArray() : quoted(part.name) + ' ') + kxExr::storageName(part.storage);
}

std::vector<Finding> differentParts(const HeaderProperty& property, const Headers& headers, const Headers& common) {
    if (headers.size() != common.size()) {
        const QByteArray others = numberText(static_cast<std::int64_t>(common.size()));
        return {differenceOf(property, countText(headers.size(), "part") + ", the others have " + others,
                             std::nullopt)};
    }
    std::vector<Finding> findings;
    for (const PartPair& pair : unlikePairs(property, pairsOf(property, headers, common))) {
        const QByteArray text = "part " + numberText(pair.index) + " is " + partText(*pair.part) +
                                ", with the others " + partText(*pair.other);
        findings.push_back(differenceOf(property, text, pair.index));
    }
    return findings;
}

std::vector<Finding> differentChannels(const HeaderProperty& property, const Headers& headers,
                                       const Headers& common) {
    std::vector<Finding> findings;
    for (const PartPair& pair : unlikePairs(property, pairsOf(property, headers, common))) {
        const QByteArray text = channelDifference(pair.part->channels, pair.other->channels);
        if (headers.size() == 1)
            findings.push_back(differenceOf(property, text, std::nullopt));
        else
            findings.push_back(differenceOf(property, "part " + numberText(pair.index) + ": " + text, pair.index));
    }
    return findings;
}

const std::array<HeaderProperty, 7> properties = {{
    {Code::differs, "display window", true, isSameWindow, displayWindowText, differentValues},
    {Code::differs, "pixel aspect", true, isSameAspect, aspectText, differentValues},
    {Code::differs, "parts", false, isSameNameAndType, nullptr, differentParts},
    {Code::differs, "channels", false, hasSameChannels, nullptr, differentChannels},
    {Code::differsCoding, "compression", false, isSameCompression, compressionText, differentValues},
    {Code::differsCoding, "line order", false, isSameLineOrder, lineOrderText, differentValues},
    {Code::differsCoding, "tile size", false, isSameTileSize, tileSizeText, differentValues},
}};

}  // namespace

bool HeaderProperty::isSame(const Headers& a, const Headers& b) const {
    if (ofFirstPart) return isSameInPart(a.front(), b.front());
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), isSameInPart);
}

const std::array<HeaderProperty, 7>& headerProperties() {
    return properties;
}

}  // namespace kxCheck
