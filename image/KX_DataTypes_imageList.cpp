// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_DataTypes_imageList.h"

#include "image/KX_image.h"
#include "image/kxFrameRestriction.h"
#include "shared/kxFileSystem.h"
#include "shared/kxLog.h"

#include <sys/mman.h>

#include <QStringBuilder>
#include <algorithm>
#include <cstring>
#include <map>
#include <new>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using kxCHK::_SingleImageView;
using kxFrames::FrameRestriction;
using kxFrames::wrappingDifference;
using kxFrames::wrappingSum;

constexpr QLatin1Char Lpoint('.');
constexpr QLatin1Char LUnderline('_');

// Slots that discovery fills from disk, and the longest sequence that gap filling aims at: one less than there are.
constexpr int mostFrames = _kxViewSequence::slotCount - 1;
// Tiles are numbered 00 .. 29; a higher number is no tile's.
constexpr int tileCount = 30;

bool isSeparator(QChar c) {
    return c == Lpoint || c == LUnderline;
}
bool isDigit(QChar c) {
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

// --- Splitting a path ------------------------------------------------------------------------------------------

struct PathParts {
    QString stem;  // directory and prefix
    QString extension;
};

// "/r/shot.####.exr" gives "/r/shot." and ".exr". The path holds the wildcard.
PathParts splitAtWildcard(const QString& path, QLatin1Char wildcard) {
    const auto last = path.lastIndexOf(wildcard);
    auto stemSize = last;
    while (stemSize > 0 && path.at(stemSize - 1) == wildcard) --stemSize;
    return {path.left(stemSize), path.mid(last + 1)};
}

// "/r/beauty_0042_diffuse.exr" gives "/r/beauty_" and "_diffuse.exr": the last group of digits before the last "."
// is the frame number. A name without one is all stem: "/r/comp.exr" and no extension. Digits at the end of the
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
    const QString extension = stemSize < path.size() ? path.mid(stemSize) : QString();
    while (stemSize > 0 && isDigit(path.at(stemSize - 1))) --stemSize;
    return {path.left(stemSize), extension};
}

struct TileFlags {
    bool isTiled;
    bool dotSeparator;
};

// Cuts a tile marker off the end of `name`. The two characters of the tile's number are counted, not looked at.
TileFlags takeTileMarker(QString& name) {
    const QLatin1String marker("_tile");
    const auto start = name.lastIndexOf(marker);
    const auto sizeFromMarker = name.size() - start;
    const bool unnumbered = name.endsWith(marker) || name.endsWith(QLatin1String("_tile00_."));
    const bool dotted = start >= 1 && sizeFromMarker == 9 && name.endsWith(QLatin1String("_."));
    const bool plain = start >= 1 && sizeFromMarker == 8 && name.endsWith(LUnderline);
    const bool isTiled = unnumbered || dotted || plain;
    if (isTiled) name.truncate(start);
    return {isTiled, !plain};
}

bool sameName(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

// --- Slots -----------------------------------------------------------------------------------------------------

void setTimeAndSize(_SingleImageView& slot, _kxTime time, long long size) {
    slot.fileTime = time;
    slot.fileSize = std::min(size, kxCHK::fileSizeMarker4GB);
    slot.checkPending = 1;
}

void resetToFile(_SingleImageView& slot, _kxTime time, long long size, long long frame) {
    slot.clear();
    setTimeAndSize(slot, time, size);
    slot.thumbnailLoaded = 0;
    slot.frameNumber = frame;
    slot.fileFound = true;
}

// True when the slot was filled from a name with this middle part, put down with or without a "." in front.
bool isTextOf(const _kxString8_allSize<15>& frameText, const QString& middle) {
    QLatin1String text(frameText.data(), frameText.length());
    if (text.size() == middle.size() + 1 && text.startsWith(Lpoint)) text = text.mid(1);
    return middle.compare(text, Qt::CaseInsensitive) == 0;
}

}  // namespace

// --- The record ------------------------------------------------------------------------------------------------

constexpr std::size_t largePage = std::size_t{1} << 21;

// Construction writes all of the record. Nine large pages are had many times faster than 4500 small ones.
void* _kxViewSequence::operator new(std::size_t size) {
    const std::size_t rounded = (size + largePage - 1) / largePage * largePage;
    void* const record = ::operator new (rounded, std::align_val_t{largePage});
    madvise(record, rounded, MADV_HUGEPAGE);  // only a hint: without large pages there are small ones
    return record;
}

