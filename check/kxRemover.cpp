// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxRemover.h"

#include "check/kxFileAge.h"
#include "check/kxFileIdentity.h"
#include "check/kxNumberText.h"
#include "shared/kxSystemCall.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kxCheck {

namespace {

QByteArray systemText(int errorNumber) {
    return kxSystemErrorText(errorNumber).toLatin1();
}

bool isSameFile(const struct stat& status, const FileIdentity& file) {
    return status.st_dev == file.device && status.st_ino == file.inode;
}

int unlinkIn(const OpenDirectory& directory, const QByteArray& name) {
    return kxRetryInterrupted(-1, [&] { return unlinkat(directory.descriptor(), name.constData(), 0); });
}

int openPath(const QByteArray& path) {
    const char* const name = path.isEmpty() ? "." : path.constData();
    return kxRetryInterrupted(-1, [&] { return open(name, O_PATH | O_DIRECTORY | O_CLOEXEC); });
}

// Of the name itself, also where it is a link.
int statusOf(const OpenDirectory& directory, const QByteArray& name, struct stat& status) {
    return kxRetryInterrupted(
        -1, [&] { return fstatat(directory.descriptor(), name.constData(), &status, AT_SYMLINK_NOFOLLOW); });
}

}  // namespace

OpenDirectory::OpenDirectory(const QByteArray& path)
    : descriptor_(openPath(path)), errorNumber_(descriptor_ < 0 ? errno : 0) {}

OpenDirectory::~OpenDirectory() {
    if (descriptor_ >= 0) close(descriptor_);
}

Remover::Remover(const QByteArray& directory, int minAge) : directory_(directory), minAge_(minAge) {}

Remover::Remover(const QByteArray& directory, int minAge, const QByteArray& target)
    : directory_(directory), minAge_(minAge), targetPath_(target), target_(std::in_place, target) {}

QByteArray Remover::fault() const {
    if (directory_.descriptor() < 0) return systemText(directory_.errorNumber());
    if (!target_) return {};
    if (target_->descriptor() < 0) return targetPath_ + ": " + systemText(target_->errorNumber());
    struct stat from = {};
    struct stat to = {};
    if (fstat(directory_.descriptor(), &from) != 0) return systemText(errno);
    if (fstat(target_->descriptor(), &to) != 0) return targetPath_ + ": " + systemText(errno);
    return from.st_dev == to.st_dev ? QByteArray() : targetPath_ + " is on another file system";
}

QByteArray Remover::remove(const QByteArray& name, const FileIdentity& checked, std::int64_t now) const {
    QByteArray reason = fault();
    if (reason.isEmpty()) reason = reasonToKeep(name, checked, now);
    if (!reason.isEmpty()) return reason;
    if (target_) return moveAway(name, checked);
    return unlinkIn(directory_, name) == 0 ? QByteArray() : systemText(errno);
}

QByteArray Remover::reasonToKeep(const QByteArray& name, const FileIdentity& checked, std::int64_t now) const {
    struct stat status = {};
    if (statusOf(directory_, name, status) != 0) return systemText(errno);
    if (S_ISLNK(status.st_mode)) return "it is a symbolic link";
    if (!S_ISREG(status.st_mode)) return "it is no regular file";
    if (identityOf(status) != checked) return "it was changed or replaced since it was checked";
    if (isYoung(checked, now, minAge_)) return "it was changed less than " + numberText(minAge_) + " seconds ago";
    return {};
}

QByteArray Remover::moveAway(const QByteArray& name, const FileIdentity& checked) const {
    const int moved = kxRetryInterrupted(-1, [&] {
        return renameat2(directory_.descriptor(), name.constData(), target_->descriptor(), name.constData(),
                         RENAME_NOREPLACE);
    });
    if (moved == 0) return {};
    // Not every file system, nor every kernel, knows the flag.
    if (errno == EINVAL || errno == ENOSYS) return linkAway(name, checked);
    return errno == EEXIST ? "the name is taken in " + targetPath_ : systemText(errno);
}

QByteArray Remover::linkAway(const QByteArray& name, const FileIdentity& checked) const {
    const int linked = kxRetryInterrupted(-1, [&] {
        return linkat(directory_.descriptor(), name.constData(), target_->descriptor(), name.constData(), 0);
    });
    if (linked != 0) return errno == EEXIST ? "the name is taken in " + targetPath_ : systemText(errno);
    struct stat here = {};
    const bool isThere = statusOf(directory_, name, here) == 0;
    // A file that took the name meanwhile stays.
    if (isThere ? !isSameFile(here, checked) : errno == ENOENT) return {};
    if (isThere && unlinkIn(directory_, name) == 0) return {};
    QByteArray reason = systemText(errno);
    // Two names of one file are better than none.
    static_cast<void>(unlinkIn(*target_, name));
    return reason;
}

}  // namespace kxCheck
