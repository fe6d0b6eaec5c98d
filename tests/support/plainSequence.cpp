// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/plainSequence.h"

#include <QString>

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t capacity = 25000;
constexpr long long tileStep = 10000000;

char lowerOf(char c) {
    const int code = static_cast<unsigned char>(c);
    const bool isUpper = (code >= 'A' && code <= 'Z') || (code >= 0xC0 && code <= 0xDE && code != 0xD7);
    return isUpper ? static_cast<char>(code + 32) : c;
}

std::string lower(std::string text) {
    for (char& c : text) c = lowerOf(c);
    return text;
}

bool startsWith(const std::string& text, const std::string& part) {
    return text.size() >= part.size() && text.substr(0, part.size()) == part;
}

bool endsWith(const std::string& text, const std::string& part) {
    return text.size() >= part.size() && text.substr(text.size() - part.size()) == part;
}

bool isNumber(const std::string& text, long long& number) {
    bool ok = false;
    number = QString::fromLatin1(text.data(), static_cast<int>(text.size())).toLongLong(&ok, 10);
    return ok;
}

long long numberOr0(const std::string& text) {
    long long number = 0;
    return isNumber(text, number) ? number : 0;
}

std::string trimmed(std::string text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && isBlank(text.front())) text.erase(text.begin());
    while (!text.empty() && isBlank(text.back())) text.pop_back();
    return text;
}

long long sum(long long a, long long b) {
    return static_cast<long long>(static_cast<unsigned long long>(a) + static_cast<unsigned long long>(b));
}

long long difference(long long a, long long b) {
    return static_cast<long long>(static_cast<unsigned long long>(a) - static_cast<unsigned long long>(b));
}

int sum32(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

long long greatestCommonDivisor(long long a, long long b) {
    return b == 0 ? a : greatestCommonDivisor(b, a % b);
}

bool isInList(long long frame, const std::string& list) {
    std::size_t begin = 0;
    while (begin <= list.size()) {
        const std::size_t end = std::min(list.find(',', begin), list.size());
        const std::string part = trimmed(list.substr(begin, end - begin));
        begin = end + 1;
        if (part.empty()) continue;
        const std::size_t dash = part.find('-');
        const long long first = numberOr0(part.substr(0, dash));
        const long long last = dash == std::string::npos ? first : numberOr0(part.substr(dash + 1));
        if (frame >= first && frame <= last) return true;
    }
    return false;
}

bool endsInDigit(const std::string& text) {
    return !text.empty() && text.back() >= '0' && text.back() <= '9';
}

void splitAtWildcard(std::string& path, char wildcard, std::string& ext) {
    ext = path.substr(path.rfind(wildcard) + 1);
    path = path.substr(0, path.rfind(wildcard));
    while (!path.empty() && path.back() == wildcard) path.pop_back();
}

void splitAtDigits(std::string& path, std::string& ext) {
    ext = path.substr(path.rfind('.'));
    path = path.substr(0, path.rfind('.'));
    while (!endsInDigit(path)) {
        if (path.size() < 4 || path.back() == '/') {
            path += ext;
            ext.clear();
            break;
        }
        ext.insert(ext.begin(), path.back());
        path.pop_back();
    }
    while (endsInDigit(path)) path.pop_back();
}

// True when `name` is the sequence's; then it becomes its middle part.
bool takeMiddle(std::string& name, const std::string& prefix, const std::string& suffix, bool keepSeparator) {
    if (name.size() < prefix.size() + suffix.size()) return false;
    name = lower(name);
    if (!startsWith(name, prefix) || !endsWith(name, suffix)) return false;
    name = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
    if (!keepSeparator && !name.empty() && (name[0] == '.' || name[0] == '_')) name.erase(name.begin());
    return true;
}

PlainSlot slotOf(const PlainEntry& entry, long long key, const std::string& text) {
    PlainSlot slot;
    slot.frame = key;
    slot.text = text;
    slot.found = true;
    slot.time = entry.time;
    slot.size = std::min(entry.size, 4200000000LL);
    return slot;
}

PlainSlot emptySlot(long long key) {
    PlainSlot slot;
    slot.frame = key;
    return slot;
}

}  // namespace

