// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageFrame.h"

#include "check/kxHtmlText.h"
#include "check/kxJsonText.h"
#include "check/kxNumberText.h"
#include "check/kxPageHistogram.h"
#include "check/kxSummary.h"

#include <algorithm>
#include <array>

namespace kxCheck {

namespace {

QByteArray linkTo(const QByteArray& anchor, const QByteArray& content) {
    return element("a", R"(href="#)" + anchor + '"', content);
}

QByteArray levelClass(const char* name, int level) {
    return QByteArray(R"(class=")") + name + " l" + numberText(level) + '"';
}

QByteArray markOf(Verdict verdict, int level) {
    switch (verdict) {
        case Verdict::good:
            return "✓";
        case Verdict::suspicious:
            return level > 1 ? "!!" : "!";
        case Verdict::bad:
            return "✕";
        case Verdict::missing:
            return "∅";
        default:
            return "?";
    }
}

// The mean of those of r, g and b that there are.
std::optional<double> brightnessOf(const PictureFacts& picture) {
    double sum = 0;
    int count = 0;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        if (!picture.ranges[channel]) continue;
        sum += picture.ranges[channel]->mean;
        ++count;
    }
    if (count == 0) return std::nullopt;
    return sum / count;
}

const PictureFacts* pictureOf(const FrameReport& frame) {
    return frame.file.picture && frame.file.picture->picture ? &*frame.file.picture->picture : nullptr;
}

constexpr const char* partialText = "The file could not be decoded whole: what is missing here is black.";

// --- A frame's section ------------------------------------------------------------------------------------------

QByteArray findingItem(const Finding& finding) {
    const QByteArray text = htmlText(finding.text);
    if (standsForOthers(finding)) return element("li", {}, text);
    return element("li", {}, element("b", {}, rowOf(finding.code).name) + ' ' + text);
}

// Beyond the first ones a reader has to ask for the rest.
QByteArray findingsList(const std::vector<Finding>& findings) {
    constexpr std::size_t mostShown = 8;
    QByteArray shown;
    QByteArray folded;
    for (std::size_t i = 0; i < findings.size(); ++i) (i < mostShown ? shown : folded) += findingItem(findings[i]);
    QByteArray html = element("ul", R"(class="findings")", shown);
    if (!folded.isEmpty())
        html +=
            element("details", {},
                    element("summary", {}, numberText(static_cast<int>(findings.size() - mostShown)) + " more") +
                        element("ul", R"(class="findings")", folded));
    return html;
}

QByteArray fact(const char* name, const QByteArray& html) {
    return element("dt", {}, name) + element("dd", {}, html);
}

QByteArray meansText(const PictureFacts& picture) {
    constexpr std::array<const char*, 4> names = {"R", "G", "B", "A"};
    QByteArray text;
    for (std::size_t channel = 0; channel < names.size(); ++channel) {
        if (!picture.ranges[channel]) continue;
        text += (text.isEmpty() ? "" : "  ") + QByteArray(names[channel]) + ' ' +
                decimalText(picture.ranges[channel]->mean, 3);
    }
    return text;
}

QByteArray secondsText(int seconds) {
    const auto twoDigits = [](int value) { return numberText(value).rightJustified(2, '0'); };
    return numberText(seconds / 3600) + ':' + twoDigits(seconds / 60 % 60) + ':' + twoDigits(seconds % 60);
}

QByteArray pictureFacts(const FrameReport& frame) {
    QByteArray html;
    if (const PictureFacts* const picture = pictureOf(frame)) {
        if (frame.hasJump) html += fact("Difference", decimalText(frame.jump, 2));
        html += fact("Mean", meansText(*picture));
    }
    const HeaderNotes& notes = frame.file.notes;
    if (!notes.infoText.isEmpty()) html += fact("Machine", htmlName(notes.infoText));
    if (notes.renderTime >= 0) html += fact("Render time", secondsText(notes.renderTime));
    return html;
}

QByteArray factsList(const FrameReport& frame) {
    QByteArray html = fact("File", htmlName(frame.name.path));
    if (frame.file.hasIdentity) {
        html += fact("Size", sizeText(frame.file.identity.size));
        if (frame.hasSizeJump) html += fact("Size difference", decimalText(frame.sizeJump, 2));
        html +=
            fact("Changed",
                 htmlText(jsonTime(frame.file.identity.modified).left(19).toLatin1().replace('T', ' ')) + " UTC");
    }
    return element("dl", {}, html + pictureFacts(frame));
}

QByteArray neighbourFigure(const char* side, const PageNeighbour& neighbour) {
    if (neighbour.small.isEmpty()) return {};
    const QByteArray caption = element("figcaption", {}, QByteArray(side) + ' ' + htmlName(neighbour.label));
    const QByteArray picture = jpegElement(neighbour.small, neighbour.width, neighbour.height, {});
    return element("figure", {},
                   neighbour.anchor.isEmpty() ? picture + caption : linkTo(neighbour.anchor, picture + caption));
}

QByteArray largePicture(const PageFrame& frame, const QByteArray& jpeg) {
    if (jpeg.isEmpty()) return {};
    const int width = frame.preview.width;
    const int height = frame.preview.height;
    const QByteArray name = "Picture of frame " + frame.label;
    if (!frame.isPartial) return jpegElement(jpeg, width, height, name);
    return element("figure", R"(class="partial")",
                   jpegElement(jpeg, width, height, name) + element("figcaption", {}, partialText));
}

QByteArray picturesOf(const PageFrame& frame, const FrameView& view) {
    QByteArray html = largePicture(frame, view.picture);
    const QByteArray around = neighbourFigure("Before:", view.before) + neighbourFigure("After:", view.after);
    if (!around.isEmpty()) html += element("div", R"(class="around")", around);
    return html.isEmpty() ? html : element("div", R"(class="pictures")", html);
}

QByteArray steps(const char* tag, const FrameView& view) {
    if (!view.hasSteps) return {};
    QByteArray html;
    if (!view.previous.isEmpty()) html += linkTo(view.previous, "↑ previous");
    html += linkTo('s' + numberText(view.sequence), "overview");
    if (!view.next.isEmpty()) html += linkTo(view.next, "↓ next");
    return element(tag, R"(class="steps")", html);
}

// What a link or the strip leads to.
QByteArray placeAttributes(const QByteArray& anchor, std::size_t place) {
    return R"( id=")" + anchor + R"(" data-i=")" + numberText(static_cast<std::int64_t>(place)) +
           R"(" tabindex="-1")";
}

