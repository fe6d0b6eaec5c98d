// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxWaitingPreviews.h"

#include <memory>
#include <utility>

namespace kxCheck {

namespace {

std::int64_t bytesOf(const FrameReport& frame) {
    if (!frame.file.picture) return 0;
    const Preview& preview = frame.file.picture->preview;
    return preview.jpeg.size() + preview.small.size();
}

}  // namespace

void WaitingPreviews::enter(FrameReport& frame, bool isOpen) {
    if ((!isOpen && isNeedless(frame)) || bytes_ + bytesOf(frame) > mostBytes) remove(frame);
    bytes_ += bytesOf(frame);
}

void WaitingPreviews::leave(FrameReport& frame) {
    bytes_ -= bytesOf(frame);
    if (isNeedless(frame)) remove(frame);
}

void WaitingPreviews::remove(FrameReport& frame) {
    if (bytesOf(frame) == 0) return;
    auto picture = std::make_shared<PictureReport>(*frame.file.picture);
    picture->preview = {};
    frame.file.picture = std::move(picture);
}

}  // namespace kxCheck
