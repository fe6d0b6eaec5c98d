// SPDX-License-Identifier: BSD-3-Clause
// The bytes of an open file, read in few and large pieces: on a share each call is a trip.
//
// An object keeps the descriptor of its maker, which must stay open, and is used by one thread.
#pragma once

#include "check/kxBytes.h"

#include <memory>

namespace kxCheck {

class FileBytes : public Bytes {
public:
    // How much is read for a view, where the file goes on that far.
    enum class Pieces : std::size_t { headers = std::size_t{8} * 1024, pixels = mostViewed };

    // `size` is that of the file when it was opened.
    FileBytes(int descriptor, std::uint64_t size);

    std::uint64_t size() const override { return size_; }
    const char* view(std::uint64_t offset, std::size_t count) override;
    // The same of what the last reading brought; null where the file would have to be read again.
    [[nodiscard]] const char* viewAgain(std::uint64_t offset, std::size_t count) const;
    // Copies `count` bytes; false, with any of them written, when they do not all lie within the file or can't be
    // read.
    [[nodiscard]] bool read(std::uint64_t offset, std::uint64_t count, void* to);

    void setPieces(Pieces pieces) { piece_ = static_cast<std::size_t>(pieces); }
    // The error number of the first read that failed; EIO also where the file gave fewer bytes than its size says.
    // 0 while all went well: then a failed read or view means an offset outside of the file.
    int error() const { return error_; }

private:
    bool fill(std::uint64_t offset, std::size_t count);
    bool readAll(std::uint64_t offset, std::uint64_t count, char* to);

    int descriptor_;
    std::uint64_t size_;
    std::size_t piece_ = static_cast<std::size_t>(Pieces::headers);
    int error_ = 0;
    std::unique_ptr<char[]> window_;  // bytes at windowStart_, of mostViewed at most
    std::uint64_t windowStart_ = 0;
    std::size_t windowSize_ = 0;
};

}  // namespace kxCheck
