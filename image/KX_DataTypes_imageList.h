// SPDX-License-Identifier: BSD-3-Clause
// An image sequence on disk: one file per frame, the frame number in the file name.
//
// The record is made once per run on the heap (it holds 25000 frame slots in place, about 18 MB), told the file
// name of one frame (imageDirFileFromString), filled from the directory (findSequence) and then read. It owns the
// thumbnails of its slots.
//
// Threads: a record is used by one thread at a time, different records by several. While no thread changes a
// record, several may call its const operations.
#pragma once

#include "image/KX_DataTypes_image.h"
#include "image/kxFramePath.h"
#include "image/kxFrameSource.h"

#include <QString>

#include <cstddef>
#include <new>

class __KXlog;

namespace kxFrames {

struct SlotOrder;

// What a discovery is asked for.
struct DiscoverySettings {
    int start = -1;           // first frame before the offset is added; -1 after it is open
    int end = -1;             // last frame, likewise
    int step = 1;             // every step-th frame from the start; below 2 every frame
    int offset = 0;           // added to start and end
    QString frameList;        // "1-10, 15": these frames alone; empty for no list
    bool preFill = false;     // makes an empty slot per frame of the range first; not with a frame list
    bool gamma22 = false;     // the wanted gamma state of cached images
    bool superWhite = false;  // cached images made otherwise count as out of date
};

}  // namespace kxFrames

// Orders of the display list.
enum _SortIDs { sortNone = 0, sortMachine = 1, sortDate = 2, sortSize = 3, sortImageDiff = 4 };

class _kxViewSequence {
public:
    // Frame slots. Discovery fills at most one less from disk.
    static constexpr int slotCount = 25000;
    // A tile's frames are keyed frame number + tile index * tileKeyStep.
    static constexpr long long tileKeyStep = kxFrames::tileKeyStep;

    _kxViewSequence();
    ~_kxViewSequence() = default;
    // On pages of 2 MiB where the system has them: getting its pages is most of what the record costs.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept;
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* record);
    _kxViewSequence(const _kxViewSequence&) = delete;
    _kxViewSequence& operator=(const _kxViewSequence&) = delete;

    // Splits a path into dirName, fileName (the prefix before the frame number) and extension (all after it), see
    // splitFramePath. False, with nothing changed, when the path can't be split.
    [[nodiscard]] bool imageDirFileFromString(QString path);
    // The same with a path that is split already.
    void setFramePath(const kxFrames::FramePath& path);
    // What the last split gave.
    [[nodiscard]] kxFrames::FramePath framePath() const;

    // Full path of slot `index` (0 .. imageCount - 1): dirName + fileName + frameText + extension.
    [[nodiscard]] QString getDirFileName(const int& index) const;

    // True when a file backs slot `index` and getDirFileName names it. A slot that fills a gap has none, whatever
    // bears the name assembled for it, and neither has one whose frame text was cut: "t.0000000000000007.exr"
    // becomes the path of frame 0. Discovery ignores letter case while paths are rebuilt as typed; where they
    // differ the disk is asked, because what bears the rebuilt name may be a pipe that a reader would wait for.
    [[nodiscard]] bool hasFile(const int& index) const;
    // The same in the folder that `source` shows, the one that the slots were filled from.
    [[nodiscard]] bool hasFile(const int& index, kxFrames::FrameSource& source) const;

    // Lists the directory and fills the slots: restricted to start + offset .. end + offset (-1 is open), to every
    // step-th frame from the start, and to the frames of `frameList` ("1-10, 15") when it is not empty; sorted by
    // frame, with empty slots for missing frames. On a record of the same sequence the slots are refreshed instead,
    // and cached images brought to the wanted gamma state. preFill makes an empty slot per frame of the range
    // first, as far as there are slots; the range should be bounded. `name` is not read, `log` may be null. The
    // outcome is in fileCount (0: nothing found) and the fields below.
    void findSequence(const bool& gamma22, const bool& superWhite, QString name, int start, int end, int step,
                      int offset, const QString& frameList, bool preFill, __KXlog* log);
    // The same in the folder that `source` shows.
    void findSequence(const kxFrames::DiscoverySettings& settings, kxFrames::FrameSource& source,
                      __KXlog* log = nullptr);

    // Reorders sortOrder, never the slots. Both date orders put the newest file first. Ascending orders reset all
    // of sortOrder first; descending ones write its used part alone, and the rest keeps what it held.
    void sort(_SortIDs id, const bool& descending);

    // Sorts the slots lo .. hi by frame number, then by the length of the frame text; does nothing when one of them
    // is not a slot.
    void QSort_files(int lo, int hi);
    // Sort the positions lo .. hi of sortOrder, see kxSlotSorting.h; do nothing when one of them is not a position.
    void QSort_Machine(int lo, int hi);
    void QSort_Machine_des(int lo, int hi);
    void QSort_Date(int lo, int hi);
    void QSort_Date_des(int lo, int hi);
    void QSort_Size(int lo, int hi);
    void QSort_Size_des(int lo, int hi);
    void QSort_ImageDiff(int lo, int hi);
    void QSort_ImageDiff_des(int lo, int hi);

    struct FrameLabels {
        _kxString8_allSize<15> first;
        _kxString8_allSize<14> second;
    };

    // The life of sameSequence:
    //
    //   what happens                                     it becomes   the slots then are
    //   construction                                     false        none
    //   a split names another sequence                   false        dropped by the next discovery
    //   a split names the sequence of the one before     true         refreshed by the next discovery
    //   a discovery with preFill, an empty range's too   true         refreshed by this discovery and the next
    //   any other discovery                              unchanged
    //
    // Refreshed: a frame whose file is still there keeps its record and, when that is up to date, its thumbnail;
    // one whose file is gone stays without fileFound; new files get slots of their own. Which slot a frame has may
    // change: slots are sorted and gaps filled afterwards.

    long long seqStart = 0;   // frame number of the first slot
    long long seqEnd = 0;     // of the last slot, without its tile
    long long seqStep = 0;    // detected step, at least 1 after a discovery
    long long viewStart = 1;  // copies of the three, made at the end of a discovery
    long long viewEnd = 100;
    long long viewStep = 1;
    int restrictStart = 0;  // what the last discovery was restricted to, -1 is none
    int restrictStep = 0;
    int fileCount = 0;              // slots after discovery, empty ones included
    bool isValid = false;           // a discovery was completed
    QString dirName;                // ends with "/"
    QString fileName;               // prefix before the frame number, without tile marker
    QString extension;              // all after the frame number; empty for a single file
    bool sameSequence = false;      // the next discovery refreshes the slots, see above
    int minDigits = 0;              // fewest digits of a frame number in the last scan, at most 10
    bool isTiled = false;           // the name carries a tile marker, "_tile03_"
    bool tileDotSeparator = false;  // with a separator behind it, "_tile03_."
    int maxTileIndex = 0;           // highest tile index found since the last split
    FrameLabels frameLabels[slotCount];
    kxCHK::_SingleImageView images[slotCount];
    int imageCount = 0;             // used slots
    int sortID = sortNone;          // the _SortIDs value of the last sort
    unsigned sortOrder[slotCount];  // sortOrder[i] is the slot shown at position i
    bool showFlag = false;          // display options, not interpreted here
    int cellWidth = 125;
    int cellHeight = 95;
    int cellColumns = 4;
    bool cellFlag = true;
    long long displayReserve = 0;