void* _kxViewSequence::operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void _kxViewSequence::operator delete(void* record) {
    ::operator delete (record, std::align_val_t{largePage});
}

_kxViewSequence::_kxViewSequence() {
    std::iota(std::begin(sortOrder), std::end(sortOrder), 0U);
}

bool _kxViewSequence::imageDirFileFromString(QString path) {
    path = kxConvertPDToOS(path);
    if (!path.contains(PDs)) return false;

    PathParts parts;
    if (path.contains(QLatin1Char('*')))
        parts = splitAtWildcard(path, QLatin1Char('*'));
    else if (path.contains(QLatin1Char('#')))
        parts = splitAtWildcard(path, QLatin1Char('#'));
    else if (path.contains(Lpoint))
        parts = splitAtLastDigits(path);
    else
        return false;

    const QString dir = kxGetDirName(parts.stem, '/');
    QString name = kxGetFileName(parts.stem, '/');
    const TileFlags tile = takeTileMarker(name);
    sameSequence = sameName(parts.extension, extension) && sameName(dir, dirName) && sameName(name, fileName) &&
                   tile.isTiled == isTiled && tile.dotSeparator == tileDotSeparator;
    maxTileIndex = 0;
    isTiled = tile.isTiled;
    tileDotSeparator = tile.dotSeparator;
    extension = parts.extension;
    dirName = dir;
    fileName = name;
    return true;
}

QString _kxViewSequence::getDirFileName(const int& index) const {
    if (extension.isEmpty()) return dirName + fileName;
    const _kxString8_allSize<15>& frameText = images[index].frameText;
    return dirName % fileName % QLatin1String(frameText.data(), frameText.length()) % extension;
}

bool _kxViewSequence::hasFile(const int& index) const {
    if (!images[index].fileFound || slotPaths_[index] == SlotPath::cut) return false;
    return slotPaths_[index] == SlotPath::asListed || kxFileExists(getDirFileName(index), nullptr, nullptr);
}

void _kxViewSequence::resetToEmpty(int slot, long long frame) {
    images[slot].clear();
    images[slot].frameNumber = frame;
    slotPaths_[slot] = SlotPath::unknown;
}

// --- Discovery -------------------------------------------------------------------------------------------------

// One scan of a sequence's directory into its slots.
struct _kxViewSequence::Discovery {
    _kxViewSequence& sequence;
    const FrameRestriction& restriction;
    bool gamma22;
    bool superWhite;
    bool preFill;
    __KXlog* log;

    QString prefix = sequence.fileName.toLower();
    QString suffix = sequence.extension.toLower();
    kxDirListing listing{};
    std::vector<QString> tilePatterns{};
    // Slots by frame number, kept only while slots are refreshed: a walk through all slots for every file would be
    // quadratic.
    std::multimap<long long, int> slotsOfFrame{};

    void run() {
        sequence.minDigits = 10;
        // With a log, entries of other sequences are wanted too: each is logged.
        if (!log) listing.setNameFilter(prefix, suffix);
        listing.init(sequence.dirName + QLatin1Char('*'), false, true, false, false);
        if (log) logStart();
        if (sequence.isTiled) makeTilePatterns();
        if (preFill) preFillSlots();
        if (sequence.sameSequence) indexSlots();
        scan();
        if (log) flushLog();
    }

    void logStart() {
        log->log(10, 8,
                 QLatin1String("Sequence Filename '") + kxToKXUTF8(prefix, false) + QLatin1String("' '") +
                     kxToKXUTF8(suffix, false) + QLatin1String("'.\nSequence Folder ") +
                     kxToKXUTF8(listing.OSSearchFunctionName(), false));
    }

    void logEntry(const QString& listed, bool isRight) {
        const QLatin1String text(isRight ? "DirList:  '%1': right filename" : "DirList:  '%1': WRONG filename");
        log->log(10, 8, QString(text).arg(kxToKXUTF8(listed, false), 40));
    }

    void flushLog() {
        // A log may have put a file of a class derived from _kxLogfile into the member's place.
        std::launder(&log->logFile)->flush();
    }

