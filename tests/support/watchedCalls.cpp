// SPDX-License-Identifier: BSD-3-Clause
// The entries of the C library that a program may take to the file system. Which of them the EXR library, the
// standard library and Qt take differs from version to version.
#include "tests/support/watchedCalls.h"

#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

std::string pathOf(int file) {
    char path[PATH_MAX];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path);
    return length < 0 ? std::string() : std::string(path, static_cast<std::size_t>(length));
}

std::string pathOf(const char* path) {
    return path;
}

std::string pathOf(DIR* directory) {
    return pathOf(dirfd(directory));
}

// A name relative to an open directory.
struct NameIn {
    int directory;
    const char* name;
};

std::string pathOf(const NameIn& file) {
    if (file.name[0] == '/' || file.directory == AT_FDCWD) return file.name;
    return pathOf(file.directory) + "/" + file.name;
}

// Makes the call `name` of the C library on `file`, or fails with this result.
template <class Result, class File, class... Arguments>
Result watched(FileCall call, const File& file, Result failure, const char* name, Arguments... arguments) {
    countCall(call);
    if (anyFaults() && callFails(call, pathOf(file))) return failure;
    return original<Result (*)(Arguments...)>(name)(arguments...);
}

ssize_t countedBytes(ssize_t got) {
    countReadBytes(got);
    return got;
}

FileCall statusCall(int flags) {
    return flags & AT_SYMLINK_NOFOLLOW ? FileCall::Lstat : FileCall::Stat;
}

}  // namespace

// `mode`, what open takes after its flags when it may create the file. Passing one that was not given does no harm.
#define KX_MODE_AFTER_FLAGS                   \
    va_list more;                             \
    va_start(more, flags);                    \
    const mode_t mode = va_arg(more, mode_t); \
    va_end(more)

extern "C" {

// --- Directories ------------------------------------------------------------------------------------------------

DIR* opendir(const char* path) {
    return watched<DIR*>(FileCall::Opendir, path, nullptr, "opendir", path);
}
dirent* readdir(DIR* directory) {
    return watched<dirent*>(FileCall::Readdir, directory, nullptr, "readdir", directory);
}
dirent64* readdir64(DIR* directory) {
    return watched<dirent64*>(FileCall::Readdir, directory, nullptr, "readdir64", directory);
}
int closedir(DIR* directory) {
    countCall(FileCall::Close);
    return original<decltype(&closedir)>("closedir")(directory);
}

// --- Opening ----------------------------------------------------------------------------------------------------

FILE* fopen(const char* path, const char* mode) {
    return watched<FILE*>(FileCall::Open, path, nullptr, "fopen", path, mode);
}
FILE* fopen64(const char* path, const char* mode) {
    return watched<FILE*>(FileCall::Open, path, nullptr, "fopen64", path, mode);
}
int open(const char* path, int flags, ...) {
    KX_MODE_AFTER_FLAGS;
    return watched(FileCall::Open, path, -1, "open", path, flags, mode);
}
int open64(const char* path, int flags, ...) {
    KX_MODE_AFTER_FLAGS;
    return watched(FileCall::Open, path, -1, "open64", path, flags, mode);
}
int openat(int directory, const char* path, int flags, ...) {
    KX_MODE_AFTER_FLAGS;
    return watched(FileCall::Open, NameIn{directory, path}, -1, "openat", directory, path, flags, mode);
}
int openat64(int directory, const char* path, int flags, ...) {
    KX_MODE_AFTER_FLAGS;
    return watched(FileCall::Open, NameIn{directory, path}, -1, "openat64", directory, path, flags, mode);
}

// --- Reading ----------------------------------------------------------------------------------------------------

ssize_t read(int file, void* bytes, std::size_t size) {
    return countedBytes(watched<ssize_t>(FileCall::Read, file, -1, "read", file, bytes, size));
}
ssize_t pread(int file, void* bytes, std::size_t size, off_t at) {
    return countedBytes(watched<ssize_t>(FileCall::Read, file, -1, "pread", file, bytes, size, at));
}
ssize_t pread64(int file, void* bytes, std::size_t size, off64_t at) {
    return countedBytes(watched<ssize_t>(FileCall::Read, file, -1, "pread64", file, bytes, size, at));
}
ssize_t readv(int file, const iovec* pieces, int count) {
    return countedBytes(watched<ssize_t>(FileCall::Read, file, -1, "readv", file, pieces, count));
}

// --- Status -----------------------------------------------------------------------------------------------------

int stat(const char* path, struct stat* status) noexcept {
    return watched(FileCall::Stat, path, -1, "stat", path, status);
}
int stat64(const char* path, struct stat64* status) noexcept {
    return watched(FileCall::Stat, path, -1, "stat64", path, status);
}
int lstat(const char* path, struct stat* status) noexcept {
    return watched(FileCall::Lstat, path, -1, "lstat", path, status);
}
int lstat64(const char* path, struct stat64* status) noexcept {
    return watched(FileCall::Lstat, path, -1, "lstat64", path, status);
}
int fstatat(int directory, const char* path, struct stat* status, int flags) noexcept {
    return watched(statusCall(flags), NameIn{directory, path}, -1, "fstatat", directory, path, status, flags);
}
int fstatat64(int directory, const char* path, struct stat64* status, int flags) noexcept {
    return watched(statusCall(flags), NameIn{directory, path}, -1, "fstatat64", directory, path, status, flags);
}
int statx(int directory, const char* path, int flags, unsigned mask, struct statx* status) noexcept {
    return watched(statusCall(flags), NameIn{directory, path}, -1, "statx", directory, path, flags, mask, status);
}
int fstat(int file, struct stat* status) noexcept {
    return watched(FileCall::Fstat, file, -1, "fstat", file, status);
}
int fstat64(int file, struct stat64* status) noexcept {
    return watched(FileCall::Fstat, file, -1, "fstat64", file, status);
}

// --- The end of files -------------------------------------------------------------------------------------------

int unlink(const char* path) noexcept {
    return watched(FileCall::Unlink, path, -1, "unlink", path);
}
int unlinkat(int directory, const char* path, int flags) noexcept {
    return watched(FileCall::Unlink, NameIn{directory, path}, -1, "unlinkat", directory, path, flags);
}
int close(int file) {
    countCall(FileCall::Close);
    return original<decltype(&close)>("close")(file);
}
int fclose(FILE* file) {
    countCall(FileCall::Close);
    return original<decltype(&fclose)>("fclose")(file);
}

}  // extern "C"
