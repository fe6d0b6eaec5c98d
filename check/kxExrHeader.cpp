// SPDX-License-Identifier: BSD-3-Clause
// A file is the magic number, a version field, the headers, one chunk table for each of them, and the chunks.
//
// A header is a row of attributes (name, zero byte, type, zero byte, size of the value in 32 bits, value) and ends
// where the next name would be empty. A file of several parts has its headers one after another, and an empty one
// after the last.
#include "check/kxExrHeader.h"

#include "check/kxExrAttributes.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kxCheck {

namespace {

constexpr std::uint32_t formatVersion = 2;
constexpr std::uint32_t versionMask = 0xFF;
constexpr std::uint32_t tiledFlag = 0x200;
constexpr std::uint32_t longNamesFlag = 0x400;
constexpr std::uint32_t deepFlag = 0x800;
constexpr std::uint32_t multipartFlag = 0x1000;
constexpr std::uint32_t knownFlags = tiledFlag | longNamesFlag | deepFlag | multipartFlag;
constexpr std::size_t longestName = 255;

class HeaderWalk {
public:
    explicit HeaderWalk(Bytes& bytes) : bytes_(bytes) {}

    // Each step says whether the next one has something to look at; the finding is set when it does not.
    HeaderReading run() {
        if (readMagic() && readVersion() && readParts()) keepParts();
        reading_.notes = notes_.notes();
        reading_.end = offset_;
        return std::move(reading_);
    }

private:
    bool fail(Code code, const QByteArray& text) {
        reading_.finding = makeFinding(code, text);
        return false;
    }
    bool failTruncated() { return fail(Code::truncated, "the file ends within its header"); }
    bool failHeader(const QByteArray& what);

    bool readMagic();
    bool readVersion();
    bool readParts();
    bool readPart(PartDraft& draft);
    bool readAttribute(const QByteArray& name, PartDraft& draft);
    bool passOver(const QByteArray& name, const QByteArray& type, std::uint32_t size);
    bool keepShared(std::int32_t size, QByteArray& kept);
    bool readValue(const AttributeRow& row, std::uint32_t size, PartDraft& draft);
    bool readChannels(std::uint64_t end, PartDraft& draft);
    bool readChannel(const QByteArray& name, std::uint64_t end, PartDraft& draft);
    bool readText(QByteArray& text);
    bool atEmptyName(bool& empty);
    bool checkUnknown();
    bool checkParts();
    bool checkNames();
    void keepParts();
    void showVersion();
    void hideWrongType(const PartDraft& draft);

