// SPDX-License-Identifier: BSD-3-Clause
// One file opened by the C core of the EXR library, over bytes of our own.
#pragma once

#include "check/kxExrHeader.h"
#include "check/kxFileBytes.h"

#include <openexr.h>

#include <optional>

namespace kxCheck {

// Whether this version of the library can decode it.
bool canDecode(kxExr::Compression compression);

class ExrCore {
public:
    // Both must stay as long as the object.
    ExrCore(FileBytes& bytes, const HeaderReading& reading) : bytes_(bytes), reading_(reading) {}
    ~ExrCore();
    ExrCore(const ExrCore&) = delete;
    ExrCore& operator=(const ExrCore&) = delete;

    // Lets the library judge the headers, strictly: what is missing is not made up. The finding says what it has
    // against them; without one the file is open.
    std::optional<Finding> open();
    // Of an open file.
    exr_const_context_t context() const { return context_; }
    // Whether the library asked for memory in vain, in this thread, since the file was opened. Its own word for
    // that is no proof: some versions give it for damaged data too.
    static bool lackedMemory();

private:
    static std::int64_t readFor(exr_const_context_t, void* self, void* to, std::uint64_t count,
                                std::uint64_t offset, exr_stream_error_func_ptr_t);
    static std::int64_t sizeFor(exr_const_context_t, void* self);
    void applyPatches(std::uint64_t offset, std::uint64_t count, char* bytes) const;
    bool agrees() const;

    FileBytes& bytes_;
    const HeaderReading& reading_;
    exr_context_t context_ = nullptr;
    bool isOpen_ = false;  // the headers were taken
};

}  // namespace kxCheck
