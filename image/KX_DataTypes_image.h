// SPDX-License-Identifier: BSD-3-Clause
// What the farm knows about one rendered frame: the check record, the view that shows it with its thumbnail, and
// the cache file that keeps both so that a frame is not checked twice.
//
// Threads: an object is used by one thread at a time, different objects by several, also when they save to and load
// from the same file. The free functions may run in several threads at once on objects of their own.
#pragma once

#include "shared/kxImageBuffer.h"
#include "shared/kxReplacementFile.h"
#include "shared/kxString.h"
#include "shared/kxTime.h"

#include <QString>

#include <cstddef>
#include <type_traits>

namespace kxCHK {

// Bits of _SingleImageData::errorFlags.
constexpr unsigned short errorTileMissing = 1;
constexpr unsigned short errorAlphaPixelMissing = 2;
constexpr unsigned short errorBrokenLine = 4;

// A file size of four gigabytes or more is stored as this marker.
constexpr long long fileSizeMarker4GB = 4200000000LL;
// Pixels of every thumbnail.
constexpr unsigned thumbnailCapacity = 190000;

// The texts of the error bits in bit order, each with a trailing blank; other bits are ignored.
QString imageAnalyseError2Str(unsigned short const& flags);

// The check record of one frame. It is copied and stored byte for byte (little-endian):
//
//   offset  size  name               unit or allowed values
//        0     2  recordId           3587, the id of this layout
//        2     2  -
//        4     8  fileTime           modification time of the frame's file, ns since 1970 UTC
//       12     8  fileSize           bytes; -1 unknown; 4200000000 four gigabytes or more
//       20     2  auxValue           not read here
//       22     2  errorFlags         error bits
//       24     1  errorLevel         0 .. 3
//       25     1  -
//       26    54  infoText           one line about the frame
//       80     4  averageRenderTime  seconds; 0 and less unknown
//       84   512  histogram          32 bins each of r, g, b, a, counts per million pixels
//      596     1  histogramValid     1 when the histogram was computed
//      597     3  -
//      600     4  analyseValue1      measures that the caller fills, see setAnalyseErrorLevel
//      604     4  analyseValue2
//      608
#pragma pack(push, 4)
class _SingleImageData {
public:
    static constexpr unsigned short currentRecordId = 3587;

    // A cleared record; the histogram is not set.
    _SingleImageData();
    // Everything to its default but recordId and the histogram.
    void clearBase();

    // Computes, stores and returns errorLevel: 3 for a missing tile, 2 for missing alpha pixels or a measure above
    // 4.0, 1 for a measure above 2.0, otherwise 0.
    unsigned char setAnalyseErrorLevel();
    // "-", "yellow", "orange", "red" for the levels 0 .. 3; "?" above.
    QString analyseErrorLevelAsColorString();

    // Fills the histogram from the image's pixels, normalised to a million pixels with a factor clamped to
    // 0.01 .. 10, and sets histogramValid. Null or an image without pixels zeroes the bins and leaves
    // histogramValid.
    void createHistogram(kxP::_imgRGBABuffer8 const* image);

    unsigned short recordId;
    unsigned char reserved1_[2];
    _kxTime fileTime;
    long long fileSize;
    unsigned short auxValue;
    unsigned short errorFlags;
    unsigned char errorLevel;
    unsigned char reserved2_;
    _kxString8_allSize<50> infoText;
    int averageRenderTime;
    unsigned histogram[4][32];
    unsigned char histogramValid;
    unsigned char histogramReserve_[3];
    float analyseValue1;
    float analyseValue2;
};
#pragma pack(pop)

static_assert(sizeof(_SingleImageData) == 608, "stored in the cache file");
static_assert(std::is_standard_layout<_SingleImageData>::value, "offsets below are meaningful");
static_assert(std::is_trivially_copyable<_SingleImageData>::value, "copied byte for byte");
static_assert(offsetof(_SingleImageData, recordId) == 0, "stored in the cache file");
static_assert(offsetof(_SingleImageData, fileTime) == 4, "stored in the cache file");
static_assert(offsetof(_SingleImageData, fileSize) == 12, "stored in the cache file");
static_assert(offsetof(_SingleImageData, auxValue) == 20, "stored in the cache file");
static_assert(offsetof(_SingleImageData, errorFlags) == 22, "stored in the cache file");
static_assert(offsetof(_SingleImageData, errorLevel) == 24, "stored in the cache file");
static_assert(offsetof(_SingleImageData, infoText) == 26, "stored in the cache file");
static_assert(offsetof(_SingleImageData, averageRenderTime) == 80, "stored in the cache file");
static_assert(offsetof(_SingleImageData, histogram) == 84, "stored in the cache file");
static_assert(offsetof(_SingleImageData, histogramValid) == 596, "stored in the cache file");
static_assert(offsetof(_SingleImageData, analyseValue1) == 600, "stored in the cache file");
static_assert(offsetof(_SingleImageData, analyseValue2) == 604, "stored in the cache file");

// The record of one frame with what shows it. Owns its thumbnail: moving a view hands the thumbnail on, clear()
// and destruction free it.
class _SingleImageView : public _SingleImageData {
public:
    _SingleImageView();
    ~_SingleImageView();
    _SingleImageView(const _SingleImageView&) = delete;
    _SingleImageView& operator=(const _SingleImageView&) = delete;
    // The source keeps its values, but owns no thumbnail any more and says so.
    _SingleImageView(_SingleImageView&& other) noexcept;
    _SingleImageView& operator=(_SingleImageView&& other) noexcept;