    void makeTilePatterns() {
        const QLatin1Char separator = sequence.fileName.endsWith(LUnderline) ? LUnderline : Lpoint;
        for (int tile = 0; tile < tileCount; ++tile) {
            QString pattern = QStringLiteral("_tile%1_").arg(tile, 2, 10, QLatin1Char('0'));
            if (sequence.tileDotSeparator) pattern += separator;
            tilePatterns.push_back(pattern);
        }
    }

    void preFillSlots() {
        sequence.sameSequence = true;
        const int step = std::max(restriction.step, 1);
        for (long long frame = restriction.start; frame <= restriction.end && sequence.imageCount < slotCount;
             frame += step)
            sequence.resetToEmpty(sequence.imageCount++, frame);
    }

    void indexSlots() {
        for (int slot = 0; slot < sequence.imageCount; ++slot)
            slotsOfFrame.emplace_hint(slotsOfFrame.end(), sequence.images[slot].frameNumber, slot);
    }

    void scan() {
        while (listing.nextFile()) {
            const QString listed = listing.fileName();
            QString middle = listed;
            const bool isRight = kxcjFileNameIsRight(middle, prefix, suffix, sequence.isTiled);
            if (log) logEntry(listed, isRight);
            long long key = 0;
            if (!isRight || !(sequence.isTiled ? readTileKey(middle, key) : readFrameKey(middle, key))) continue;
            if (!sequence.sameSequence || !refresh(key, listed, middle)) add(key, listed, middle);
        }
    }

    // The frame number that the text is, when it is wanted.
    bool readFrameKey(const QString& middle, long long& key) {
        bool isNumber = false;
        key = middle.toLongLong(&isNumber);
        if (!isNumber) return false;
        sequence.minDigits = std::min(sequence.minDigits, static_cast<int>(middle.size()));
        return restriction.allows(key);
    }

    // The same behind a tile marker, with the tile added.
    bool readTileKey(const QString& middle, long long& key) {
        for (int tile = 0; tile < tileCount; ++tile) {
            QString number = middle;
            if (!kxcjStartsWith(number, tilePatterns[static_cast<size_t>(tile)])) continue;
            bool isNumber = false;
            const long long frame = number.toLongLong(&isNumber);
            if (!isNumber || !restriction.allows(frame)) return false;
            sequence.maxTileIndex = std::max(sequence.maxTileIndex, tile);
            key = wrappingSum(frame, tile * tileKeyStep);
            return true;
        }
        return false;
    }

    void add(long long key, const QString& listed, const QString& middle) {
        if (sequence.imageCount >= mostFrames) return;
        const int slot = sequence.imageCount;
        resetToFile(sequence.images[slot], listing.fileTime(), listing.fileSize(), key);
        setFrameText(slot, listed, middle);
        if (sequence.sameSequence) slotsOfFrame.emplace(key, slot);
        ++sequence.imageCount;
    }

    // The middle part lacks the separator behind a prefix that ends without one; the path can't be rebuilt without
    // it: ".0001" of "beauty.0001.exr" under the prefix "beauty".
    void setFrameText(int slot, const QString& listed, const QString& middle) {
        const auto prefixSize = sequence.fileName.size();
        const bool longer = listed.size() > middle.size() + prefixSize + sequence.extension.size();
        const bool separated = longer && isSeparator(listed.at(prefixSize));
        const QString text = separated ? listed.at(prefixSize) + middle : middle;
        _kxString8_allSize<15>& frameText = sequence.images[slot].frameText;
        frameText = text;
        const bool isCut = frameText.length() < text.size();
        const bool isListed = isRebuilt(listed, frameText);
        sequence.slotPaths_[slot] = isCut ? SlotPath::cut : isListed ? SlotPath::asListed : SlotPath::unknown;
    }

    // Case ignored in matching and texts that were cut make the rebuilt path another one than the listed.
    bool isRebuilt(const QString& listed, const _kxString8_allSize<15>& frameText) const {
        const QLatin1String text(frameText.data(), frameText.length());
        const auto prefixSize = sequence.fileName.size();
        return listed.size() == prefixSize + text.size() + sequence.extension.size() &&
               listed.startsWith(sequence.fileName) && listed.endsWith(sequence.extension) &&
               QStringView(listed).mid(prefixSize, text.size()) == text;
    }

