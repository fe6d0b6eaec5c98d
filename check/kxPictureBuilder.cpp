// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureBuilder.h"

#include "check/kxSampleRows.h"

namespace kxCheck {

void PictureBuilder::take(const DecodedChunk& chunk) {
    if (chunk.part != part_) startPart(chunk);
    hash_.add(chunk);
    if (!isFullResolution(chunk)) return;
    forEachRow(chunk, [this](const SampleRow& row) { statistics_[row.channel].add(row.samples, row.count); });
    if (part_ == 0 && picture_) picture_->add(chunk);
}

void PictureBuilder::restart() {
    hash_.restart();
    picture_.reset();
    channels_ = PictureChannels();
    part_ = -1;
    names_.clear();
    statistics_.clear();
    strange_.clear();
    ranges_ = {};
}

void PictureBuilder::startPart(const DecodedChunk& chunk) {
    finishPart();
    part_ = chunk.part;
    if (part_ == 0) startPicture(chunk);
    for (const ChunkChannel& entry : *chunk.channels) {
        const bool withRange = part_ == 0 && channels_.holds(names_.size());
        names_.push_back(entry.channel->name);
        statistics_.emplace_back(entry.channel->type, withRange);
    }
}

void PictureBuilder::startPicture(const DecodedChunk& chunk) {
    channels_ = pictureChannelsOf(*chunk.channels);
    if (channels_.makePicture() && Picture::hasRoomFor(*chunk.header)) picture_.emplace(*chunk.header, channels_);
}

void PictureBuilder::finishPart() {
    for (std::size_t i = 0; i < names_.size(); ++i)
        if (statistics_[i].nan() > 0 || statistics_[i].infinite() > 0)
            strange_.push_back({part_, names_[i], statistics_[i].nan(), statistics_[i].infinite()});
    if (part_ == 0)
        for (std::size_t c = 0; c < ranges_.size(); ++c)
            if (channels_.rgba[c]) ranges_[c] = statistics_[*channels_.rgba[c]].range();
    names_.clear();
    statistics_.clear();
}

PictureReport PictureBuilder::report() {
    finishPart();
    PictureReport report;
    if (picture_) {
        report.picture = picture_->search();
        report.picture->ranges = ranges_;
    }
    report.strange = strange_;
    report.hash = hash_.value();
    return report;
}

}  // namespace kxCheck
