// SPDX-License-Identifier: BSD-3-Clause
// The page of the program: what it shows of real sequences, and how it comes to be written or not.
#include "tests/support/CheckTest.h"
#include "tests/support/PageMarkup.h"
#include "tests/support/Patterns.h"

#include <algorithm>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Texts = std::vector<std::string>;

class CheckPageTest : public CheckTest {
protected:
    std::string bytes() const { return readFileBytes(dir.file("page.html")); }

    // The page after a run with these arguments, which needs nothing from elsewhere.
    PageMarkup page(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"--report", "page.html"});
        static_cast<void>(check(arguments));
        PageMarkup markup(bytes());
        EXPECT_EQ(pageFaults(markup), Texts());
        return markup;
    }

    // Labels of the frames that are not good, with their verdicts.
    static std::string framesOf(const PageMarkup& page) {
        std::string text;
        for (const PageElement& frame : page.ofClass("frame")) {
            const Match match = firstMatch(frame.text, "^(.*?) [^ ]+ (bad|missing|suspicious|unknown)");
            if (!match.empty()) text += match[1] + " " + match[2] + "; ";
        }
        return text;
    }
};

}  // namespace

TEST_F(CheckPageTest, ShowsEveryFrameThatIsNotGood) {
    mixedSequence();
    const PageMarkup markup = page({"beauty.1001.exr"});
    EXPECT_EQ(framesOf(markup), "1003 missing; 1004 bad; 1005 bad; 1006 bad; 1008 unknown; ");
    EXPECT_EQ(markup.textsOf("h1"), Texts{"5 of 10 frames are not good"});
    EXPECT_EQ(markup.textsOf("h2"), Texts{"beauty.####.exr"});
    EXPECT_EQ(markup.ofClass("facts")[0].text, "1001-1010 · 64x36 · 4 channels half · zip");
    EXPECT_NE(bytes().find("<b>truncated</b> rows 32 to 35 of 36 are missing"), std::string::npos);
    EXPECT_NE(bytes().find("<b>differs</b> has channel Z that the others lack"), std::string::npos);
    EXPECT_NE(bytes().find("unreadable: the link leads nowhere"), std::string::npos);
}

TEST_F(CheckPageTest, HasPicturesOfDecodedFrames) {
    mixedSequence();
    const PageMarkup markup = page({"beauty.1001.exr"});
    ASSERT_EQ(markup.ofClass("tile").size(), 10U);
    std::string without;
    for (const PageElement& tile : markup.ofClass("tile"))
        if (tile.text.find("no picture") == 0) without += tile.text.substr(10, 4) + " ";
    EXPECT_EQ(without, "1003 1006 1008 ");
    std::string large;
    for (const PageElement& picture : markup.named("img"))
        if (!picture.attribute("alt").empty()) large += picture.attribute("alt") + "; ";
    EXPECT_EQ(large, "Picture of frame 1004; Picture of frame 1005; ");
    EXPECT_EQ(markup.ofClass("partial").size(), 1U) << "the end of 1004 is missing";
    EXPECT_EQ(markup.ofClass("histogram").size(), 1U);
    EXPECT_EQ(markup.ofClass("plot").size(), 2U) << "no frame has two neighbours to differ from";
    const PageMarkup structure = page({"-l", "structure", "beauty.1001.exr"});
    EXPECT_EQ(structure.named("img").size(), 0U);
    EXPECT_EQ(structure.ofClass("plot").size(), 1U);
}

TEST_F(CheckPageTest, ChangesNothingThatIsPrinted) {
    mixedSequence();
    const std::string without = outcome({"beauty.1001.exr"});
    EXPECT_EQ(outcome({"--report", "page.html", "beauty.1001.exr"}), without);
    EXPECT_EQ(outcome({"--list=bad", "--report", "page.html", "beauty.1001.exr"}), "1004-1006\nexit 1");
}

