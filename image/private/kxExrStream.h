// SPDX-License-Identifier: BSD-3-Clause
// A file as the EXR library reads its headers, in few and large pieces: one open, one read and one close where
// headers and chunk tables end within the file's first 64 KiB. On a share each call is a trip.
//
// Whatever fails raises what the library's own stream (Imf::StdIFStream) raises, with the same words, and leaves
// the same state: nothing can be read any more until clear(). Two things are otherwise. A file that can't be opened
// raises its error from the first read, so that the library, which is given the stream, puts the file's name before
// it. And bytes once read are kept over a seek, so that a file that is written to meanwhile may be seen as it was.
//
// An object is used by one thread.
#pragma once

#include <ImfIO.h>

#include <cstddef>
#include <cstdint>

#include <sys/types.h>

namespace kxExr {

class Stream : public Imf::IStream {
public:
    explicit Stream(const char* path);
    ~Stream() override;

    bool read(char to[], int count) override;
    // 2^64 - 1 after a failure, and of what has no places (a pipe).
    std::uint64_t tellg() override;
    void seekg(std::uint64_t position) override;
    void clear() override;

private:
    static constexpr std::size_t windowSize = std::size_t{64} * 1024;

    std::size_t ready() const { return static_cast<std::size_t>(end_ - next_); }
    void take(char* to, std::size_t count);
    bool readOn(char* to, std::size_t wanted);
    ssize_t fillWindow();
    ssize_t readFile(char* to, std::size_t count);
    void moveTo(std::uint64_t position);
    [[noreturn]] void raise(bool endOfFile, std::size_t done, std::size_t wanted);

    int file_;
    int openError_;
    bool failed_ = false;
    bool sought_ = false;             // the system's own offset may be elsewhere than endPosition_
    std::size_t piece_ = windowSize;  // what the next filling asks for
    const char* next_ = window_;      // the bytes that are ready: [next_, end_)
    const char* end_ = window_;
    std::uint64_t endPosition_ = 0;  // of end_ in the file
    char window_[windowSize];
};

}  // namespace kxExr
