// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageFrame.h"

#include "tests/support/FullFrames.h"
#include "tests/support/PageMarkup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

PageMarkup markup(const QByteArray& html) {
    return PageMarkup("<!DOCTYPE html>\n<html>" + html.toStdString() + "</html>");
}

// Level pixels, three channels, and attributes that say how it was made.
FrameReport picturedFrame() {
    FrameReport frame = fullFrame();
    auto picture = std::make_shared<PictureReport>();
    picture->picture.emplace();
    picture->picture->ranges = {SampleRange{0, 1, 0.25}, SampleRange{0, 1, 0.5}, SampleRange{0, 1, 0.75},
                                std::nullopt};
    frame.file.picture = picture;
    frame.file.notes = {"node <7>", 3725};
    frame.jump = 5.126;
    frame.hasJump = frame.hasSizeJump = true;
    return frame;
}

PageFrame detailed(const FrameReport& report) {
    PageFrame frame = pageFrame(report);
    frame.details = std::make_shared<const FrameReport>(report);
    return frame;
}

// Names and values of the list of facts.
std::vector<std::string> factsOf(const PageMarkup& page) {
    std::vector<std::string> facts;
    const auto names = page.textsOf("dt");
    const auto values = page.textsOf("dd");
    for (std::size_t i = 0; i < names.size() && i < values.size(); ++i)
        facts.push_back(names[i] + ": " + values[i]);
    return facts;
}

}  // namespace

TEST(PageFrame, KeepsWhatTheCurvesShow) {
    const PageFrame frame = pageFrame(picturedFrame());
    EXPECT_EQ(frame.label, "0042 tile 3");
    EXPECT_EQ(frame.verdict, Verdict::bad);
    EXPECT_EQ(frame.level, 3);
    EXPECT_EQ(frame.size, 123456789012);
    EXPECT_EQ(frame.jump, 5.126);
    EXPECT_EQ(frame.brightness, 0.5);
    EXPECT_EQ(frame.action, Action::remove);
}

TEST(PageFrame, HasNoValuesOfWhatIsNotThere) {
    const PageFrame missing = pageFrame(judgedFrame(named("1"), {makeFinding(Code::missing, "")}));
    EXPECT_FALSE(missing.size || missing.jump || missing.brightness);
    FrameReport dark = picturedFrame();
    auto picture = std::make_shared<PictureReport>();
    picture->picture.emplace();
    dark.file.picture = picture;  // no finite sample
    EXPECT_TRUE(pageFrame(dark).jump);
    EXPECT_FALSE(pageFrame(dark).brightness);
}

// The first and the last frame have one, and those beside a missing one: they differ from nothing, not by 0.
TEST(PageFrame, HasNoDifferenceWithoutTwoNeighbours) {
    FrameReport frame = picturedFrame();
    frame.jump = frame.sizeJump = 0;
    const auto said = [&frame] { return factsOf(markup(frameSection(detailed(frame), {}))); };
    EXPECT_EQ(said()[2], "Size difference: 0");
    EXPECT_EQ(said()[4], "Difference: 0");
    frame.hasJump = frame.hasSizeJump = false;
    EXPECT_FALSE(pageFrame(frame).jump);
    EXPECT_TRUE(pageFrame(frame).brightness);
    EXPECT_EQ(said().size(), 6U);
    for (const std::string& fact : said()) EXPECT_EQ(fact.find("ifference"), std::string::npos) << fact;
}

TEST(PageFrame, SaysNothingByColourAlone) {
    const struct {
        Verdict verdict;
        int level;
        const char* text;
    } cases[] = {{Verdict::good, 0, "✓ good"},
                 {Verdict::suspicious, 1, "! suspicious"},
                 {Verdict::suspicious, 2, "!! suspicious"},
                 {Verdict::bad, 3, "✕ bad"},
                 {Verdict::missing, 3, "∅ missing"},
                 {Verdict::unknown, 1, "? unknown"}};
    for (const auto& c : cases) {
        const auto chips = markup(verdictChip(c.verdict, c.level)).ofClass("chip");
        ASSERT_EQ(chips.size(), 1U);
        EXPECT_EQ(chips[0].text, c.text);
        EXPECT_TRUE(chips[0].isOf("l" + std::to_string(c.level)));
    }
}