    // The state of a new view; the record's histogram stays.
    void clear();
    // Frees the thumbnail.
    void releaseThumbnail();
    // The thumbnail, created when there is none.
    kxP::_imgRGBABuffer8& ensureThumbnail();

    // The frame described in several lines, each ending in "\n".
    QString imageInfoLines();

    // Takes record and thumbnail from a cache file when its time, size and record id are this view's. False and
    // unchanged otherwise.
    [[nodiscard]] bool testNloadFromFile(QString const& cacheFileName);

    kxP::_imgRGBABuffer8* thumbnail;  // owned, may be null
    unsigned char checkPending;       // 1 when the frame needs to be checked
    unsigned char thumbnailLoaded;    // 1 when the thumbnail holds a picture from the cache
    bool fileFound;                   // a file on disk, or a cache file, backs the view
    unsigned char cacheFlag;          // bit 1 of a cache file's flags
    long long frameNumber;
    _kxString8_allSize<15> frameText;  // the frame number as written in the file name
    _kxString8_allSize<15> displayName2;
    unsigned char displayReserve[24];

private:
    // Clears what the view adds to the record, but for the thumbnail.
    void clearDisplay();
};

// The image of a cache file in memory, see docs/cache-file-format.md. All but the image's pixels is one block:
//
//   offset  size  name
//        0   608  data
//      608     4  reserved
//      612     1  fileFlags  bit 0: pixels prediction-filtered, bit 1: the view's cacheFlag
//      613     3  -
//      616   572  image      the fixed part of the pixel buffer
//     1188
#pragma pack(push, 4)
class _SingleImageFile {
public:
    static constexpr unsigned char pixelsFiltered = 1;
    static constexpr unsigned char carriesCacheFlag = 2;

    // A cleared record and an image of thumbnailCapacity pixels, size 0 x 0.
    _SingleImageFile();

    // Filters the image in place, sets bit 0 of fileFlags and writes the file safely (old file or new file, never a
    // part; after a loss of power only where it was flushed). A path of more than 500 characters is cut to them,
    // and that file is written. Empty on success, otherwise the reason. The image stays filtered: reload or decode
    // it to show it.
    [[nodiscard]] QString saveToFile(QString const& fileName, kxFlush flush = kxFlush::now);

    // Reads a file; its path is cut as by saveToFile. False with *errorCode (may be null) -1 for a file of another
    // layout, or the code of the failed read. A size beyond the capacity empties the image (0 x 0), a text that
    // can't be right is emptied, and neither is a failure. Pixel pointer, capacity and bytes per pixel survive;
    // after a failure record and pixels may hold a part of the file, but nothing in them leads out of bounds. The
    // pixels are decoded whenever bit 0 of fileFlags is set, after a failure too: a picture that was there is
    // spoiled by it.
    [[nodiscard]] bool loadFromFile(QString const& fileName, int* errorCode);

    // The same for all but the pixels, which are neither read nor known to be whole: the image is 0 x 0. Inflates
    // no more than the first 1188 bytes of the file.
    [[nodiscard]] bool loadHeaderFromFile(QString const& fileName, int* errorCode);

    // Fills this object from a zlib stream. It must have been made with createFromBuffer over a block of 761188
    // bytes, otherwise false and untouched. False for a damaged stream, one of another size and another layout;
    // impossible sizes and texts are emptied as by loadFromFile. The pixels are left as they were stored (see
    // decodePredictionFilter).
    [[nodiscard]] bool loadFromBuffer(char* source, int sourceLength);

    // Points the image at the pixel memory right behind this object, as in a raw block of 761188 bytes that it is
    // laid over. The argument is not used.
    void createFromBuffer(char* block);

    // Hands record and thumbnail to a view; its file time, size, info text and render time decide whether the frame
    // needs a new check.
    void exportTo(_SingleImageView& view);
    // The same, but the view keeps its file time, frame text and number, and of its file size the low 32 bits,
    // taken as signed: 3000000000 becomes -1294967296.
    void exportToImageOnly(_SingleImageView& view);
    // Takes record and thumbnail from a view, to be saved.
    void ImportFrom(_SingleImageView& view);

    _SingleImageData data;
    unsigned char reserved_[4];
    unsigned char fileFlags;
    unsigned char reserved2_[3];
    kxP::_imgRGBABuffer8 image;
};
#pragma pack(pop)

static_assert(sizeof(_SingleImageFile) == 1188, "stored in the cache file");
static_assert(std::is_standard_layout<_SingleImageFile>::value, "offsets below are meaningful");
static_assert(offsetof(_SingleImageFile, data) == 0, "stored in the cache file");
static_assert(offsetof(_SingleImageFile, reserved_) == 608, "stored in the cache file");
static_assert(offsetof(_SingleImageFile, fileFlags) == 612, "stored in the cache file");
static_assert(offsetof(_SingleImageFile, image) == 616, "stored in the cache file");

// Searches the image for missing tiles and, with a record whose histogram says the frame is opaque, for missing
// alpha pixels. Returns the error bits. With a record: computes its histogram first and stores errorFlags and
// errorLevel. Null: only the tile search runs.
unsigned short doErrorSearch(kxP::_imgRGBABuffer8& image, _SingleImageData* record);

// PNG's Paeth predictor (a left, b above, c upper left), truncated to 8 bits.
unsigned char paethPredictor(int a, int b, int c);

// PNG's Up filter on every byte of a pixel, made lossy by at most +1 from row 2 on so that
// most residuals are even and compress better. Both work in place on the pixel memory.
void encodePredictionFilter(kxP::_imgRGBABuffer8 const* image);
void decodePredictionFilter(kxP::_imgRGBABuffer8 const* image);

}  // namespace kxCHK
