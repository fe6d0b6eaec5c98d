// SPDX-License-Identifier: BSD-3-Clause
#include "image/private/kxExrStream.h"

#include "shared/kxSystemCall.h"

#include <Iex.h>
#include <IexThrowErrnoExc.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace kxExr {

namespace {

// What is read at a place that a seek led to. Of an unfinished file the library looks at the beginning of every
// chunk to find the next: where chunks are large, most of what lies between is not read; where they are small, each
// is near enough to the one before to have the whole window filled.
constexpr std::size_t pieceAfterJump = std::size_t{8} * 1024;

}  // namespace

// Not repeated when interrupted, as the library's own stream does not.
Stream::Stream(const char* path)
    : Imf::IStream(path), file_(open(path, O_RDONLY | O_CLOEXEC)), openError_(file_ < 0 ? errno : 0) {}

Stream::~Stream() {
    if (file_ >= 0) close(file_);
}

bool Stream::read(char to[], int count) {
    const auto wanted = static_cast<std::size_t>(std::max(count, 0));
    if (failed_ || wanted > ready()) return readOn(to, wanted);
    take(to, wanted);
    return true;
}

std::uint64_t Stream::tellg() {
    const bool hasPlaces = !failed_ && lseek(file_, 0, SEEK_CUR) >= 0;
    return hasPlaces ? endPosition_ - ready() : ~std::uint64_t{0};
}

void Stream::seekg(std::uint64_t position) {
    if (!failed_ && lseek(file_, static_cast<off_t>(position), SEEK_SET) >= 0) {
        moveTo(position);
        return;
    }
    failed_ = true;
    if (errno != 0) IEX_NAMESPACE::throwErrnoExc();
}

void Stream::clear() {
    failed_ = false;
}

// The library reads names byte by byte.
void Stream::take(char* to, std::size_t count) {
    if (count == 1)
        *to = *next_;
    else
        std::memcpy(to, next_, count);
    next_ += count;
}

bool Stream::readOn(char* to, std::size_t wanted) {
    if (failed_) throw IEX_NAMESPACE::InputExc("Unexpected end of file.");
    for (std::size_t done = 0;;) {
        const std::size_t taken = std::min(ready(), wanted - done);
        take(to + done, taken);
        done += taken;
        if (done == wanted) return true;
        const bool isLarge = wanted - done >= windowSize;  // past the window, to where it is wanted
        const ssize_t got = isLarge ? readFile(to + done, wanted - done) : fillWindow();
        if (got <= 0) raise(got == 0, done, wanted);
        if (isLarge) done += static_cast<std::size_t>(got);
    }
}

ssize_t Stream::fillWindow() {
    const ssize_t got = readFile(window_, piece_);
    next_ = window_;
    end_ = window_ + std::max<ssize_t>(got, 0);
    piece_ = windowSize;
    return got;
}

// Reads on at endPosition_, and moves it; nothing is ready then.
ssize_t Stream::readFile(char* to, std::size_t count) {
    if (file_ < 0) {
        errno = openError_;
        return -1;
    }
    const ssize_t got = kxRetryInterrupted<ssize_t>(-1, [&] {
        return sought_ ? pread(file_, to, count, static_cast<off_t>(endPosition_)) : ::read(file_, to, count);
    });
    next_ = end_ = window_;
    if (got > 0) endPosition_ += static_cast<std::uint64_t>(got);
    return got;
}

// Within the window, up to its end, all stays ready.
void Stream::moveTo(std::uint64_t position) {
    sought_ = true;
    const auto size = static_cast<std::size_t>(end_ - window_);
    const std::uint64_t start = endPosition_ - size;
    if (position >= start && position - start <= size) {
        next_ = window_ + (position - start);
        return;
    }
    const bool isNear = position > endPosition_ && position - endPosition_ < pieceAfterJump;
    piece_ = isNear ? windowSize : pieceAfterJump;
    next_ = end_ = window_;
    endPosition_ = position;
}

void Stream::raise(bool endOfFile, std::size_t done, std::size_t wanted) {
    failed_ = true;
    if (!endOfFile) IEX_NAMESPACE::throwErrnoExc();
    throw IEX_NAMESPACE::InputExc("Early end of file: read " + std::to_string(done) + " out of " +
                                  std::to_string(wanted) + " requested bytes.");
}

}  // namespace kxExr