QByteArray sectionAttributes(const char* name, int level, const FrameView& view) {
    return levelClass(name, level) + placeAttributes(frameAnchor(view.sequence, view.place), view.place);
}

QByteArray outcomeText(const QByteArray& outcome) {
    return outcome.isEmpty() ? QByteArray() : ' ' + element("span", R"(class="outcome")", htmlText(outcome));
}

// What short sections and rows begin with. There may be thousands: few elements.
QByteArray nameOf(const QByteArray& label, const PageFrame& frame, const FrameView& view) {
    return htmlName(label) + ' ' +
           element("span", levelClass("chip", frame.level),
                   markOf(frame.verdict, frame.level) + ' ' + verdictName(frame.verdict)) +
           outcomeText(view.outcome);
}

}  // namespace

PageFrame pageFrame(const FrameReport& frame) {
    PageFrame kept;
    kept.label = frameLabel(frame.name);
    kept.verdict = frame.verdict;
    kept.level = frame.level;
    kept.action = frame.action;
    if (frame.file.hasIdentity) kept.size = frame.file.identity.size;
    if (const PictureFacts* const picture = pictureOf(frame)) {
        if (frame.hasJump) kept.jump = frame.jump;
        kept.brightness = brightnessOf(*picture);
    }
    kept.isPartial = !frame.file.decoded;
    return kept;
}

const kxCHK::Histogram* histogramOf(const FrameReport& frame) {
    const PictureFacts* const picture = pictureOf(frame);
    return picture ? &picture->histogram : nullptr;
}

std::array<int, 2> smallSizeOf(const StoredPreview& preview) {
    const int side = std::max({preview.width, preview.height, 1});
    const auto reduced = [side](int length) { return length * std::min(side, smallPreviewSide) / side; };
    return {reduced(preview.width), reduced(preview.height)};
}

QByteArray frameAnchor(int sequence, std::size_t place) {
    return 'f' + numberText(sequence) + '-' + numberText(static_cast<std::int64_t>(place) + 1);
}

QByteArray verdictChip(Verdict verdict, int level) {
    const QByteArray mark = element("span", R"(aria-hidden="true")", markOf(verdict, level));
    return element("span", levelClass("chip", level), mark + ' ' + verdictName(verdict));
}

QByteArray frameSection(const PageFrame& frame, const FrameView& view) {
    const FrameReport& report = *frame.details;
    const QByteArray heading =
        element("h4", {},
                htmlName(frame.label) + ' ' + verdictChip(frame.verdict, frame.level) + outcomeText(view.outcome));
    QByteArray said = findingsList(report.findings) + factsList(report);
    if (const PictureFacts* const picture = pictureOf(report)) said += histogramFigure(picture->histogram);
    return element("article", sectionAttributes("frame", frame.level, view),
                   element("header", {}, heading + steps("p", view)) +
                       element("div", R"(class="columns")",
                               picturesOf(frame, view) + element("div", R"(class="said")", said))) +
           '\n';
}

QByteArray briefSection(const PageFrame& frame, const FrameView& view) {
    QByteArray html = element("header", {}, element("h4", {}, nameOf(frame.label, frame, view)) + steps("p", view));
    const auto [width, height] = smallSizeOf(frame.preview);
    if (!view.picture.isEmpty())
        html += jpegElement(view.picture, width, height, "Picture of frame " + frame.label);
    if (frame.histogram) html += smallHistogram(*frame.histogram);
    QByteArray said = htmlText(frame.text);
    if (frame.isPartial && !view.picture.isEmpty())
        said += ' ' + element("span", R"(class="partial")", QByteArray("Picture: ") + partialText);
    return element("article", sectionAttributes("frame brief", frame.level, view), html + element("p", {}, said)) +
           '\n';
}

QByteArray frameRow(const PageFrame& first, const PageFrame& last, std::size_t count, const FrameView& view) {
    QByteArray html = nameOf(count > 1 ? first.label + " to " + last.label : first.label, first, view);
    if (!first.text.isEmpty()) html += ' ' + htmlText(first.text);
    if (count > 1) html += " (" + countText(count, "frame") + ')';
    html += steps("span", view);
    return element("p", sectionAttributes("frame row", first.level, view), html) + '\n';
}

QByteArray sheetItem(const PageFrame& frame, const QByteArray& anchor, std::size_t place, const QByteArray& target,
                     const QByteArray& small) {
    QByteArray picture = jpegElement(small, 0, 0, {});
    if (small.isEmpty()) picture = element("span", R"(class="none")", "no picture");
    const QByteArray mark = element("span", R"(class="mark")", markOf(frame.verdict, frame.level));
    const QByteArray content = picture + element("span", R"(class="label")", htmlName(frame.label) + ' ' + mark);
    const QByteArray attributes = levelClass("tile", frame.level);
    if (!target.isEmpty()) return element("li", attributes, linkTo(target, content));
    return element("li", attributes + placeAttributes(anchor, place), content);
}

}  // namespace kxCheck
