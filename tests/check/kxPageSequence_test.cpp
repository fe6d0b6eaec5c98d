// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageSequence.h"

#include "tests/support/JudgedFrames.h"
#include "tests/support/PageMarkup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

// Frames, each a letter: "." good, "s" suspicious, "b" bad, "p" bad with a section in short and "B" in full,
// "-" missing, "?" unknown. All but missing ones have a picture.
PageSequence sequenceOf(const std::string& letters) {
    PageSequence sequence;
    sequence.name.path = "/r/beauty.####.exr";
    sequence.line = "/r/beauty.####.exr  1-9  64x36";
    for (const char letter : letters) {
        const FrameName name = named(QByteArray::number(static_cast<int>(sequence.frames.size()) + 1));
        std::vector<Finding> findings;
        if (letter == 's') findings = {makeFinding(Code::flat, "flat")};
        if (letter == 'b' || letter == 'p' || letter == 'B') findings = {makeFinding(Code::chunk, "row 1")};
        if (letter == '-') findings = {makeFinding(Code::missing, "")};
        if (letter == '?') findings = {makeFinding(Code::unreadable, "gone")};
        FrameReport report = judgedFrame(name, findings);
        report.level = levelOf(findings, 0, 0);
        sequence.summary.add(report);
        PageFrame frame = pageFrame(report);
        if (letter != '-') frame.preview.small = {static_cast<std::int64_t>(sequence.frames.size()) * 10, 10};
        if (letter == 'B') frame.details = std::make_shared<const FrameReport>(report);
        frame.isBrief = letter == 'p';
        sequence.frames.push_back(frame);
    }
    return sequence;
}

PageMarkup written(const PageSequence& sequence) {
    QByteArray html;
    writeSequence(
        sequence, [](const StoredBytes& stored, PictureUse) { return stored ? QByteArray("jpeg") : QByteArray(); },
        [&html](const QByteArray& piece) { html += piece; });
    return PageMarkup("<!DOCTYPE html>\n<html>" + html.toStdString() + "</html>");
}

std::string groupsOf(const PageSequence& sequence) {
    std::string text;
    for (const PageGroup& group : pageGroups(sequence))
        text += std::to_string(group.first + 1) + "-" + std::to_string(group.last) + " ";
    return text;
}

}  // namespace

TEST(PageGroups, JoinNeighboursOfWhichTheSameIsToBeSaid) {
    const struct {
        const char* letters;
        const char* groups;
    } cases[] = {
        {"", ""},
        {"....", ""},
        {"b...", "1-1 "},
        {".---.--", "2-4 6-7 "},
        {"bbssb", "1-2 3-4 5-5 "},
        {"-?-", "1-1 2-2 3-3 "},
        {"bBBb", "1-1 2-2 3-3 4-4 "},
        {"bpppb", "1-1 2-2 3-3 4-4 5-5 "},
    };
    for (const auto& c : cases) EXPECT_EQ(groupsOf(sequenceOf(c.letters)), c.groups) << c.letters;
}

TEST(PageGroups, AreToldApartByTextAndOutcome) {
    PageSequence sequence = sequenceOf("bbbb");
    sequence.frames[1].text = "other";
    EXPECT_EQ(groupsOf(sequence), "1-1 2-2 3-4 ");
    sequence.frames[2].action = Action::remove;
    EXPECT_EQ(groupsOf(sequence), "1-1 2-2 3-3 4-4 ");
}

TEST(PageOutcome, SaysWhatBecameOfAFile) {
    PageFrame frame;
    EXPECT_EQ(outcomeOf(frame, false), "");
    frame.action = Action::move;
    EXPECT_EQ(outcomeOf(frame, false), "moved");
    frame.action = Action::remove;
    EXPECT_EQ(outcomeOf(frame, false), "deleted");
    EXPECT_EQ(outcomeOf(frame, true), "not deleted");
    frame.keptReason = "Permission denied";
    EXPECT_EQ(outcomeOf(frame, false), "not deleted: Permission denied");
}

