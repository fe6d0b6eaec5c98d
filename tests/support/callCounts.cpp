// SPDX-License-Identifier: BSD-3-Clause
// Counts the calls and makes each slower, as over a network.
//
//   $KX_DELAY         microseconds that every call takes longer; unset is none
//   $KX_CALL_COUNTS   file that gets the counts at the end, one line "<kind> <count>" for each of opendir, open,
//                     stat (of any kind), read and close (of files and directories), and the line "bytes <count>"
//                     of all that was read; those of the process and of all that it forked
#include "tests/support/watchedCalls.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

namespace {

enum Kind { opendirs, opens, stats, reads, closes, kindCount };
constexpr const char* kindNames[kindCount] = {"opendir", "open", "stat", "read", "close"};

struct Counts {
    std::atomic<long> calls[kindCount];
    std::atomic<long> readBytes;
};

// In memory that forked processes share. All zero at first.
Counts& counts() {
    static void* const memory =
        mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    static Counts alone;
    return memory == MAP_FAILED ? alone : *static_cast<Counts*>(memory);
}

// Of the calls that are not counted kindCount: those of a directory that is open wait for nothing, and those that
// delete are no part of a check.
Kind kindOf(FileCall call) {
    switch (call) {
        case FileCall::Opendir:
            return opendirs;
        case FileCall::Open:
            return opens;
        case FileCall::Stat:
        case FileCall::Lstat:
        case FileCall::Fstat:
            return stats;
        case FileCall::Read:
            return reads;
        case FileCall::Close:
            return closes;
        default:
            return kindCount;
    }
}

__attribute__((destructor)) void writeCounts() {
    const char* const path = std::getenv("KX_CALL_COUNTS");
    FILE* const file = path ? original<decltype(&fopen)>("fopen")(path, "w") : nullptr;
    if (!file) return;
    for (int kind = 0; kind < kindCount; ++kind) {
        std::fprintf(file, "%s %ld\n", kindNames[kind], counts().calls[kind].load());
    }
    std::fprintf(file, "bytes %ld\n", counts().readBytes.load());
    original<decltype(&fclose)>("fclose")(file);
}

}  // namespace

void countCall(FileCall call) {
    static const char* const delay = std::getenv("KX_DELAY");
    const Kind kind = kindOf(call);
    if (kind == kindCount) return;
    ++counts().calls[kind];
    if (delay) usleep(static_cast<useconds_t>(std::strtol(delay, nullptr, 10)));
}

void countReadBytes(long count) {
    if (count > 0) counts().readBytes += count;
}
