// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageWriter.h"

#include "tests/support/PageMarkup.h"
#include "tests/support/PlayedPage.h"
#include "tests/support/TempDir.h"
#include "tests/support/TmpdirVariable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

using Texts = std::vector<std::string>;

class PageWriterTest : public ::testing::Test {
protected:
    QByteArray path(const char* name = "page.html") const { return QByteArray::fromStdString(dir.file(name)); }
    std::string bytes() const { return readFileBytes(dir.file("page.html")); }

    TempDir dir;
};

// "580x326", and how many pictures are that large; those of tiles do not say.
std::map<std::string, int> sizesOf(const PageMarkup& page) {
    std::map<std::string, int> sizes;
    for (const PageElement& picture : page.named("img"))
        if (!picture.attribute("width").empty())
            ++sizes[picture.attribute("width") + 'x' + picture.attribute("height")];
    return sizes;
}

// A sequence of one frame.
void tellOnly(PageWriter& page, const FrameReport& frame) {
    SequenceName sequence;
    sequence.path = frame.name.path;
    sequence.frames = 1;
    page.beginSequence(sequence, nullptr);
    page.frame(frame);
    Summary summary;
    summary.add(frame);
    page.endSequence(summary, false);
}

}  // namespace

TEST_F(PageWriterTest, WritesPagesThatStandAlone) {
    for (const int frames : {1, 2, 24, 300})
        for (const PlayedDamage damage : {PlayedDamage::none, PlayedDamage::some, PlayedDamage::all}) {
            ASSERT_EQ(writePlayedPage(path(), frames, damage), "");
            EXPECT_EQ(pageFaults(PageMarkup(bytes())), Texts()) << frames << ' ' << static_cast<int>(damage);
        }
    EXPECT_EQ(dir.entries(), Texts{"page.html"});
}

TEST_F(PageWriterTest, SaysInTheHeadlineHowItWent) {
    const struct {
        int frames;
        PlayedDamage damage;
        const char* headline;
    } cases[] = {{1, PlayedDamage::none, "The frame is good"},
                 {1, PlayedDamage::all, "The frame is not good"},
                 {24, PlayedDamage::none, "All 24 frames are good"},
                 {24, PlayedDamage::some, "1 of 24 frames is not good"},
                 {24, PlayedDamage::all, "24 of 24 frames are not good"}};
    for (const auto& c : cases) {
        ASSERT_EQ(writePlayedPage(path(), c.frames, c.damage), "");
        const PageMarkup page(bytes());
        EXPECT_EQ(page.textsOf("h1"), Texts{c.headline});
        EXPECT_EQ(page.textsOf("title")[0], std::string(c.headline) + " - /renders/sh010/beauty.####.exr");
    }
}

TEST_F(PageWriterTest, ShowsPicturesOfFramesThatAreNotGood) {
    ASSERT_EQ(writePlayedPage(path(), 100, PlayedDamage::some), "");
    const PageMarkup page(bytes());
    std::string pictures;
    for (const PageElement& picture : page.named("img"))
        if (!picture.attribute("alt").empty()) pictures += picture.attribute("alt") + "; ";
    EXPECT_EQ(pictures,
              "Picture of frame 1018; Picture of frame 1032; Picture of frame 1060; Picture of frame 1061; ");
    EXPECT_EQ(sizesOf(page), (std::map<std::string, int>{{"160x89", 10}, {"580x326", 4}}));
    EXPECT_EQ(page.ofClass("histogram").size(), 3U);
    EXPECT_EQ(page.ofClass("plot").size(), 3U);
    EXPECT_EQ(page.ofClass("tile").size(), 100U);
}

TEST_F(PageWriterTest, CountsFramesByWhatIsWrongWithThem) {
    ASSERT_EQ(writePlayedPage(path(), 200, PlayedDamage::some), "");
    const auto lines = PageMarkup(bytes()).ofClass("causes");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(QByteArray::fromStdString(lines[0].text).replace("\u00a0", " "),
              "truncated 2 · chunk 2 · unreadable 2 · size-jump 2 · alpha-missing 2 · nan 2 · jump 2");
    EXPECT_EQ(lines[1].text.substr(0, 26), "machines of these frames: ");
    ASSERT_EQ(writePlayedPage(path(), 200, PlayedDamage::none), "");
    EXPECT_EQ(PageMarkup(bytes()).ofClass("causes").size(), 0U);
}

