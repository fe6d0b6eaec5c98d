// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/FailingCalls.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <utility>

#include <dirent.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

System theSystem;

namespace {

void happen(std::function<void()>& once) {
    if (const auto happens = std::exchange(once, nullptr)) happens();
}

}  // namespace

bool Call::fails() {
    ++calls;
    happen(before);
    if (goodFirst-- > 0 || failures <= 0) return false;
    --failures;
    errno = errorNumber;
    return true;
}

void Call::failWith(int error, int times, int after) {
    errorNumber = error;
    failures = times;
    goodFirst = after;
}

extern "C" {

DIR* __real_opendir(const char* path);
dirent* __real_readdir(DIR* directory);
int __real_fstatat(int directory, const char* path, struct stat* status, int flags);
int __real_lstat(const char* path, struct stat* status);
int __real_unlink(const char* path);
int __real_openat(int directory, const char* name, int flags, ...);
ssize_t __real_read(int file, void* bytes, std::size_t size);
ssize_t __real_write(int file, const void* bytes, std::size_t size);
int __real_fsync(int file);
int __real_close(int file);
int __real_renameat(int fromDirectory, const char* from, int toDirectory, const char* to);
int __real_renameat2(int from, const char* name, int to, const char* newName, unsigned flags);
int __real_linkat(int from, const char* name, int to, const char* newName, int flags);
int __real_unlinkat(int directory, const char* name, int flags);
pid_t __real_fork();
int __real_socketpair(int domain, int type, int protocol, int* ends);
int __real_fstat(int file, struct stat* status);
int __real_deflateInit_(z_stream* stream, int level, const char* version, int size);
int __real_inflateInit_(z_stream* stream, const char* version, int size);

DIR* __wrap_opendir(const char* path) {
    return theSystem.opendir.fails() ? nullptr : __real_opendir(path);
}

dirent* __wrap_readdir(DIR* directory) {
    if (theSystem.readdir.fails()) return nullptr;
    dirent* entry = __real_readdir(directory);
    if (entry && theSystem.hidesKinds) entry->d_type = DT_UNKNOWN;
    return entry;
}

int __wrap_fstatat(int directory, const char* path, struct stat* status, int flags) {
    return theSystem.fstatat.fails() ? -1 : __real_fstatat(directory, path, status, flags);
}

int __wrap_lstat(const char* path, struct stat* status) {
    return theSystem.lstat.fails() ? -1 : __real_lstat(path, status);
}

int __wrap_unlink(const char* path) {
    if (theSystem.unlink.fails()) return -1;
    if (!theSystem.directoriesGo || !std::filesystem::is_directory(path)) return __real_unlink(path);
    ++theSystem.unlinkedDirectories;
    return 0;
}

int __wrap_openat(int directory, const char* name, int flags, mode_t mode) {
    theSystem.created.push_back(name);
    theSystem.createFlags = flags;
    return theSystem.openat.fails() ? -1 : __real_openat(directory, name, flags, mode);
}

ssize_t __wrap_read(int file, void* bytes, std::size_t size) {
    return theSystem.read.fails() ? -1 : __real_read(file, bytes, std::min(size, theSystem.largestTransfer));
}

ssize_t __wrap_write(int file, const void* bytes, std::size_t size) {
    return theSystem.write.fails() ? -1 : __real_write(file, bytes, std::min(size, theSystem.largestTransfer));
}

int __wrap_fsync(int file) {
    return theSystem.fsync.fails() ? -1 : __real_fsync(file);
}

int __wrap_close(int file) {
    const int result = __real_close(file);
    return theSystem.close.fails() ? -1 : result;
}

int __wrap_renameat(int fromDirectory, const char* from, int toDirectory, const char* to) {
    return theSystem.renameat.fails() ? -1 : __real_renameat(fromDirectory, from, toDirectory, to);
}

int __wrap_fstat(int file, struct stat* status) {
    return theSystem.fstat.fails() ? -1 : __real_fstat(file, status);
}

int __wrap_renameat2(int from, const char* name, int to, const char* newName, unsigned flags) {
    return theSystem.renameat2.fails() ? -1 : __real_renameat2(from, name, to, newName, flags);
}

int __wrap_linkat(int from, const char* name, int to, const char* newName, int flags) {
    if (theSystem.linkat.fails()) return -1;
    const int result = __real_linkat(from, name, to, newName, flags);
    happen(theSystem.linkat.afterwards);
    return result;
}

int __wrap_unlinkat(int directory, const char* name, int flags) {
    return theSystem.unlinkat.fails() ? -1 : __real_unlinkat(directory, name, flags);
}

pid_t __wrap_fork() {
    return theSystem.fork.fails() ? -1 : __real_fork();
}

int __wrap_socketpair(int domain, int type, int protocol, int* ends) {
    return theSystem.socketpair.fails() ? -1 : __real_socketpair(domain, type, protocol, ends);
}

int __wrap_deflateInit_(z_stream* stream, int level, const char* version, int size) {
    return theSystem.deflateInit.fails() ? Z_MEM_ERROR : __real_deflateInit_(stream, level, version, size);
}

int __wrap_inflateInit_(z_stream* stream, const char* version, int size) {
    return theSystem.inflateInit.fails() ? Z_MEM_ERROR : __real_inflateInit_(stream, version, size);
}

}  // extern "C"
