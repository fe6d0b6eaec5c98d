// SPDX-License-Identifier: BSD-3-Clause
// Every value goes as a 64-bit number, a double or counted bytes. The functions pass...() name the fields of a
// record once, for writing and for reading: `io` is a MessageWriter or a MessageReader.
#include "check/kxWorkerMessage.h"

#include "check/kxFrameReport.h"
#include "check/kxMessageStream.h"
#include "image/KX_DataTypes_image.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace kxCheck {

namespace {

using Length = std::uint32_t;

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t lowest32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t highest32 = std::numeric_limits<std::int32_t>::max();

template <class Io, class Enum>
void passEnum(Io& io, Enum& value, std::remove_const_t<Enum> last) {
    io.number(value, 0, static_cast<std::int64_t>(last));
}

template <class Io, class Number>
void pass32(Io& io, Number& value) {
    io.number(value, lowest32, highest32);
}

// Where the file may say anything, and nothing here can tell right from wrong.
template <class Io, class Number>
void passUnsigned32(Io& io, Number& value) {
    io.number(value, 0, std::numeric_limits<std::uint32_t>::max());
}

template <class Io, class Number>
void passCount(Io& io, Number& value) {
    io.number(value, 0, highest);
}

// Lists without a limit of their own: the message ends them.
constexpr std::size_t anyCount = greatestMessage;

// --- Checks ------------------------------------------------------------------------------------------------------

constexpr auto passCheck = [](auto& io, auto& check) {
    io.bytes(check.path);
    passEnum(io, check.level, Level::pixels);
    io.bytes(check.cacheFile);
    io.number(check.keepsInCache, 0, 1);
    io.number(check.wantsPreview, 0, 1);
};

// --- Headers -----------------------------------------------------------------------------------------------------

constexpr auto passWindow = [](auto& io, auto& window) {
    pass32(io, window.minX);
    pass32(io, window.minY);
    pass32(io, window.maxX);
    pass32(io, window.maxY);
};

constexpr auto passTiles = [](auto& io, auto& tiles) {
    passUnsigned32(io, tiles.width);
    passUnsigned32(io, tiles.height);
    passEnum(io, tiles.levels, kxExr::LevelMode::ripmap);
    passEnum(io, tiles.rounding, kxExr::LevelRounding::up);
};

constexpr auto passChannel = [](auto& io, auto& channel) {
    io.bytes(channel.name);
    passEnum(io, channel.type, kxExr::PixelType::float32);
    pass32(io, channel.xSampling);
    pass32(io, channel.ySampling);
};

const std::vector<kxExr::Channel>& listOf(const kxExr::ChannelList& channels) {
    return channels.all();
}
std::vector<kxExr::Channel>& listOf(kxExr::ChannelList& channels) {
    return channels.edit();
}

constexpr auto passPart = [](auto& io, auto& part) {
    io.bytes(part.name);
    passEnum(io, part.storage, kxExr::Storage::deepTiled);
    passWindow(io, part.displayWindow);
    passWindow(io, part.dataWindow);
    passEnum(io, part.compression, kxExr::Compression::htj2k32);
    passEnum(io, part.lineOrder, kxExr::LineOrder::random);
    io.real(part.pixelAspectRatio);
    io.optional(part.tiles, passTiles);
    io.list(listOf(part.channels), anyCount, passChannel);
};

QByteArray encodeHeaders(const Headers& headers) {
    QByteArray bytes;
    MessageWriter writer(bytes);
    writer.list(headers, anyCount, passPart);
    return bytes;
}

// --- Findings ----------------------------------------------------------------------------------------------------

constexpr auto passRows = [](auto& io, auto& rows) {
    pass32(io, rows.first);
    pass32(io, rows.last);
};

constexpr auto passTile = [](auto& io, auto& tile) {
    io.number(tile.x, 0, highest32);
    io.number(tile.y, 0, highest32);
    io.number(tile.levelX, 0, highest32);
    io.number(tile.levelY, 0, highest32);
};

constexpr auto passFinding = [](auto& io, auto& finding) {
    passEnum(io, finding.code, Code::jump);
    passEnum(io, finding.severity, Severity::error);
    io.bytes(finding.text);
    io.optional(finding.part, [](auto& inner, auto& part) { inner.number(part, 0, highest32); });
    io.optional(finding.rows, passRows);
    io.list(finding.tiles, anyCount, passTile);
    io.bytes(finding.channel);
    passCount(io, finding.count);
};

// --- Pictures ----------------------------------------------------------------------------------------------------

constexpr auto passRange = [](auto& io, auto& range) {
    io.real(range.min);
    io.real(range.max);
    io.real(range.mean);
};

constexpr auto passFacts = [](auto& io, auto& facts) {
    for (auto& channel : facts.histogram)
        for (auto& bin : channel) passUnsigned32(io, bin);
    io.number(facts.hasAlpha, 0, 1);
    io.number(facts.isTileMissing, 0, 1);
    io.number(facts.hasDarkCorner, 0, 1);
    io.number(facts.isAlphaMissing, 0, 1);
    io.number(facts.isBlack, 0, 1);
    io.number(facts.isFlat, 0, 1);
    for (auto& range : facts.ranges) io.optional(range, passRange);
};

constexpr auto passStrange = [](auto& io, auto& strange) {
    io.number(strange.part, 0, highest32);
    io.bytes(strange.channel);
    passCount(io, strange.nan);
    passCount(io, strange.infinite);
};

constexpr auto passPreview = [](auto& io, auto& preview) {
    io.bytes(preview.jpeg, mostPreviewBytes);
    io.number(preview.width, 0, kxCHK::thumbnailCapacity);
    io.number(preview.height, 0, kxCHK::thumbnailCapacity);
    io.bytes(preview.small, mostSmallPreviewBytes);
};

constexpr auto passPicture = [](auto& io, auto& picture) {
    io.optional(picture.picture, passFacts);
    io.list(picture.strange, anyCount, passStrange);
    for (auto& word : picture.hash) io.number(word, lowest, highest);
    io.number(picture.isCached, 0, 1);
};

// --- Reports -----------------------------------------------------------------------------------------------------

constexpr auto passIdentity = [](auto& io, auto& identity) {
    io.number(identity.device, lowest, highest);
    io.number(identity.inode, lowest, highest);
    passCount(io, identity.size);
    io.number(identity.modified, lowest, highest);
};

constexpr auto passCounts = [](auto& io, auto& counts) {
    passCount(io, counts.chunks);
    io.number(counts.present, 0, counts.chunks);
};

constexpr auto passNotes = [](auto& io, auto& notes) {
    io.bytes(notes.infoText, static_cast<int>(NoteTaker::mostBytes));
    io.number(notes.renderTime, -1, highest32);
};

// A reason of the system and more.
constexpr int mostFaultBytes = 1000;

constexpr auto passReport = [](auto& io, auto& number, auto& report, auto& headers) {
    passCount(io, number);
    io.number(report.hasIdentity, 0, 1);
    passIdentity(io, report.identity);
    passEnum(io, headers.form, HeadersForm::single);
    io.number(headers.number, 0, mostNumberedHeaders - 1);
    io.bytes(headers.encoding);
    passNotes(io, report.notes);
    io.list(report.chunks, anyCount, passCounts);
    io.number(report.decoded, 0, 1);
    io.pointer(report.picture, passPicture);
    passPreview(io, report.preview);
    io.number(report.hasZeros, 0, 1);
    io.list(report.findings, mostFindings, passFinding);
    io.bytes(report.cacheFault, mostFaultBytes);
    io.real(report.seconds);
};

QByteArray encodeWith(std::int64_t number, const FileReport& report, const SentHeaders& headers) {
    QByteArray content;
    MessageWriter writer(content);
    passReport(writer, number, report, headers);
    return content;
}

bool fits(const QByteArray& content) {
    return content.size() <= static_cast<int>(greatestMessage);
}

FileReport withoutTiles(FileReport report) {
    for (Finding& finding : report.findings) finding.tiles.clear();
    return report;
}

FileReport withoutPreview(FileReport report) {
    report.preview = {};
    return report;
}

// Without headers, and what counts their chunks.
FileReport tooLarge(const FileReport& report) {
    FileReport limited = withoutTiles(report);
    limited.headers = nullptr;
    limited.chunks.clear();
    limited.decoded = false;
    limited.picture = nullptr;
    limited.preview = {};
    limited.findings.push_back(makeFinding(Code::limit, "its headers are larger than this program can handle"));
    arrangeFindings(limited.findings);
    return limited;
}

bool isRange(const std::optional<SampleRange>& range) {
    return !range || (std::isfinite(range->mean) && std::isfinite(range->min) && std::isfinite(range->max) &&
                      range->min <= range->max);
}

// Samples of parts that the headers do not have, or ranges without order, are those of no picture.
bool isPictureConsistent(const FileReport& report) {
    if (!report.picture) return true;
    const PictureReport& picture = *report.picture;
    const std::size_t parts = report.headers ? report.headers->size() : 0;
    const auto isOfAPart = [parts](const StrangeSamples& strange) {
        return static_cast<std::size_t>(strange.part) < parts;
    };
    if (!report.decoded || !std::all_of(picture.strange.begin(), picture.strange.end(), isOfAPart)) return false;
    return !picture.picture || std::all_of(picture.picture->ranges.begin(), picture.picture->ranges.end(), isRange);
}

// Counts of parts that the headers do not have, or times that no check takes, are no report.
bool isConsistent(const FileReport& report) {
    constexpr double mostSeconds = 1e9;
    const std::size_t parts = report.headers ? report.headers->size() : 0;
    return (report.chunks.empty() || report.chunks.size() == parts) && report.seconds >= 0 &&
           report.seconds <= mostSeconds && isPictureConsistent(report);
}

// By their names: lists with the same names that are not equal are few.
std::size_t hashOf(const std::vector<kxExr::Channel>& channels) {
    std::size_t hash = channels.size();
    for (const kxExr::Channel& channel : channels) hash = hash * 31 + qHash(channel.name);
    return hash;
}

std::size_t hashOf(const QByteArray& bytes) {
    return qHash(bytes);
}

}  // namespace