    // Refreshes all slots of this file; false when there is none.
    bool refresh(long long key, const QString& listed, const QString& middle) {
        bool found = false;
        const auto range = slotsOfFrame.equal_range(key);
        for (auto entry = range.first; entry != range.second; ++entry) {
            _SingleImageView& slot = sequence.images[entry->second];
            if (!preFill && !isTextOf(slot.frameText, middle)) continue;
            found = true;
            slot.fileFound = true;
            if (isUpToDate(slot)) {
                bringToGamma(*slot.thumbnail);
                continue;
            }
            if (preFill) setFrameText(entry->second, listed, middle);
            setTimeAndSize(slot, listing.fileTime(), listing.fileSize());
        }
        return found;
    }

    // True when the slot's cached image shows the current file, super-white or not as wanted.
    bool isUpToDate(const _SingleImageView& slot) {
        return slot.thumbnail && slot.fileTime == listing.fileTime() && slot.fileSize == listing.fileSize() &&
               ((slot.thumbnail->flags & KX_IMG_SUPERWHITE) != 0) == superWhite;
    }

    void bringToGamma(kxP::_imgRGBABuffer8& image) const {
        if (((image.flags & KX_IMG_GAMMA22) != 0) == gamma22) return;
        if (gamma22)
            kximgRGBABuffer8_doGamma22(image);
        else
            kximgRGBABuffer8_undoGamma22(image);
    }
};

void _kxViewSequence::findSequence(const bool& gamma22, const bool& superWhite, QString /*name*/, int start,
                                   int end, int step, int offset, const QString& frameList, bool preFill,
                                   __KXlog* log) {
    const FrameRestriction restriction{wrappingSum(start, offset), wrappingSum(end, offset), step,
                                       kxFrames::FrameList(frameList)};
    restrictStart = start;
    restrictStep = step;
    if (!sameSequence) imageCount = 0;
    for (int i = 0; i < imageCount; ++i) images[i].fileFound = false;

    if (extension.isEmpty()) {
        findSingleFile();
    } else {
        preFill = preFill && !restriction.list.isInUse();
        Discovery{*this, restriction, gamma22, superWhite, preFill, log}.run();
        QSort_files(0, imageCount - 1);
    }

    measureRange();
    if (!restriction.list.isInUse()) fillGaps();
    viewStart = seqStart;
    viewEnd = seqEnd;
    viewStep = seqStep;
    fileCount = imageCount;
    isValid = true;
}

void _kxViewSequence::findSingleFile() {
    _kxTime time;
    long long size = 0;
    if (!kxFileExists(dirName + fileName, &time, &size)) return;
    imageCount = 1;
    resetToFile(images[0], time, size, 1);
    images[0].frameText = "1";
    slotPaths_[0] = SlotPath::asListed;
}

// Only a smaller difference changes the step: 1, 3, 6 gives 2. Differences below 1 are those of two files of one
// frame and of numbers so far apart that the difference wrapped.
void _kxViewSequence::measureRange() {
    seqStart = 0;
    seqEnd = 0;
    seqStep = 1;
    if (imageCount == 0) return;

    const auto difference = [this](int slot) {
        return wrappingDifference(images[slot].frameNumber, images[slot - 1].frameNumber);
    };
    seqStart = images[0].frameNumber;
    seqEnd = images[imageCount - 1].frameNumber;
    if (isTiled) seqEnd %= tileKeyStep;
    if (imageCount < 3) return;
    seqStep = std::max(difference(1), 1LL);
    for (int slot = 2; slot < imageCount; ++slot) {
        const long long d = difference(slot);
        if (d >= 1 && d < seqStep) seqStep = std::gcd(seqStep, d);
    }
}

long long _kxViewSequence::missingAfter(int slot) const {
    const long long frame = images[slot].frameNumber;
    const long long next = images[slot + 1].frameNumber;
    if (isTiled && maxTileIndex >= 1 && frame / tileKeyStep != next / tileKeyStep)
        return frame % tileKeyStep < seqEnd ? 1 : 0;  // at most one frame is added at the end of a tile
    return std::max(wrappingDifference(next, frame) / seqStep, 1LL) - 1;
}

