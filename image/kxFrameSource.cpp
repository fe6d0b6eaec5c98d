// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxFrameSource.h"

namespace kxFrames {

void DiskFrameSource::list(const QString& directory, const QString& prefix, const QString& suffix) {
    listing_.setNameFilter(prefix, suffix);
    // A listing is asked for as a pattern, and "*" is the only one.
    listing_.init(directory + QLatin1Char('*'), false, true, false, false);
}

bool DiskFrameSource::next() {
    return listing_.nextFile();
}

QString DiskFrameSource::name() const {
    return listing_.fileName();
}

FileFacts DiskFrameSource::facts() {
    return {listing_.fileSize(), listing_.fileTime()};
}

std::optional<FileFacts> DiskFrameSource::find(const QString& path) {
    FileFacts facts;
    return kxFileExists(path, &facts.time, &facts.size) ? std::optional(facts) : std::nullopt;
}

QString DiskFrameSource::facility() const {
    return listing_.OSSearchFunctionName();
}

}  // namespace kxFrames