void appendMessage(QByteArray& stream, const QByteArray& content) {
    const auto length = static_cast<Length>(content.size());
    char bytes[sizeof length];
    std::memcpy(bytes, &length, sizeof length);
    stream.append(bytes, static_cast<int>(sizeof length)).append(content);
}

Arrival readMessage(const QByteArray& stream, int& at, QByteArray& content) {
    const auto there = static_cast<std::size_t>(stream.size() - at);
    Length length = 0;
    if (there < sizeof length) return Arrival::incomplete;
    std::memcpy(&length, stream.constData() + at, sizeof length);
    if (length > greatestMessage) return Arrival::tooLong;
    if (there - sizeof length < length) return Arrival::incomplete;
    at += static_cast<int>(sizeof length);
    content = stream.mid(at, static_cast<int>(length));
    at += static_cast<int>(length);
    return Arrival::whole;
}

QByteArray encodeChecks(const std::vector<FileCheck>& checks) {
    QByteArray content;
    MessageWriter writer(content);
    writer.list(checks, anyCount, passCheck);
    return content;
}

std::optional<std::vector<FileCheck>> decodeChecks(const QByteArray& content) {
    std::vector<FileCheck> checks;
    MessageReader reader(content);
    reader.list(checks, anyCount, passCheck);
    if (!reader.finished()) return std::nullopt;
    return checks;
}

