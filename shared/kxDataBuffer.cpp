// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxDataBuffer.h"

#include "shared/kxReplacementFile.h"
#include "shared/kxSystemCall.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <limits>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// docs/performance.md holds the measurement that chose the level.
constexpr int compressionLevel = 4;
constexpr std::size_t chunkSize = 32768;

struct Area {
    char* bytes;
    std::size_t size;
};

struct ErrorText {
    int code;
    const char* text;
};

constexpr ErrorText errorTexts[] = {
    {0, ""},
    {_KX_DataBuffer::errorForeignLayout, "File of another layout"},
    {_KX_DataBuffer::errorNotAFile, "Not a regular file"},
    {_KX_DataBuffer::errorDamaged, "Compressed data is damaged"},
    {_KX_DataBuffer::errorTooShort, "File ends too early"},
    {_KX_DataBuffer::errorTooLong, "File is longer than expected"},
};

// The name as a path for the system; a zero byte would silently name another file.
int pathOf(const _kxString8_allSize<500>& name, std::string& path) {
    path.assign(name.data(), static_cast<std::size_t>(name.length()));
    if (path.empty()) return ENOENT;
    return path.find('\0') == std::string::npos ? 0 : EINVAL;
}

int openFile(const char* path, int flags) {
    return kxRetryInterrupted(-1, [&] { return open(path, flags); });
}

// --- Writing ---------------------------------------------------------------------------------------------------

int deflateArea(z_stream& stream, int file, const Area& area, int flush) {
    char chunk[chunkSize];
    stream.next_in = reinterpret_cast<Bytef*>(area.bytes);
    stream.avail_in = static_cast<uInt>(area.size);
    do {
        stream.next_out = reinterpret_cast<Bytef*>(chunk);
        stream.avail_out = chunkSize;
        // The result says nothing more: with memory and a free chunk deflate goes on, or there is nothing left to
        // do.
        deflate(&stream, flush);
        if (const int code = kxWriteAll(file, chunk, chunkSize - stream.avail_out)) return code;
    } while (stream.avail_out == 0);
    return 0;
}

int writeCompressed(int file, const Area& header, const Area& data) {
    z_stream stream{};
    if (deflateInit(&stream, compressionLevel) != Z_OK) return ENOMEM;
    int code = deflateArea(stream, file, header, Z_NO_FLUSH);
    if (code == 0) code = deflateArea(stream, file, data, Z_FINISH);
    deflateEnd(&stream);
    return code;
}

int writePlain(int file, const Area& header, const Area& data) {
    const int code = kxWriteAll(file, header.bytes, header.size);
    return code != 0 ? code : kxWriteAll(file, data.bytes, data.size);
}

// --- Reading ---------------------------------------------------------------------------------------------------

// Bytes read, at most `size`; 0 at the file's end, -1 with errno set.
ssize_t readSome(int file, char* bytes, std::size_t size) {
    return kxRetryInterrupted<ssize_t>(-1, [&] { return read(file, bytes, size); });
}

// 0 when the file ends here.
int expectEndOfFile(int file) {
    char spare;
    const ssize_t count = readSome(file, &spare, 1);
    if (count < 0) return errno;
    return count == 0 ? 0 : _KX_DataBuffer::errorTooLong;
}

// Opening does not wait: a pipe without a writer would never come back.
int openRegular(const std::string& path, long long sizeLimit, kxDescriptor& file) {
    file.number = openFile(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file.number < 0) return errno;
    struct stat status {};
    if (kxRetryInterrupted(-1, [&] { return fstat(file.number, &status); }) != 0) return errno;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    if (!S_ISREG(status.st_mode)) return _KX_DataBuffer::errorNotAFile;
    return status.st_size > sizeLimit ? _KX_DataBuffer::errorTooLong : 0;
}

// No writer needs more than this for `size` bytes; a file of nothing but empty blocks would be read for ever.
long long largestStream(std::size_t size) {
    return 2 * static_cast<long long>(size) + 4096;
}

