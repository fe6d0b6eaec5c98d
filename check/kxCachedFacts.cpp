// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCachedFacts.h"

#include <QByteArray>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace kxCheck {

namespace {

static_assert(offsetof(kxCHK::_SingleImageFile, image) == 616 && sizeof(_kxString<250>) == 504,
              "the format text begins at 638, its memory ends at 1140");
static_assert(638 + 2 * (longestCachedFormat + 1) == cachedFactsOffset, "right behind the format text");
static_assert(cachedFactsOffset + sizeof(CachedFacts) <= 1140, "within the memory of the format text");

enum FactFlag : unsigned {
    hasPictureFlag = 1,
    hasAlphaFlag = 2,
    tileMissingFlag = 4,
    alphaMissingFlag = 8,
    blackFlag = 16,
    flatFlag = 32,
    darkCornerFlag = 64,
    firstRangeFlag = 256,
};

// Which field each flag is, for both ways.
struct FlagRow {
    FactFlag flag;
    bool PictureFacts::*field;
};
constexpr FlagRow flagRows[] = {
    {hasAlphaFlag, &PictureFacts::hasAlpha},
    {tileMissingFlag, &PictureFacts::isTileMissing},
    {alphaMissingFlag, &PictureFacts::isAlphaMissing},
    {blackFlag, &PictureFacts::isBlack},
    {flatFlag, &PictureFacts::isFlat},
    {darkCornerFlag, &PictureFacts::hasDarkCorner},
};

unsigned char* factsPlace(kxCHK::_SingleImageFile& entry) {
    return reinterpret_cast<unsigned char*>(&entry) + cachedFactsOffset;
}
const unsigned char* factsPlace(const kxCHK::_SingleImageFile& entry) {
    return reinterpret_cast<const unsigned char*>(&entry) + cachedFactsOffset;
}

std::uint32_t checkSumOf(CachedFacts facts, const kxCHK::_SingleImageData& record) {
    facts.checkSum = 0;
    const auto add = [](uLong sum, const void* bytes, std::size_t size) {
        return crc32(sum, static_cast<const Bytef*>(bytes), static_cast<uInt>(size));
    };
    uLong sum = add(0, &facts, sizeof facts);
    sum = add(sum, &record.fileTime, sizeof record.fileTime);
    sum = add(sum, &record.histogram, sizeof record.histogram);
    return static_cast<std::uint32_t>(sum);
}

// --- Strange samples ---------------------------------------------------------------------------------------------

void putNumber(QByteArray& bytes, std::uint64_t number) {
    for (; number > 127; number >>= 7U) bytes.append(static_cast<char>(number | 128U));
    bytes.append(static_cast<char>(number));
}

// Moves `at` behind the number. Nothing when it does not end before `end`, or is above what counts can be.
std::optional<std::int64_t> takeNumber(const unsigned char*& at, const unsigned char* end) {
    std::uint64_t number = 0;
    for (unsigned shift = 0; at < end && shift < 63; shift += 7) {
        const unsigned char byte = *at++;
        number |= std::uint64_t{byte & 127U} << shift;
        if (byte < 128) return static_cast<std::int64_t>(number);
    }
    return std::nullopt;
}

// Nothing when a channel is not in the headers, or there are too many.
std::optional<QByteArray> strangeBytes(const std::vector<StrangeSamples>& strange, const Headers& headers) {
    QByteArray bytes;
    for (const StrangeSamples& samples : strange) {
        const auto part = static_cast<std::size_t>(samples.part);
        if (part >= headers.size()) return std::nullopt;
        const auto& channels = headers[part].channels;
        const auto channel = std::find_if(channels.begin(), channels.end(),
                                          [&](const auto& other) { return other.name == samples.channel; });
        if (channel == channels.end()) return std::nullopt;
        putNumber(bytes, part);
        putNumber(bytes, static_cast<std::uint64_t>(channel - channels.begin()));
        putNumber(bytes, static_cast<std::uint64_t>(samples.nan));
        putNumber(bytes, static_cast<std::uint64_t>(samples.infinite));
    }
    if (bytes.size() > static_cast<int>(sizeof CachedFacts::strange)) return std::nullopt;
    return bytes;
}

std::optional<std::vector<StrangeSamples>> strangeOf(const CachedFacts& facts, const Headers& headers) {
    if (facts.strangeSize > sizeof facts.strange) return std::nullopt;
    std::vector<StrangeSamples> strange;
    const unsigned char* at = facts.strange;
    const unsigned char* const end = at + facts.strangeSize;
    while (at < end) {
        const auto part = takeNumber(at, end);
        const auto channel = takeNumber(at, end);
        const auto nan = takeNumber(at, end);
        const auto infinite = takeNumber(at, end);
        if (!part || !channel || !nan || !infinite || *part >= static_cast<std::int64_t>(headers.size()))
            return std::nullopt;
        const auto& channels = headers[static_cast<std::size_t>(*part)].channels;
        if (*channel >= static_cast<std::int64_t>(channels.size())) return std::nullopt;
        const QByteArray& name = channels[static_cast<std::size_t>(*channel)].name;
        strange.push_back({static_cast<int>(*part), name, *nan, *infinite});
    }
    return strange;
}

// --- The picture -------------------------------------------------------------------------------------------------

void putPicture(const PictureFacts& picture, CachedFacts& facts) {
    unsigned flags = hasPictureFlag;
    for (const FlagRow& row : flagRows)
        if (picture.*row.field) flags |= row.flag;
    for (std::size_t c = 0; c < picture.ranges.size(); ++c) {
        if (!picture.ranges[c]) continue;
        flags |= unsigned{firstRangeFlag} << c;
        facts.ranges[c][0] = picture.ranges[c]->min;
        facts.ranges[c][1] = picture.ranges[c]->max;
        facts.ranges[c][2] = picture.ranges[c]->mean;
    }
    facts.flags = static_cast<std::uint16_t>(flags);
}

bool isRange(const double (&range)[3]) {
    return std::isfinite(range[0]) && std::isfinite(range[1]) && std::isfinite(range[2]) && range[0] <= range[1];
}

// Nothing when a range is none.
std::optional<PictureFacts> pictureOf(const CachedFacts& facts, const kxCHK::_SingleImageData& record) {
    PictureFacts picture;
    for (const FlagRow& row : flagRows) picture.*row.field = (facts.flags & row.flag) != 0;
    for (std::size_t c = 0; c < picture.ranges.size(); ++c) {
        if ((facts.flags & unsigned{firstRangeFlag} << c) == 0) continue;
        if (!isRange(facts.ranges[c])) return std::nullopt;
        picture.ranges[c] = SampleRange{facts.ranges[c][0], facts.ranges[c][1], facts.ranges[c][2]};
    }
    static_assert(sizeof picture.histogram == sizeof record.histogram, "bin by bin");
    std::memcpy(picture.histogram.data(), record.histogram, sizeof record.histogram);
    return picture;
}

// --- The entry ---------------------------------------------------------------------------------------------------

// A format text that is too long ends in "...".
void cutFormatText(kxP::_imgRGBABuffer8& image) {
    const QString text = image.formatText.toQString();
    const QString dots = QStringLiteral("...");
    const bool isLong = text.size() > longestCachedFormat;
    image.formatText = isLong ? text.left(longestCachedFormat - static_cast<int>(dots.size())) + dots : text;
}

bool isOfFile(const CachedFacts& facts, const kxCHK::_SingleImageData& record, const FileIdentity& file) {
    return record.fileTime == _kxTime(file.modified) && facts.fileSize == file.size &&
           record.fileSize == std::min<long long>(file.size, kxCHK::fileSizeMarker4GB);
}

bool isIntact(const CachedFacts& facts, const kxCHK::_SingleImageData& record) {
    return facts.id == CachedFacts::currentId && facts.version == CachedFacts::currentVersion &&
           facts.checkSum == checkSumOf(facts, record);
}

}  // namespace

