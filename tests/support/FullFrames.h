// SPDX-License-Identifier: BSD-3-Clause
// Frames in which all that a report can hold is filled in, made without files.
#pragma once

#include "check/kxSequenceName.h"
#include "tests/support/JudgedFrames.h"

#include <memory>

// Tiled, multi-part and deep headers.
inline kxCheck::Headers fullHeaders() {
    kxExr::Part part;
    part.name = "rgba";
    part.storage = kxExr::Storage::tiled;
    part.displayWindow = {0, 0, 1919, 1079};
    part.dataWindow = {-8, -8, 1927, 1087};
    part.compression = kxExr::Compression::dwaa;
    part.lineOrder = kxExr::LineOrder::random;
    part.pixelAspectRatio = 1.1F;
    part.tiles = kxExr::TileDescription{64, 32};
    part.channels = {{"R", kxExr::PixelType::half, 1, 1}, {"Z", kxExr::PixelType::float32, 2, 4}};
    kxExr::Part deep;
    deep.storage = kxExr::Storage::deepScanline;
    deep.channels = {{"id", kxExr::PixelType::uint, 1, 1}};
    return {part, deep};
}

inline kxCheck::Finding fullFinding() {
    kxCheck::Finding finding = kxCheck::makeFinding(kxCheck::Code::chunk, "2 tiles can't be decoded");
    finding.part = 1;
    finding.rows = kxCheck::Rows{-8, 55};
    finding.tiles = {{0, 1, 2, 3}, {4, 5, 6, 7}};
    finding.channel = "Z";
    finding.count = 2;
    return finding;
}

// Without a finite sample in B, and without A.
inline std::shared_ptr<const kxCheck::PictureReport> fullPicture() {
    auto report = std::make_shared<kxCheck::PictureReport>();
    kxCheck::PictureFacts& picture = report->picture.emplace();
    picture.ranges[0] = {-0.5, 65504, 0.25};
    picture.ranges[1] = {0, 1, 0.1};
    report->isCached = true;
    return report;
}

inline kxCheck::FrameReport fullFrame() {
    kxCheck::FrameReport frame = judgedFrame(named("0042", "/r/beauty.0042.exr"), {fullFinding()});
    frame.name.tile = 3;
    frame.level = 3;
    frame.sizeJump = 0.5;
    frame.action = kxCheck::Action::remove;
    frame.file.hasIdentity = true;
    frame.file.identity = {1, 2, 123456789012, 1709251199123456789};
    frame.file.headers = std::make_shared<const kxCheck::Headers>(fullHeaders());
    frame.file.chunks = {{510, 500}, {68, 68}};
    frame.file.seconds = 0.0123456789;
    return frame;
}

// With all that only a frame has that was decoded.
inline kxCheck::FrameReport fullDecodedFrame() {
    kxCheck::FrameReport frame = fullFrame();
    frame.jump = 5.125;
    frame.file.decoded = true;
    frame.file.picture = fullPicture();
    return frame;
}

inline kxCheck::SequenceName fullSequence() {
    kxCheck::SequenceName sequence;
    sequence.path = "/r/beauty.####.exr";
    sequence.directory = "/r/";
    sequence.prefix = "beauty.";
    sequence.suffix = ".exr";
    sequence.range = kxCheck::FrameRange{-1, 1100, 3};
    sequence.frames = 368;
    return sequence;
}
