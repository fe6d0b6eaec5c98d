// SPDX-License-Identifier: BSD-3-Clause
// What the samples of frames say, kept as long as a frame that is judged later is compared with it.
//
// Frames are named by their place in the sequence and judged in that order. Not thread-safe.
#pragma once

#include "check/kxFrameReport.h"
#include "check/kxNeighbours.h"
#include "check/kxPictureFindings.h"
#include "check/kxPictureReport.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace kxCheck {

class KeptPictures {
public:
    // For the frames of a run, [first, last) of `frames`.
    KeptPictures(const std::vector<FrameReport>& frames, const Neighbours& neighbours, std::size_t first,
                 std::size_t last);

    // Of a frame that was decoded whole; null for others. Each before it is judged, and before any that is compared
    // with it.
    void put(std::size_t place, std::shared_ptr<const PictureReport> report) {
        reports_[place] = std::move(report);
    }

    // Whether all samples are those of the frame before.
    [[nodiscard]] bool isRepeated(std::size_t place) const;
    // Whether judging the frame needs the one behind it as well.
    [[nodiscard]] bool needsAfter(std::size_t place) const;
    // Whether it needs the one two steps behind it too; asked when those it is compared with up to that are there.
    [[nodiscard]] bool needsSecondAfter(std::size_t place) const;
    // Nothing for a frame that was not decoded whole.
    [[nodiscard]] PictureJudgement judge(std::size_t place) const;
    // The frame was judged: what no other needs is given up.
    void giveUp(std::size_t place);

private:
    static constexpr std::size_t nowhere = static_cast<std::size_t>(-1);
    struct Links {
        std::size_t before = nowhere;
        std::size_t after = nowhere;
        std::size_t secondBefore = nowhere;
        std::size_t secondAfter = nowhere;
        std::size_t lastUse = nowhere;  // behind this frame nobody is compared with it
    };

    void link(std::size_t place, const std::vector<FrameReport>& frames, const Neighbours& neighbours);
    [[nodiscard]] const PictureReport* reportAt(std::size_t place) const;
    [[nodiscard]] const PictureFacts* pictureAt(std::size_t place) const;
    [[nodiscard]] PictureNeighbours neighboursOf(std::size_t place) const;

    std::vector<Links> links_;                                   // by place
    std::vector<std::shared_ptr<const PictureReport>> reports_;  // by place
};

}  // namespace kxCheck
