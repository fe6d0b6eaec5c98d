// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureCache.h"

#include "check/kxCachedFacts.h"
#include "check/kxFileAge.h"
#include "check/kxFrameRecord.h"
#include "check/kxThumbnail.h"
#include "shared/kxSystemCall.h"

#include <cerrno>
#include <new>
#include <utility>

#include <sys/stat.h>

namespace kxCheck {

namespace {

std::unique_ptr<kxCHK::_SingleImageFile> newEntry() {
    auto entry = std::make_unique<kxCHK::_SingleImageFile>();
    if (entry->image.capacity != kxCHK::thumbnailCapacity) throw std::bad_alloc();
    return entry;
}

// 0, or the reason as an errno value.
int makeDirectoryOf(const QByteArray& path) {
    const QByteArray directory = path.left(path.lastIndexOf('/'));
    return mkdir(directory.constData(), 0777) == 0 || errno == EEXIST ? 0 : errno;
}

}  // namespace

std::optional<CachedFrame> CachedFrame::load(const QByteArray& path, bool wantsPreview) {
    CachedFrame frame;
    frame.entry_ = newEntry();
    frame.wantsPreview_ = wantsPreview;
    const QString name = QString::fromLatin1(path);
    const bool isRead =
        wantsPreview ? frame.entry_->loadFromFile(name, nullptr) : frame.entry_->loadHeaderFromFile(name, nullptr);
    if (!isRead) return std::nullopt;
    return frame;
}

bool CachedFrame::addTo(FileReport& report) const {
    if (!report.findings.empty()) return false;
    std::optional<PictureReport> picture = cachedPicture(report, *entry_);
    if (!picture) return false;
    if (wantsPreview_ && picture->picture) {
        if (entry_->image.pixelsInMemory() == 0) return false;
        report.preview = makePreview(entry_->image);
    }
    report.picture = std::make_shared<const PictureReport>(*std::move(picture));
    report.decoded = true;
    return true;
}

bool mayBeCached(const FileReport& report, std::int64_t now) {
    const bool isWhole = report.decoded && report.picture && report.headers && report.findings.empty();
    if (!isWhole || isYoung(report.identity, now, leastAgeInCache)) return false;
    return !report.picture->picture || !report.picture->picture->isTileMissing;
}

QByteArray storeInCache(const QByteArray& path, const FileReport& report, kxCHK::_SingleImageView& view) {
    fillRecord(view, report);
    view.thumbnail->valid = view.thumbnail->pixelsInMemory() > 0 ? 1 : 0;
    const auto entry = newEntry();
    entry->ImportFrom(view);
    if (!putFacts(report, *entry)) return {};
    if (const int error = makeDirectoryOf(path)) return kxSystemErrorText(error).toLatin1();
    // What a loss of power leaves of it is no entry, or one whose facts are whole: they are its first bytes.
    return entry->saveToFile(QString::fromLatin1(path), kxFlush::later).toLatin1();
}

}  // namespace kxCheck
