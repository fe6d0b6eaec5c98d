// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_DataTypes_image.h"

#include "shared/kxDataBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include <zlib.h>

namespace kxCHK {

namespace {

struct ErrorText {
    unsigned short bit;
    const char* text;
};

constexpr ErrorText errorTexts[] = {
    {errorTileMissing, "Tile Missing; "},
    {errorAlphaPixelMissing, "Alpha Pixel Missing; "},
    {errorBrokenLine, "Broken line; "},
};

constexpr const char* errorLevelColours[] = {"-", "yellow", "orange", "red"};

}  // namespace

QString imageAnalyseError2Str(unsigned short const& flags) {
    QString text;
    for (const ErrorText& error : errorTexts) {
        if (flags & error.bit) text += QString::fromLatin1(error.text);
    }
    return text;
}

// --- The record ------------------------------------------------------------------------------------------------

_SingleImageData::_SingleImageData() : recordId(currentRecordId), reserved1_{}, reserved2_(0) {
    clearBase();
}

void _SingleImageData::clearBase() {
    fileTime = _kxTime();
    fileSize = -1;
    auxValue = 0;
    errorFlags = 0;
    errorLevel = 0;
    infoText.clear();
    averageRenderTime = -1;
    histogramValid = 0;
    std::memset(histogramReserve_, 0, sizeof histogramReserve_);
    analyseValue1 = 0.0F;
    analyseValue2 = 0.0F;
}

unsigned char _SingleImageData::setAnalyseErrorLevel() {
    const auto aboveEither = [this](float limit) { return analyseValue1 > limit || analyseValue2 > limit; };
    if (errorFlags & errorTileMissing) {
        errorLevel = 3;
    } else if ((errorFlags & errorAlphaPixelMissing) || aboveEither(4.0F)) {
        errorLevel = 2;
    } else {
        errorLevel = aboveEither(2.0F) ? 1 : 0;
    }
    return errorLevel;
}

QString _SingleImageData::analyseErrorLevelAsColorString() {
    return QString::fromLatin1(errorLevel < std::size(errorLevelColours) ? errorLevelColours[errorLevel] : "?");
}

// --- The view --------------------------------------------------------------------------------------------------

_SingleImageView::_SingleImageView() : thumbnail(nullptr), thumbnailLoaded(0) {
    clearDisplay();
}

_SingleImageView::~_SingleImageView() {
    releaseThumbnail();
}

_SingleImageView::_SingleImageView(_SingleImageView&& other) noexcept : thumbnail(nullptr) {
    *this = std::move(other);
}

_SingleImageView& _SingleImageView::operator=(_SingleImageView&& other) noexcept {
    if (this == &other) return *this;
    releaseThumbnail();
    static_cast<_SingleImageData&>(*this) = other;
    thumbnail = std::exchange(other.thumbnail, nullptr);
    checkPending = other.checkPending;
    thumbnailLoaded = std::exchange(other.thumbnailLoaded, static_cast<unsigned char>(0));
    fileFound = other.fileFound;
    cacheFlag = other.cacheFlag;
    frameNumber = other.frameNumber;
    frameText = other.frameText;
    displayName2 = other.displayName2;
    std::memcpy(displayReserve, other.displayReserve, sizeof displayReserve);
    return *this;
}

void _SingleImageView::clear() {
    clearBase();
    releaseThumbnail();
    clearDisplay();
}

void _SingleImageView::clearDisplay() {
    checkPending = 1;
    fileFound = false;
    cacheFlag = 0;
    frameNumber = 0;
    frameText.clear();
    displayName2.clear();
    std::memset(displayReserve, 0, sizeof displayReserve);
}

void _SingleImageView::releaseThumbnail() {
    delete thumbnail;
    thumbnail = nullptr;
    thumbnailLoaded = 0;
}

kxP::_imgRGBABuffer8& _SingleImageView::ensureThumbnail() {
    if (!thumbnail) thumbnail = new kxP::_imgRGBABuffer8(thumbnailCapacity);
    return *thumbnail;
}

// --- Info lines ------------------------------------------------------------------------------------------------

namespace {

// Groups of three digits, except that the leading group runs from 1 to 1000: 1000 and 1000.500, but 1.001.
QString withGroupSeparators(long long value) {
    QString groups;
    for (; value > 1000; value /= 1000) {
        groups.prepend(QStringLiteral(".%1").arg(value % 1000, 3, 10, QLatin1Char('0')));
    }
    return QString::number(value) + groups;
}

QString fileSizeLine(long long size) {
    constexpr long long gigabyte = 1LL << 30;
    if (size == fileSizeMarker4GB) return QStringLiteral("4+ GB\n");
    if (size > gigabyte) return withGroupSeparators(size >> 20) + QStringLiteral(" MiB\n");
    return withGroupSeparators(size) + QStringLiteral(" bytes\n");
}

QString sourceLines(const kxP::_imgRGBABuffer8& image) {
    constexpr int shownCharacters = 150;
    QString text = QStringLiteral("%1x%2  ").arg(image.sourceWidth).arg(image.sourceHeight);
    const QString format = image.formatText.toQString();
    if (!format.contains(QStringLiteral("Float"))) {
        const int bits = image.bitsPerChannel;
        text += bits == 32 ? QStringLiteral("Float\n") : QStringLiteral("%1bit\n").arg(bits);
    }
    text += format.left(shownCharacters);
    if (format.size() > shownCharacters) text += QStringLiteral("...");
    return text + QLatin1Char('\n');
}

QString flagsLine(unsigned char flags) {
    QString text;
    if (flags & KX_IMG_GAMMA22) text += QStringLiteral(" gamma");
    if (flags & KX_IMG_SUPERWHITE) text += QStringLiteral(" SuperWhite");
    if (flags & KX_IMG_FROM_CACHE) return text + QStringLiteral(" (kxCache)\n");
    if (flags & KX_IMG_CACHE_REWRITTEN) return text + QStringLiteral(" (kxCache rewritten)\n");
    return text + QStringLiteral(" ()\n");
}

QString renderTimeLine(int seconds) {
    return QStringLiteral("Average Render Time: %1.%2 m.s\n")
        .arg(seconds / 60)
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

}  // namespace

QString _SingleImageView::imageInfoLines() {
    QString text = frameText + "\n\n";
    if (thumbnail) text += sourceLines(*thumbnail) + flagsLine(thumbnail->flags);
    text += fileSizeLine(fileSize);
    text += fileTime.asString() + QLatin1Char('\n');
    text += infoText + "\n";
    if (averageRenderTime > 0) text += renderTimeLine(averageRenderTime);
    return text;
}

// --- Histogram -------------------------------------------------------------------------------------------------

namespace {

constexpr int binCount = 32;

// How many pixels have which pair of bins: in red and green, in blue and alpha. Counting pairs halves the
// increments of a pixel, and neighbouring pixels count in tables of their own: in a uniform area, an increment
// would otherwise wait for the store of the one before. The gaps keep equal bins of two tables from lying a
// multiple of 4096 bytes apart, which processors take for the same address at first.
struct PairCounts {
    unsigned redGreen[binCount * binCount];
    unsigned gap1[16];
    unsigned blueAlpha[binCount * binCount];
    unsigned gap2[16];
};

// Pixels whose pairs are found in one go, many bytes at once, before they are counted.
constexpr size_t pixelBlock = 1024;

// Two pairs a pixel: the bin of the first channel in the lower five bits, that of the second above. Two bytes are a
// little-endian word, as in all records here.
void findPairs(const unsigned char* rgba, size_t pixels, unsigned short (&pairs)[2 * pixelBlock]) {
    for (size_t i = 0; i < 2 * pixels; ++i) {
        unsigned short channels;
        std::memcpy(&channels, rgba + 2 * i, sizeof channels);
        pairs[i] = static_cast<unsigned short>((channels >> 3 & 0x1F) | (channels >> 6 & 0x3E0));
    }
}

void countPairs(const unsigned short* pair, PairCounts& counts) {
    ++counts.redGreen[pair[0]];
    ++counts.blueAlpha[pair[1]];
}

void countPixels(const unsigned char* rgba, size_t count, PairCounts (&counts)[2]) {
    unsigned short pairs[2 * pixelBlock];
    while (count > 0) {
        const size_t pixels = std::min(count, pixelBlock);
        findPairs(rgba, pixels, pairs);
        for (size_t i = 0; i + 1 < pixels; i += 2) {
            countPairs(pairs + 2 * i, counts[0]);
            countPairs(pairs + 2 * i + 2, counts[1]);
        }
        if (pixels % 2 == 1) countPairs(pairs + 2 * (pixels - 1), counts[0]);
        rgba += 4 * pixels;
        count -= pixels;
    }
}

void sumPairs(const PairCounts& counts, unsigned (&histogram)[4][binCount]) {
    for (int pair = 0; pair < binCount * binCount; ++pair) {
        histogram[0][pair % binCount] += counts.redGreen[pair];
        histogram[1][pair / binCount] += counts.redGreen[pair];
        histogram[2][pair % binCount] += counts.blueAlpha[pair];
        histogram[3][pair / binCount] += counts.blueAlpha[pair];
    }
}

// The product is rounded to single precision before it is rounded half up to a whole number.
unsigned normalised(unsigned count, float factor) {
    const float scaled = static_cast<float>(count) * factor;
    return static_cast<unsigned>(static_cast<double>(scaled) + 0.5);
}

}  // namespace

void _SingleImageData::createHistogram(kxP::_imgRGBABuffer8 const* image) {
    std::memset(histogram, 0, sizeof histogram);
    const unsigned count = image ? image->pixelsInMemory() : 0;
    if (count == 0) return;

    PairCounts counts[2] = {};
    countPixels(image->pixels, count, counts);
    sumPairs(counts[0], histogram);
    sumPairs(counts[1], histogram);

    const float factor = std::clamp(1000000.0F / static_cast<float>(count), 0.01F, 10.0F);
    for (auto& channel : histogram) {
        for (unsigned& bin : channel) bin = normalised(bin, factor);
    }
    histogramValid = 1;
}

// --- Error search ----------------------------------------------------------------------------------------------

namespace {

constexpr int tileSize = 8;
constexpr unsigned char brightMinimum = 128;
// Tile corners are looked for from this position on, and at least this far from the right and lower side.
constexpr int tileFirst = 2;
constexpr int tileMargin = 10;
// Alpha pixels count as missing only in a frame whose top alpha bin holds more than 99.9 % of a million.
constexpr unsigned opaqueMinimum = 999001;
constexpr unsigned char holeGreenMinimum = 11;

// The pixels of an image as rows; `height` counts the rows that are in memory.
struct PixelRows {
    explicit PixelRows(const kxP::_imgRGBABuffer8& image)
        : pixels(image.pixels), width(image.width), height(image.rowsInMemory()) {}

