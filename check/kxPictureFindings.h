// SPDX-License-Identifier: BSD-3-Clause
// What is wrong with the picture of a frame, by itself and beside those of its neighbours. Pure functions.
#pragma once

#include "check/kxFinding.h"
#include "check/kxFrameReport.h"
#include "check/kxPictureReport.h"

#include <vector>

namespace kxCheck {

// One and two steps before and after; null where there is no such frame, it was not decoded whole, or has no
// picture.
struct PictureNeighbours {
    const PictureFacts* before = nullptr;
    const PictureFacts* after = nullptr;
    const PictureFacts* secondBefore = nullptr;
    const PictureFacts* secondAfter = nullptr;
};

// Whether it depends on the frames two steps away how the frame is judged; those are not looked at for this.
[[nodiscard]] bool needsSecondNeighbours(const PictureFacts& picture, const PictureNeighbours& neighbours);

struct PictureJudgement {
    double jump = 0;  // analyseValue1; 0 without both neighbours, or without a picture
    std::vector<Finding> findings;
    bool isCompared = false;  // `jump` is a value: both neighbours are there, and pictures of all three
};

// All findings of level pixels but `repeated`.
//
// A tile that seems missing belongs to the scene, and is no finding, where three frames in a row have it, the
// others at least as a dark corner; where two have, or there is no neighbour, it may be either, which is a warning.
// Infinite samples are usual in other channels than those of colour and alpha, such as depth, and only found in
// these: R, G, B, A and Y as the last component of the name.
[[nodiscard]] PictureJudgement judgePicture(const PictureReport& report, const PictureNeighbours& neighbours);

// `repeated`, all samples being those of this frame.
[[nodiscard]] Finding repeatedFinding(const FrameName& before);

}  // namespace kxCheck