private:
    struct Discovery;
    // What discovery saw of the path that getDirFileName gives for a slot.
    enum class SlotPath : unsigned char {
        unknown,   // spelled in another letter case than the file, or the slot was not found by a discovery
        asListed,  // it is the path of the file that was found
        cut        // the frame text lacks characters: it is the path of another file
    };

    // Fills slot 0 from the one file of a name without a frame number, when it exists.
    void findSingleFile(kxFrames::FrameSource& source);
    // Sets the fields that describe the outcome of a discovery.
    void describeOutcome(bool withGaps);
    // Sets seqStart, seqEnd and seqStep from the sorted slots; 0, 0 and 1 without any.
    void measureRange();
    // Puts empty slots where frames are missing; does nothing when they would not fit.
    void fillGaps();
    // Slots to insert between `slot` and the next one.
    long long missingAfter(int slot) const;
    // Empties a slot of which nothing but the frame number is known.
    void resetToEmpty(int slot, long long frame);
    // Empties a slot and fills it from a file but for the frame text.
    void resetToFile(int slot, long long frame, const kxFrames::FileFacts& facts);
    // Sorts the positions lo .. hi of sortOrder.
    void sortDisplay(int lo, int hi, const kxFrames::SlotOrder& order);

    SlotPath slotPaths_[slotCount] = {};  // goes with `images`
};

// Which files belong to a sequence: true when `name` begins with `prefix` and ends with `suffix` (both lower case)
// without overlap, case ignored; then `name` becomes the lower-case part between them, without a leading "." or "_"
// unless keepSeparator. A name long enough is made lower case also when the test fails. Null texts are empty ones.
// kxDirListing::setNameFilter is the fast form of this rule, on bytes.
bool kxcjFileNameIsRight(QString& name, const QString& prefix, const QString& suffix, const bool& keepSeparator);

// True when `name` begins with `prefix`, case-sensitively; then `name` becomes the rest, without a leading "." or
// "_".
bool kxcjStartsWith(QString& name, const QString& prefix);
