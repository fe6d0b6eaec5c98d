// SPDX-License-Identifier: BSD-3-Clause
// Counts what a program and all that it forks get from the heap: preloaded, it writes "<allocations> <bytes>" to
// the file $KX_ALLOCATION_COUNTS at the end. Not for builds with a sanitizer, which has a heap of its own.
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>

// The C library's own, under the names that it has for programs with a heap of theirs.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* memory, std::size_t size);

namespace {

struct Counts {
    std::atomic<long> allocations;
    std::atomic<long> bytes;
};

// In memory that forked processes share. All zero at first.
Counts* shared = nullptr;

__attribute__((constructor)) void makeCounts() {
    void* const memory = mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory != MAP_FAILED) shared = static_cast<Counts*>(memory);
}

__attribute__((destructor)) void writeCounts() {
    const char* const path = std::getenv("KX_ALLOCATION_COUNTS");
    if (!path || !shared) return;
    const long allocations = shared->allocations;
    const long bytes = shared->bytes;
    FILE* const file = std::fopen(path, "w");
    if (!file) return;
    std::fprintf(file, "%ld %ld\n", allocations, bytes);
    std::fclose(file);
}

void count(std::size_t size) {
    if (!shared) return;
    ++shared->allocations;
    shared->bytes += static_cast<long>(size);
}

}  // namespace

extern "C" void* malloc(std::size_t size) {
    count(size);
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t number, std::size_t size) {
    count(number * size);
    return __libc_calloc(number, size);
}

extern "C" void* realloc(void* memory, std::size_t size) {
    count(size);
    return __libc_realloc(memory, size);
}
