// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageSequence.h"

#include "check/kxHtmlText.h"
#include "check/kxNumberText.h"
#include "check/kxPageHead.h"
#include "check/kxPagePlots.h"
#include "check/kxPageStrip.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace kxCheck {

namespace {

QByteArray countOf(std::size_t count) {
    return numberText(static_cast<std::int64_t>(count));
}

// --- Frames that are not good ------------------------------------------------------------------------------------

bool saysTheSame(const PageFrame& a, const PageFrame& b, bool isHeld) {
    return isRow(a) && isRow(b) && a.verdict == b.verdict && a.level == b.level && a.text == b.text &&
           outcomeOf(a, isHeld) == outcomeOf(b, isHeld);
}

PageNeighbour neighbourAt(const PageSequence& sequence, std::size_t place, const QByteArray& anchor,
                          const LoadPicture& load) {
    const PageFrame& frame = sequence.frames[place];
    const auto [width, height] = smallSizeOf(frame.preview);
    return {anchor, frame.label, load(frame.preview.small, PictureUse::evidence), width, height};
}

// Which anchors there are on the page.
class Anchors {
public:
    Anchors(const PageSequence& sequence, const std::vector<PageGroup>& groups,
            const std::vector<std::size_t>& tiles)
        : sequence_(sequence), groups_(groups), tiles_(tiles) {}

    // Empty when the frame is not on the page.
    [[nodiscard]] QByteArray of(std::size_t place) const {
        if (hasSection(sequence_.frames[place])) return ofGroup(groupOf(place));
        return std::binary_search(tiles_.begin(), tiles_.end(), place) ? frameAnchor(sequence_.number, place)
                                                                       : QByteArray();
    }
    // Empty in front of the first one and behind the last.
    [[nodiscard]] QByteArray ofGroup(std::size_t group) const {
        return group < groups_.size() ? frameAnchor(sequence_.number, groups_[group].first) : QByteArray();
    }

private:
    [[nodiscard]] std::size_t groupOf(std::size_t place) const {
        const auto behind = std::upper_bound(groups_.begin(), groups_.end(), place,
                                             [](std::size_t p, const PageGroup& group) { return p < group.first; });
        return static_cast<std::size_t>(std::distance(groups_.begin(), behind)) - 1;
    }

    const PageSequence& sequence_;
    const std::vector<PageGroup>& groups_;
    const std::vector<std::size_t>& tiles_;
};

// Groups [first, last) that a browser lays out when they are seen: a section, or rows by the hundred. Links lead
// from the first of each to the next.
std::vector<PageGroup> batchesOf(const PageSequence& sequence, const std::vector<PageGroup>& groups) {
    constexpr std::size_t mostRows = 100;
    std::vector<PageGroup> batches;
    bool isOpen = false;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        const bool isOfRows = isRow(sequence.frames[groups[i].first]);
        if (!isOfRows || !isOpen || i - batches.back().first == mostRows) batches.push_back({i, i});
        batches.back().last = i + 1;
        isOpen = isOfRows;
    }
    return batches;
}

FrameView viewOf(const PageSequence& sequence, const PageGroup& group, const Anchors& anchors,
                 const LoadPicture& load) {
    const PageFrame& frame = sequence.frames[group.first];
    FrameView view;
    view.sequence = sequence.number;
    view.place = group.first;
    view.outcome = outcomeOf(frame, sequence.summary.isHeld);
    if (frame.isBrief) view.picture = load(frame.preview.small, PictureUse::evidence);
    if (!frame.details) return view;
    view.picture = load(frame.preview.large, PictureUse::evidence);
    if (group.first > 0) view.before = neighbourAt(sequence, group.first - 1, anchors.of(group.first - 1), load);
    if (group.last < sequence.frames.size())
        view.after = neighbourAt(sequence, group.last, anchors.of(group.last), load);
    return view;
}

QByteArray groupHtml(const PageSequence& sequence, const PageGroup& group, const FrameView& view) {
    const PageFrame& frame = sequence.frames[group.first];
    if (frame.details) return frameSection(frame, view);
    if (frame.isBrief) return briefSection(frame, view);
    return frameRow(frame, sequence.frames[group.last - 1], group.last - group.first, view);
}

void writeGroups(const PageSequence& sequence, const std::vector<PageGroup>& groups, const Anchors& anchors,
                 const LoadPicture& load, const HtmlSink& sink) {
    const std::vector<PageGroup> batches = batchesOf(sequence, groups);
    for (std::size_t batch = 0; batch < batches.size(); ++batch) {
        const auto [first, last] = batches[batch];
        const bool isOfRows = isRow(sequence.frames[groups[first].first]);
        if (isOfRows) sink(R"(<div class="batch">)");
        for (std::size_t i = first; i < last; ++i) {
            FrameView view = viewOf(sequence, groups[i], anchors, load);
            view.hasSteps = i == first;
            if (view.hasSteps && batch > 0) view.previous = anchors.ofGroup(batches[batch - 1].first);
            if (view.hasSteps && batch + 1 < batches.size()) view.next = anchors.ofGroup(last);
            sink(groupHtml(sequence, groups[i], view));
        }
        if (isOfRows) sink("</div>\n");
    }
}