TEST(SheetPlaces, AreAllUpToTheLimit) {
    EXPECT_EQ(sheetPlaces(sequenceOf("..b-.").frames), (std::vector<std::size_t>{0, 1, 2, 3, 4}));
    EXPECT_EQ(sheetPlaces(sequenceOf("---").frames).size(), 0U);
    EXPECT_EQ(sheetPlaces({}).size(), 0U);
    EXPECT_EQ(sheetPlaces(sequenceOf(std::string(mostGoodTiles, '.')).frames).size(), mostGoodTiles);
}

TEST(SheetPlaces, AreEvenlyAmongMoreGoodFrames) {
    for (const std::size_t count : {mostGoodTiles + 1, 3 * mostGoodTiles, std::size_t{24999}}) {
        const std::vector<std::size_t> places = sheetPlaces(sequenceOf(std::string(count, '.')).frames);
        ASSERT_EQ(places.size(), mostGoodTiles);
        std::size_t widest = 0;
        for (std::size_t i = 1; i < places.size(); ++i) widest = std::max(widest, places[i] - places[i - 1]);
        EXPECT_LE(widest, count / mostGoodTiles + 1);
    }
}

TEST(SheetPlaces, HoldOthersBesideTheGoodOnes) {
    const std::string letters = std::string(5000, '.') + std::string(mostOtherTiles + 1000, 'b');
    const std::vector<std::size_t> places = sheetPlaces(sequenceOf(letters).frames);
    EXPECT_EQ(places.size(), mostGoodTiles + mostOtherTiles);
    EXPECT_EQ(places.back(), 5000 + mostOtherTiles - 1);
}

TEST(PageSequence, HasAPlaceForEveryFrameThatIsNotGood) {
    const PageMarkup page = written(sequenceOf("..Bb--.s?."));
    ASSERT_EQ(page.fault(), "");
    std::string names;
    for (const PageElement& place : page.ofClass("frame"))
        names += place.attribute("id") + " " + place.text.substr(0, place.text.find(' ')) + "; ";
    EXPECT_EQ(names, "f1-3 3; f1-4 4; f1-5 5; f1-8 8; f1-9 9; ");
    EXPECT_EQ(page.ofClass("row")[1].text, "5 to 6 ∅ missing (2 frames)");
    EXPECT_EQ(page.ofClass("tile").size(), 10U);
    for (const PageElement& link : page.named("a")) {
        const std::string id = link.attribute("href").substr(1);
        const auto& all = page.elements();
        EXPECT_TRUE(std::any_of(all.begin(), all.end(), [&](const PageElement& e) {
            return e.attribute("id") == id;
        })) << id;
    }
}

TEST(PageSequence, HasRowsInBatches) {
    const struct {
        std::string letters;
        std::size_t batches;
    } cases[] = {{"...", 0}, {"b", 1}, {"bBb", 2}, {"bpb", 2}, {"BB", 0}, {"b.-.?", 1}};
    for (const auto& c : cases)
        EXPECT_EQ(written(sequenceOf(c.letters)).ofClass("batch").size(), c.batches) << c.letters;
    PageSequence many = sequenceOf(std::string(250, 'b'));
    for (std::size_t i = 0; i < many.frames.size(); ++i)
        many.frames[i].text = QByteArray::number(static_cast<int>(i));
    const PageMarkup page = written(many);
    EXPECT_EQ(page.fault(), "");
    EXPECT_EQ(page.ofClass("batch").size(), 3U);
    EXPECT_EQ(page.ofClass("row").size(), 250U);
}

