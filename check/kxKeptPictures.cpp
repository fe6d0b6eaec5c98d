// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxKeptPictures.h"

namespace kxCheck {

KeptPictures::KeptPictures(const std::vector<FrameReport>& frames, const Neighbours& neighbours, std::size_t first,
                           std::size_t last)
    : links_(frames.size()), reports_(frames.size()) {
    for (std::size_t place = first; place < last; ++place) link(place, frames, neighbours);
}

// In ascending order, so that the last use stays.
void KeptPictures::link(std::size_t place, const std::vector<FrameReport>& frames, const Neighbours& neighbours) {
    Links& links = links_[place];
    links.before = neighbours.before(frames[place].name).value_or(nowhere);
    links.after = neighbours.after(frames[place].name).value_or(nowhere);
    if (links.before != nowhere)
        links.secondBefore = neighbours.before(frames[links.before].name).value_or(nowhere);
    if (links.after != nowhere) links.secondAfter = neighbours.after(frames[links.after].name).value_or(nowhere);
    for (const std::size_t used : {links.secondBefore, links.before, place, links.after, links.secondAfter})
        if (used != nowhere) links_[used].lastUse = place;
}

const PictureReport* KeptPictures::reportAt(std::size_t place) const {
    return place == nowhere ? nullptr : reports_[place].get();
}

const PictureFacts* KeptPictures::pictureAt(std::size_t place) const {
    const PictureReport* const report = reportAt(place);
    return report && report->picture ? &*report->picture : nullptr;
}

bool KeptPictures::isRepeated(std::size_t place) const {
    const PictureReport* const before = reportAt(links_[place].before);
    return before && reports_[place] && before->hash == reports_[place]->hash;
}

bool KeptPictures::needsAfter(std::size_t place) const {
    const PictureFacts* const picture = pictureAt(place);
    return picture && (picture->isTileMissing || pictureAt(links_[place].before));
}

bool KeptPictures::needsSecondAfter(std::size_t place) const {
    const PictureFacts* const picture = pictureAt(place);
    return picture && needsSecondNeighbours(*picture, neighboursOf(place));
}

PictureNeighbours KeptPictures::neighboursOf(std::size_t place) const {
    const Links& links = links_[place];
    return {pictureAt(links.before), pictureAt(links.after), pictureAt(links.secondBefore),
            pictureAt(links.secondAfter)};
}

PictureJudgement KeptPictures::judge(std::size_t place) const {
    if (!reports_[place]) return {};
    return judgePicture(*reports_[place], neighboursOf(place));
}

void KeptPictures::giveUp(std::size_t place) {
    const Links& links = links_[place];
    for (const std::size_t used : {links.secondBefore, links.before, place, links.after, links.secondAfter})
        if (used != nowhere && links_[used].lastUse == place) reports_[used].reset();
}

}  // namespace kxCheck
