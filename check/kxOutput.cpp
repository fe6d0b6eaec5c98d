// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxOutput.h"

#include "check/kxExrHeader.h"
#include "shared/kxSystemCall.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kxCheck {

namespace {

// What a terminal or pipe that someone made non-blocking has no room for is waited for.
bool waitForRoom(int descriptor) {
    pollfd polled = {descriptor, POLLOUT, 0};
    return kxRetryInterrupted(-1, [&] { return poll(&polled, 1, -1); }) >= 0;
}

}  // namespace

bool isExrFile(const QByteArray& path) {
    struct stat status {};
    if (kxRetryInterrupted(-1, [&] { return stat(path.constData(), &status); }) != 0 || !S_ISREG(status.st_mode))
        return false;  // a pipe is not read from
    const int file = kxRetryInterrupted(-1, [&] { return open(path.constData(), O_RDONLY | O_CLOEXEC); });
    if (file < 0) return false;
    char start[4];
    const auto count = kxRetryInterrupted<ssize_t>(-1, [&] { return ::read(file, start, sizeof start); });
    ::close(file);
    return count == sizeof start && numberAt<std::uint32_t>(start) == exrMagicNumber;
}

Output::Output(const QByteArray& path)
    : descriptor_(-1), name_(path), isOwned_(false), isRefused_(isExrFile(path)), errorNumber_(EEXIST) {
    if (isRefused_) return;
    descriptor_ = kxRetryInterrupted(
        -1, [&] { return open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666); });
    isOwned_ = descriptor_ >= 0;
    errorNumber_ = isOwned_ ? 0 : errno;
}

Output::~Output() {
    close();
}

bool Output::write(const QByteArray& bytes) {
    const char* at = bytes.constData();
    auto left = static_cast<std::size_t>(bytes.size());
    while (left > 0 && !hasFailed()) {
        const auto count = kxRetryInterrupted<ssize_t>(-1, [&] { return ::write(descriptor_, at, left); });
        if (count >= 0) {
            at += count;
            left -= static_cast<std::size_t>(count);
        } else if (errno != EAGAIN || !waitForRoom(descriptor_)) {
            errorNumber_ = errno;
        }
    }
    return !hasFailed();
}

void Output::close() {
    if (!isOwned_) return;
    isOwned_ = false;
    if (::close(descriptor_) != 0 && errno != EINTR && !hasFailed()) errorNumber_ = errno;
}

QByteArray Output::fault() const {
    if (isRefused_) return name_ + ": this is an EXR file, and is not overwritten";
    return hasFailed() ? name_ + ": " + kxSystemErrorText(errorNumber_).toLatin1() : QByteArray();
}

}  // namespace kxCheck