TEST_F(CheckPageTest, StandsInTheOrderOfTheFramesHoweverLinesAreSorted) {
    mixedSequence();
    const std::string time = "[0-9-]+ [0-9:]+ UTC</p>";
    static_cast<void>(page({"beauty.1001.exr"}));
    const std::string byFrame = withReplaced(bytes(), time, "");
    for (const char* const key : {"-frame", "size", "-date"}) {
        static_cast<void>(page({"--sort", key, "beauty.1001.exr"}));
        EXPECT_EQ(withReplaced(bytes(), time, ""), byFrame) << key;
    }
}

TEST_F(CheckPageTest, HasAllSequencesOfARun) {
    mixedSequence();
    frames("good.", 1, 3);
    frame("comp.exr");
    const PageMarkup markup = page({"."});
    EXPECT_EQ(markup.textsOf("h2"), (Texts{"./beauty.####.exr", "./comp.exr", "./good.####.exr"}));
    EXPECT_EQ(markup.named("tbody").size(), 1U);
    EXPECT_EQ(markup.ofClass("strip").size(), 2U);
}

TEST_F(CheckPageTest, SaysWhatCouldNotBeChecked) {
    frames("good.", 1, 3);
    const PageMarkup markup = page({"good.0001.exr", "none/a.0001.exr"});
    ASSERT_EQ(markup.ofClass("warning").size(), 1U);
    EXPECT_NE(markup.ofClass("warning")[0].text.find("none"), std::string::npos);
    EXPECT_EQ(page({"nothing/a.1.exr"}).textsOf("h1"), Texts{"No frame was checked"});
}

TEST_F(CheckPageTest, TellsWhatWasRemoved) {
    mixedSequence();
    makeYoung("beauty.1006.exr");
    const PageMarkup markup = page({"--delete", "beauty.1001.exr"});
    Texts outcomes;
    for (const PageElement& outcome : markup.ofClass("outcome")) outcomes.push_back(outcome.text);
    ASSERT_EQ(outcomes.size(), 3U);
    EXPECT_EQ(outcomes[0], "deleted");
    EXPECT_EQ(outcomes[1], "deleted");
    EXPECT_EQ(outcomes[2].substr(0, 13), "not deleted: ");
    EXPECT_FALSE(entryExists(dir.file("beauty.1004.exr")));
    EXPECT_TRUE(entryExists(dir.file("beauty.1006.exr")));
}

TEST_F(CheckPageTest, TellsWhenNothingWasRemovedBecauseItWasTooMuch) {
    frames("a.", 1, 3);
    for (const char* const name : {"a.0001.exr", "a.0002.exr"}) cut(name, 400);
    const PageMarkup markup = page({"--delete", "a.0001.exr"});
    EXPECT_EQ(markup.ofClass("note")[0].text.substr(0, 15), "nothing removed");
    EXPECT_EQ(markup.ofClass("outcome")[0].text, "not deleted");
}

// Names of files and channels are anyone's.
TEST_F(CheckPageTest, EscapesWhateverFilesAreCalled) {
    const std::string name = "<img src=x onerror=alert(1)>&\"'\xff\x1b]8;;";
    for (const char* const number : {"1", "2", "3", "4", "5"}) frame(name + "." + number + ".exr");
    frame(name + ".3.exr", samplePartOf({"</script><b>", "B", "G", "R"}));
    cut(name + ".4.exr", 300);
    const PageMarkup markup = page({name + ".1.exr"});
    EXPECT_EQ(framesOf(markup), "3 bad; 4 bad; ");
    EXPECT_EQ(markup.textsOf("h2")[0], "<img src=x onerror=alert(1)>&\"'\xef\xbf\xbd\\x1b]8;;.####.exr");
    EXPECT_NE(bytes().find("&lt;/script&gt;&lt;b&gt;"), std::string::npos);
    EXPECT_EQ(bytes().find("<img src=x"), std::string::npos);
}

TEST_F(CheckPageTest, NeverTakesTheNameOfAFrame) {
    frames("a.", 1, 3);
    std::filesystem::copy_file(dir.file("a.0001.exr"), dir.file("copy"));
    const std::string before = readFileBytes(dir.file("copy"));
    EXPECT_EQ(outcome({"--report", "copy", "a.0001.exr"}),
              "2> kxCheckFrames: copy: this is an EXR file, and is not overwritten\nexit 3");
    EXPECT_EQ(readFileBytes(dir.file("copy")), before);
    EXPECT_EQ(check({"--report", "a.0001.exr", "a.0002.exr"}).exitCode, 2);
}

