// SPDX-License-Identifier: BSD-3-Clause
// Preloaded into a program: counts its calls of the file system and makes each slower, as over a network.
//
//   $KX_DELAY         microseconds that every call takes longer; unset is none
//   $KX_CALL_COUNTS   file that gets the counts at the end, one line "<call> <count>" for each of opendir, open,
//   stat,
//                     read and close. Other names of a call count as that call (fopen as open, fstatat as stat),
//                     and the calls of closedir and fclose as close.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

enum Call { callOpendir, callOpen, callStat, callRead, callClose, callCount };
constexpr const char* callNames[callCount] = {"opendir", "open", "stat", "read", "close"};

std::atomic<long> counts[callCount];

void countAndDelay(Call call) {
    static const char* const delay = std::getenv("KX_DELAY");
    ++counts[call];
    if (delay) usleep(static_cast<useconds_t>(std::strtol(delay, nullptr, 10)));
}

template <class Function>
Function original(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Counts and delays a call of the C library, then makes it.
template <class Result, class... Arguments>
Result callSlowly(Call call, const char* name, Arguments... arguments) {
    countAndDelay(call);
    return original<Result (*)(Arguments...)>(name)(arguments...);
}

__attribute__((destructor)) void writeCounts() {
    const char* const path = std::getenv("KX_CALL_COUNTS");
    FILE* const file = path ? original<decltype(&fopen)>("fopen")(path, "w") : nullptr;
    if (!file) return;
    for (int call = 0; call < callCount; ++call)
        std::fprintf(file, "%s %ld\n", callNames[call], counts[call].load());
    original<decltype(&fclose)>("fclose")(file);
}

}  // namespace

extern "C" {

DIR* opendir(const char* path) {
    return callSlowly<DIR*>(callOpendir, "opendir", path);
}

FILE* fopen(const char* path, const char* mode) {
    return callSlowly<FILE*>(callOpen, "fopen", path, mode);
}
FILE* fopen64(const char* path, const char* mode) {
    return callSlowly<FILE*>(callOpen, "fopen64", path, mode);
}

// open takes its third argument only when it may create the file; passing one that was not given does no harm.
int open(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = va_arg(more, mode_t);
    va_end(more);
    return callSlowly<int>(callOpen, "open", path, flags, mode);
}
int open64(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const mode_t mode = va_arg(more, mode_t);
    va_end(more);
    return callSlowly<int>(callOpen, "open64", path, flags, mode);
}

int stat(const char* path, struct stat* status) {
    return callSlowly<int>(callStat, "stat", path, status);
}
int stat64(const char* path, struct stat64* status) {
    return callSlowly<int>(callStat, "stat64", path, status);
}
int lstat(const char* path, struct stat* status) {
    return callSlowly<int>(callStat, "lstat", path, status);
}
int fstat(int file, struct stat* status) {
    return callSlowly<int>(callStat, "fstat", file, status);
}
int fstatat(int directory, const char* path, struct stat* status, int flags) {
    return callSlowly<int>(callStat, "fstatat", directory, path, status, flags);
}
int fstatat64(int directory, const char* path, struct stat64* status, int flags) {
    return callSlowly<int>(callStat, "fstatat64", directory, path, status, flags);
}

ssize_t read(int file, void* bytes, size_t size) {
    return callSlowly<ssize_t>(callRead, "read", file, bytes, size);
}
ssize_t pread(int file, void* bytes, size_t size, off_t at) {
    return callSlowly<ssize_t>(callRead, "pread", file, bytes, size, at);
}

int close(int file) {
    return callSlowly<int>(callClose, "close", file);
}
int fclose(FILE* file) {
    return callSlowly<int>(callClose, "fclose", file);
}
int closedir(DIR* directory) {
    return callSlowly<int>(callClose, "closedir", directory);
}

}  // extern "C"
