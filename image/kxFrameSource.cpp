// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxFrameSource.h"

namespace kxFrames {

void DiskFrameSource::list(const QString& directory, const QString& prefix, const QString& suffix) {
    listing_.emplace();
    listing_->setNameFilter(prefix, suffix);
    // A listing is asked for as a pattern, and "*" is the only one.
    listing_->init(directory + QLatin1Char('*'), false, true, false, false);
}

bool DiskFrameSource::next() {
    return listing_ && listing_->nextFile();
}

QString DiskFrameSource::name() const {
    return listing_ ? listing_->fileName() : QString();
}

FileFacts DiskFrameSource::facts() {
    return listing_ ? FileFacts{listing_->fileSize(), listing_->fileTime()} : FileFacts();
}

std::optional<FileFacts> DiskFrameSource::find(const QString& path) {
    FileFacts facts;
    return kxFileExists(path, &facts.time, &facts.size) ? std::optional(facts) : std::nullopt;
}

QString DiskFrameSource::facility() const {
    return kxDirListing().OSSearchFunctionName();
}

}  // namespace kxFrames