TEST_F(CheckPageTest, IsKnownBeforehandToHaveNoPlace) {
    frames("cut.", 1, 3);
    cut("cut.0002.exr", 400);
    EXPECT_EQ(outcome({"--delete", "--report", "none/page.html", "cut.0001.exr"}),
              "2> kxCheckFrames: none/page.html: No such file or directory\nexit 3");
    EXPECT_EQ(outcome({"--delete", "--report", ".", "cut.0001.exr"}),
              "2> kxCheckFrames: .: Is a directory\nexit 3");
    EXPECT_TRUE(entryExists(dir.file("cut.0002.exr")));
}

// No file may grow beyond what has room for the sections but not for the page, or not even for them.
TEST_F(CheckPageTest, IsTheOldOneWhenTheDiskIsFull) {
    frames("a.", 1, 3);
    ASSERT_TRUE(writeFileBytes(dir.file("page.html"), "old"));
    const Texts before = dir.entries();
    for (const char* const blocks : {"12", "1"}) {
        const std::string script = std::string("trap '' XFSZ; ulimit -f ") + blocks + "; exec \"$@\"";
        ProcessOptions options;
        options.workingDirectory = dir.path();
        const ProcessResult result = runProcess(
            {"/bin/bash", "-c", script, "bash", checkPath(), "--report", "page.html", "a.0001.exr"}, options);
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_NE(result.err.find("kxCheckFrames: page.html: "), std::string::npos) << result.err;
        EXPECT_NE(result.err.find("File too large"), std::string::npos) << result.err;
        EXPECT_EQ(bytes(), "old");
        EXPECT_EQ(dir.entries(), before);
    }
}

// The pixels of the 90th frame are never there.
TEST_F(CheckPageTest, IsMarkedAfterAnInterruption) {
    frames("a.", 1, 100);
    cut("a.0002.exr", 400);
    std::filesystem::create_symlink(KX_WATCHED_CALLS, dir.file("preload.so"));
    const std::string script =
        "set -m; export LD_PRELOAD=$PWD/preload.so KX_DELAY=5000 KX_FAULTS='read a.0090.exr hang 1 0'; "
        "\"$@\" > out.txt & unset LD_PRELOAD; "
        "until [ \"$(wc -l < out.txt)\" -gt 5 ]; do sleep 0.02; done; kill -s INT %1; wait %1";
    ProcessOptions options;
    options.workingDirectory = dir.path();
    const ProcessResult result = runProcess(
        {"/bin/bash", "-c", script, "bash", checkPath(), "-v", "-j", "1", "--report", "page.html", "a.0001.exr"},
        options);
    EXPECT_EQ(result.exitCode, 130) << result.err;
    const PageMarkup markup(bytes());
    EXPECT_EQ(pageFaults(markup), Texts());
    ASSERT_EQ(markup.ofClass("warning").size(), 1U);
    EXPECT_EQ(markup.ofClass("warning")[0].text, "Interrupted. The run was ended before all frames were checked.");
    EXPECT_EQ(framesOf(markup), "0002 bad; ");
    EXPECT_TRUE(hasMatch(markup.ofClass("note")[0].text, "^interrupted: [0-9]+ of 100 frames checked$"));
    EXPECT_TRUE(hasMatch(markup.textsOf("h1")[0], "^Interrupted: 1 of [0-9]+ checked frames is not good$"));
}

TEST_F(CheckPageTest, IsReplacedAndLeavesNothingElse) {
    frames("a.", 1, 3);
    const Texts files = dir.entries();
    for (int run = 0; run < 2; ++run) EXPECT_EQ(page({"a.0001.exr"}).textsOf("h1"), Texts{"All 3 frames are good"});
    Texts expected = files;
    expected.push_back("page.html");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(dir.entries(), expected);
}