TEST(FrameSection, SaysOfWhatWasNotDecodedWholeThatThePictureIsNotAll) {
    FrameView view;
    view.picture = "large";
    FrameReport report = picturedFrame();
    report.file.decoded = true;
    EXPECT_EQ(markup(frameSection(detailed(report), view)).ofClass("partial").size(), 0U);
    report.file.decoded = false;
    const PageMarkup page = markup(frameSection(detailed(report), view));
    ASSERT_EQ(page.fault(), "");
    ASSERT_EQ(page.ofClass("partial").size(), 1U);
    EXPECT_EQ(page.ofClass("partial")[0].text,
              "The file could not be decoded whole: what is missing here is black.");
}

TEST(FrameSection, ShowsAllThatIsKnown) {
    FrameView view;
    view.sequence = 2;
    view.place = 16;
    view.picture = "large";
    view.before = {"f2-16", "0041", "before", 160, 90};
    view.after = {"", "0043", "after", 160, 90};
    view.hasSteps = true;
    view.previous = "f2-3";
    view.outcome = "deleted";
    const PageMarkup page = markup(frameSection(detailed(picturedFrame()), view));
    ASSERT_EQ(page.fault(), "");
    ASSERT_EQ(page.named("article").size(), 1U);
    const PageElement article = page.named("article")[0];
    EXPECT_EQ(article.attribute("id"), "f2-17");
    EXPECT_EQ(article.attribute("data-i"), "16");
    EXPECT_TRUE(article.isOf("l3"));
    EXPECT_EQ(page.textsOf("h4"), std::vector<std::string>{"0042 tile 3 ✕ bad deleted"});
    EXPECT_EQ(page.textsOf("li"), std::vector<std::string>{"chunk 2 tiles can't be decoded"});
    EXPECT_EQ(factsOf(page), (std::vector<std::string>{"File: /r/beauty.0042.exr", "Size: 115.0 GB",
                                                       "Size difference: 0.5", "Changed: 2024-02-29 23:59:59 UTC",
                                                       "Difference: 5.13", "Mean: R 0.25  G 0.5  B 0.75",
                                                       "Machine: node <7>", "Render time: 1:02:05"}));
    EXPECT_EQ(page.named("img").size(), 3U);
    EXPECT_EQ(page.named("img")[0].attribute("alt"), "Picture of frame 0042 tile 3");
    std::vector<std::string> links;
    for (const PageElement& link : page.named("a")) links.push_back(link.attribute("href"));
    EXPECT_EQ(links, (std::vector<std::string>{"#f2-3", "#s2", "#f2-16"}));
    EXPECT_EQ(page.ofClass("histogram").size(), 1U);
}

TEST(FrameSection, LeavesOutWhatIsNotThere) {
    const FrameReport empty = judgedFrame(named("1"), {makeFinding(Code::empty, "the file is empty")});
    const PageMarkup page = markup(frameSection(detailed(empty), {}));
    EXPECT_EQ(page.named("img").size() + page.named("svg").size(), 0U);
    EXPECT_EQ(factsOf(page), std::vector<std::string>{"File: /r/beauty.x.exr"});
}

TEST(FrameSection, ShowsARenderTimeOfNoSeconds) {
    for (const bool isKnown : {true, false}) {
        FrameReport frame = judgedFrame(named("1"), {makeFinding(Code::empty, "the file is empty")});
        if (isKnown) frame.file.notes.renderTime = 0;
        const auto facts = factsOf(markup(frameSection(detailed(frame), {})));
        EXPECT_EQ(std::count(facts.begin(), facts.end(), "Render time: 0:00:00"), isKnown ? 1 : 0);
        EXPECT_EQ(facts.size(), isKnown ? 2U : 1U);
    }
}

TEST(FrameSection, FoldsFindingsThatWouldFillThePage) {
    std::vector<Finding> findings(99, makeFinding(Code::chunk, "x"));
    const PageMarkup page = markup(frameSection(detailed(judgedFrame(named("1"), findings)), {}));
    ASSERT_EQ(page.named("details").size(), 1U);
    EXPECT_EQ(page.textsOf("summary"), std::vector<std::string>{"91 more"});
    EXPECT_EQ(page.named("li").size(), 99U);
}