QByteArray groupsNote(const PageSequence& sequence) {
    QByteArray note;
    const auto isBrief = [](const PageFrame& frame) { return frame.isBrief; };
    if (std::any_of(sequence.frames.begin(), sequence.frames.end(), isBrief))
        note +=
            "The first " + numberText(mostDetailedFrames) + " of each colour are shown in full, more in short. ";
    if (sequence.withoutPictures > 0)
        note += "Of " + numberText(sequence.withoutPictures) + " there are findings only: a page shows " +
                numberText(mostSections) + " frames like this.";
    return note.isEmpty() ? note : element("p", R"(class="note")", note.trimmed()) + '\n';
}

// --- The contact sheet -------------------------------------------------------------------------------------------

QByteArray sheetNote(const PageSequence& sequence, const std::vector<std::size_t>& tiles) {
    if (tiles.size() == sequence.frames.size()) return {};
    return element("p", R"(class="note")",
                   countOf(tiles.size()) + " of " + countOf(sequence.frames.size()) +
                       " frames are shown: where there are more than " + countOf(mostGoodTiles) +
                       " good ones, as many of them at even distances, and of the others the first " +
                       countOf(mostOtherTiles) + '.');
}

// In lists of a hundred: a browser lays out only those that are seen.
void writeSheet(const PageSequence& sequence, const std::vector<std::size_t>& tiles, const Anchors& anchors,
                const LoadPicture& load, const HtmlSink& sink) {
    constexpr std::size_t tilesOfList = 100;
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        const std::size_t place = tiles[i];
        const PageFrame& frame = sequence.frames[place];
        if (i % tilesOfList == 0) sink(i == 0 ? R"(<ol class="sheet">)" : "</ol>\n<ol class=\"sheet\">");
        const QByteArray target = hasSection(frame) ? anchors.of(place) : QByteArray();
        const PictureUse use = frame.level == 0 ? PictureUse::goodTile : PictureUse::evidence;
        sink(sheetItem(frame, frameAnchor(sequence.number, place), place, target, load(frame.preview.small, use)));
    }
    sink("</ol>\n");
}

}  // namespace

std::vector<std::size_t> sheetPlaces(const std::vector<PageFrame>& frames) {
    const auto isGood = [](const PageFrame& frame) { return frame.level == 0; };
    if (std::none_of(frames.begin(), frames.end(),
                     [](const PageFrame& frame) { return bool(frame.preview.small); }))
        return {};
    const auto good = static_cast<std::size_t>(std::count_if(frames.begin(), frames.end(), isGood));
    std::vector<std::size_t> places;
    std::size_t goodSeen = 0;
    std::size_t others = 0;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        // Of `good` frames those are taken at which the share of all that are taken reaches a whole number.
        const std::size_t share = std::min(good, mostGoodTiles);
        const bool isTaken =
            isGood(frames[i]) ? (goodSeen + 1) * share / good > goodSeen * share / good : others < mostOtherTiles;
        if (isTaken) places.push_back(i);
        (isGood(frames[i]) ? goodSeen : others) += 1;
    }
    return places;
}

std::vector<PageGroup> pageGroups(const PageSequence& sequence) {
    const std::vector<PageFrame>& frames = sequence.frames;
    std::vector<PageGroup> groups;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (!hasSection(frames[i])) continue;
        const bool goesOn = !groups.empty() && groups.back().last == i &&
                            saysTheSame(frames[groups.back().first], frames[i], sequence.summary.isHeld);
        if (!goesOn) groups.push_back({i, i});
        groups.back().last = i + 1;
    }
    return groups;
}

QByteArray outcomeOf(const PageFrame& frame, bool isHeld) {
    if (frame.action == Action::none) return {};
    const QByteArray done = frame.action == Action::move ? "moved" : "deleted";
    if (isHeld) return "not " + done;
    return frame.keptReason.isEmpty() ? done : "not " + done + ": " + frame.keptReason;
}

void writeSequence(const PageSequence& sequence, const LoadPicture& load, const HtmlSink& sink) {
    const std::vector<PageGroup> groups = pageGroups(sequence);
    const std::vector<std::size_t> tiles = sheetPlaces(sequence.frames);
    const Anchors anchors(sequence, groups, tiles);
    const auto targetOf = [&anchors](std::size_t place) { return anchors.of(place); };
    const bool hasSheet = !tiles.empty() && sequence.frames.size() > 1;
    const QByteArray sheetAnchor = 'c' + numberText(sequence.number);
    sink("<section class=\"sequence\" id=\"s" + numberText(sequence.number) + "\">\n" +
         sequenceHead(sequence, targetOf, hasSheet ? sheetAnchor : QByteArray()));
    if (sequence.frames.size() > 1) {
        sink(stripFigure(sequence.frames, targetOf));
        sink(plotFigures(sequence.frames));
    }
    if (!groups.empty()) {
        const bool isGood = sequence.frames[groups.front().first].level == 0;
        sink(element("h3", {}, isGood ? "The frame" : "Frames that are not good") + '\n' + groupsNote(sequence));
        writeGroups(sequence, groups, anchors, load, sink);
    }
    if (hasSheet) {
        sink(element("h3", R"(tabindex="-1" id=")" + sheetAnchor + '"', "Contact sheet") +
             sheetNote(sequence, tiles) + '\n');
        writeSheet(sequence, tiles, anchors, load, sink);
    }
    sink("</section>\n");
}

}  // namespace kxCheck
