// SPDX-License-Identifier: BSD-3-Clause
// A second, plain account of how a sequence is split, found, refreshed, completed and sorted: quadratic and
// obvious, sharing nothing with the code under test. Text is bytes, the directory a list of entries.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

struct PlainEntry {
    std::string name;
    long long time;
    long long size;
};

struct PlainSlot {
    long long frame = 0;
    std::string text;
    bool found = false;
    long long time = 0;
    long long size = -1;
    bool pending = true;
    bool loaded = false;
    bool hasImage = false;
    bool imageGamma = false;
    bool imageSuperWhite = false;
};

struct DiscoverySettings {
    bool gamma22 = false;
    bool superWhite = false;
    int start = -1;
    int end = -1;
    int step = 1;
    int offset = 0;
    std::string frameList;
    bool preFill = false;
};

class PlainSequence {
public:
    bool split(std::string path);
    // `entries` in the order of the listing; `single` is the file dirName + fileName, null when there is none.
    void find(const std::vector<PlainEntry>& entries, const PlainEntry* single, const DiscoverySettings& settings);

    long long seqStart = 0, seqEnd = 0, seqStep = 0;
    int restrictStart = 0, restrictStep = 0;
    int fileCount = 0;
    bool isValid = false;
    std::string dirName, fileName, extension;
    bool sameSequence = false;
    bool isTiled = false, tileDotSeparator = false;
    int minDigits = 0, maxTileIndex = 0;
    std::vector<PlainSlot> slotList;

private:
    bool wants(long long frame, const DiscoverySettings& settings) const;
    bool keyOf(const std::string& middle, const DiscoverySettings& settings, long long& key);
    std::string textOf(const std::string& listed, const std::string& middle) const;
    bool refresh(const PlainEntry& entry, const std::string& middle, long long key,
                 const DiscoverySettings& settings);
    void findStep();
    void fillGaps();
};

// The partition scheme of all sorts, written as it reads: `before` and `after` compare an element with the copy of
// the pivot that `copy` makes.
template <class Element, class Copy, class Before, class After>
void plainQuicksort(std::vector<Element>& elements, int lo, int hi, Copy copy, Before before, After after) {
    if (lo >= hi) return;
    const auto at = [&](int position) -> Element& { return elements[static_cast<std::size_t>(position)]; };
    const auto pivot = copy(at((lo + hi) / 2));
    int i = lo;
    int j = hi;
    do {
        while (i < hi && before(at(i), pivot)) i++;
        while (j > lo && after(at(j), pivot)) j--;
        if (i <= j) {
            std::swap(at(i), at(j));
            i++;
            j--;
        }
    } while (i <= j);
    plainQuicksort(elements, lo, j, copy, before, after);
    plainQuicksort(elements, i, hi, copy, before, after);
}
