// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameCheck.h"

#include "check/kxFileAge.h"
#include "check/kxFileReader.h"
#include "check/kxPictureBuilder.h"
#include "check/kxPictureCache.h"
#include "check/kxThumbnail.h"
#include "image/KX_DataTypes_image.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>

namespace kxCheck {

namespace {

// Why the entry could not be written; empty when it was, or need not be.
QByteArray keep(const QByteArray& cacheFile, const FileReport& report, kxCHK::_SingleImageView& view) {
    try {
        return storeInCache(cacheFile, report, view);
    } catch (const std::bad_alloc&) {
        return "there is not enough memory";
    }
}

// Known of a file that was looked at to its end; what was said of another says nothing about its chunks.
bool hasSteadyChunks(const FileReport& report) {
    return !report.chunks.empty() && std::none_of(report.findings.begin(), report.findings.end(),
                                                  [](const Finding& f) { return f.severity == Severity::none; });
}

FileReport decodePicture(const FileCheck& check, KnownHeaders* known) {
    PictureBuilder builder;
    FileReport report = checkFile(check, &builder, known);
    if (report.decoded) report.picture = std::make_shared<const PictureReport>(builder.report());
    const bool isShown = check.wantsPreview && hasSteadyChunks(report);
    const bool isKept = check.keepsInCache && !check.cacheFile.isEmpty() && mayBeCached(report, timeForAges());
    if (!isShown && !isKept) return report;
    kxCHK::_SingleImageView view;
    if (builder.picture()) makeThumbnail(*builder.picture(), view.ensureThumbnail());
    if (isShown && view.thumbnail) report.preview = makePreview(*view.thumbnail);
    if (isKept) report.cacheFault = keep(check.cacheFile, report, view);
    return report;
}

// Whether there is an entry is asked first: without one the file is looked at once only.
FileReport checkPicture(const FileCheck& check, KnownHeaders* known) {
    std::optional<CachedFrame> entry;
    if (!check.cacheFile.isEmpty()) entry = CachedFrame::load(check.cacheFile, check.wantsPreview);
    if (entry || check.level == Level::structure) {
        FileReport report = checkFile({check.path, Level::structure}, nullptr, known);
        if ((entry && entry->addTo(report)) || check.level == Level::structure) return report;
    }
    return decodePicture(check, known);
}

}  // namespace

FileReport checkFrame(const FileCheck& check, KnownHeaders* known) {
    const bool needsPicture =
        check.level == Level::pixels || (check.level == Level::structure && !check.cacheFile.isEmpty());
    if (!needsPicture) return checkFile(check, nullptr, known);
    const auto begin = std::chrono::steady_clock::now();
    FileReport report;
    try {
        report = checkPicture(check, known);
    } catch (const std::bad_alloc&) {
        report.findings.assign(1, makeFinding(Code::limit, "there is not enough memory"));
    }
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return report;
}

}  // namespace kxCheck