    Bytes& bytes_;
    std::uint64_t offset_ = 0;
    std::uint32_t version_ = 0;  // the whole field, flags included
    FileFlags flags_;
    std::vector<PartDraft> drafts_;
    NoteTaker notes_;
    HeaderReading reading_;
};

bool HeaderWalk::failHeader(const QByteArray& what) {
    QByteArray text = "the header is damaged: " + what;
    const int part = static_cast<int>(drafts_.size()) - 1;
    if (flags_.multipart) text += " (part " + QByteArray::number(part) + ")";
    (void)fail(Code::header, text);
    if (flags_.multipart && part >= 0) reading_.finding->part = part;
    return false;
}

bool HeaderWalk::readMagic() {
    if (bytes_.size() == 0) return fail(Code::empty, "the file is empty");
    if (bytes_.size() < 4) return fail(Code::notExr, "this is no EXR file");
    const char* magic = bytes_.view(0, 4);
    if (!magic) return failTruncated();
    if (numberAt<std::uint32_t>(magic) != exrMagicNumber) return fail(Code::notExr, "this is no EXR file");
    offset_ = 4;
    return true;
}

bool HeaderWalk::readVersion() {
    const char* field = bytes_.view(4, 4);
    if (!field) return failTruncated();
    version_ = numberAt<std::uint32_t>(field);
    const std::uint32_t version = version_ & versionMask;
    const std::uint32_t unknown = version_ & ~versionMask & ~knownFlags;
    if (version > formatVersion) return fail(Code::unsupported, "file version " + QByteArray::number(version));
    if (unknown != 0) return fail(Code::unsupported, "unknown file flags 0x" + QByteArray::number(unknown, 16));
    flags_ = {(version_ & tiledFlag) != 0, (version_ & deepFlag) != 0, (version_ & multipartFlag) != 0};
    if (version < formatVersion)
        return fail(Code::header, "the header is damaged: it has version " + QByteArray::number(version));
    if (flags_.tiled && (flags_.deep || flags_.multipart))
        return fail(Code::header, "the header is damaged: the file's flags contradict each other");
    offset_ = 8;
    reading_.multipart = flags_.multipart;
    return true;
}

// The library refuses names of more than 31 bytes without the flag for them, which every reader takes; and files of
// flat and deep parts that its own writer made, as only the deep ones say the version of their data.
void HeaderWalk::showVersion() {
    const bool someFlat = std::any_of(reading_.parts.begin(), reading_.parts.end(),
                                      [](const kxExr::Part& part) { return !isDeep(part.storage); });
    std::uint32_t shown = version_ | longNamesFlag;
    if (flags_.multipart && someFlat) shown &= ~deepFlag;
    QByteArray bytes(4, '\0');
    qToLittleEndian(shown, bytes.data());
    reading_.patches.push_back({4, bytes});
}

bool HeaderWalk::readParts() {
    bool empty = false;
    do {
        drafts_.emplace_back();
        if (!readPart(drafts_.back())) return false;
        if (!flags_.multipart) return true;
        if (!atEmptyName(empty)) return false;
    } while (!empty);
    ++offset_;
    return true;
}

bool HeaderWalk::atEmptyName(bool& empty) {
    const char* next = bytes_.view(offset_, 1);
    if (!next) return failTruncated();
    empty = *next == '\0';
    return true;
}

bool HeaderWalk::readPart(PartDraft& draft) {
    for (;;) {
        const std::uint64_t nameOffset = offset_;
        QByteArray name;
        if (!readText(name)) return false;
        if (name.isEmpty()) return true;
        if (name == "type") draft.typeName = nameOffset;
        if (!readAttribute(name, draft)) return false;
    }
}

bool HeaderWalk::readAttribute(const QByteArray& name, PartDraft& draft) {
    QByteArray type;
    if (!readText(type)) return false;
    if (type.isEmpty()) return failHeader("the attribute " + name + " has no type");
    const char* sizeField = bytes_.view(offset_, 4);
    if (!sizeField) return failTruncated();
    const auto size = numberAt<std::int32_t>(sizeField);
    offset_ += 4;
    if (size < 0) return failHeader("the attribute " + name + " has a negative size");
    if (!bytes_.holds(offset_, static_cast<std::uint64_t>(size))) return failTruncated();
    const AttributeRow* row = attributeRow(name);
    if (row) {
        if (type != row->type) return failHeader("the attribute " + name + " has the type " + type);
        if (row->size >= 0 && size != row->size) return failHeader("the attribute " + name + " has a wrong size");
        if (has(draft, row->attribute)) return failHeader("the attribute " + name + " is there twice");
        draft.seen |= 1U << static_cast<unsigned>(row->attribute);
        return readValue(*row, static_cast<std::uint32_t>(size), draft);
    }
    if (name == type && name == "chromaticities") return keepShared(size, draft.chromaticities);
    if (name == type && name == "timecode") return keepShared(size, draft.timecode);
    return passOver(name, type, static_cast<std::uint32_t>(size));
}

// But for what it may say about how the frame was made.
bool HeaderWalk::passOver(const QByteArray& name, const QByteArray& type, std::uint32_t size) {
    if (notes_.wants(name, type)) {
        const std::uint32_t count = std::min(size, NoteTaker::mostBytes);
        const char* value = bytes_.view(offset_, count);
        if (!value) return failTruncated();
        notes_.take(name, type, QByteArray(value, static_cast<int>(count)));
    }
    offset_ += size;
    return true;
}

bool HeaderWalk::keepShared(std::int32_t size, QByteArray& kept) {
    constexpr std::int32_t longest = 32;
    if (size > longest) return failHeader("an attribute has a wrong size");
    const char* value = bytes_.view(offset_, static_cast<std::size_t>(size));
    if (!value) return failTruncated();
    kept = QByteArray(value, size);
    offset_ += static_cast<std::uint64_t>(size);
    return true;
}

bool HeaderWalk::readValue(const AttributeRow& row, std::uint32_t size, PartDraft& draft) {
    if (!row.keep) return readChannels(offset_ + size, draft);
    if (size > Bytes::mostViewed) return failHeader(QByteArray("the attribute ") + row.name + " is too long");
    const char* value = bytes_.view(offset_, size);
    if (!value) return failTruncated();
    row.keep(value, static_cast<std::int32_t>(size), draft);
    offset_ += size;
    return true;
}

// Like the header itself: entries up to an empty name, which is the end of the value too.
bool HeaderWalk::readChannels(std::uint64_t end, PartDraft& draft) {
    while (offset_ < end) {
        QByteArray name;
        if (!readText(name)) return false;
        if (name.isEmpty()) break;
        if (!readChannel(name, end, draft)) return false;
    }
    if (offset_ != end || draft.part.channels.empty()) return failHeader("the list of channels is broken");
    return true;
}

// Pixel type, a byte about compression and three unused ones, sampling in x and y.
bool HeaderWalk::readChannel(const QByteArray& name, std::uint64_t end, PartDraft& draft) {
    constexpr std::size_t size = 16;
    if (offset_ + size > end) return failHeader("the list of channels is broken");
    const char* entry = bytes_.view(offset_, size);
    if (!entry) return failTruncated();
    const auto type = numberAt<std::uint32_t>(entry);
    const auto xSampling = numberAt<std::int32_t>(entry + 8);
    const auto ySampling = numberAt<std::int32_t>(entry + 12);
    const bool isKnown =
        type <= static_cast<std::uint32_t>(kxExr::PixelType::float32) && static_cast<unsigned char>(entry[4]) <= 1;
    if (!isKnown || xSampling < 1 || ySampling < 1) return failHeader("channel " + name + " is impossible");
    draft.part.channels.push_back({name, static_cast<kxExr::PixelType>(type), xSampling, ySampling});
    offset_ += size;
    return true;
}

bool HeaderWalk::readText(QByteArray& text) {
    const std::uint64_t left = bytes_.size() - std::min(bytes_.size(), offset_);
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, longestName + 1));
    const char* begin = count > 0 ? bytes_.view(offset_, count) : nullptr;
    if (!begin) return failTruncated();
    const void* end = std::memchr(begin, '\0', count);
    if (!end) return count > longestName ? failHeader("a name is too long") : failTruncated();
    const auto length = static_cast<const char*>(end) - begin;
    text = QByteArray(begin, static_cast<int>(length));
    offset_ += static_cast<std::uint64_t>(length) + 1;
    return true;
}

