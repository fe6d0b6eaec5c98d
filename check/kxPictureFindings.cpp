// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureFindings.h"

#include "check/kxNumberText.h"
#include "check/kxPictureJump.h"
#include "check/kxSizeJump.h"
#include "check/kxSummary.h"

#include <optional>

namespace kxCheck {

namespace {

bool isColorOrAlpha(const QByteArray& channel) {
    const QByteArray last = channel.mid(channel.lastIndexOf('.') + 1);
    return last == "R" || last == "G" || last == "B" || last == "A" || last == "Y";
}

Finding strangeFinding(Code code, const StrangeSamples& strange, std::int64_t count, const char* what) {
    const auto samples = countText(static_cast<std::size_t>(count), "sample");
    Finding finding = makeFinding(code, samples + " of channel " + strange.channel + what);
    finding.part = strange.part;
    finding.channel = strange.channel;
    finding.count = count;
    return finding;
}

void addStrange(std::vector<Finding>& findings, const std::vector<StrangeSamples>& channels) {
    for (const StrangeSamples& strange : channels) {
        if (strange.nan > 0) findings.push_back(strangeFinding(Code::nan, strange, strange.nan, ": not a number"));
        if (strange.infinite > 0 && isColorOrAlpha(strange.channel))
            findings.push_back(strangeFinding(Code::inf, strange, strange.infinite, ": infinite"));
    }
}

bool mayLackTile(const PictureFacts* picture) {
    return picture && (picture->isTileMissing || picture->hasDarkCorner);
}

// Two frames in a row may both have lost a bucket. What more of them have belongs to the scene, in the first and
// last of them too: titles fade in and out. In the other frames it need not be so sharp: a window that moves by
// parts of a pixel looks like a missing tile now and then.
std::optional<Finding> missingTile(const PictureFacts& picture, const PictureNeighbours& neighbours) {
    if (!picture.isTileMissing) return std::nullopt;
    const bool isBefore = mayLackTile(neighbours.before);
    const bool isAfter = mayLackTile(neighbours.after);
    const bool isFurther = isBefore ? mayLackTile(neighbours.secondBefore) : mayLackTile(neighbours.secondAfter);
    if ((isBefore && isAfter) || ((isBefore || isAfter) && isFurther)) return std::nullopt;
    Finding finding = makeFinding(Code::tileMissing, "a block of the picture was left black");
    const bool isAlone = !neighbours.before && !neighbours.after;
    if (isBefore || isAfter || isAlone) {
        finding.severity = Severity::warning;
        finding.text += isBefore  ? "; the frame before seems to have one too"
                        : isAfter ? "; the frame after it seems to have one too"
                                  : "; there is no neighbour to compare it with";
    }
    return finding;
}

// analyseValue1; 0 without both neighbours.
double jumpOf(const PictureFacts& picture, const PictureNeighbours& neighbours) {
    if (!neighbours.before || !neighbours.after) return 0;
    return pictureJumpOf(neighbours.before->histogram, picture.histogram, neighbours.after->histogram);
}

bool isOutstanding(const PictureFacts& picture, const PictureNeighbours& neighbours) {
    std::vector<const kxCHK::Histogram*> around = {&neighbours.before->histogram, &neighbours.after->histogram};
    for (const PictureFacts* const further : {neighbours.secondBefore, neighbours.secondAfter})
        if (further) around.push_back(&further->histogram);
    return standsOut(picture.histogram, around);
}

Finding jumpFinding(double jump) {
    return makeFinding(Code::jump, "differs " + QByteArray::number(jump, 'f', 1) +
                                       " times as much from its neighbours as they do from each other");
}

void addPicture(std::vector<Finding>& findings, const PictureFacts& picture, const PictureNeighbours& neighbours) {
    if (auto finding = missingTile(picture, neighbours)) findings.push_back(*std::move(finding));
    if (picture.isAlphaMissing)
        findings.push_back(makeFinding(Code::alphaMissing, "holes in the alpha of an opaque picture"));
    if (picture.isBlack)
        findings.push_back(makeFinding(Code::black, "every pixel is black"));
    else if (picture.isFlat)
        findings.push_back(makeFinding(Code::flat, "every pixel has the same colour"));
}

}  // namespace

bool needsSecondNeighbours(const PictureFacts& picture, const PictureNeighbours& neighbours) {
    const bool isInOne = mayLackTile(neighbours.before) != mayLackTile(neighbours.after);
    return (picture.isTileMissing && isInOne) || jumpOf(picture, neighbours) > conspicuousJump;
}

PictureJudgement judgePicture(const PictureReport& report, const PictureNeighbours& neighbours) {
    PictureJudgement judgement;
    addStrange(judgement.findings, report.strange);
    if (!report.picture) return judgement;
    addPicture(judgement.findings, *report.picture, neighbours);
    judgement.isCompared = neighbours.before && neighbours.after;
    judgement.jump = jumpOf(*report.picture, neighbours);
    if (judgement.jump > conspicuousJump && isOutstanding(*report.picture, neighbours))
        judgement.findings.push_back(jumpFinding(judgement.jump));
    return judgement;
}

Finding repeatedFinding(const FrameName& before) {
    return makeFinding(Code::repeated, "all samples are those of " + frameLabel(before));
}

}  // namespace kxCheck
