// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCacheFolder.h"

#include "shared/kxSystemCall.h"

#include <QCryptographicHash>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace kxCheck {

namespace {

// The names below it need fewer than a hundred of the 500 bytes that a path of the entry's format may have.
constexpr int longestDirectory = 400;

QByteArray reasonOf(int errorNumber) {
    return kxSystemErrorText(errorNumber).toLatin1();
}

// As given where the system can't say.
QByteArray realPath(const QByteArray& directory) {
    const std::unique_ptr<char, void (*)(void*)> path(
        realpath(directory.isEmpty() ? "." : directory.constData(), nullptr), std::free);
    return path ? QByteArray(path.get()) : directory;
}

}  // namespace

QByteArray prepareCache(const QByteArray& directory) {
    if (directory.size() > longestDirectory) return reasonOf(ENAMETOOLONG);
    const char* const path = directory.constData();
    if (mkdir(path, 0777) != 0 && errno != EEXIST) return reasonOf(errno);
    struct stat status;
    if (stat(path, &status) != 0) return reasonOf(errno);
    if (!S_ISDIR(status.st_mode)) return reasonOf(ENOTDIR);
    return access(path, X_OK) == 0 ? QByteArray() : reasonOf(errno);
}

QByteArray cacheFolder(const QByteArray& cache, const SequenceName& sequence) {
    QCryptographicHash hash(QCryptographicHash::Sha1);
    const QByteArray shownName = sequence.path.mid(sequence.directory.size());  // with the tile marker
    for (const QByteArray& text : {realPath(sequence.directory), sequence.prefix, sequence.suffix, shownName})
        hash.addData(text + '\0');
    return (cache.endsWith('/') ? cache : cache + '/') + hash.result().toHex();
}

QByteArray cacheFileName(const FrameName& frame) {
    QByteArray name = frame.text.isEmpty() ? QByteArray("single") : frame.text;
    if (frame.tile) name += ".tile" + QByteArray::number(*frame.tile).rightJustified(2, '0');
    return name + ".kxc";
}

}  // namespace kxCheck