// From the first to the last without a gap, and back.
TEST(PageSequence, LeadsFromEachSectionAndBatchOfRowsToTheNext) {
    const struct {
        std::string letters;
        const char* stops;
    } cases[] = {{"...", ""},
                 {".B", "2 "},
                 {"BsB-b.pp?", "1 2 3 4 7 8 9 "},
                 {"b" + std::string(30, '-') + "pB", "1 32 33 "}};
    for (const auto& c : cases) {
        std::string expectedLinks;
        std::string links;
        const PageMarkup page = written(sequenceOf(c.letters));
        std::vector<std::string> anchors;
        for (const PageElement& link : page.named("a"))
            if (link.text == "↓ next" || link.text == "↑ previous") links += link.attribute("href") + ' ';
        std::istringstream words(c.stops);
        for (std::string word; words >> word;) anchors.push_back("#f1-" + word);
        for (std::size_t i = 0; i < anchors.size(); ++i) {
            if (i > 0) expectedLinks += anchors[i - 1] + ' ';
            if (i + 1 < anchors.size()) expectedLinks += anchors[i + 1] + ' ';
        }
        EXPECT_EQ(links, expectedLinks) << c.letters;
        EXPECT_EQ(page.ofClass("steps").size(), anchors.size()) << c.letters;
    }
}

TEST(PageSequence, SaysWhichFramesAreShownInShort) {
    EXPECT_EQ(written(sequenceOf("BB")).ofClass("note").size(), 0U);
    PageSequence sequence = sequenceOf("Bpb");
    EXPECT_EQ(written(sequence).ofClass("note")[0].text,
              "The first 200 of each colour are shown in full, more in short.");
    sequence.withoutPictures = 1;
    EXPECT_EQ(
        written(sequence).ofClass("note")[0].text,
        "The first 200 of each colour are shown in full, more in short. Of 1 there are findings only: a page shows "
        "2000 frames like this.");
}

TEST(PageSequence, BeginsWithItsSummary) {
    PageSequence sequence = sequenceOf("..b-s");
    sequence.notes = {"nothing removed: <3>"};
    const PageMarkup page = written(sequence);
    EXPECT_EQ(page.textsOf("h2"), std::vector<std::string>{"/r/beauty.####.exr"});
    EXPECT_EQ(page.ofClass("facts")[0].text, "1-9 · 64x36");
    std::vector<std::string> counts;
    for (const PageElement& item : page.named("li"))
        if (item.within.back() == "ul") counts.push_back(item.text);
    EXPECT_EQ(counts, (std::vector<std::string>{"1 ✕ bad 3", "1 ∅ missing 4", "1 ! suspicious 5", "2 ✓ good"}));
    EXPECT_EQ(page.ofClass("note")[0].text, "nothing removed: <3>");
}

TEST(PageSequence, SaysWhichTilesAreLeftOut) {
    EXPECT_EQ(written(sequenceOf("...")).ofClass("note").size(), 0U);
    const PageMarkup page = written(sequenceOf(std::string(mostGoodTiles + 500, '.')));
    EXPECT_EQ(page.ofClass("tile").size(), mostGoodTiles);
    ASSERT_EQ(page.ofClass("note").size(), 1U);
    EXPECT_EQ(page.ofClass("note")[0].text.substr(0, 34), "2000 of 2500 frames are shown: whe");
}

TEST(PageSequence, NeedsNoCurvesOfOneFrame) {
    const PageMarkup page = written(sequenceOf("B"));
    EXPECT_EQ(page.ofClass("strip").size(), 0U);
    EXPECT_EQ(page.named("article").size(), 1U);
    EXPECT_EQ(page.ofClass("tile").size(), 0U);
    EXPECT_EQ(written(sequenceOf("")).fault(), "");
}

TEST(PageSequence, HasNeighboursBesideAFrame) {
    const PageMarkup page = written(sequenceOf("B..B.B"));
    std::vector<std::string> captions;
    for (const PageElement& caption : page.named("figcaption"))
        if (std::count(caption.within.begin(), caption.within.end(), "article") > 0)
            captions.push_back(caption.text);
    EXPECT_EQ(captions, (std::vector<std::string>{"After: 2", "Before: 3", "After: 5", "Before: 5"}));
}
