// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureSpool.h"

#include "shared/kxSystemCall.h"

#include <QtGlobal>

#include <cerrno>
#include <cstddef>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace kxCheck {

namespace {

constexpr std::int64_t leastRoom = 1024;

std::int64_t roomFor(std::int64_t size) {
    std::int64_t room = leastRoom;
    while (room < size) room *= 2;
    return room;
}

// 0, or the reason as an errno value; the file's end within the bytes is none the less a failure.
template <class Transfer>
int transferAll(std::int64_t size, Transfer transfer) {
    for (std::int64_t done = 0; done < size;) {
        const auto count = kxRetryInterrupted<ssize_t>(-1, [&] { return transfer(done, size - done); });
        if (count <= 0) return count < 0 ? errno : EIO;
        done += count;
    }
    return 0;
}

}  // namespace

bool PictureSpool::open() {
    if (file_.number >= 0) return true;
    const QByteArray directory = qgetenv("TMPDIR");
    QByteArray path = (directory.isEmpty() ? QByteArray("/tmp") : directory) + "/kxCheckFrames-XXXXXX";
    file_.number = mkostemp(path.data(), O_CLOEXEC);
    if (file_.number < 0)
        errorNumber_ = errno;
    else
        unlink(path.constData());
    return file_.number >= 0;
}

StoredBytes PictureSpool::put(const QByteArray& bytes) {
    if (bytes.isEmpty() || errorNumber_ != 0 || !open()) return {};
    StoredBytes stored{end_, bytes.size()};
    const std::int64_t room = roomFor(stored.size);
    std::vector<std::int64_t>& unused = free_[room];
    if (unused.empty()) {
        end_ += room;
    } else {
        stored.offset = unused.back();
        unused.pop_back();
    }
    errorNumber_ = transferAll(stored.size, [&](std::int64_t done, std::int64_t left) {
        return pwrite(file_.number, bytes.constData() + done, static_cast<std::size_t>(left), stored.offset + done);
    });
    return errorNumber_ == 0 ? stored : StoredBytes();
}

QByteArray PictureSpool::get(const StoredBytes& stored) {
    if (!stored || errorNumber_ != 0) return {};
    QByteArray bytes(static_cast<int>(stored.size), '\0');
    errorNumber_ = transferAll(stored.size, [&](std::int64_t done, std::int64_t left) {
        return pread(file_.number, bytes.data() + done, static_cast<std::size_t>(left), stored.offset + done);
    });
    return errorNumber_ == 0 ? bytes : QByteArray();
}

void PictureSpool::release(StoredBytes& stored) {
    if (stored) free_[roomFor(stored.size)].push_back(stored.offset);
    stored = {};
}

QByteArray PictureSpool::fault() const {
    return errorNumber_ == 0 ? QByteArray() : "temporary file: " + kxSystemErrorText(errorNumber_).toLatin1();
}

}  // namespace kxCheck
