// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxOutput.h"

#include "shared/kxSystemCall.h"

#include <cerrno>
#include <cstddef>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace kxCheck {

namespace {

// What a terminal or pipe that someone made non-blocking has no room for is waited for.
bool waitForRoom(int descriptor) {
    pollfd polled = {descriptor, POLLOUT, 0};
    return kxRetryInterrupted(-1, [&] { return poll(&polled, 1, -1); }) >= 0;
}

}  // namespace

Output::Output(const QByteArray& path)
    : descriptor_(kxRetryInterrupted(
          -1, [&] { return open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666); })),
      name_(path),
      isOwned_(descriptor_ >= 0),
      errorNumber_(isOwned_ ? 0 : errno) {}

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
    return hasFailed() ? name_ + ": " + kxSystemErrorText(errorNumber_).toLatin1() : QByteArray();
}

}  // namespace kxCheck