void _kxViewSequence::fillGaps() {
    // But the first; within what the slots can tell apart, so that the product below stays in range.
    const long long frames = std::clamp<long long>(wrappingDifference(seqEnd, seqStart) / seqStep, -1, mostFrames);
    const long long wanted = (frames + 1) * (isTiled ? maxTileIndex + 1 : 1);
    if (imageCount >= wanted || wanted > mostFrames) return;

    // Several files of one frame, or numbers below 0 in a tile, can need more slots than there are frames.
    int filled = imageCount;
    for (int slot = 0; slot + 1 < imageCount; ++slot) {
        const long long missing = missingAfter(slot);
        if (missing > slotCount - filled) return;
        filled += static_cast<int>(missing);
    }

    // From the end backwards each slot moves once, to its final place.
    int target = filled - 1;
    for (int slot = imageCount - 1; slot < target; --slot) {
        long long missing = missingAfter(slot - 1);
        images[target] = std::move(images[slot]);
        slotPaths_[target--] = slotPaths_[slot];
        const long long frame = images[slot - 1].frameNumber;
        for (; missing > 0; --missing) resetToEmpty(target--, wrappingSum(frame, missing * seqStep));
    }
    imageCount = filled;
}

// A null name is an empty one here, other than for QString::startsWith.
static bool beginsWith(const QString& name, const QString& prefix) {
    return prefix.isEmpty() || name.startsWith(prefix);
}

static bool endsWith(const QString& name, const QString& suffix) {
    return suffix.isEmpty() || name.endsWith(suffix);
}

bool kxcjFileNameIsRight(QString& name, const QString& prefix, const QString& suffix, const bool& keepSeparator) {
    if (name.size() < prefix.size() + suffix.size()) return false;
    name = name.toLower();
    if (!beginsWith(name, prefix) || !endsWith(name, suffix)) return false;
    auto first = prefix.size();
    const auto end = name.size() - suffix.size();
    if (!keepSeparator && first < end && isSeparator(name.at(first))) ++first;
    name = name.mid(first, end - first);
    return true;
}

bool kxcjStartsWith(QString& name, const QString& prefix) {
    if (!beginsWith(name, prefix)) return false;
    auto first = prefix.size();
    if (first < name.size() && isSeparator(name.at(first))) ++first;
    name.remove(0, first);
    return true;
}

// --- Sorting ---------------------------------------------------------------------------------------------------

namespace {

// How one element stands to another. `none` is NaN's: neither before nor after anything, itself included.
enum class Order { before, same, after, none };
enum class Direction { ascending, descending };

template <class T>
Order orderOf(const T& a, const T& b) {
    return a < b ? Order::before : b < a ? Order::after : a == b ? Order::same : Order::none;
}

// Byte by byte; a text that another one begins with stands before it.
Order orderOf(const _kxString8_allSize<50>& a, const _kxString8_allSize<50>& b) {
    const int common = std::memcmp(a.data(), b.data(), static_cast<size_t>(std::min(a.length(), b.length())));
    return common != 0 ? orderOf(common, 0) : orderOf(a.length(), b.length());
}

Order directed(Order order, Direction direction) {
    if (direction == Direction::descending && order == Order::before) return Order::after;
    if (direction == Direction::descending && order == Order::after) return Order::before;
    return order;
}

// Hoare's partition around the middle element. The recursion takes the smaller part, so its depth stays below
// log2(hi - lo + 1). Neither scan leaves lo .. hi whatever the keys: an element need not be the same as its own
// pivot (NaN, frame numbers beyond 32 bits), so nothing else would stop it.
//
// `elements` offers pivotAt(position), orderAt(position, pivot) and swap(position, position).
template <class Elements>
void quicksort(Elements elements, int lo, int hi) {
    if (lo < 0 || hi >= _kxViewSequence::slotCount) return;
    while (lo < hi) {
        const auto pivot = elements.pivotAt((lo + hi) / 2);
        int i = lo;
        int j = hi;
        while (i <= j) {
            while (i < hi && elements.orderAt(i, pivot) == Order::before) ++i;
            while (j > lo && elements.orderAt(j, pivot) == Order::after) --j;
            if (i > j) break;
            if (i < j) elements.swap(i, j);
            ++i;
            --j;
        }
        if (j - lo < hi - i) {
            quicksort(elements, lo, j);
            lo = i;
        } else {
            quicksort(elements, i, hi);
            hi = j;
        }
    }
}

// The slots themselves, by frame number and then by the length of its text.
template <class Path>
struct Slots {
    _SingleImageView* images;
    Path* paths;

