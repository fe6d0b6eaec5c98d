// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxOpenDirectory.h"

#include "shared/kxSystemCall.h"

#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <sys/stat.h>

namespace {

bool isDots(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

}  // namespace

kxOpenDirectory::kxOpenDirectory(const QByteArray& path) {
    // opendir knows no empty name.
    const QByteArray opened = path.isEmpty() ? QByteArray(".") : path;
    DIR* const directory = kxRetryInterrupted<DIR*>(nullptr, [&] { return opendir(opened.constData()); });
    handle_ = directory;
    struct stat status {};
    if (!directory || kxRetryInterrupted(-1, [&] { return fstat(dirfd(directory), &status); }) != 0) {
        error_ = errno;
        return;
    }
    identity_ = {status.st_dev, status.st_ino};
}

kxOpenDirectory::~kxOpenDirectory() {
    if (handle_) closedir(static_cast<DIR*>(handle_));
}

std::vector<kxDirectoryEntry> kxOpenDirectory::entries() {
    std::vector<kxDirectoryEntry> entries;
    if (error_ != 0) return entries;
    for (;;) {
        const dirent* const entry =
            kxRetryInterrupted<dirent*>(nullptr, [&] { return readdir(static_cast<DIR*>(handle_)); });
        if (!entry) break;
        if (isDots(entry->d_name)) continue;
        const auto type = entry->d_type;
        const bool isLink = type == DT_LNK;
        entries.push_back({entry->d_name, type == DT_DIR, isLink || type == DT_UNKNOWN, isLink, entry->d_ino});
    }
    error_ = errno;  // 0 at the end
    return entries;
}
