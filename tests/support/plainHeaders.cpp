// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/plainHeaders.h"

#include "tests/support/plainLayout.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <set>
#include <utility>

using kxCheck::Code;

namespace {

using Number = std::int64_t;

float floatOf(const std::string& bytes) {
    const auto bits = static_cast<std::uint32_t>(layoutNumber(bytes, 0, 4));
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Type and size of the attributes that count; any size: -1.
const std::map<std::string, std::pair<std::string, Number>>& knownAttributes() {
    static const std::map<std::string, std::pair<std::string, Number>> known = {{"channels", {"chlist", -1}},
                                                                                {"compression", {"compression", 1}},
                                                                                {"dataWindow", {"box2i", 16}},
                                                                                {"displayWindow", {"box2i", 16}},
                                                                                {"lineOrder", {"lineOrder", 1}},
                                                                                {"pixelAspectRatio", {"float", 4}},
                                                                                {"screenWindowWidth", {"float", 4}},
                                                                                {"screenWindowCenter", {"v2f", 8}},
                                                                                {"tiles", {"tiledesc", 9}},
                                                                                {"name", {"string", -1}},
                                                                                {"type", {"string", -1}},
                                                                                {"version", {"int", 4}},
                                                                                {"chunkCount", {"int", 4}}};
    return known;
}

const std::vector<std::string> partTypes = {"scanlineimage", "tiledimage", "deepscanline", "deeptile"};

class PlainReader {
public:
    explicit PlainReader(const std::string& file) : file_(file) {}

    PlainHeaders read() {
        readVersion();
        do {
            headers_.parts.emplace_back();
            readHeader(headers_.parts.back());
        } while (headers_.flags.multipart && byteAt(at_) != '\0');
        headers_.end = at_ + (headers_.flags.multipart ? 1 : 0);
        return headers_;
    }

private:
    char byteAt(std::size_t offset) const {
        if (offset >= file_.size()) throw PlainEnd{Code::truncated};
        return file_[offset];
    }

    void readVersion() {
        if (file_.empty()) throw PlainEnd{Code::empty};
        if (file_.size() < 4 || layoutNumber(file_, 0, 4) != 20000630) throw PlainEnd{Code::notExr};
        if (file_.size() < 8) throw PlainEnd{Code::truncated};
        const std::uint64_t field = layoutNumber(file_, 4, 4);
        if ((field & 255) > 2 || (field & 0xFFFFE100) != 0) throw PlainEnd{Code::unsupported};
        const PlainFlags flags = {(field & 0x200) != 0, (field & 0x800) != 0, (field & 0x1000) != 0};
        if ((field & 255) < 2 || (flags.tiled && (flags.deep || flags.multipart))) throw PlainEnd{Code::header};
        headers_.flags = flags;
    }

    std::string text() {
        std::string text;
        while (byteAt(at_) != '\0') {
            text += file_[at_++];
            if (text.size() > 255) throw PlainEnd{Code::header};
        }
        ++at_;
        return text;
    }

    void readHeader(PlainHeader& header) {
        for (std::string name = text(); !name.empty(); name = text()) {
            const std::string type = text();
            if (type.empty()) throw PlainEnd{Code::header};
            if (file_.size() - at_ < 4) throw PlainEnd{Code::truncated};
            const Number size = plainInt(file_, at_);
            at_ += 4;
            if (size < 0) throw PlainEnd{Code::header};
            if (static_cast<Number>(file_.size() - at_) < size) throw PlainEnd{Code::truncated};
            readValue(header, name, type, static_cast<std::size_t>(size));
        }
    }

    void readValue(PlainHeader& header, const std::string& name, const std::string& type, std::size_t size) {
        const auto known = knownAttributes().find(name);
        const bool isShared = name == type && (name == "chromaticities" || name == "timecode");
        if (known != knownAttributes().end()) {
            const Number needed = known->second.second;
            const bool isRight = type == known->second.first && (needed < 0 || static_cast<Number>(size) == needed);
            if (!isRight || header.values.count(name) > 0) throw PlainEnd{Code::header};
            if (name == "channels") readChannels(header, at_ + size);
            if ((name == "name" || name == "type") && size > 65536) throw PlainEnd{Code::header};
        }
        if (isShared && size > 32) throw PlainEnd{Code::header};
        if (name == "channels") {
            header.values[name];
            return;
        }
        if (known != knownAttributes().end() || isShared) header.values[name] = file_.substr(at_, size);
        at_ += size;
    }

    void readChannels(PlainHeader& header, std::size_t end) {
        while (at_ < end) {
            PlainChannel channel{text()};
            if (channel.name.empty()) break;
            if (at_ + 16 > end) throw PlainEnd{Code::header};
            channel.xSampling = plainInt(file_, at_ + 8);
            channel.ySampling = plainInt(file_, at_ + 12);
            const bool isPossible = layoutNumber(file_, at_, 4) <= 2 && layoutNumber(file_, at_ + 4, 1) <= 1;
            if (!isPossible || channel.xSampling < 1 || channel.ySampling < 1) throw PlainEnd{Code::header};
            header.channels.push_back(channel);
            at_ += 16;
        }
        if (at_ != end || header.channels.empty()) throw PlainEnd{Code::header};
    }

    const std::string& file_;
    PlainHeaders headers_;
    std::size_t at_ = 8;  // behind what was read
};

// Up to a zero byte.
std::string wordOf(const PlainHeader& header, const char* name) {
    const auto value = header.values.find(name);
    return value == header.values.end() ? std::string() : std::string(value->second.c_str());
}

void requireKnown(const PlainHeader& header) {
    const bool isKnown = std::count(partTypes.begin(), partTypes.end(), wordOf(header, "type")) > 0;
    if (header.values.count("type") > 0 && !isKnown) throw PlainEnd{Code::unsupported};
    if (header.values.count("compression") > 0 && plainCompression(header) > 11) throw PlainEnd{Code::unsupported};
}

void setStorage(PlainHeader& header, const PlainFlags& flags) {
    const std::string type = flags.multipart || flags.deep ? wordOf(header, "type") : std::string();
    header.isTiled = type.empty() ? flags.tiled : type.find("tile") != std::string::npos;
    header.isDeep = type.find("deep") == 0;
}

bool hasAll(const PlainHeader& header, const PlainFlags& flags) {
    std::set<std::string> needed = {"channels",  "compression",      "dataWindow",         "displayWindow",
                                    "lineOrder", "pixelAspectRatio", "screenWindowCenter", "screenWindowWidth"};
    if (header.isTiled) needed.insert("tiles");
    if (flags.multipart) needed.insert("name");
    if (flags.multipart || flags.deep) needed.insert({"type", "chunkCount"});
    if (header.isDeep) needed.insert("version");
    return std::all_of(needed.begin(), needed.end(),
                       [&](const std::string& name) { return header.values.count(name) > 0; });
}

bool isWindow(const PlainWindow& window) {
    constexpr Number most = INT_MAX / 2;
    return window.width() > 0 && window.height() > 0 && std::min(window.minX, window.minY) > -most &&
           std::max(window.maxX, window.maxY) < most;
}

bool areNumbersPossible(const PlainHeader& header) {
    const float aspect = floatOf(header.values.at("pixelAspectRatio"));
    const bool isAspect = std::isnormal(aspect) && aspect >= 1e-6F && aspect <= 1e6F;
    const std::uint64_t order = layoutNumber(header.values.at("lineOrder"), 0, 1);
    const bool isDeepPossible =
        !header.isDeep || (layoutNumber(header.values.at("version"), 0, 4) == 1 && plainCompression(header) <= 2);
    return isWindow(plainWindow(header, "displayWindow")) && isWindow(plainWindow(header, "dataWindow")) &&
           isAspect && !(floatOf(header.values.at("screenWindowWidth")) < 0) && order <= (header.isTiled ? 2 : 1) &&
           isDeepPossible;
}

bool areTilesPossible(const PlainHeader& header) {
    if (!header.isTiled) return true;
    const std::string& tiles = header.values.at("tiles");
    const std::uint64_t width = layoutNumber(tiles, 0, 4);
    const std::uint64_t height = layoutNumber(tiles, 4, 4);
    const std::uint64_t mode = layoutNumber(tiles, 8, 1);
    return std::min(width, height) >= 1 && std::max(width, height) <= INT_MAX / 4 && mode % 16 <= 2 &&
           mode / 16 <= 1;
}

bool isSamplingPossible(const PlainHeader& header) {
    const PlainWindow window = plainWindow(header, "dataWindow");
    return std::all_of(header.channels.begin(), header.channels.end(), [&](const PlainChannel& channel) {
        const bool isWhole = channel.xSampling == 1 && channel.ySampling == 1;
        return (isWhole || !(header.isTiled || header.isDeep)) && window.minX % channel.xSampling == 0 &&
               window.width() % channel.xSampling == 0 && window.minY % channel.ySampling == 0 &&
               window.height() % channel.ySampling == 0;
    });
}

// What all parts have in common.
bool isLike(const PlainHeader& header, const PlainHeader& first) {
    for (const char* name : {"chromaticities", "timecode"}) {
        const auto value = header.values.find(name);
        if (value == header.values.end() || value->second.empty()) continue;
        const auto other = first.values.find(name);
        if (other == first.values.end() || other->second != value->second) return false;
    }
    return header.values.at("displayWindow") == first.values.at("displayWindow") &&
           floatOf(header.values.at("pixelAspectRatio")) == floatOf(first.values.at("pixelAspectRatio"));
}

void requireNames(const std::vector<PlainHeader>& headers, const PlainFlags& flags) {
    std::set<std::string> parts;
    for (const PlainHeader& header : headers) {
        if (!parts.insert(wordOf(header, "name")).second && flags.multipart) throw PlainEnd{Code::header};
        std::set<std::string> channels;
        for (const PlainChannel& channel : header.channels)
            if (!channels.insert(channel.name).second) throw PlainEnd{Code::header};
    }
}

void requirePossible(std::vector<PlainHeader>& headers, const PlainFlags& flags, int compressions) {
    for (const PlainHeader& header : headers) requireKnown(header);
    for (PlainHeader& header : headers) {
        setStorage(header, flags);
        const bool isRight = hasAll(header, flags) && areNumbersPossible(header) && areTilesPossible(header) &&
                             isSamplingPossible(header) && isLike(header, headers.front());
        if (!isRight) throw PlainEnd{Code::header};
    }
    requireNames(headers, flags);
    for (const PlainHeader& header : headers)
        if (plainCompression(header) >= compressions) throw PlainEnd{Code::unsupported};
}

}  // namespace

std::int64_t plainInt(const std::string& bytes, std::size_t offset) {
    return static_cast<std::int32_t>(layoutNumber(bytes, offset, 4));
}

PlainWindow plainWindow(const PlainHeader& header, const char* name) {
    const std::string& value = header.values.at(name);
    return {plainInt(value, 0), plainInt(value, 4), plainInt(value, 8), plainInt(value, 12)};
}

std::int64_t plainCompression(const PlainHeader& header) {
    return static_cast<std::int64_t>(layoutNumber(header.values.at("compression"), 0, 1));
}

PlainHeaders plainHeaders(const std::string& file, int compressions) {
    PlainHeaders headers = PlainReader(file).read();
    requirePossible(headers.parts, headers.flags, compressions);
    return headers;
}
