// SPDX-License-Identifier: BSD-3-Clause
// All that a worker does with a frame, the EXR library included. What the library itself does to the process is for
// scripts/fuzz to tell apart.
#include "check/kxFrameCheck.h"
#include "check/kxWorkerMessage.h"
#include "fuzz/FuzzInput.h"

#include <cstddef>
#include <new>

using namespace kxCheck;

namespace {

// A worker has so little memory for a frame: clearing gigabytes would take all the time. What the library takes by
// malloc() is bounded by scripts/fuzz.
constexpr std::size_t mostMemory = 64 << 20;

void* orThrow(void* memory) {
    if (!memory) throw std::bad_alloc();
    return memory;
}

bool hasNothingToSay(const FileReport& report) {
    return report.findings.empty();
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
    static const MemoryFile file;
    file.fill(bytes, size);
    FileCheck check{file.path().c_str(), Level::pixels};
    check.wantsPreview = true;
    const FileReport report = checkFrame(check);
    require(hasNothingToSay(report) == report.decoded && (!report.decoded || report.picture));
    HeaderStore headers;
    require(ReportDecoder(headers).decode(ReportEncoder().encode(report)).has_value());
    const FileReport structure = checkFrame({check.path, Level::structure});
    require(hasNothingToSay(structure) || !hasNothingToSay(report));
    return 0;
}
