// SPDX-License-Identifier: BSD-3-Clause
// The image cache file: saving, loading, and the transfers to and from views. The file's format is described in
// docs/cache-file-format.md.
#include "image/KX_DataTypes_image.h"
#include "shared/kxDataBuffer.h"

#include <zlib.h>

#include <cstddef>
#include <cstring>

namespace kxCHK {

namespace {

constexpr int headerSize = sizeof(_SingleImageFile);
constexpr std::size_t wholeSize = headerSize + 4 * static_cast<std::size_t>(thumbnailCapacity);

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

void emptyImage(kxP::_imgRGBABuffer8& image) {
    image.setHeight(0);
    image.setWidth(0);
}

// Empties what would lead out of bounds in a loaded object. The rest of the entry is as good as it was.
void dropImpossible(_SingleImageFile& file) {
    kxP::_imgRGBABuffer8& image = file.image;
    const bool sizeFits = image.width >= 0 && image.height >= 0 && image.pixelCount <= image.capacity &&
                          static_cast<long long>(image.width) * image.height <= image.capacity;
    if (!sizeFits) emptyImage(image);
    if (!file.data.infoText.isIntact()) file.data.infoText.clear();
    if (!image.formatText.isIntact()) image.formatText.clear();
}

// In layout 3586 the bytes of both texts meant something else.
int convertFrom3586(_SingleImageFile& entry, const QString& /*fileName*/, int code) {
    entry.data.recordId = _SingleImageData::currentRecordId;
    entry.data.infoText.clear();
    entry.image.formatText.clear();
    return code;
}

// A layout that loadFromFile reads beside the current one. The file was read as if it were of the current layout,
// with the result `code`; `convert` makes it an entry of the current layout and returns the code that then holds. A
// file of a layout of another size was not read to its end, but its record id was: `convert` reads it once more, in
// its own size.
struct OlderLayout {
    unsigned short recordId;
    int (*convert)(_SingleImageFile& entry, const QString& fileName, int code);
};

// docs/cache-file-format.md says how a new version is made.
constexpr OlderLayout olderLayouts[] = {{3586, convertFrom3586}};

// The code of an entry that was read with `code`, after it was made one of the current layout.
int toCurrentLayout(_SingleImageFile& entry, const QString& fileName, int code) {
    if (entry.data.recordId == _SingleImageData::currentRecordId) return code;
    for (const OlderLayout& layout : olderLayouts) {
        if (entry.data.recordId == layout.recordId) return layout.convert(entry, fileName, code);
    }
    return _KX_DataBuffer::errorForeignLayout;
}

// The code of an entry whose header was read with `code`; it is safe to use then, whatever that is.
int acceptLoaded(_SingleImageFile& entry, const BufferIdentity& own, const QString& fileName, int code) {
    code = toCurrentLayout(entry, fileName, code);
    if (!own.hasFormatOf(entry.image)) code = _KX_DataBuffer::errorForeignLayout;
    own.putBack(entry.image);
    dropImpossible(entry);
    return code;
}

}  // namespace

_SingleImageFile::_SingleImageFile() : reserved_{}, fileFlags(0), reserved2_{}, image(thumbnailCapacity) {
    // The record leaves it unset; an entry that is filled by hand must not carry stray memory.
    std::memset(data.histogram, 0, sizeof data.histogram);
}

QString _SingleImageFile::saveToFile(QString const& fileName, kxFlush flush) {
    encodePredictionFilter(&image);
    fileFlags |= pixelsFiltered;
    const int code =
        _KX_DataBuffer::saveToFileCompressed(fileName, true, reinterpret_cast<char*>(this), headerSize,
                                             reinterpret_cast<char*>(image.pixels), pixelMemorySize(image), flush);
    return code == 0 ? QString() : _KX_DataBuffer::errorString(code).toQString();
}

bool _SingleImageFile::loadFromFile(QString const& fileName, int* errorCode) {
    const BufferIdentity own(image);
    int code =
        _KX_DataBuffer::loadFromFileCompressed(fileName, true, reinterpret_cast<char*>(this), headerSize,
                                               reinterpret_cast<char*>(image.pixels), pixelMemorySize(image));
    code = acceptLoaded(*this, own, fileName, code);
    // Whatever the result: when a load fails that follows a save, the pixels are still the filtered ones. (Those of
    // a load before it are decoded a second time then.)
    if (fileFlags & pixelsFiltered) decodePredictionFilter(&image);
    if (errorCode) *errorCode = code;
    if (fileFlags & carriesCacheFlag) image.flags |= KX_IMG_CACHE_FLAG;
    return code == 0;
}

bool _SingleImageFile::loadHeaderFromFile(QString const& fileName, int* errorCode) {
    const BufferIdentity own(image);
    int code = _KX_DataBuffer::loadStartOfCompressed(fileName, reinterpret_cast<char*>(this), headerSize);
    code = acceptLoaded(*this, own, fileName, code);
    emptyImage(image);
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
    // Other than in exportTo the low 32 bits count as signed: a size of 2 GiB and more changes, and no cache file
    // is the view's any more.
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