QByteArray ReportEncoder::encode(const FileReport& report) {
    const SentHeaders headers = report.headers ? formOf(report.headers) : SentHeaders();
    const std::int64_t number = reports_++;
    QByteArray content = encodeWith(number, report, headers);
    if (!fits(content)) content = encodeWith(number, withoutTiles(report), headers);
    if (!fits(content)) content = encodeWith(number, withoutPreview(withoutTiles(report)), headers);
    if (!fits(content)) return encodeWith(number, tooLarge(report), SentHeaders());
    remember(report.headers, headers);
    return content;
}

SentHeaders ReportEncoder::formOf(const std::shared_ptr<const Headers>& headers) const {
    const auto same = std::find(numbered_.begin(), numbered_.end(), headers);
    if (same != numbered_.end())
        return {HeadersForm::known, static_cast<int>(same - numbered_.begin()), QByteArray()};
    const QByteArray encoding = encodeHeaders(*headers);
    const auto known = numbers_.constFind(encoding);
    if (known != numbers_.constEnd()) return {HeadersForm::known, known.value(), QByteArray()};
    const bool room =
        numbers_.size() < mostNumberedHeaders && numberedBytes_ + encoding.size() <= mostNumberedBytes;
    return {room ? HeadersForm::fresh : HeadersForm::single, 0, encoding};
}

