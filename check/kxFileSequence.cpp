// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFileSequence.h"

#include "check/kxFrameList.h"

#include <QRegularExpression>
#include <QString>

#include <tuple>
#include <utility>

namespace kxCheck {

namespace {

using kxFrames::FramePath;
using kxFrames::TileMarker;

// The names of paths are split in no directory in particular.
const QString here = QStringLiteral("./");

QString toText(const QByteArray& bytes) {
    return QString::fromLatin1(bytes.constData(), static_cast<int>(bytes.size()));
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

QByteArray withoutTrailing(QByteArray text, bool (*isTrailing)(char)) {
    while (!text.isEmpty() && isTrailing(text.at(text.size() - 1))) text.chop(1);
    return text;
}

// A "-" at the end of what precedes a number is its sign: "beauty.-" but not "shot-".
bool endsWithSign(const QByteArray& text) {
    if (!text.endsWith('-')) return false;
    const char before = text.size() == 1 ? '.' : text.at(text.size() - 2);
    return before == '.' || before == '_';
}

FileSequence single(const QByteArray& name) {
    return {name, {}, TileMarker::none, true};
}

FileSequence sequenceOf(const FramePath& path) {
    return {path.prefix.toLatin1(), path.suffix.toLatin1(), path.tile, path.isSingleFile()};
}

FramePath pathOf(const FileSequence& sequence) {
    return {here, toText(sequence.prefix), toText(sequence.suffix), sequence.tile};
}

bool hasEnds(const QByteArray& name, const QByteArray& prefix, const QByteArray& suffix) {
    return name.size() >= prefix.size() + suffix.size() && name.startsWith(prefix) && name.endsWith(suffix);
}

QByteArray tileText(const FileSequence& sequence, const QByteArray& number) {
    if (sequence.tile == TileMarker::none) return {};
    QByteArray text = "_tile" + number + '_';
    if (sequence.tile == TileMarker::separated) text += kxFrames::tileSeparator(pathOf(sequence)).toLatin1();
    return text;
}

// What of the name stands before its frame number, whatever looks like a tile marker in it.
QByteArray stemOf(const QByteArray& name, const FileSequence& sequence, bool (*isOfNumber)(char)) {
    return withoutTrailing(name.left(name.size() - sequence.suffix.size()), isOfNumber);
}

// Nothing, or one separator.
bool isLead(const QByteArray& text) {
    return text.isEmpty() || text == "." || text == "_" || text == "-";
}

// The tile that the marker before the number is one of. A blank or "+" before a number is none of its.
std::optional<int> tileOf(const QByteArray& lead, const FileSequence& sequence) {
    if (!lead.endsWith('.') && !lead.endsWith('_')) return std::nullopt;
    const auto frame = kxFrames::frameOf(toText(sequence.prefix + lead + '0' + sequence.suffix), pathOf(sequence));
    return frame ? std::optional(frame->number.tile) : std::nullopt;
}

// The name with its last "%04d", "$F4" or "@@" as "*". A single "@" stands for a number between separators only:
// it may be part of a name.
QByteArray withWildcard(const QByteArray& name) {
    static const QRegularExpression sign(
        QStringLiteral("%\\d*d(?![A-Za-z])|\\$F\\d*(?![A-Za-z0-9])|@@+|(?<=[._-])@(?=[._-])"));
    const QString text = toText(name);
    QRegularExpressionMatch last;
    for (auto matches = sign.globalMatch(text); matches.hasNext();) last = matches.next();
    if (!last.hasMatch()) return name;
    return name.left(last.capturedStart()) + '*' + name.mid(last.capturedEnd());
}

}  // namespace

bool operator==(const FileSequence& a, const FileSequence& b) {
    return std::tie(a.prefix, a.suffix, a.tile, a.isSingle) == std::tie(b.prefix, b.suffix, b.tile, b.isSingle);
}

bool operator<(const FileSequence& a, const FileSequence& b) {
    return std::tie(a.prefix, a.suffix, a.tile, a.isSingle) < std::tie(b.prefix, b.suffix, b.tile, b.isSingle);
}

bool operator<(const FrameFile& a, const FrameFile& b) {
    const auto key = [](const FrameFile& file) {
        return std::make_tuple(!file.number, file.number.value_or(0), file.tile.value_or(0), file.text.size());
    };
    return std::make_pair(key(a), a.name) < std::make_pair(key(b), b.name);
}

QByteArray shownName(const FileSequence& sequence) {
    if (sequence.isSingle) return sequence.prefix;
    return sequence.prefix + tileText(sequence, "##") + "####" + sequence.suffix;
}

QByteArray frameFileName(const FileSequence& sequence, std::optional<int> tile, const QByteArray& text) {
    if (sequence.isSingle) return sequence.prefix;
    const QByteArray tileNumber = QByteArray::number(tile.value_or(0)).rightJustified(2, '0');
    return sequence.prefix + tileText(sequence, tileNumber) + text + sequence.suffix;
}

FileSequence sequenceOfFile(const QByteArray& name) {
    const auto path = kxFrames::splitFrameName(here, toText(name));
    if (!path || path->isSingleFile()) return single(name);
    FileSequence sequence = sequenceOf(*path);
    const QByteArray stem = stemOf(name, sequence, isDigit);
    if (endsWithSign(stem)) return sequenceOfFile(stem.left(stem.size() - 1) + '0' + sequence.suffix);
    const bool isTile = sequence.tile != TileMarker::none && readFrameFile(stem + '0' + sequence.suffix, sequence);
    return isTile ? sequence : FileSequence{stem, sequence.suffix};
}

std::vector<FileSequence> sequencesOfPattern(const QByteArray& typed) {
    const bool isWild = typed.contains('*') || typed.contains('#');
    const QByteArray name = isWild ? typed : withWildcard(typed);
    if (!isWild && name == typed) return {};
    const auto path = kxFrames::splitFramePath(here + toText(name));
    if (!path || path->isSingleFile()) return {};

    std::vector<FileSequence> sequences{sequenceOf(*path)};
    if (path->tile != TileMarker::none) {
        const auto isWildcard =
            name.contains('*') ? [](char c) { return c == '*'; } : [](char c) { return c == '#'; };
        sequences.push_back({stemOf(name, sequences.front(), isWildcard), sequences.front().suffix});
    }
    return sequences;
}

std::optional<NameInSequence> readFrameFile(const QByteArray& name, const FileSequence& sequence) {
    if (sequence.isSingle || !hasEnds(name, sequence.prefix, sequence.suffix)) return std::nullopt;
    const QByteArray stem = stemOf(name, sequence, isDigit);
    const auto stemSize = std::max(stem.size(), sequence.prefix.size());  // a prefix may end in digits
    const QByteArray digits = name.mid(stemSize, name.size() - sequence.suffix.size() - stemSize);
    if (digits.isEmpty()) return std::nullopt;

    QByteArray lead = name.mid(sequence.prefix.size(), stemSize - sequence.prefix.size());
    const bool isNegative = !lead.isEmpty() && endsWithSign(name.left(stemSize));
    if (isNegative) lead.chop(1);

    NameInSequence result;
    result.file.text = isNegative ? '-' + digits : digits;
    result.file.name = name;
    if (result.file.text.size() <= longestFrameText) result.file.number = result.file.text.toLongLong();
    if (sequence.tile == TileMarker::none) {
        if (!isLead(lead)) return std::nullopt;
        result.lead = lead;
    } else {
        result.file.tile = tileOf(lead, sequence);
        if (!result.file.tile) return std::nullopt;
    }
    return result;
}

}  // namespace kxCheck