// One zlib stream read from a file, of which it reads no more than `limit` bytes.
class Inflater {
public:
    Inflater(int file, long long limit)
        : file_(file), unread_(limit), initialised_(inflateInit(&stream_) == Z_OK) {}
    ~Inflater() {
        if (initialised_) inflateEnd(&stream_);
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    // Fills the area, or what the stream still has of it.
    int fill(const Area& area);
    // Bytes inflated so far.
    std::size_t produced() const { return stream_.total_out; }
    // 0 when the file ends where the stream does.
    int expectEnd() const { return stream_.avail_in > 0 ? _KX_DataBuffer::errorTooLong : expectEndOfFile(file_); }

private:
    int refill();

    int file_;
    long long unread_;  // bytes that may be read
    z_stream stream_{};
    bool initialised_;
    bool ended_ = false;
    char chunk_[chunkSize];
};

int Inflater::refill() {
    const auto wanted = static_cast<std::size_t>(std::min<long long>(unread_, chunkSize));
    if (wanted == 0) return _KX_DataBuffer::errorTooLong;
    const ssize_t count = readSome(file_, chunk_, wanted);
    if (count <= 0) return count < 0 ? errno : _KX_DataBuffer::errorTooShort;
    unread_ -= count;
    stream_.next_in = reinterpret_cast<Bytef*>(chunk_);
    stream_.avail_in = static_cast<uInt>(count);
    return 0;
}

int Inflater::fill(const Area& area) {
    if (!initialised_) return ENOMEM;
    stream_.next_out = reinterpret_cast<Bytef*>(area.bytes);
    stream_.avail_out = static_cast<uInt>(area.size);
    while (stream_.avail_out > 0 && !ended_) {
        if (stream_.avail_in == 0) {
            if (const int code = refill()) return code;
        }
        const int result = inflate(&stream_, Z_NO_FLUSH);
        if (result == Z_MEM_ERROR) return ENOMEM;
        if (result != Z_OK && result != Z_STREAM_END) return _KX_DataBuffer::errorDamaged;
        ended_ = result == Z_STREAM_END;
    }
    return 0;
}

int readCompressed(int file, const Area& header, const Area& data) {
    Inflater inflater(file, largestStream(header.size + data.size));
    char spareByte;
    for (const Area& area : {header, data, Area{&spareByte, 1}}) {
        if (const int code = inflater.fill(area)) return code;
    }
    const std::size_t wanted = header.size + data.size;
    if (inflater.produced() < wanted) return _KX_DataBuffer::errorTooShort;
    if (inflater.produced() > wanted) return _KX_DataBuffer::errorTooLong;
    return inflater.expectEnd();
}

int readStart(int file, const Area& start) {
    Inflater inflater(file, largestStream(start.size));
    if (const int code = inflater.fill(start)) return code;
    return inflater.produced() < start.size ? _KX_DataBuffer::errorTooShort : 0;
}

int readAll(int file, const Area& area) {
    std::size_t done = 0;
    while (done < area.size) {
        const ssize_t count = readSome(file, area.bytes + done, area.size - done);
        if (count <= 0) return count < 0 ? errno : _KX_DataBuffer::errorTooShort;
        done += static_cast<std::size_t>(count);
    }
    return 0;
}

int readPlain(int file, const Area& header, const Area& data) {
    if (const int code = readAll(file, header)) return code;
    if (const int code = readAll(file, data)) return code;
    return expectEndOfFile(file);
}

}  // namespace

int _KX_DataBuffer::saveToFileCompressed(_kxString8_allSize<500> fileName, const bool& compressed, char* header,
                                         const int& headerSize, char* data, const int& dataSize, kxFlush flush) {
    if (headerSize < 0 || dataSize < 0) return EINVAL;
    const Area headerArea{header, static_cast<std::size_t>(headerSize)};
    const Area dataArea{data, static_cast<std::size_t>(dataSize)};
    std::string path;
    if (const int code = pathOf(fileName, path)) return code;
    kxReplacementFile target;
    if (const int code = target.create(path, ".kxCache")) return code;
    const int code = compressed ? writeCompressed(target.file(), headerArea, dataArea)
                                : writePlain(target.file(), headerArea, dataArea);
    return code != 0 ? code : target.replaceTarget(flush);
}

int _KX_DataBuffer::loadFromFileCompressed(_kxString8_allSize<500> fileName, const bool& compressed, char* header,
                                           const int& headerSize, char* data, const int& dataSize) {
    if (headerSize < 0 || dataSize < 0) return EINVAL;
    const Area headerArea{header, static_cast<std::size_t>(headerSize)};
    const Area dataArea{data, static_cast<std::size_t>(dataSize)};
    std::string path;
    if (const int code = pathOf(fileName, path)) return code;
    kxDescriptor file;
    if (const int code = openRegular(path, largestStream(headerArea.size + dataArea.size), file)) return code;
    return compressed ? readCompressed(file.number, headerArea, dataArea)
                      : readPlain(file.number, headerArea, dataArea);
}

int _KX_DataBuffer::loadStartOfCompressed(_kxString8_allSize<500> fileName, char* start, const int& size) {
    if (size < 0) return EINVAL;
    std::string path;
    if (const int code = pathOf(fileName, path)) return code;
    kxDescriptor file;
    if (const int code = openRegular(path, std::numeric_limits<long long>::max(), file)) return code;
    return readStart(file.number, {start, static_cast<std::size_t>(size)});
}

_kxString8_allSize<250> _KX_DataBuffer::errorString(const int& code) {
    if (code > 0) return kxSystemErrorText(code);
    for (const ErrorText& error : errorTexts) {
        if (error.code == code) return error.text;
    }
    return QStringLiteral("Unknown error %1").arg(code);
}