bool PlainSequence::split(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    const auto has = [&](char c) { return path.find(c) != std::string::npos; };
    if (path.empty() || !has('/')) return false;
    if (!has('*') && !has('#') && !has('.')) return false;
    std::string ext;
    if (has('*'))
        splitAtWildcard(path, '*', ext);
    else if (has('#'))
        splitAtWildcard(path, '#', ext);
    else
        splitAtDigits(path, ext);
    const std::size_t nameAt = path.find('/') == std::string::npos ? 0 : path.rfind('/') + 1;
    const std::string dir = path.substr(0, nameAt);
    std::string name = path.substr(nameAt);

    maxTileIndex = 0;
    bool tiled = false;
    bool dot = true;
    const std::size_t marker = name.rfind("_tile");
    const bool isInside = marker != std::string::npos && marker >= 1;
    if (endsWith(name, "_tile") || endsWith(name, "_tile00_.")) tiled = true;
    if (isInside && endsWith(name, "_.") && marker + 9 == name.size()) tiled = true;
    if (isInside && endsWith(name, "_") && marker + 8 == name.size()) {
        tiled = true;
        dot = false;
    }
    if (tiled) name = name.substr(0, marker);

    sameSequence = lower(ext) == lower(extension) && lower(dir) == lower(dirName) &&
                   lower(name) == lower(fileName) && tiled == isTiled && dot == tileDotSeparator;
    isTiled = tiled;
    tileDotSeparator = dot;
    extension = ext;
    dirName = dir;
    fileName = name;
    return true;
}

bool PlainSequence::wants(long long frame, const DiscoverySettings& settings) const {
    const int start = sum32(settings.start, settings.offset);
    const int end = sum32(settings.end, settings.offset);
    if (start != -1 && frame < start) return false;
    if (end != -1 && frame > end) return false;
    if (settings.step >= 2 && difference(frame, start) % settings.step != 0) return false;
    return settings.frameList.empty() || isInList(frame, settings.frameList);
}

bool PlainSequence::keyOf(const std::string& middle, const DiscoverySettings& settings, long long& key) {
    if (!isTiled) {
        if (!isNumber(middle, key)) return false;
        minDigits = std::min(minDigits, static_cast<int>(middle.size()));
        return wants(key, settings);
    }
    for (int tile = 0; tile <= 29; tile++) {
        std::string pattern = "_tile";
        pattern += static_cast<char>('0' + tile / 10);
        pattern += static_cast<char>('0' + tile % 10);
        pattern += "_";
        if (tileDotSeparator) pattern += endsWith(fileName, "_") ? "_" : ".";
        if (!startsWith(middle, pattern)) continue;
        std::string rest = middle.substr(pattern.size());
        if (!rest.empty() && (rest[0] == '_' || rest[0] == '.')) rest.erase(rest.begin());
        if (!isNumber(rest, key) || !wants(key, settings)) return false;
        key = sum(key, tile * tileStep);
        maxTileIndex = std::max(maxTileIndex, tile);
        return true;
    }
    return false;
}

std::string PlainSequence::textOf(const std::string& listed, const std::string& middle) const {
    std::string text = middle.substr(0, 15);
    if (listed.size() > middle.size() + fileName.size() + extension.size()) {
        const char next = listed[fileName.size()];
        if (next == '.' || next == '_') text.insert(text.begin(), next);
    }
    return text.substr(0, 15);
}

bool PlainSequence::refresh(const PlainEntry& entry, const std::string& middle, long long key,
                            const DiscoverySettings& settings) {
    bool any = false;
    for (PlainSlot& slot : slotList) {
        if (slot.frame != key) continue;
        const std::string text = lower(slot.text);
        if (!settings.preFill && text != "." + middle && text != middle) continue;
        any = true;
        slot.found = true;
        if (slot.time == entry.time && slot.size == entry.size && slot.hasImage &&
            slot.imageSuperWhite == settings.superWhite) {
            slot.imageGamma = settings.gamma22;
            continue;
        }
        if (settings.preFill) slot.text = textOf(entry.name, middle);
        slot.pending = true;
        slot.time = entry.time;
        slot.size = std::min(entry.size, 4200000000LL);
    }
    return any;
}

