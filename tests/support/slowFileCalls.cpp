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
    if (delay) usleep(static_cast<useconds_t>(std::atol(delay)));
}

template <class Function>
Function original(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
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

// Defines a call of the C library that is counted and delayed before it is made.
#define KX_SLOW(call, result, name, parameters, arguments)              \
    extern "C" result name parameters {                                 \
        static const auto next = original<result(*) parameters>(#name); \
        countAndDelay(call);                                            \
        return next arguments;                                          \
    }

KX_SLOW(callOpendir, DIR*, opendir, (const char* path), (path))
KX_SLOW(callOpen, FILE*, fopen, (const char* path, const char* mode), (path, mode))
KX_SLOW(callOpen, FILE*, fopen64, (const char* path, const char* mode), (path, mode))
KX_SLOW(callStat, int, stat, (const char* path, struct stat* status), (path, status))
KX_SLOW(callStat, int, stat64, (const char* path, struct stat64* status), (path, status))
KX_SLOW(callStat, int, lstat, (const char* path, struct stat* status), (path, status))
KX_SLOW(callStat, int, fstat, (int file, struct stat* status), (file, status))
KX_SLOW(callStat, int, fstatat, (int directory, const char* path, struct stat* status, int flags),
        (directory, path, status, flags))
KX_SLOW(callStat, int, fstatat64, (int directory, const char* path, struct stat64* status, int flags),
        (directory, path, status, flags))
KX_SLOW(callRead, ssize_t, read, (int file, void* bytes, size_t size), (file, bytes, size))
KX_SLOW(callRead, ssize_t, pread, (int file, void* bytes, size_t size, off_t at), (file, bytes, size, at))
KX_SLOW(callClose, int, close, (int file), (file))
KX_SLOW(callClose, int, fclose, (FILE * file), (file))
KX_SLOW(callClose, int, closedir, (DIR * directory), (directory))

// open takes a third argument only when it may create the file; passing one that was not given does no harm.
#define KX_SLOW_OPEN(name)                                                           \
    extern "C" int name(const char* path, int flags, ...) {                          \
        static const auto next = original<int (*)(const char*, int, mode_t)>(#name); \
        countAndDelay(callOpen);                                                     \
        va_list more;                                                                \
        va_start(more, flags);                                                       \
        const mode_t mode = va_arg(more, mode_t);                                    \
        va_end(more);                                                                \
        return next(path, flags, mode);                                              \
    }

KX_SLOW_OPEN(open)
KX_SLOW_OPEN(open64)