void ReportEncoder::remember(const std::shared_ptr<const Headers>& headers, const SentHeaders& sent) {
    if (sent.form == HeadersForm::known) numbered_[static_cast<std::size_t>(sent.number)] = headers;
    if (sent.form != HeadersForm::fresh) return;
    numbers_.insert(sent.encoding, static_cast<int>(numbered_.size()));
    numberedBytes_ += sent.encoding.size();
    numbered_.push_back(headers);
}

std::shared_ptr<const Headers> HeaderStore::get(const QByteArray& encoded) {
    const std::size_t hash = hashOf(encoded);
    auto known = headers_.find(hash, [&](const Headers& headers) { return encodeHeaders(headers) == encoded; });
    if (known) return known;
    auto headers = std::make_shared<Headers>();
    MessageReader reader(encoded);
    reader.list(*headers, anyCount, passPart);
    if (!reader.finished() || headers->empty()) return nullptr;
    for (kxExr::Part& part : *headers) share(part.channels);
    headers_.add(hash, headers);
    return headers;
}

void HeaderStore::share(kxExr::ChannelList& channels) {
    const std::size_t hash = hashOf(channels.all());
    auto known = lists_.find(hash, [&](const std::vector<kxExr::Channel>& list) { return list == channels.all(); });
    if (known)
        channels = kxExr::ChannelList(std::move(known));
    else
        lists_.add(hash, channels.shared());
}

std::optional<FileReport> ReportDecoder::decode(const QByteArray& content) {
    std::int64_t turn = 0;
    FileReport report;
    SentHeaders sent;
    MessageReader reader(content);
    passReport(reader, turn, report, sent);
    wasSurplus_ = reader.finished() && turn < reports_;
    if (!reader.finished() || turn != reports_ || !takeHeaders(sent, report) || !isConsistent(report))
        return std::nullopt;
    ++reports_;
    return report;
}

bool ReportDecoder::takeHeaders(const SentHeaders& sent, FileReport& report) {
    if (sent.form == HeadersForm::none) return true;
    if (sent.form == HeadersForm::known) {
        const auto number = static_cast<std::size_t>(sent.number);
        if (number < numbered_.size()) report.headers = numbered_[number];
        return number < numbered_.size();
    }
    report.headers = store_.get(sent.encoding);
    if (!report.headers || sent.form == HeadersForm::single) return report.headers != nullptr;
    numberedBytes_ += sent.encoding.size();
    numbered_.push_back(report.headers);
    return numbered_.size() <= static_cast<std::size_t>(mostNumberedHeaders) && numberedBytes_ <= mostNumberedBytes;
}

}  // namespace kxCheck