bool putFacts(const FileReport& report, kxCHK::_SingleImageFile& entry) {
    const auto strange = strangeBytes(report.picture->strange, *report.headers);
    if (!strange) return false;
    CachedFacts facts;
    facts.fileSize = report.identity.size;
    std::copy(report.picture->hash.begin(), report.picture->hash.end(), facts.hash);
    if (report.picture->picture) putPicture(*report.picture->picture, facts);
    facts.strangeSize = static_cast<std::uint32_t>(strange->size());
    std::copy(strange->begin(), strange->end(), facts.strange);
    facts.checkSum = checkSumOf(facts, entry.data);
    cutFormatText(entry.image);
    std::memcpy(factsPlace(entry), &facts, sizeof facts);
    return true;
}

std::optional<PictureReport> cachedPicture(const FileReport& file, const kxCHK::_SingleImageFile& entry) {
    CachedFacts facts;
    std::memcpy(&facts, factsPlace(entry), sizeof facts);
    if (!file.hasIdentity || !file.headers || !isOfFile(facts, entry.data, file.identity) ||
        !isIntact(facts, entry.data))
        return std::nullopt;
    PictureReport report;
    const auto strange = strangeOf(facts, *file.headers);
    if (!strange) return std::nullopt;
    report.strange = *strange;
    if ((facts.flags & hasPictureFlag) != 0) {
        report.picture = pictureOf(facts, entry.data);
        if (!report.picture) return std::nullopt;
    }
    std::copy(std::begin(facts.hash), std::end(facts.hash), report.hash.begin());
    report.isCached = true;
    return report;
}

}  // namespace kxCheck