TEST_F(PageWriterTest, ShowsTheOnlyFrameAlsoWhenItIsGood) {
    ASSERT_EQ(writePlayedPage(path(), 1, PlayedDamage::none), "");
    const PageMarkup page(bytes());
    EXPECT_EQ(page.textsOf("h3"), Texts{"The frame"});
    EXPECT_EQ(page.textsOf("h4"), Texts{"1001 ✓ good"});
    ASSERT_EQ(page.named("img").size(), 1U);
    EXPECT_EQ(page.named("img")[0].attribute("width"), "580");
}

TEST_F(PageWriterTest, HasRoomForABadFrameBehindAnyNumberOfGoodOnes) {
    PageWriter page(path(), Level::headers);
    for (int i = 0; i < mostSections; ++i) {
        FrameReport frame = playedFrame(0, 1, PlayedDamage::none);
        frame.file.picture = nullptr;
        tellOnly(page, frame);
    }
    FrameReport bad = playedFrame(0, 1, PlayedDamage::none);
    bad.findings = {makeFinding(Code::truncated, "rows 1 to 2 are missing")};
    bad.verdict = Verdict::bad;
    bad.level = 3;
    tellOnly(page, bad);
    page.finish({}, false, 0);
    EXPECT_EQ(QByteArray::fromStdString(bytes()).count("<article "), mostSections / 2 + 1);
    EXPECT_EQ(QByteArray::fromStdString(bytes()).count("<b>truncated</b> rows 1 to 2 are missing"), 1);
}

TEST_F(PageWriterTest, ListsSeveralSequencesAtTheTop) {
    PageWriter page(path(), Level::pixels);
    playSequence(page, 10, PlayedDamage::none, "/r/a.####.exr");
    playSequence(page, 20, PlayedDamage::some, "/r/b<>.####.exr");
    page.finish({"kxCheckFrames: /r/c: <no> such directory"}, false, 0);
    ASSERT_EQ(page.fault(), "");
    const PageMarkup markup(bytes());
    EXPECT_EQ(pageFaults(markup), Texts());
    EXPECT_EQ(markup.textsOf("td"), (Texts{"0", "0", "0", "0", "10", "1", "0", "0", "0", "19"}));
    const auto rows = markup.named("tbody");
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_NE(rows[0].text.find("/r/b<>.####.exr"), std::string::npos);
    EXPECT_EQ(markup.ofClass("warning")[0].text, "kxCheckFrames: /r/c: <no> such directory");
    EXPECT_EQ(markup.named("section").size(), 2U);
}

TEST_F(PageWriterTest, IsMarkedWhenTheRunWasInterrupted) {
    PageWriter page(path(), Level::headers);
    SequenceName sequence;
    sequence.path = "/r/a.####.exr";
    sequence.frames = 300;
    page.beginSequence(sequence, nullptr);
    page.endSequence(Summary(), true);
    page.finish({}, true, 0);
    ASSERT_EQ(page.fault(), "");
    const PageMarkup markup(bytes());
    EXPECT_EQ(pageFaults(markup), Texts());
    EXPECT_EQ(markup.ofClass("warning")[0].text, "Interrupted. The run was ended before all frames were checked.");
    EXPECT_EQ(markup.ofClass("note")[0].text, "interrupted: 0 of 300 frames checked");
    EXPECT_EQ(markup.textsOf("h1"), Texts{"Interrupted: no frame was checked"});
}

// Nobody who reads only the title takes a part for the whole.
TEST_F(PageWriterTest, SaysInTheHeadlineThatOnlyAPartWasChecked) {
    const struct {
        int good;
        int bad;
        const char* headline;
    } cases[] = {{49, 0, "Interrupted: 49 checked frames are good"},
                 {46, 3, "Interrupted: 3 of 49 checked frames are not good"},
                 {1, 1, "Interrupted: 1 of 2 checked frames is not good"},
                 {1, 0, "Interrupted: 1 checked frame is good"}};
    for (const auto& c : cases) {
        PageFacts facts;
        facts.isInterrupted = true;
        facts.sequences = {{"/r/a.####.exr", {c.good, 0, c.bad, 0, 0}}};
        const PageMarkup page((pageStart(facts) + pageEnd()).toStdString());
        EXPECT_EQ(page.textsOf("h1"), Texts{c.headline});
        EXPECT_EQ(page.textsOf("title")[0].find(c.headline), 0U);
    }
}

