// SPDX-License-Identifier: BSD-3-Clause
// Linked with a target that has the EXR library read files, which makes room for whatever size a damaged header
// claims: it finds too little memory here, as under the limits that the programs set. Clearing gigabytes would take
// all the time. What the library takes by malloc() is bounded by scripts/fuzz.
#include <cstddef>
#include <new>

namespace {

constexpr std::size_t mostMemory = 64 << 20;

void* orThrow(void* memory) {
    if (!memory) throw std::bad_alloc();
    return memory;
}

}  // namespace

// The sanitizer's own operators delete what these give.
// NOLINTNEXTLINE(cert-dcl54-cpp)
void* operator new(std::size_t size) {
    return orThrow(size <= mostMemory ? operator new(size, std::nothrow) : nullptr);
}
// NOLINTNEXTLINE(cert-dcl54-cpp)
void* operator new[](std::size_t size) {
    return orThrow(size <= mostMemory ? operator new[](size, std::nothrow) : nullptr);
}
