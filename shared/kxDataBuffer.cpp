// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxDataBuffer.h"

#include "shared/kxSystemCall.h"

#include <zlib.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
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

// A file descriptor that is closed when the object goes.
class Descriptor {
public:
    Descriptor() = default;
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    // 0, or the reason as an errno value; 0 too when nothing is open. An interrupted close has closed.
    int close() {
        const int closing = number;
        number = -1;
        return closing < 0 || ::close(closing) == 0 || errno == EINTR ? 0 : errno;
    }

    int number = -1;
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

int writeAll(int file, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = kxRetryInterrupted<ssize_t>(-1, [&] { return write(file, bytes, size); });
        if (written <= 0) return written < 0 ? errno : EIO;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

int flushToDisk(int file) {
    return kxRetryInterrupted(-1, [&] { return fsync(file); }) == 0 ? 0 : errno;
}

// Some file systems can't flush a directory: there the rename is as safe as it gets.
int flushDirectory(int directory) {
    const int code = flushToDisk(directory);
    return code == EINVAL || code == ENOTSUP || code == ENOSYS ? 0 : code;
}

// A new file in the directory of its target. It takes the target's place in replaceTarget(), or is removed.
class ReplacementFile {
public:
    ~ReplacementFile() {
        if (!temporaryName_.empty()) removeTemporary();
    }

    // 0, or the reason as an errno value.
    int create(const std::string& target);
    int replaceTarget();
    int file() const { return file_.number; }

private:
    int createTemporary();
    void removeTemporary() const;

    Descriptor directory_;
    Descriptor file_;
    std::string targetName_;
    std::string temporaryName_;  // empty when there is none
};

int ReplacementFile::create(const std::string& target) {
    const std::size_t nameStart = target.rfind('/') + 1;  // 0 without "/"
    const std::string directory = nameStart > 0 ? target.substr(0, nameStart) : ".";
    targetName_ = target.substr(nameStart);
    if (targetName_.empty()) return EISDIR;
    directory_.number = openFile(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return directory_.number < 0 ? errno : createTemporary();
}

// The name is independent of the target's, which may be as long as the file system allows. Other writers, on other
// machines too, are told apart by O_EXCL.
int ReplacementFile::createTemporary() {
    static std::atomic<unsigned> number{0};
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        char name[80];
        std::snprintf(name, sizeof name, ".kxCache-%ld-%lld%09ld-%u.tmp", static_cast<long>(getpid()),
                      static_cast<long long>(now.tv_sec), now.tv_nsec, number++);
        file_.number = kxRetryInterrupted(
            -1, [&] { return openat(directory_.number, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); });
        if (file_.number >= 0) {
            temporaryName_ = name;
            return 0;
        }
        if (errno != EEXIST) return errno;
    }
    return EEXIST;
}

// Where that fails too, a file is left that nothing ever reads.
void ReplacementFile::removeTemporary() const {
    static_cast<void>(
        kxRetryInterrupted(-1, [&] { return unlinkat(directory_.number, temporaryName_.c_str(), 0); }));
}

int ReplacementFile::replaceTarget() {
    if (const int code = flushToDisk(file_.number)) return code;
    if (const int code = file_.close()) return code;
    const int directory = directory_.number;
    const auto rename = [&] { return renameat(directory, temporaryName_.c_str(), directory, targetName_.c_str()); };
    if (kxRetryInterrupted(-1, rename) != 0) return errno;
    temporaryName_.clear();
    return flushDirectory(directory);
}

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
        if (const int code = writeAll(file, chunk, chunkSize - stream.avail_out)) return code;
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
    const int code = writeAll(file, header.bytes, header.size);
    return code != 0 ? code : writeAll(file, data.bytes, data.size);
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
int openRegular(const std::string& path, long long sizeLimit, Descriptor& file) {
    file.number = openFile(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file.number < 0) return errno;
    struct stat status {};
    if (kxRetryInterrupted(-1, [&] { return fstat(file.number, &status); }) != 0) return errno;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    if (!S_ISREG(status.st_mode)) return _KX_DataBuffer::errorNotAFile;
    return status.st_size > sizeLimit ? _KX_DataBuffer::errorTooLong : 0;
}

// One zlib stream read from a file.
class Inflater {
public:
    explicit Inflater(int file) : file_(file), initialised_(inflateInit(&stream_) == Z_OK) {}
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
    z_stream stream_{};
    bool initialised_;
    bool ended_ = false;
    char chunk_[chunkSize];
};

int Inflater::refill() {
    const ssize_t count = readSome(file_, chunk_, sizeof chunk_);
    if (count <= 0) return count < 0 ? errno : _KX_DataBuffer::errorTooShort;
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
    Inflater inflater(file);
    char spareByte;
    for (const Area& area : {header, data, Area{&spareByte, 1}}) {
        if (const int code = inflater.fill(area)) return code;
    }
    const std::size_t wanted = header.size + data.size;
    if (inflater.produced() < wanted) return _KX_DataBuffer::errorTooShort;
    if (inflater.produced() > wanted) return _KX_DataBuffer::errorTooLong;
    return inflater.expectEnd();
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

// No writer needs more than this for `size` bytes; a file of nothing but empty blocks would be read for ever.
long long largestStream(std::size_t size) {
    return 2 * static_cast<long long>(size) + 4096;
}

}  // namespace

int _KX_DataBuffer::saveToFileCompressed(_kxString8_allSize<500> fileName, const bool& compressed, char* header,
                                         const int& headerSize, char* data, const int& dataSize) {
    if (headerSize < 0 || dataSize < 0) return EINVAL;
    const Area headerArea{header, static_cast<std::size_t>(headerSize)};
    const Area dataArea{data, static_cast<std::size_t>(dataSize)};
    std::string path;
    if (const int code = pathOf(fileName, path)) return code;
    ReplacementFile target;
    if (const int code = target.create(path)) return code;
    const int code = compressed ? writeCompressed(target.file(), headerArea, dataArea)
                                : writePlain(target.file(), headerArea, dataArea);
    return code != 0 ? code : target.replaceTarget();
}

int _KX_DataBuffer::loadFromFileCompressed(_kxString8_allSize<500> fileName, const bool& compressed, char* header,
                                           const int& headerSize, char* data, const int& dataSize) {
    if (headerSize < 0 || dataSize < 0) return EINVAL;
    const Area headerArea{header, static_cast<std::size_t>(headerSize)};
    const Area dataArea{data, static_cast<std::size_t>(dataSize)};
    std::string path;
    if (const int code = pathOf(fileName, path)) return code;
    Descriptor file;
    if (const int code = openRegular(path, largestStream(headerArea.size + dataArea.size), file)) return code;
    return compressed ? readCompressed(file.number, headerArea, dataArea)
                      : readPlain(file.number, headerArea, dataArea);
}

_kxString8_allSize<250> _KX_DataBuffer::errorString(const int& code) {
    if (code > 0) return kxSystemErrorText(code);
    for (const ErrorText& error : errorTexts) {
        if (error.code == code) return error.text;
    }
    return QStringLiteral("Unknown error %1").arg(code);
}
