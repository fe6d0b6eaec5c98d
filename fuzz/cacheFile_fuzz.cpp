// SPDX-License-Identifier: BSD-3-Clause
// Loading a cache file, from a file and from a buffer, and everything that is done with a loaded one. An input
// whose first byte is even is the stream as it stands; otherwise its rest is the start of the record, packed into a
// sound stream, so that damaged records are reached too.
#include "fuzz/FuzzInput.h"
#include "image/KX_DataTypes_image.h"
#include "image/KX_image.h"
#include "tests/support/RecordBytes.h"

#include <zlib.h>

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace {

constexpr std::size_t headerSize = 1188;
constexpr std::size_t pixelsSize = 760000;
constexpr std::size_t fileSize = headerSize + pixelsSize;

std::vector<uint8_t> streamOf(const uint8_t* bytes, std::size_t size) {
    static std::vector<uint8_t> content(fileSize);
    std::fill(content.begin(), content.end(), uint8_t{0});
    std::memcpy(content.data(), bytes, std::min(size, content.size()));
    // What follows the input repeats its end, so that pixels are not all black.
    const std::size_t tail = std::min<std::size_t>(size, 64);
    for (std::size_t at = headerSize; tail > 0 && at < headerSize + 4096; ++at)
        content[at] ^= bytes[size - 1 - at % tail];
    uLongf length = compressBound(content.size());
    std::vector<uint8_t> stream(length);
    require(compress2(stream.data(), &length, content.data(), content.size(), 0) == Z_OK);
    stream.resize(length);
    return stream;
}

// Whatever was loaded, nothing may lead out of bounds.
void use(kxCHK::_SingleImageFile& file) {
    static kxP::_imgRGBABuffer8 target(4096);
    kxCHK::_SingleImageView view;
    file.exportTo(view);
    view.imageInfoLines();
    file.exportToImageOnly(view);
    file.ImportFrom(view);
    kxCHK::doErrorSearch(file.image, &file.data);
    file.data.createHistogram(&file.image);
    kxCHK::decodePredictionFilter(&file.image);
    kximgRGBABuffer8_undoGamma22(file.image);
    kximgRGBABuffer8_Scale9(file.image, target, 32, 32, false);
    kxCHK::encodePredictionFilter(&file.image);
}

// A file laid over a raw block, its pixels right behind it.
class RawFile {
public:
    RawFile()
        : block_(new char[fileSize + sizeof(kxCHK::_SingleImageFile)]()),
          file_(new (block_.get()) kxCHK::_SingleImageFile) {
        file_->createFromBuffer(block_.get());
    }
    ~RawFile() { file_->~_SingleImageFile(); }
    RawFile(const RawFile&) = delete;
    RawFile& operator=(const RawFile&) = delete;

    kxCHK::_SingleImageFile& get() { return *file_; }

private:
    std::unique_ptr<char[]> block_;
    kxCHK::_SingleImageFile* file_;
};

// A view of the same frame takes the file.
void requireViewLoads(const QString& path, const kxCHK::_SingleImageData& data) {
    kxCHK::_SingleImageView view;
    view.fileTime = data.fileTime;
    view.fileSize = data.fileSize;
    require(view.testNloadFromFile(path));
    view.imageInfoLines();
}

void loadFile(const uint8_t* bytes, std::size_t size) {
    static const MemoryFile memory;
    memory.fill(bytes, size);
    const QString path = QString::fromLatin1(memory.path().c_str());
    kxCHK::_SingleImageFile file;
    int code = 0;
    const bool loaded = file.loadFromFile(path, &code);
    require(loaded == (code == 0));
    require(file.image.capacity == kxCHK::thumbnailCapacity && file.image.bytesPerPixel == 4);
    if (loaded) requireViewLoads(path, file.data);
    kxCHK::_SingleImageFile header;
    require(header.loadHeaderFromFile(path, nullptr) || !loaded);
    require(!loaded || recordBytes(header.data) == recordBytes(file.data));
    use(header);
    use(file);
}

void loadBuffer(const uint8_t* bytes, std::size_t size) {
    RawFile raw;
    std::vector<char> source(bytes, bytes + size);
    const bool loaded = raw.get().loadFromBuffer(source.data(), static_cast<int>(size));
    require(!loaded || raw.get().data.recordId == kxCHK::_SingleImageData::currentRecordId);
    require(raw.get().image.capacity == kxCHK::thumbnailCapacity);
    use(raw.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    if (size == 0) return 0;
    const bool asStream = *bytes % 2 == 0;
    const std::vector<uint8_t> stream =
        asStream ? std::vector<uint8_t>(bytes + 1, bytes + size) : streamOf(bytes + 1, size - 1);
    loadFile(stream.data(), stream.size());
    loadBuffer(stream.data(), stream.size());
    return 0;
}