void PlainSequence::find(const std::vector<PlainEntry>& entries, const PlainEntry* single,
                         const DiscoverySettings& wanted) {
    DiscoverySettings settings = wanted;
    const bool listInUse = !settings.frameList.empty();
    settings.preFill = settings.preFill && !listInUse;
    restrictStart = settings.start;
    restrictStep = settings.step;
    if (!sameSequence) slotList.clear();
    for (PlainSlot& slot : slotList) slot.found = false;

    if (extension.empty()) {
        if (single) slotList = {slotOf(*single, 1, "1")};
    } else {
        minDigits = 10;
        if (settings.preFill) {
            sameSequence = true;
            for (long long f = sum32(settings.start, settings.offset); f <= sum32(settings.end, settings.offset);
                 f += std::max(settings.step, 1)) {
                if (slotList.size() < capacity) slotList.push_back(emptySlot(f));
            }
        }
        for (const PlainEntry& entry : entries) {
            std::string middle = entry.name;
            long long key = 0;
            if (!takeMiddle(middle, lower(fileName), lower(extension), isTiled)) continue;
            if (!keyOf(middle, settings, key)) continue;
            if (sameSequence && refresh(entry, middle, key, settings)) continue;
            if (slotList.size() > 24998) continue;
            slotList.push_back(slotOf(entry, key, textOf(entry.name, middle)));
        }
        const auto copy = [](const PlainSlot& slot) { return slot; };
        const auto before = [](const PlainSlot& a, const PlainSlot& b) {
            return a.frame != b.frame ? a.frame < b.frame : a.text.size() < b.text.size();
        };
        const auto after = [&](const PlainSlot& a, const PlainSlot& b) { return before(b, a); };
        plainQuicksort(slotList, 0, static_cast<int>(slotList.size()) - 1, copy, before, after);
    }

    if (slotList.empty()) {
        seqStart = 0;
        seqEnd = 0;
        seqStep = 1;
    } else {
        findStep();
        if (!listInUse) fillGaps();
    }
    fileCount = static_cast<int>(slotList.size());
    isValid = true;
}

void PlainSequence::findStep() {
    seqStart = slotList.front().frame;
    seqEnd = isTiled ? slotList.back().frame % tileStep : slotList.back().frame;
    seqStep = 1;
    if (slotList.size() >= 3) {
        seqStep = difference(slotList[1].frame, slotList[0].frame);
        if (seqStep >= 2) {
            for (std::size_t k = 2; k < slotList.size(); k++) {
                const long long d = difference(slotList[k].frame, slotList[k - 1].frame);
                if (d <= 0 || d >= seqStep) continue;
                seqStep = d == 1 ? 1 : greatestCommonDivisor(seqStep, d);
            }
        }
    }
    if (seqStep < 1) seqStep = 1;
}

void PlainSequence::fillGaps() {
    const bool hasTiles = isTiled && maxTileIndex >= 1;
    const long long n = sum(difference(seqEnd, seqStart) / seqStep, 1);
    if (n < 0 || n > 24999) return;
    const long long wanted = hasTiles ? (maxTileIndex + 1) * n : n;
    if (!(static_cast<long long>(slotList.size()) < wanted && wanted <= 24999 && slotList.size() >= 2)) return;

    std::vector<PlainSlot> filled = slotList;
    std::size_t i = 0;
    while (i + 1 < filled.size()) {
        const long long here = filled[i].frame;
        const long long gap = difference(filled[i + 1].frame, here);
        if (hasTiles && here / tileStep != filled[i + 1].frame / tileStep) {
            if (here % tileStep < seqEnd) {
                filled.insert(filled.begin() + static_cast<long>(i) + 1, emptySlot(sum(here, seqStep)));
                i++;
            }
        } else if (gap > seqStep) {
            const long long missing = gap / seqStep - 1;
            for (long long j = 1; j <= missing; j++) {
                if (filled.size() > capacity) return;
                i++;
                filled.insert(filled.begin() + static_cast<long>(i), emptySlot(here + j * seqStep));
            }
        }
        i++;
    }
    if (filled.size() <= capacity) slotList = filled;
}
