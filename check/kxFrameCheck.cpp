// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameCheck.h"

#include "check/kxFileReader.h"
#include "check/kxPictureBuilder.h"
#include "check/kxThumbnail.h"
#include "image/KX_DataTypes_image.h"

#include <chrono>
#include <new>

namespace kxCheck {

namespace {

Preview previewOf(const kxP::_imgRGBABuffer8& picture) {
    kxP::_imgRGBABuffer8 thumbnail(kxCHK::thumbnailCapacity);
    return makeThumbnail(picture, thumbnail) ? makePreview(thumbnail) : Preview();
}

FileReport checkPicture(const FileCheck& check) {
    PictureBuilder builder;
    FileReport report = checkFile(check, &builder);
    if (!report.decoded) return report;
    const auto picture = std::make_shared<PictureReport>(builder.report());
    if (check.wantsPreview && builder.picture()) picture->preview = previewOf(*builder.picture());
    report.picture = picture;
    return report;
}

}  // namespace

FileReport checkFrame(const FileCheck& check) {
    if (check.level != Level::pixels) return checkFile(check);
    const auto begin = std::chrono::steady_clock::now();
    FileReport report;
    try {
        report = checkPicture(check);
    } catch (const std::bad_alloc&) {
        report.findings.assign(1, makeFinding(Code::limit, "there is not enough memory"));
    }
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return report;
}

}  // namespace kxCheck