TEST_F(PageWriterTest, TellsWhatBecameOfFiles) {
    PageWriter page(path(), Level::pixels);
    SequenceName sequence;
    sequence.path = "/renders/sh010/beauty.####.exr";
    page.beginSequence(sequence, nullptr);
    Summary summary;
    std::vector<FrameReport> frames;
    for (int i = 0; i < 3; ++i) {
        frames.push_back(playedFrame(i, 3, PlayedDamage::all));
        frames.back().action = i == 0 ? Action::none : Action::remove;
        summary.add(frames.back());
        page.frame(frames.back());
    }
    page.kept(frames[2], "Permission <denied>");
    page.endSequence(summary, false);
    page.finish({}, false, 0);
    EXPECT_EQ(PageMarkup(bytes()).textsOf("h4"),
              (Texts{"1001 ✕ bad", "1002 ✕ bad deleted", "1003 ✕ bad not deleted: Permission <denied>"}));
}

TEST_F(PageWriterTest, ShowsTheFirstOfEachLevelInFullAndOthersInShort) {
    constexpr int frames = 1000;
    ASSERT_EQ(writePlayedPage(path(), frames, PlayedDamage::all), "");
    const PageMarkup page(bytes());
    EXPECT_EQ(page.ofClass("frame").size(), std::size_t{frames});
    EXPECT_EQ(page.ofClass("brief").size(), std::size_t{frames - mostDetailedFrames});
    EXPECT_EQ(page.ofClass("histogram").size(), std::size_t{frames});
    EXPECT_EQ(page.ofClass("tile").size(), std::size_t{frames});
    const std::string text = page.ofClass("brief")[0].text;
    EXPECT_EQ(text.substr(0, text.find("Picture")),
              "1201 ✕ bad↑ previousoverview↓ nextchunk: rows 200 to 1079 of 1080 can't be decoded ");
    std::set<std::string> pictures;
    for (const PageElement& picture : page.named("img")) pictures.insert(picture.attribute("alt"));
    pictures.erase("");
    EXPECT_EQ(pictures.size(), std::size_t{frames});
}

// A browser takes as long as there are elements and bytes.
TEST_F(PageWriterTest, StaysSmallWithThousandsOfFrames) {
    ASSERT_EQ(writePlayedPage(path(), 25000, PlayedDamage::some), "");
    const std::string some = bytes();
    EXPECT_LT(some.size(), 16U << 20);
    EXPECT_LT(std::count(some.begin(), some.end(), '<'), 60000);
    ASSERT_EQ(writePlayedPage(path(), 25000, PlayedDamage::all), "");
    const std::string all = bytes();
    EXPECT_LT(all.size(), 32U << 20);
    EXPECT_LT(std::count(all.begin(), all.end(), '<'), 350000);
    EXPECT_NE(all.find("rows 24999 to 1079"), std::string::npos);
    EXPECT_EQ(QByteArray::fromStdString(all).count("<article "), mostSections);
    EXPECT_EQ(QByteArray::fromStdString(all).count("\"frame row "), 25000 - mostSections);
    EXPECT_NE(all.find("Of 23000 there are findings only"), std::string::npos);
}

TEST_F(PageWriterTest, HasSectionsInShortOnlyOfWhatHasAPicture) {
    PageWriter page(path(), Level::structure);
    SequenceName sequence;
    sequence.frames = mostDetailedFrames + 20;
    page.beginSequence(sequence, nullptr);
    for (int i = 0; i < sequence.frames; ++i) {
        FrameReport frame = playedFrame(i, 1000, PlayedDamage::all);
        frame.file.picture.reset();
        page.frame(frame);
    }
    page.endSequence({}, false);
    page.finish({}, false, 0);
    const PageMarkup markup(bytes());
    EXPECT_EQ(markup.ofClass("brief").size(), 0U);
    EXPECT_EQ(markup.ofClass("row").size(), 20U);
    EXPECT_EQ(markup.ofClass("note").size(), 0U);
}

TEST_F(PageWriterTest, LeavesPicturesOutWhereTheyHaveNoRoomAndSaysSo) {
    PageWriter page(path(), Level::pixels, 50000);
    playSequence(page, 100, PlayedDamage::none);
    page.finish({}, false, 0);
    ASSERT_EQ(page.fault(), "");
    const PageMarkup markup(bytes());
    EXPECT_EQ(pageFaults(markup), Texts());
    EXPECT_LT(bytes().size(), 120000U);
    EXPECT_GT(markup.named("img").size(), 5U);
    EXPECT_LT(markup.named("img").size(), 95U);
    EXPECT_EQ(markup.ofClass("tile").size(), 100U);
    ASSERT_EQ(markup.ofClass("warning").size(), 1U);
    EXPECT_EQ(markup.ofClass("warning")[0].text,
              "Pictures are left out: with all of them the page would be too large.");
}

