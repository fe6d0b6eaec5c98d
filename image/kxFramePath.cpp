// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxFramePath.h"

#include "image/KX_DataTypes_imageList.h"
#include "image/kxFrameRestriction.h"
#include "image/private/kxNameParts.h"
#include "shared/kxFileSystem.h"

namespace kxFrames {

namespace {

bool isDigit(QChar c) {
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

struct PathParts {
    QString stem;  // directory and prefix
    QString suffix;
};

// "/r/shot.####.exr" gives "/r/shot." and ".exr". The path holds the wildcard.
PathParts splitAtWildcard(const QString& path, QLatin1Char wildcard) {
    const auto last = path.lastIndexOf(wildcard);
    auto stemSize = last;
    while (stemSize > 0 && path.at(stemSize - 1) == wildcard) --stemSize;
    return {path.left(stemSize), path.mid(last + 1)};
}

// "/r/beauty_0042_diffuse.exr" gives "/r/beauty_" and "_diffuse.exr": the last group of digits before the last "."
// is the frame number. A name without one is all stem: "/r/comp.exr" and no suffix. Digits at the end of the
// stem go in either case ("/r/movie.mp4" gives "/r/movie.mp"). The path holds a ".".
PathParts splitAtLastDigits(const QString& path) {
    auto stemSize = path.lastIndexOf(Lpoint);
    while (stemSize == 0 || !isDigit(path.at(stemSize - 1))) {
        if (stemSize < 4 || path.at(stemSize - 1) == QLatin1Char('/')) {
            stemSize = path.size();
            break;
        }
        --stemSize;
    }
    const QString suffix = stemSize < path.size() ? path.mid(stemSize) : QString();
    while (stemSize > 0 && isDigit(path.at(stemSize - 1))) --stemSize;
    return {path.left(stemSize), suffix};
}

// Cuts a tile marker off the end of `name`. The two characters of the tile's number are counted, not looked at.
TileMarker takeTileMarker(QString& name) {
    const QLatin1String marker("_tile");
    const auto start = name.lastIndexOf(marker);
    const auto sizeFromMarker = name.size() - start;
    const bool unnumbered = name.endsWith(marker) || name.endsWith(QLatin1String("_tile00_."));
    const bool dotted = start >= 1 && sizeFromMarker == 9 && name.endsWith(QLatin1String("_."));
    const bool plain = start >= 1 && sizeFromMarker == 8 && name.endsWith(LUnderline);
    if (!unnumbered && !dotted && !plain) return TileMarker::none;
    name.truncate(start);
    return plain ? TileMarker::plain : TileMarker::separated;
}

FramePath pathOf(const PathParts& parts) {
    FramePath path{kxGetDirName(parts.stem, '/'), kxGetFileName(parts.stem, '/'), parts.suffix};
    path.tile = takeTileMarker(path.prefix);
    return path;
}

// File servers often ignore letter case.
bool sameName(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

// "_tile03_.0042" gives 3 and leaves "0042": the marker goes, the path's separator, and one separator more where
// there is one. Nothing without the marker of a tile.
std::optional<int> takeTileNumber(QString& text, const FramePath& path) {
    constexpr int numberAt = 5;
    constexpr int markerSize = 8;
    if (text.size() < markerSize || !text.startsWith(QLatin1String("_tile"))) return {};
    if (!isDigit(text.at(numberAt)) || !isDigit(text.at(numberAt + 1)) || text.at(markerSize - 1) != LUnderline) {
        return {};
    }
    const int tile = text.at(numberAt).digitValue() * 10 + text.at(numberAt + 1).digitValue();
    if (tile >= tileCount) return {};
    text.remove(0, markerSize);
    if (path.tile == TileMarker::separated) {
        if (!text.startsWith(tileSeparator(path))) return {};
        text.remove(0, 1);
    }
    text.remove(0, leadingSeparator(text));
    return tile;
}

}  // namespace

std::optional<FramePath> splitFramePath(const QString& typedPath) {
    const QString path = kxConvertPDToOS(typedPath);
    if (!path.contains(PDs)) return {};
    for (const QLatin1Char wildcard : {QLatin1Char('*'), QLatin1Char('#')}) {
        if (path.contains(wildcard)) return pathOf(splitAtWildcard(path, wildcard));
    }
    if (!path.contains(Lpoint)) return {};
    return pathOf(splitAtLastDigits(path));
}

std::optional<FramePath> splitFrameName(const QString& directory, const QString& name) {
    if (!name.contains(Lpoint)) return {};
    return pathOf(splitAtLastDigits(directory + name));
}

bool isSameSequence(const FramePath& a, const FramePath& b) {
    return sameName(a.suffix, b.suffix) && sameName(a.directory, b.directory) && sameName(a.prefix, b.prefix) &&
           a.tile == b.tile;
}

QLatin1Char tileSeparator(const FramePath& path) {
    return path.prefix.endsWith(LUnderline) ? LUnderline : Lpoint;
}

long long FrameNumber::key() const {
    return wrappingSum(frame, tile * tileKeyStep);
}

std::optional<FrameNumber> readFrameNumber(const QString& middle, const FramePath& path) {
    QString digits = middle;
    FrameNumber number;
    if (path.tile != TileMarker::none) {
        const std::optional<int> tile = takeTileNumber(digits, path);
        if (!tile) return {};
        number.tile = *tile;
    }
    bool isNumber = false;
    number.frame = digits.toLongLong(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

std::optional<FrameName> frameOf(const QString& name, const FramePath& path) {
    if (path.isSingleFile() || !hasEnds(name, path.prefix, path.suffix)) return {};
    const QString text = name.mid(path.prefix.size(), name.size() - path.prefix.size() - path.suffix.size());
    const int skipped = path.tile == TileMarker::none ? leadingSeparator(text) : 0;
    const std::optional<FrameNumber> number = readFrameNumber(text.mid(skipped), path);
    return number ? std::optional(FrameName{*number, text}) : std::nullopt;
}

}  // namespace kxFrames

bool kxcjFileNameIsRight(QString& name, const QString& prefix, const QString& suffix, const bool& keepSeparator) {
    if (name.size() < prefix.size() + suffix.size()) return false;
    name = name.toLower();
    if (!kxFrames::hasEnds(name, prefix, suffix)) return false;
    auto first = prefix.size();
    const auto end = name.size() - suffix.size();
    if (!keepSeparator && first < end && kxFrames::isSeparator(name.at(first))) ++first;
    name = name.mid(first, end - first);
    return true;
}

bool kxcjStartsWith(QString& name, const QString& prefix) {
    if (!kxFrames::beginsWith(name, prefix)) return false;
    name.remove(0, prefix.size());
    name.remove(0, kxFrames::leadingSeparator(name));
    return true;
}
