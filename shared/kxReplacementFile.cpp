// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxReplacementFile.h"

#include "shared/kxSystemCall.h"

#include <atomic>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

namespace {

int flushToDisk(int file) {
    return kxRetryInterrupted(-1, [&] { return fsync(file); }) == 0 ? 0 : errno;
}

// Some file systems can't flush a directory: there the rename is as safe as it gets.
int flushDirectory(int directory) {
    const int code = flushToDisk(directory);
    return code == EINVAL || code == ENOTSUP || code == ENOSYS ? 0 : code;
}

}  // namespace

int kxDescriptor::close() {
    const int closing = number;
    number = -1;
    return closing < 0 || ::close(closing) == 0 || errno == EINTR ? 0 : errno;
}

int kxWriteAll(int file, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = kxRetryInterrupted<ssize_t>(-1, [&] { return write(file, bytes, size); });
        if (written <= 0) return written < 0 ? errno : EIO;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

kxReplacementFile::~kxReplacementFile() {
    if (!temporaryName_.empty()) removeTemporary();
}

int kxReplacementFile::create(const std::string& target, const char* stem) {
    const std::size_t nameStart = target.rfind('/') + 1;  // 0 without "/"
    const std::string directory = nameStart > 0 ? target.substr(0, nameStart) : ".";
    targetName_ = target.substr(nameStart);
    if (targetName_.empty()) return EISDIR;
    directory_.number =
        kxRetryInterrupted(-1, [&] { return open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    return directory_.number < 0 ? errno : createTemporary(stem);
}

// The name is independent of the target's, which may be as long as the file system allows. Other writers, on other
// machines too, are told apart by O_EXCL.
int kxReplacementFile::createTemporary(const char* stem) {
    static std::atomic<unsigned> number{0};
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        char name[80];
        std::snprintf(name, sizeof name, "%s-%ld-%lld%09ld-%u.tmp", stem, static_cast<long>(getpid()),
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
void kxReplacementFile::removeTemporary() const {
    static_cast<void>(
        kxRetryInterrupted(-1, [&] { return unlinkat(directory_.number, temporaryName_.c_str(), 0); }));
}

int kxReplacementFile::replaceTarget(kxFlush flush) {
    const int flushed = flush == kxFlush::now ? flushToDisk(file_.number) : 0;
    if (flushed != 0) return flushed;
    if (const int code = file_.close()) return code;
    const int directory = directory_.number;
    const auto rename = [&] { return renameat(directory, temporaryName_.c_str(), directory, targetName_.c_str()); };
    if (kxRetryInterrupted(-1, rename) != 0) return errno;
    temporaryName_.clear();
    return flush == kxFlush::now ? flushDirectory(directory) : 0;
}
