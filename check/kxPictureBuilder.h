// SPDX-License-Identifier: BSD-3-Clause
// Makes a PictureReport of a file while its chunks arrive: nothing of them is kept but the picture of the first
// part.
//
// Each thread may use its own objects.
#pragma once

#include "check/kxChunkSink.h"
#include "check/kxPicture.h"
#include "check/kxPictureReport.h"
#include "check/kxSampleHash.h"
#include "check/kxSampleStatistics.h"

#include <array>
#include <optional>
#include <vector>

namespace kxCheck {

class PictureBuilder : public ChunkSink {
public:
    // Both throw std::bad_alloc.
    void take(const DecodedChunk& chunk) override;
    void restart() override;

    // Once all chunks of a file were taken, which takes a search through the picture.
    [[nodiscard]] PictureReport report();
    // Of the chunks that were taken, whole after report(); null when they make none.
    const kxP::_imgRGBABuffer8* picture() const { return picture_ ? &picture_->pixels() : nullptr; }

private:
    void startPart(const DecodedChunk& chunk);
    void startPicture(const DecodedChunk& chunk);
    void finishPart();

    SampleHash hash_;
    std::optional<Picture> picture_;
    PictureChannels channels_;  // of the first part
    int part_ = -1;
    std::vector<QByteArray> names_;             // of the part's channels, as the next
    std::vector<SampleStatistics> statistics_;  // of the full resolution
    std::vector<StrangeSamples> strange_;       // of the parts before
    std::array<std::optional<SampleRange>, 4> ranges_;
};

}  // namespace kxCheck
