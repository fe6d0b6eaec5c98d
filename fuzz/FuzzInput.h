// SPDX-License-Identifier: BSD-3-Clause
// What the fuzz targets share: the bytes of an input read as numbers, and a file in memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

// Reads an input from its start; zeros after its end.
class FuzzInput {
public:
    FuzzInput(const uint8_t* bytes, std::size_t size) : bytes_(bytes), size_(size) {}

    template <class Number>
    Number take() {
        Number number{};
        const std::size_t count = std::min(sizeof number, size_);
        std::memcpy(&number, bytes_, count);
        skip(count);
        return number;
    }

    bool takeBit() { return take<uint8_t>() & 1; }

    // A number of the low byte's magnitude more often than a wild one: both ranges matter.
    int takeCoordinate() {
        const auto kind = take<uint8_t>();
        return kind < 200 ? take<int8_t>() : kind < 240 ? take<int16_t>() : take<int32_t>();
    }

    // All up to `separator`, which is skipped.
    std::string takeUntil(char separator) {
        const void* found = std::memchr(bytes_, separator, size_);
        const std::size_t length =
            found ? static_cast<std::size_t>(static_cast<const uint8_t*>(found) - bytes_) : size_;
        std::string text(reinterpret_cast<const char*>(bytes_), length);
        skip(std::min(length + 1, size_));
        return text;
    }

    // A text of up to 255 bytes behind its length, of whatever bytes.
    std::string takeText() {
        const std::size_t length = std::min<std::size_t>(take<uint8_t>(), size_);
        std::string text(reinterpret_cast<const char*>(bytes_), length);
        skip(length);
        return text;
    }

    const uint8_t* bytes() const { return bytes_; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

private:
    void skip(std::size_t count) {
        bytes_ += count;
        size_ -= count;
    }

    const uint8_t* bytes_;
    std::size_t size_;
};

// A regular file without a place on disk.
class MemoryFile {
public:
    MemoryFile() : fd_(memfd_create("fuzz", MFD_CLOEXEC)) {
        if (fd_ < 0) fail("memfd_create");
    }
    ~MemoryFile() { close(fd_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void fill(const uint8_t* bytes, std::size_t size) const {
        if (ftruncate(fd_, 0) != 0 || pwrite(fd_, bytes, size, 0) != static_cast<ssize_t>(size)) fail("pwrite");
    }

    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

private:
    [[noreturn]] static void fail(const char* what) {
        std::perror(what);
        std::exit(1);
    }

    int fd_;
};

// The program under test prints; nobody reads it.
inline void discardOutput() {
    if (!std::freopen("/dev/null", "w", stdout)) std::abort();
}

// What must always hold.
inline void require(bool holds) {
    if (!holds) std::abort();
}
