// SPDX-License-Identifier: BSD-3-Clause
// The whole check of a file's bytes, in every mode but deletion.
#include "fuzz/FuzzInput.h"
#include "tool/main.h"

#include <cstddef>
#include <new>

namespace {

// The EXR library makes room for whatever size a damaged header claims. It finds too little memory here, as under
// the limit that the tool sets itself: clearing gigabytes would take all the time.
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

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    static const bool discarded = (discardOutput(), true);
    static const MemoryFile file;
    require(discarded);
    file.fill(bytes, size);
    const QString path = QString::fromLatin1(file.path().c_str());
    testExr(path, true, true, true, false, true);
    testExr(path, false, false, false, false, false);
    return 0;
}