// Names, texts and attributes of files are whatever their makers liked.
TEST(FrameSection, EscapesAllTexts) {
    const QByteArray hostile = "<bdi><script>x\"'&\xff\x1b";
    FrameReport report = picturedFrame();
    report.name = singleFile("/r/" + hostile);
    report.findings[0].text = hostile;
    report.file.notes.infoText = hostile;
    FrameView view;
    view.picture = "large";
    view.before = {"f1-1", hostile, "small", 0, 0};
    view.outcome = hostile;
    PageFrame frame = detailed(report);
    frame.text = hostile;
    const QByteArray html = frameSection(frame, view) + briefSection(frame, view) +
                            frameRow(frame, frame, 2, view) + sheetItem(frame, "f1-2", 1, "", "x");
    const PageMarkup page = markup(html);
    EXPECT_EQ(page.fault(), "");
    EXPECT_EQ(html.count("<script"), 0);
    EXPECT_EQ(page.named("img")[0].attribute("alt").substr(0, 31), "Picture of frame <bdi><script>x");
    EXPECT_EQ(html.count("\xff"), 0);
    EXPECT_EQ(html.count("\x1b"), 0);
    EXPECT_GE(html.count("\\x1b"), 8);
}

TEST(BriefSection, HasFindingsPictureAndHistogram) {
    PageFrame frame = pageFrame(picturedFrame());
    frame.text = "chunk: <2> tiles";
    frame.preview.width = 580;
    frame.preview.height = 326;
    FrameView view;
    view.place = 16;
    view.outcome = "deleted";
    EXPECT_EQ(markup(briefSection(frame, view)).named("img").size(), 0U);
    frame.histogram = std::make_shared<kxCHK::Histogram>();
    view.picture = "small";
    view.hasSteps = true;
    view.next = "f1-20";
    const PageMarkup page = markup(briefSection(frame, view));
    ASSERT_EQ(page.fault(), "");
    EXPECT_EQ(page.named("article")[0].attribute("id"), "f1-17");
    EXPECT_EQ(page.textsOf("h4"), std::vector<std::string>{"0042 tile 3 ✕ bad deleted"});
    EXPECT_EQ(page.textsOf("p").back(),
              "chunk: <2> tiles Picture: The file could not be decoded whole: what is missing here is black.");
    EXPECT_EQ(page.ofClass("histogram").size(), 1U);
    EXPECT_EQ(page.named("img")[0].attribute("width") + 'x' + page.named("img")[0].attribute("height"), "160x89");
    EXPECT_EQ(page.textsOf("a"), (std::vector<std::string>{"overview", "↓ next"}));
    frame.isPartial = false;
    EXPECT_EQ(markup(briefSection(frame, view)).textsOf("p").back(), "chunk: <2> tiles");
}

TEST(FrameRow, HasLinksOnlyWhereAsked) {
    PageFrame frame;
    frame.label = "1090";
    FrameView view;
    view.next = "f1-7";
    EXPECT_EQ(markup(frameRow(frame, frame, 1, view)).named("a").size(), 0U);
    view.hasSteps = true;
    EXPECT_EQ(markup(frameRow(frame, frame, 1, view)).textsOf("a"),
              (std::vector<std::string>{"overview", "↓ next"}));
}

TEST(FrameRow, StandsForFramesThatAreAlike) {
    PageFrame first;
    first.label = "1090";
    first.verdict = Verdict::missing;
    first.level = 3;
    PageFrame last = first;
    last.label = "1099";
    EXPECT_EQ(markup(frameRow(first, first, 1, {})).ofClass("row")[0].text, "1090 ∅ missing");
    EXPECT_EQ(markup(frameRow(first, last, 10, {})).ofClass("row")[0].text, "1090 to 1099 ∅ missing (10 frames)");
    first.text = "limit: it took too long";
    EXPECT_EQ(markup(frameRow(first, first, 1, {})).ofClass("row")[0].text,
              "1090 ∅ missing limit: it took too long");
}

TEST(SheetItem, LeadsToTheSectionOfAFrameThatIsNotGood) {
    PageFrame frame;
    frame.label = "1001";
    const PageMarkup good = markup(sheetItem(frame, "f1-1", 0, "", "small"));
    EXPECT_EQ(good.named("a").size(), 0U);
    EXPECT_EQ(good.named("li")[0].attribute("id"), "f1-1");
    EXPECT_EQ(good.named("li")[0].text, "1001 ✓");
    EXPECT_EQ(good.named("img").size(), 1U);
    frame.verdict = Verdict::bad;
    frame.level = 3;
    const PageMarkup bad = markup(sheetItem(frame, "f1-2", 1, "f1-2", ""));
    EXPECT_EQ(bad.named("a")[0].attribute("href"), "#f1-2");
    EXPECT_EQ(bad.named("a")[0].text, "no picture1001 ✕");
    EXPECT_EQ(bad.named("li")[0].attribute("id"), "");  // which the section has
}
