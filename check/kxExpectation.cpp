// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxExpectation.h"

#include "check/kxNumberText.h"

#include <QList>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <utility>

namespace kxCheck {

namespace {

using Key = Expectation::Key;
using Word = std::optional<QByteArray>;

QByteArray sizeWord(std::int64_t width, std::int64_t height) {
    return numberText(width) + 'x' + numberText(height);
}

QByteArray sizeWord(const kxExr::Window& window) {
    return sizeWord(window.width(), window.height());
}

// --- Values as they are written: each gives the spelling that is compared, or none -------------------------------

// A number of 1 and more, of digits alone; 0 where the text is none.
std::int64_t countFromText(const QByteArray& text) {
    const bool isDigits = std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    return isDigits ? text.toLongLong() : 0;
}

Word readSize(const QByteArray& text) {
    const auto sides = text.split('x');
    if (sides.size() != 2) return std::nullopt;
    const std::int64_t width = countFromText(sides.at(0));
    const std::int64_t height = countFromText(sides.at(1));
    if (width < 1 || height < 1) return std::nullopt;
    return sizeWord(width, height);
}

Word readCount(const QByteArray& text) {
    const std::int64_t count = countFromText(text);
    if (count < 1) return std::nullopt;
    return numberText(count);
}

Word readRatio(const QByteArray& text) {
    bool isNumber = false;
    const double ratio = text.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(ratio) || ratio <= 0) return std::nullopt;
    return text;
}

Word readName(const QByteArray& text) {
    if (text.isEmpty()) return std::nullopt;
    return text;
}

// One of the names of an enumeration that begins with 0.
template <class Enumerator, Enumerator last, const char* (*nameOf)(Enumerator)>
Word readEnumerator(const QByteArray& text) {
    for (int i = 0; i <= static_cast<int>(last); ++i)
        if (text == nameOf(static_cast<Enumerator>(i))) return text;
    return std::nullopt;
}

constexpr auto readCompression =
    readEnumerator<kxExr::Compression, kxExr::Compression::htj2k32, kxExr::compressionName>;
constexpr auto readStorage = readEnumerator<kxExr::Storage, kxExr::Storage::deepTiled, kxExr::storageName>;
constexpr auto readType = readEnumerator<kxExr::PixelType, kxExr::PixelType::float32, kxExr::pixelTypeName>;

struct KeyRow {
    Key key;
    const char* name;
    const char* label;  // in a finding
    const char* right;  // what would be right, for a value that is not
    Word (*read)(const QByteArray&);
};

// In the order of the keys.
constexpr KeyRow rows[] = {
    {Key::size, "size", "size", "write it like size=1920x1080", readSize},
    {Key::dataWindow, "data-window", "data window", "write it like data-window=1920x1080", readSize},
    {Key::compression, "compression", "compression",
     "known are none, rle, zips, zip, piz, pxr24, b44, b44a, dwaa, dwab, htj2k256, htj2k32", readCompression},
    {Key::storage, "storage", "storage", "known are scanline, tiled, deepscanline, deeptile", readStorage},
    {Key::type, "type", "type", "known are half, float, uint", readType},
    {Key::parts, "parts", "number of parts", "write it like parts=2", readCount},
    {Key::pixelAspect, "pixel-aspect", "pixel aspect", "write it like pixel-aspect=1", readRatio},
    {Key::channels, "channels", "channels", "write them like channels=R,G,B,A", readName},
};
static_assert(std::size(rows) == static_cast<std::size_t>(Key::channels) + 1);

const KeyRow& rowOf(Key key) {
    return rows[static_cast<std::size_t>(key)];
}

const KeyRow* rowFromName(const QByteArray& name) {
    const auto* const row =
        std::find_if(std::begin(rows), std::end(rows), [&name](const KeyRow& r) { return name == r.name; });
    return row == std::end(rows) ? nullptr : row;
}

QByteArray unknownKey(const QByteArray& name) {
    QByteArray text = '\'' + name + "' is nothing to expect; known are ";
    for (const KeyRow& row : rows) text += QByteArray(&row == rows ? "" : ", ") + row.name;
    return text;
}

// --- What headers have -------------------------------------------------------------------------------------------

// One thing that a header says, and where.
struct Seen {
    std::optional<int> part;
    QByteArray channel;
    QByteArray word;
};

template <class WordOf>
std::vector<Seen> ofEachPart(const Headers& headers, WordOf wordOf) {
    std::vector<Seen> seen;
    for (std::size_t i = 0; i < headers.size(); ++i) seen.push_back({static_cast<int>(i), {}, wordOf(headers[i])});
    return seen;
}

std::vector<Seen> typesOf(const Headers& headers) {
    std::vector<Seen> seen;
    for (std::size_t i = 0; i < headers.size(); ++i)
        for (const kxExr::Channel& channel : headers[i].channels)
            seen.push_back({static_cast<int>(i), channel.name, kxExr::pixelTypeName(channel.type)});
    return seen;
}

std::vector<Seen> seenIn(const Headers& headers, Key key) {
    const kxExr::Part& first = headers.front();
    switch (key) {
        case Key::size:
            return {{0, {}, sizeWord(first.displayWindow)}};
        case Key::dataWindow:
            return ofEachPart(headers, [](const kxExr::Part& part) { return sizeWord(part.dataWindow); });
        case Key::compression:
            return ofEachPart(headers,
                              [](const kxExr::Part& part) { return kxExr::compressionName(part.compression); });
        case Key::storage:
            return ofEachPart(headers, [](const kxExr::Part& part) { return kxExr::storageName(part.storage); });
        case Key::type:
            return typesOf(headers);
        case Key::parts:
            return {{std::nullopt, {}, numberText(static_cast<std::int64_t>(headers.size()))}};
        case Key::pixelAspect:
            return {{0, {}, QByteArray::number(double{first.pixelAspectRatio}, 'g', 6)}};
        default:
            return {};
    }
}

bool isAlike(Key key, const QByteArray& seen, const QByteArray& wanted) {
    if (key != Key::pixelAspect) return seen == wanted;
    const double ratio = wanted.toDouble();
    return std::abs(seen.toDouble() - ratio) <= 1e-4 * ratio;
}

// "zip", "zip or zips", "zip, zips or rle"
QByteArray alternatives(const std::vector<QByteArray>& values) {
    QByteArray text = values.front();
    for (std::size_t i = 1; i < values.size(); ++i) text += (i + 1 < values.size() ? ", " : " or ") + values[i];
    return text;
}

std::optional<Finding> unlikeAll(const Expectation& expectation, const Headers& headers) {
    std::vector<Seen> unlike = seenIn(headers, expectation.key);
    const auto isExpected = [&expectation](const Seen& seen) {
        return std::any_of(expectation.values.begin(), expectation.values.end(),
                           [&](const QByteArray& value) { return isAlike(expectation.key, seen.word, value); });
    };
    unlike.erase(std::remove_if(unlike.begin(), unlike.end(), isExpected), unlike.end());
    if (unlike.empty()) return std::nullopt;

    const Seen& first = unlike.front();
    QByteArray text = rowOf(expectation.key).label;
    if (!first.channel.isEmpty()) text += " of channel " + first.channel;
    if (headers.size() > 1 && first.part) text += " of part " + QByteArray::number(*first.part);
    text += " is " + first.word + ", not " + alternatives(expectation.values);
    if (unlike.size() > 1)
        text += "; " + numberText(static_cast<std::int64_t>(unlike.size() - 1)) + " more likewise";
    Finding finding = makeFinding(Code::expected, text);
    finding.part = first.part;
    finding.channel = first.channel;
    finding.count = static_cast<std::int64_t>(unlike.size());
    return finding;
}

std::optional<Finding> lackedChannels(const std::vector<QByteArray>& names, const Headers& headers) {
    const auto isThere = [&headers](const QByteArray& name) {
        return std::any_of(headers.begin(), headers.end(), [&name](const kxExr::Part& part) {
            return std::any_of(part.channels.begin(), part.channels.end(),
                               [&name](const kxExr::Channel& channel) { return channel.name == name; });
        });
    };
    std::vector<QByteArray> lacked;
    std::copy_if(names.begin(), names.end(), std::back_inserter(lacked),
                 [&isThere](const QByteArray& name) { return !isThere(name); });
    if (lacked.empty()) return std::nullopt;

    QByteArray text = lacked.front();
    for (std::size_t i = 1; i < lacked.size(); ++i) text += ", " + lacked[i];
    Finding finding = makeFinding(Code::expected, lacked.size() == 1 ? "channel " + text + " is not there"
                                                                     : "channels " + text + " are not there");
    if (lacked.size() == 1) finding.channel = lacked.front();
    finding.count = static_cast<std::int64_t>(lacked.size());
    return finding;
}

}  // namespace

std::variant<Expectation, QByteArray> parseExpectation(const QByteArray& text) {
    const auto equals = text.indexOf('=');
    const QByteArray name = equals < 0 ? text : text.left(equals);
    const KeyRow* const row = rowFromName(name);
    if (!row) return unknownKey(name);
    if (equals < 0) return '\'' + name + "' lacks a value; " + row->right;

    Expectation expectation;
    expectation.key = row->key;
    const auto values = text.mid(equals + 1).split(',');
    for (const QByteArray& value : values) {
        const Word word = row->read(value);
        if (!word) return '\'' + value + "' is no value of " + name + "; " + row->right;
        expectation.values.push_back(*word);
    }
    return expectation;
}

std::optional<Finding> unmetExpectation(const Expectation& expectation, const Headers& headers) {
    if (expectation.key == Key::channels) return lackedChannels(expectation.values, headers);
    return unlikeAll(expectation, headers);
}

}  // namespace kxCheck