// No two channels of a part, and no two parts, may bear the same name.
bool HeaderWalk::checkNames() {
    std::vector<QByteArray> parts;
    for (const PartDraft& draft : drafts_) {
        parts.push_back(draft.part.name);
        std::vector<QByteArray> channels;
        for (const kxExr::Channel& channel : draft.part.channels) channels.push_back(channel.name);
        std::sort(channels.begin(), channels.end());
        if (std::adjacent_find(channels.begin(), channels.end()) != channels.end())
            return fail(Code::header, "the header is damaged: two channels have the same name");
    }
    std::sort(parts.begin(), parts.end());
    if (flags_.multipart && std::adjacent_find(parts.begin(), parts.end()) != parts.end())
        return fail(Code::header, "the header is damaged: two parts have the same name");
    return true;
}

bool HeaderWalk::checkUnknown() {
    for (const PartDraft& draft : drafts_) {
        const QByteArray unknown = unknownIn(draft);
        if (!unknown.isEmpty()) return fail(Code::unsupported, unknown);
    }
    return true;
}

bool HeaderWalk::checkParts() {
    for (std::size_t i = 0; i < drafts_.size(); ++i) {
        QByteArray damage = damageIn(drafts_[i], flags_);
        if (damage.isEmpty()) {
            const QByteArray contradiction = contradictionOf(drafts_[i], drafts_.front());
            if (!contradiction.isEmpty()) damage = contradiction + " is not that of the first part";
        }
        if (damage.isEmpty()) continue;
        drafts_.resize(i + 1);
        return failHeader(damage);
    }
    return true;
}

void HeaderWalk::keepParts() {
    if (!checkUnknown() || !checkParts() || !checkNames()) return;
    for (const PartDraft& draft : drafts_) reading_.parts.push_back(partOf(draft, flags_));
    showVersion();
    hideWrongType(drafts_.front());
}

// Where the flags count, the library goes by the type all the same: it is shown one attribute of another name.
void HeaderWalk::hideWrongType(const PartDraft& draft) {
    kxExr::Storage typed;
    if (flags_.multipart || flags_.deep || !has(draft, Attribute::type)) return;
    if (storageFromType(draft.type, typed) && typed != reading_.parts.front().storage)
        reading_.patches.push_back({draft.typeName, "Type"});
}

}  // namespace

HeaderReading readHeaders(Bytes& bytes) {
    return HeaderWalk(bytes).run();
}

}  // namespace kxCheck