// A first sequence without a fault leaves room for what is wrong with the second.
TEST_F(PageWriterTest, LeavesHalfTheRoomToFramesThatAreNotGood) {
    const std::int64_t tile = playedFrame(0, 100, PlayedDamage::none).file.preview.small.size();
    PageWriter page(path(), Level::pixels, tile * 60);
    playSequence(page, 100, PlayedDamage::none, "/r/a.####.exr");
    playSequence(page, 2, PlayedDamage::all, "/r/b.####.exr");
    page.finish({}, false, 0);
    const PageMarkup markup(bytes());
    std::size_t withoutName = 0;
    std::string shown;
    for (const PageElement& picture : markup.named("img"))
        picture.attribute("alt").empty() ? void(++withoutName) : void(shown += picture.attribute("alt") + "; ");
    EXPECT_EQ(shown, "Picture of frame 1001; Picture of frame 1002; ");
    EXPECT_GT(withoutName, 20U);
    EXPECT_LT(withoutName, 40U);
}

// The large pictures of good frames are never shown.
TEST_F(PageWriterTest, KeepsOnlySmallPicturesOfGoodFrames) {
    PageWriter page(path(), Level::pixels);
    SequenceName sequence;
    sequence.frames = 500;
    page.beginSequence(sequence, nullptr);
    std::int64_t small = 0;
    for (int i = 0; i < 500; ++i) {
        FrameReport frame = playedFrame(i, 500, PlayedDamage::none);
        small += frame.file.preview.small.size();
        page.takePreview(frame.name, frame.file);
        EXPECT_TRUE(frame.file.preview.jpeg.isEmpty());
        page.frame(frame);
    }
    EXPECT_GE(page.temporarySize(), small);
    EXPECT_LT(page.temporarySize(), 2 * small + 100000);
}

TEST_F(PageWriterTest, ShowsNoPictureThatWasDropped) {
    PageWriter page(path(), Level::pixels);
    SequenceName sequence;
    sequence.frames = 1;
    FrameReport frame = playedFrame(0, 1, PlayedDamage::none);
    page.takePreview(frame.name, frame.file);
    page.dropPreview(frame.name);
    page.dropPreview(frame.name);
    page.beginSequence(sequence, nullptr);
    page.frame(frame);
    page.endSequence({}, false);
    page.finish({}, false, 0);
    ASSERT_EQ(page.fault(), "");
    EXPECT_EQ(PageMarkup(bytes()).named("img").size(), 0U);
}

TEST_F(PageWriterTest, KnowsBeforehandWhatCantBeWritten) {
    ASSERT_TRUE(writeFileBytes(dir.file("frame"), "\x76\x2f\x31\x01 and what follows"));
    ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
    const struct {
        const char* name;
        const char* fault;
    } cases[] = {{"none/page.html", ": No such file or directory"},
                 {"", ": Is a directory"},
                 {"frame", ": this is an EXR file, and is not overwritten"},
                 {"pipe", ": this is no regular file, and is not replaced"}};
    for (const auto& c : cases) {
        PageWriter page(path(c.name), Level::pixels);
        EXPECT_EQ(page.fault(), path(c.name) + c.fault);
        page.finish({}, false, 0);
    }
    EXPECT_EQ(dir.entries(), (Texts{"frame", "pipe"}));
    EXPECT_EQ(readFileBytes(dir.file("frame")), std::string("\x76\x2f\x31\x01 and what follows"));
}

TEST_F(PageWriterTest, KnowsBeforehandThatPicturesHaveNoPlace) {
    const TmpdirVariable none(dir.file("none"));
    const PageWriter page(path(), Level::pixels);
    EXPECT_EQ(page.fault(), path() + ": temporary file: No such file or directory");
}

TEST_F(PageWriterTest, LeavesTheOldPageUntilTheEndAndNothingElse) {
    ASSERT_TRUE(writeFileBytes(dir.file("page.html"), "old"));
    {
        PageWriter page(path(), Level::pixels);
        playSequence(page, 5, PlayedDamage::some);
        EXPECT_EQ(bytes(), "old");
        EXPECT_EQ(dir.entries(), Texts{"page.html"});
    }
    EXPECT_EQ(bytes(), "old");  // a run that ends without its page
    EXPECT_EQ(dir.entries(), Texts{"page.html"});
}