    const unsigned char* at(int x, int y) const {
        return pixels + 4 * (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x));
    }
    size_t rowBytes() const { return 4 * static_cast<size_t>(width); }

    const unsigned char* pixels;
    int width;
    int height;
};

// `corner` is the test channel's byte of a block's top left pixel.
bool isMissingTile(const unsigned char* corner, size_t rowBytes) {
    const unsigned char* above = corner - rowBytes;
    for (size_t i = 0; i < tileSize; ++i) {
        const unsigned char* column = corner + i * rowBytes;
        if (corner[4 * i] != 0 || column[0] != 0) return false;
        if (above[4 * i] < brightMinimum || column[-4] < brightMinimum) return false;
    }
    return true;
}

// Looks for the left side of a block that crosses row y: a zero with a bright pixel to its left. The block's corner
// is in one of the `tileSize` rows that end here.
bool rowCrossesMissingTile(const PixelRows& rows, int channel, int y) {
    const unsigned char* row = rows.at(0, y) + channel;
    const int lastCorner = std::min(y, rows.height - tileMargin - 1);
    for (int x = tileFirst; x < rows.width - tileMargin; ++x) {
        const unsigned char* value = row + 4 * static_cast<size_t>(x);
        if (value[0] != 0 || value[-4] < brightMinimum) continue;
        for (int corner = y - tileSize + 1; corner <= lastCorner; ++corner) {
            if (isMissingTile(rows.at(x, corner) + channel, rows.rowBytes())) return true;
        }
    }
    return false;
}

// Every block crosses exactly one of each eight rows, so only these are walked.
bool hasMissingTile(const kxP::_imgRGBABuffer8& image) {
    const PixelRows rows(image);
    const int channel = image.valid ? 3 : 1;
    for (int corner = tileFirst; corner < rows.height - tileMargin; corner += tileSize) {
        if (rowCrossesMissingTile(rows, channel, corner + tileSize - 1)) return true;
    }
    return false;
}

bool isOpaqueRow(const unsigned char* row, int width) {
    unsigned together = ~0U;
    for (int x = 0; x < width; ++x) {
        unsigned pixel;
        std::memcpy(&pixel, row + 4 * static_cast<size_t>(x), sizeof pixel);
        together &= pixel;
    }
    unsigned char rgba[4];
    std::memcpy(rgba, &together, sizeof rgba);
    return rgba[3] == 255;
}

bool isAlphaHole(const unsigned char* pixel, size_t rowBytes) {
    const unsigned char* alpha = pixel + 3;
    return alpha[0] != 255 && alpha[-4] == 255 && alpha[4] == 255 && (alpha - rowBytes)[0] == 255 &&
           alpha[rowBytes] == 255 && pixel[1] >= holeGreenMinimum;
}

bool hasAlphaHole(const kxP::_imgRGBABuffer8& image) {
    const PixelRows rows(image);
    for (int y = 1; y < rows.height - 1; ++y) {
        if (isOpaqueRow(rows.at(0, y), rows.width)) continue;
        for (int x = 1; x < rows.width - 1; ++x) {
            if (isAlphaHole(rows.at(x, y), rows.rowBytes())) return true;
        }
    }
    return false;
}

bool isPracticallyOpaque(const _SingleImageData& record) {
    return record.histogramValid && record.histogram[3][binCount - 1] >= opaqueMinimum;
}

}  // namespace

unsigned short doErrorSearch(kxP::_imgRGBABuffer8& image, _SingleImageData* record) {
    unsigned short errors = hasMissingTile(image) ? errorTileMissing : 0;
    if (!record) return errors;

    record->createHistogram(&image);
    if (image.valid && isPracticallyOpaque(*record) && hasAlphaHole(image)) errors |= errorAlphaPixelMissing;
    record->errorFlags = errors;
    record->setAnalyseErrorLevel();
    return errors;
}

// --- Prediction filter -----------------------------------------------------------------------------------------

unsigned char paethPredictor(int a, int b, int c) {
    // 64 bits: three extreme ints would overflow 32.
    const long long p = static_cast<long long>(a) + b - c;
    const long long pa = std::llabs(p - a);
    const long long pb = std::llabs(p - b);
    const long long pc = std::llabs(p - c);
    if (pa <= pb && pa <= pc) return static_cast<unsigned char>(a);
    return static_cast<unsigned char>(pb <= pc ? b : c);
}

namespace {

// Bytes of a row that are encoded together, from the lowest row to the uppermost.
constexpr size_t encodedBlock = 4096;

// `carry` holds 1 for each byte whose residual in the row below was lowered by one to make it even. `mayLower` is 1
// in rows whose residuals may be lowered, else 0. All in bytes and without branches, so that the compiler works on
// many bytes at once.
void encodeRow(unsigned char* row, const unsigned char* above, unsigned char* carry, size_t count,
               unsigned char mayLower) {
    for (size_t i = 0; i < count; ++i) {
        const unsigned char value = row[i];
        const auto residual = static_cast<unsigned char>(value - above[i]);
        // above + residual < 255 without wrapping
        const auto fits = static_cast<unsigned char>((value >= above[i]) & (value != 255));
        const auto lowered = static_cast<unsigned char>(residual & fits & mayLower & (carry[i] ^ 1));
        row[i] = static_cast<unsigned char>(residual + carry[i] - lowered);
        carry[i] = lowered;
    }
}

void decodeRow(unsigned char* row, const unsigned char* above, size_t count) {
    for (size_t i = 0; i < count; ++i) row[i] = static_cast<unsigned char>(row[i] + above[i]);
}

}  // namespace

void encodePredictionFilter(kxP::_imgRGBABuffer8 const* image) {
    constexpr int firstLoweredRow = 3;
    const int rows = image->rowsInMemory();
    const size_t rowBytes = rows > 0 ? 4 * static_cast<size_t>(image->width) : 0;
    for (size_t start = 0; start < rowBytes; start += encodedBlock) {
        const size_t count = std::min(encodedBlock, rowBytes - start);
        unsigned char carry[encodedBlock] = {};
        for (int y = rows - 1; y >= 1; --y) {
            unsigned char* row = image->pixels + static_cast<size_t>(y) * rowBytes + start;
            encodeRow(row, row - rowBytes, carry, count, y >= firstLoweredRow);
        }
    }
}

void decodePredictionFilter(kxP::_imgRGBABuffer8 const* image) {
    const int rows = image->rowsInMemory();
    const size_t rowBytes = rows > 0 ? 4 * static_cast<size_t>(image->width) : 0;
    for (int y = 1; y < rows; ++y) {
        unsigned char* row = image->pixels + static_cast<size_t>(y) * rowBytes;
        decodeRow(row, row - rowBytes, rowBytes);
    }
}

// --- The cache file --------------------------------------------------------------------------------------------

namespace {

constexpr unsigned short previousRecordId = 3586;
constexpr int headerSize = sizeof(_SingleImageFile);
constexpr size_t wholeSize = headerSize + 4 * static_cast<size_t>(thumbnailCapacity);

// What describes this buffer's own memory. A loaded header overwrites it with numbers of the process that wrote it.
class BufferIdentity {
public:
    explicit BufferIdentity(const kxP::_imgRGBABuffer8& image)
        : bytesPerPixel_(image.bytesPerPixel),
          capacity_(image.capacity),
          pixels_(image.pixels),
          ownedMemory_(image.ownedMemory) {}

