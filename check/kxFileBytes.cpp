// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFileBytes.h"

#include "shared/kxSystemCall.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace kxCheck {

FileBytes::FileBytes(int descriptor, std::uint64_t size)
    : descriptor_(descriptor), size_(size), window_(new char[mostViewed]) {}

const char* FileBytes::view(std::uint64_t offset, std::size_t count) {
    if (count > mostViewed || !holds(offset, count)) return nullptr;
    const char* const there = viewAgain(offset, count);
    if (there) return there;
    return fill(offset, std::max(count, piece_)) ? viewAgain(offset, count) : nullptr;
}

const char* FileBytes::viewAgain(std::uint64_t offset, std::size_t count) const {
    const bool inWindow = offset >= windowStart_ && offset + count <= windowStart_ + windowSize_;
    return inWindow ? window_.get() + (offset - windowStart_) : nullptr;
}

// What is in the window is copied from there; the rest of a large piece goes to its place without a stop in
// between.
bool FileBytes::read(std::uint64_t offset, std::uint64_t count, void* to) {
    if (!holds(offset, count)) return false;
    char* out = static_cast<char*>(to);
    if (offset >= windowStart_ && offset < windowStart_ + windowSize_) {
        const std::uint64_t ready = std::min(count, windowStart_ + windowSize_ - offset);
        std::memcpy(out, window_.get() + (offset - windowStart_), ready);
        offset += ready;
        count -= ready;
        out += ready;
    }
    if (count == 0) return true;
    if (count > piece_ / 2) return readAll(offset, count, out);
    const char* bytes = view(offset, count);
    if (bytes) std::memcpy(out, bytes, count);
    return bytes != nullptr;
}

bool FileBytes::fill(std::uint64_t offset, std::size_t count) {
    windowSize_ = 0;
    const auto ready = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - offset));
    if (!readAll(offset, ready, window_.get())) return false;
    windowStart_ = offset;
    windowSize_ = ready;
    return true;
}

bool FileBytes::readAll(std::uint64_t offset, std::uint64_t count, char* to) {
    while (count > 0) {
        const ssize_t got = kxRetryInterrupted(
            ssize_t{-1}, [&] { return pread(descriptor_, to, count, static_cast<off_t>(offset)); });
        if (got <= 0) {
            if (error_ == 0) error_ = got < 0 ? errno : EIO;
            return false;
        }
        to += got;
        offset += static_cast<std::uint64_t>(got);
        count -= static_cast<std::uint64_t>(got);
    }
    return true;
}

}  // namespace kxCheck