    std::pair<long long, int> pivotAt(int position) const {
        return {images[position].frameNumber, images[position].frameText.length()};
    }
    Order orderAt(int position, const std::pair<long long, int>& pivot) const {
        return orderOf(pivotAt(position), pivot);
    }
    void swap(int a, int b) {
        std::swap(images[a], images[b]);
        std::swap(paths[a], paths[b]);
    }
};

// Keys by value where the record packs them tighter than a reference may point.
const _kxString8_allSize<50>& machineOf(const _SingleImageView& slot) {
    return slot.infoText;
}
_kxTime dateOf(const _SingleImageView& slot) {
    return slot.fileTime;
}
long long sizeOf(const _SingleImageView& slot) {
    return slot.fileSize;
}
float imageDiffOf(const _SingleImageView& slot) {
    return slot.analyseValue1;
}

// Positions of sortOrder, by a key of the slot and then by its frame number.
template <auto keyOf>
struct Positions {
    const _SingleImageView* images;
    unsigned* sortOrder;
    Direction keyDirection;
    Direction frameDirection;

    struct Pivot {
        std::decay_t<decltype(keyOf(*images))> key;
        int frame;  // cut to 32 bits: frames beyond are told apart by QSort_files alone
    };

    const _SingleImageView& slotAt(int position) const { return images[sortOrder[position]]; }
    Pivot pivotAt(int position) const {
        return {keyOf(slotAt(position)), static_cast<int>(slotAt(position).frameNumber)};
    }
    Order orderAt(int position, const Pivot& pivot) const {
        const _SingleImageView& slot = slotAt(position);
        const Order byKey = directed(orderOf(keyOf(slot), pivot.key), keyDirection);
        if (byKey != Order::same) return byKey;
        return directed(orderOf<long long>(slot.frameNumber, pivot.frame), frameDirection);
    }
    void swap(int a, int b) { std::swap(sortOrder[a], sortOrder[b]); }
};

template <auto keyOf>
void sortPositions(_kxViewSequence& sequence, int lo, int hi, Direction keyDirection, Direction frameDirection) {
    quicksort(Positions<keyOf>{sequence.images, sequence.sortOrder, keyDirection, frameDirection}, lo, hi);
}

constexpr Direction up = Direction::ascending;
constexpr Direction down = Direction::descending;

}  // namespace

void _kxViewSequence::QSort_files(int lo, int hi) {
    quicksort(Slots<SlotPath>{images, slotPaths_}, lo, hi);
}

void _kxViewSequence::QSort_Machine(int lo, int hi) {
    sortPositions<machineOf>(*this, lo, hi, up, up);
}
void _kxViewSequence::QSort_Machine_des(int lo, int hi) {
    sortPositions<machineOf>(*this, lo, hi, down, down);
}
void _kxViewSequence::QSort_Date(int lo, int hi) {
    sortPositions<dateOf>(*this, lo, hi, down, up);
}
void _kxViewSequence::QSort_Date_des(int lo, int hi) {
    sortPositions<dateOf>(*this, lo, hi, down, down);
}
void _kxViewSequence::QSort_Size(int lo, int hi) {
    sortPositions<sizeOf>(*this, lo, hi, up, up);
}
void _kxViewSequence::QSort_Size_des(int lo, int hi) {
    sortPositions<sizeOf>(*this, lo, hi, down, down);
}
void _kxViewSequence::QSort_ImageDiff(int lo, int hi) {
    sortPositions<imageDiffOf>(*this, lo, hi, up, up);
}
void _kxViewSequence::QSort_ImageDiff_des(int lo, int hi) {
    sortPositions<imageDiffOf>(*this, lo, hi, down, down);
}

void _kxViewSequence::sort(_SortIDs id, const bool& descending) {
    sortID = id;
    std::iota(std::begin(sortOrder), descending ? sortOrder + imageCount : std::end(sortOrder), 0U);
    if (descending) std::reverse(sortOrder, sortOrder + imageCount);
    const int last = imageCount - 1;
    switch (id) {
        case sortMachine:
            return descending ? QSort_Machine_des(0, last) : QSort_Machine(0, last);
        case sortDate:
            return descending ? QSort_Date_des(0, last) : QSort_Date(0, last);
        case sortSize:
            return descending ? QSort_Size_des(0, last) : QSort_Size(0, last);
        case sortImageDiff:
            return descending ? QSort_ImageDiff_des(0, last) : QSort_ImageDiff(0, last);
        default:
            return;
    }
}