    bool hasFormatOf(const kxP::_imgRGBABuffer8& image) const {
        return image.bytesPerPixel == bytesPerPixel_ && image.capacity == capacity_;
    }
    void putBack(kxP::_imgRGBABuffer8& image) const {
        image.bytesPerPixel = bytesPerPixel_;
        image.capacity = capacity_;
        image.pixels = pixels_;
        image.ownedMemory = ownedMemory_;
    }

private:
    unsigned char bytesPerPixel_;
    unsigned capacity_;
    unsigned char* pixels_;
    unsigned char* ownedMemory_;
};

int pixelMemorySize(const kxP::_imgRGBABuffer8& image) {
    return static_cast<int>(image.bytesPerPixel * image.capacity);
}

// Empties what would lead out of bounds in a loaded object. The rest of the entry is as good as it was.
void dropImpossible(_SingleImageFile& file) {
    kxP::_imgRGBABuffer8& image = file.image;
    const bool sizeFits = image.width >= 0 && image.height >= 0 && image.pixelCount <= image.capacity &&
                          static_cast<long long>(image.width) * image.height <= image.capacity;
    if (!sizeFits) {
        image.setHeight(0);
        image.setWidth(0);
    }
    if (!file.data.infoText.isIntact()) file.data.infoText.clear();
    if (!image.formatText.isIntact()) image.formatText.clear();
}

// The texts of the previous layout mean something else.
void upgrade(_SingleImageFile& file) {
    file.data.recordId = _SingleImageData::currentRecordId;
    file.data.infoText.clear();
    file.image.formatText.clear();
}

}  // namespace

_SingleImageFile::_SingleImageFile() : reserved_{}, fileFlags(0), reserved2_{}, image(thumbnailCapacity) {
    // The record leaves it unset; an entry that is filled by hand must not carry stray memory.
    std::memset(data.histogram, 0, sizeof data.histogram);
}

QString _SingleImageFile::saveToFile(QString const& fileName) {
    encodePredictionFilter(&image);
    fileFlags |= pixelsFiltered;
    const int code =
        _KX_DataBuffer::saveToFileCompressed(fileName, true, reinterpret_cast<char*>(this), headerSize,
                                             reinterpret_cast<char*>(image.pixels), pixelMemorySize(image));
    return code == 0 ? QString() : _KX_DataBuffer::errorString(code).toQString();
}

bool _SingleImageFile::loadFromFile(QString const& fileName, int* errorCode) {
    const BufferIdentity own(image);
    int code =
        _KX_DataBuffer::loadFromFileCompressed(fileName, true, reinterpret_cast<char*>(this), headerSize,
                                               reinterpret_cast<char*>(image.pixels), pixelMemorySize(image));
    if (data.recordId == previousRecordId) upgrade(*this);
    if (!own.hasFormatOf(image) || data.recordId != _SingleImageData::currentRecordId) {
        code = _KX_DataBuffer::errorForeignLayout;
    }
    own.putBack(image);
    dropImpossible(*this);
    // Also after a failure, when the pixels may be filtered by a save; those of an earlier load are decoded twice.
    if (fileFlags & pixelsFiltered) decodePredictionFilter(&image);
    if (errorCode) *errorCode = code;
    if (fileFlags & carriesCacheFlag) image.flags |= KX_IMG_CACHE_FLAG;
    return code == 0;
}

bool _SingleImageFile::loadFromBuffer(char* source, int sourceLength) {
    auto* const block = reinterpret_cast<unsigned char*>(this);
    if (image.pixels != block + headerSize || !source || sourceLength < 0) return false;
    const BufferIdentity own(image);
    uLongf produced = wholeSize;
    const bool inflated = uncompress(block, &produced, reinterpret_cast<const Bytef*>(source),
                                     static_cast<uLong>(sourceLength)) == Z_OK &&
                          produced == wholeSize;
    const bool sameLayout = own.hasFormatOf(image) && data.recordId == _SingleImageData::currentRecordId;
    own.putBack(image);
    dropImpossible(*this);
    return inflated && sameLayout;
}

void _SingleImageFile::createFromBuffer(char*) {
    image.pixels = reinterpret_cast<unsigned char*>(this) + headerSize;
}

void _SingleImageFile::exportTo(_SingleImageView& view) {
    kxP::_imgRGBABuffer8& thumbnail = view.ensureThumbnail();
    const _kxTime oldTime = view.fileTime;
    // The low 32 bits only: sizes of 2^32 bytes and more never match, so these frames are checked again.
    const long long oldSize = static_cast<unsigned>(view.fileSize);
    const auto oldInfoText = view.infoText;
    const int oldRenderTime = view.averageRenderTime;

    static_cast<_SingleImageData&>(view) = data;
    image.copyTo(thumbnail, true);
    view.fileFound = true;
    view.thumbnailLoaded = 1;
    if (fileFlags & carriesCacheFlag) view.cacheFlag = 1;
    if (view.infoText.isEmpty()) view.infoText = oldInfoText;
    if (view.averageRenderTime < 0) view.averageRenderTime = oldRenderTime;
    thumbnail.flags |= KX_IMG_FROM_CACHE | KX_IMG_CACHE_REWRITTEN;
    const bool isCurrent =
        view.errorFlags == 0 && thumbnail.width >= 2 && view.fileTime == oldTime && view.fileSize == oldSize;
    view.checkPending = isCurrent ? 0 : 1;
}

void _SingleImageFile::exportToImageOnly(_SingleImageView& view) {
    kxP::_imgRGBABuffer8& thumbnail = view.ensureThumbnail();
    const _kxTime oldTime = view.fileTime;
    const int oldSize = static_cast<int>(view.fileSize);

    // Frame text and number are not part of the record: they stay.
    static_cast<_SingleImageData&>(view) = data;
    image.copyTo(thumbnail, true);
    view.fileTime = oldTime;
    view.fileSize = oldSize;
    view.fileFound = true;
    view.checkPending = 0;
    view.thumbnailLoaded = 1;
}

void _SingleImageFile::ImportFrom(_SingleImageView& view) {
    data = view;
    if (view.thumbnail) {
        view.thumbnail->copyTo(image, true);
    } else {
        view.thumbnailLoaded = 0;
    }
    if (view.cacheFlag) fileFlags |= carriesCacheFlag;
}

bool _SingleImageView::testNloadFromFile(QString const& cacheFileName) {
    _SingleImageFile file;
    if (!file.loadFromFile(cacheFileName, nullptr)) return false;
    const _SingleImageData& loaded = file.data;
    if (loaded.fileTime != fileTime || loaded.fileSize != fileSize || loaded.recordId != recordId) return false;
    static_cast<_SingleImageData&>(*this) = loaded;
    file.image.copyTo(ensureThumbnail(), true);
    return true;
}

}  // namespace kxCHK
