// SPDX-License-Identifier: BSD-3-Clause
// Deletes or moves files of one directory, each only if it is still the one that was checked.
//
// What stands between the last look at a file and its removal is one system call: nothing locks a directory, so a
// file that is replaced in that moment can't be told from the one before.
#pragma once

#include "check/kxFileReport.h"

#include <QByteArray>

#include <cstdint>
#include <optional>

namespace kxCheck {

// A directory held open, so that it stays the same one whatever becomes of its path.
class OpenDirectory {
public:
    // An empty path is the current directory.
    explicit OpenDirectory(const QByteArray& path);
    ~OpenDirectory();
    OpenDirectory(const OpenDirectory&) = delete;
    OpenDirectory& operator=(const OpenDirectory&) = delete;

    // -1 when it could not be opened; then errorNumber() says why.
    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] int errorNumber() const { return errorNumber_; }

private:
    int descriptor_;
    int errorNumber_;
};

// One thread at a time.
class Remover {
public:
    // Deletes files of `directory` that were changed at least `minAge` seconds ago.
    Remover(const QByteArray& directory, int minAge);
    // Moves them to `target`, a directory of the same file system, where nothing is overwritten.
    Remover(const QByteArray& directory, int minAge, const QByteArray& target);

    // Why nothing can be removed, in English; empty when all directories are there and on one file system.
    [[nodiscard]] QByteArray fault() const;

    // Removes the file `name` (without directory) if it is the `checked` one, a regular file, and old enough at
    // `now` (nanoseconds since the Unix epoch). Why it was kept, in English; empty when it is gone.
    [[nodiscard]] QByteArray remove(const QByteArray& name, const FileIdentity& checked, std::int64_t now) const;

private:
    // Why the file may not go; empty when it may.
    QByteArray reasonToKeep(const QByteArray& name, const FileIdentity& checked, std::int64_t now) const;
    QByteArray moveAway(const QByteArray& name, const FileIdentity& checked) const;
    QByteArray linkAway(const QByteArray& name, const FileIdentity& checked) const;

    OpenDirectory directory_;
    int minAge_;
    QByteArray targetPath_;
    std::optional<OpenDirectory> target_;  // none: files are deleted
};

}  // namespace kxCheck
