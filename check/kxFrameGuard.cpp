// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameGuard.h"

#include "shared/kxOpenDirectory.h"
#include "shared/kxSystemCall.h"

#include <algorithm>
#include <map>
#include <set>

#include <sys/stat.h>

namespace kxCheck {

namespace {

using Names = std::set<QByteArray>;

bool readStatus(const QByteArray& path, struct stat& status) {
    return kxRetryInterrupted(-1, [&] { return stat(path.constData(), &status); }) == 0;
}

// The names in a directory that lead to one file. File systems that are made of others may list another inode than
// they tell later: the file's own name is looked at in any case.
Names namesIn(const QByteArray& directory, const QByteArray& ownName, const struct stat& file) {
    Names names;
    for (const kxDirectoryEntry& entry : kxOpenDirectory(directory).entries()) {
        if (entry.inode != file.st_ino && !entry.isLink && entry.name != ownName) continue;
        struct stat status {};
        const bool isThere = readStatus(directory + entry.name, status);
        if (isThere && status.st_dev == file.st_dev && status.st_ino == file.st_ino) names.insert(entry.name);
    }
    return names;
}

}  // namespace

QByteArray frameAt(const QByteArray& path, const std::vector<FoundSequence>& sequences) {
    struct stat file {};
    if (!readStatus(path, file) || !S_ISREG(file.st_mode)) return {};
    const QByteArray ownName = path.mid(path.lastIndexOf('/') + 1);
    std::map<QByteArray, Names> directories;
    for (const FoundSequence& sequence : sequences) {
        const auto [listed, isNew] = directories.try_emplace(sequence.directory);
        Names& names = listed->second;
        if (isNew) names = namesIn(sequence.directory, ownName, file);
        const auto frame = names.empty()
                               ? sequence.files.end()
                               : std::find_if(sequence.files.begin(), sequence.files.end(),
                                              [&](const FrameFile& found) { return names.count(found.name) > 0; });
        if (frame != sequence.files.end()) return sequence.directory + frame->name;
    }
    return {};
}

}  // namespace kxCheck
