// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_DataTypes_imageList.h"

#include <QStringBuilder>

#include <iterator>
#include <numeric>
#include <optional>

#include <sys/mman.h>

using namespace kxFrames;

namespace {

constexpr std::size_t largePage = std::size_t{1} << 21;

}  // namespace

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
    const std::optional<FramePath> parts = splitFramePath(path);
    if (parts) setFramePath(*parts);
    return parts.has_value();
}

void _kxViewSequence::setFramePath(const FramePath& path) {
    sameSequence = isSameSequence(path, framePath());
    maxTileIndex = 0;
    isTiled = path.tile != TileMarker::none;
    tileDotSeparator = path.tile != TileMarker::plain;
    extension = path.suffix;
    dirName = path.directory;
    fileName = path.prefix;
}

FramePath _kxViewSequence::framePath() const {
    const TileMarker marker = tileDotSeparator ? TileMarker::separated : TileMarker::plain;
    return {dirName, fileName, extension, isTiled ? marker : TileMarker::none};
}

QString _kxViewSequence::getDirFileName(const int& index) const {
    if (extension.isEmpty()) return dirName + fileName;
    const _kxString8_allSize<15>& frameText = images[index].frameText;
    return dirName % fileName % QLatin1String(frameText.data(), frameText.length()) % extension;
}

bool _kxViewSequence::hasFile(const int& index) const {
    DiskFrameSource disk;
    return hasFile(index, disk);
}

bool _kxViewSequence::hasFile(const int& index, FrameSource& source) const {
    if (!images[index].fileFound || slotPaths_[index] == SlotPath::cut) return false;
    return slotPaths_[index] == SlotPath::asListed || source.find(getDirFileName(index)).has_value();
}

void _kxViewSequence::resetToEmpty(int slot, long long frame) {
    images[slot].clear();
    images[slot].frameNumber = frame;
    slotPaths_[slot] = SlotPath::unknown;
}
