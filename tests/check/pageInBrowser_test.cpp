// SPDX-License-Identifier: BSD-3-Clause
// Pages as a validator and a real browser take them.
#include "tests/support/Patterns.h"
#include "tests/support/PlayedPage.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using Texts = std::vector<std::string>;

const char* const validator = "/usr/bin/tidy";
const char* const browser = "/usr/bin/chromium";

// The validator of Debian does not know links within drawings.
bool isKnownToOthers(const std::string& line) {
    return hasMatch(line, "<a> proprietary attribute \"(href|tabindex)\"");
}

Texts linesOf(const std::string& text) {
    Texts lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// Shows the page "page.html" in a frame and writes down what SCRIPT finds there: `page` is its document, `view` its
// window, `say` writes a line.
std::string harnessOf(const std::string& script, int width) {
    return "<!DOCTYPE html><meta charset=utf-8><body><pre id=said></pre><script>\n"
           "const say = text => document.getElementById('said').append(text + '\\n');\n"
           "const frame = document.createElement('iframe');\n"
           "frame.width = " +
           std::to_string(width) +
           "; frame.height = 900;\n"
           "frame.onload = () => {\n"
           "  const view = frame.contentWindow, page = frame.contentDocument;\n"
           "  try {\n" +
           script +
           "\n  } catch (error) { say('failed: ' + error); }\n  say('end');\n};\n"
           "frame.src = 'page.html';\ndocument.body.append(frame);\n</script>\n";
}

class PageTest : public ::testing::Test {
protected:
    void page(int frames, PlayedDamage damage) const {
        ASSERT_EQ(writePlayedPage(QByteArray::fromStdString(dir.file("page.html")), frames, damage), "");
    }
    static void skipWithout(const char* program) {
        if (access(program, X_OK) != 0) GTEST_SKIP() << program << " is not there";
    }

    TempDir dir;
};

class ValidPageTest : public PageTest {
protected:
    void SetUp() override { skipWithout(validator); }
};

class PageInBrowserTest : public PageTest {
protected:
    void SetUp() override { skipWithout(browser); }

    // What the script says of the page, a line each.
    Texts said(const std::string& script, int width = 1400, const Texts& more = {}) const {
        EXPECT_TRUE(writeFileBytes(dir.file("harness.html"), harnessOf(script, width)));
        Texts arguments = {browser,
                           "--headless",
                           "--disable-gpu",
                           "--no-first-run",
                           "--disable-dev-shm-usage",  // it may be small, and tests keep directories there
                           "--allow-file-access-from-files",
                           "--user-data-dir=" + dir.file("profile"),
                           "--dump-dom"};
        if (geteuid() == 0) arguments.push_back("--no-sandbox");  // which can't be had then
        arguments.insert(arguments.end(), more.begin(), more.end());
        arguments.push_back("file://" + dir.file("harness.html"));
        const ProcessResult result = runProcess(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        const Match match = firstMatch(result.out, "<pre id=\"said\">([^<]*)end\n</pre>");
        if (match.empty()) return {"nothing: " + result.out.substr(0, 2000) + result.err};
        return linesOf(match[1]);
    }
};

}  // namespace

TEST_F(ValidPageTest, IsValidHtml) {
    for (const int frames : {1, 24, 1000})
        for (const PlayedDamage damage : {PlayedDamage::none, PlayedDamage::some, PlayedDamage::all}) {
            page(frames, damage);
            const ProcessResult result = runProcess({validator, "-e", "-q", dir.file("page.html")});
            for (const std::string& line : linesOf(result.err + result.out))
                EXPECT_TRUE(isKnownToOthers(line)) << frames << ": " << line;
            EXPECT_LE(result.exitCode, 1);
        }
}

TEST_F(ValidPageTest, ValidatorFindsWhatIsWrong) {
    ASSERT_TRUE(writeFileBytes(dir.file("page.html"), "<!DOCTYPE html><title>x</title><p><b>x</p><foo>"));
    EXPECT_EQ(runProcess({validator, "-e", "-q", dir.file("page.html")}).exitCode, 2);
}

TEST_F(PageInBrowserTest, FitsWindowsOfAnyWidth) {
    const struct {
        int frames;
        PlayedDamage damage;
    } cases[] = {{1, PlayedDamage::all}, {24, PlayedDamage::some}, {1000, PlayedDamage::some}};
    for (const auto& c : cases) {
        page(c.frames, c.damage);
        for (const int width : {400, 1600}) {
            const Texts lines = said(R"(
                say(page.documentElement.scrollWidth - page.documentElement.clientWidth);
                const side = (item, name, edge) => item.querySelector(name).getBoundingClientRect()[edge];
                const counts = [...page.querySelectorAll('.counts li')];
                say(counts.filter(item => side(item, 'b', 'right') > side(item, '.chip', 'left')).length);
            )",
                                     width);
            EXPECT_EQ(lines, (Texts{"0", "0"})) << c.frames << " at " << width;
        }
    }
}

TEST_F(PageInBrowserTest, LeadsWithTheKeyboardFromOneBadFrameToTheNext) {
    page(100, PlayedDamage::some);
    const Texts lines = said(R"(
        const strip = page.querySelector('.strip .track');
        const press = key => strip.dispatchEvent(new view.KeyboardEvent('keydown', {key, bubbles: true}));
        const tell = () => say(strip.getAttribute('aria-valuetext'));
        say(strip.getAttribute('role') + ' ' + strip.tabIndex);
        strip.focus();
        press('ArrowRight'); tell();
        press('ArrowDown'); tell();
        press('ArrowDown'); tell();
        press('PageUp'); tell();
        press('End'); tell();
        press('ArrowUp'); tell();
        press('Home'); tell();
        press('ArrowDown'); press('Enter');
        say(view.location.hash + ' ' + page.activeElement.id);
    )");
    EXPECT_EQ(lines, (Texts{"slider 0", "1002 ✓", "1018 ✕ bad", "1032 ! suspicious", "1018 ✕ bad", "1100 ✓",
                            "1089 to 1091", "1001 ✓", "#f1-18 f1-18"}));
}

// Of many frames a bad one is met by a click that is a few pixels off.
TEST_F(PageInBrowserTest, LeadsWithAClickToAFrame) {
    const struct {
        int frames;
        const char* clicks;
        Texts anchors;
    } cases[] = {
        {100, "click(0); click(50); click(17); click(99);", {"#f1-1", "#f1-51", "#f1-18", "#f1-100"}},
        {1000, "click(0); click(117); click(119); click(187);", {"#f1-1", "#f1-118", "#f1-118", "#f1-189"}}};
    for (const auto& c : cases) {
        page(c.frames, PlayedDamage::some);
        const std::string script = R"(
            const strip = page.querySelector('.strip .track');
            const click = place => {
                const box = strip.getBoundingClientRect();
                const clientX = box.left + (place + 0.5) / COUNT * box.width;
                strip.dispatchEvent(new view.MouseEvent('click', {clientX, bubbles: true, cancelable: true}));
                if (view.location.hash !== '#' + page.activeElement.id) say('not in focus');
                say(view.location.hash);
            };
        )";
        EXPECT_EQ(said(withReplaced(script, "COUNT", std::to_string(c.frames)) + c.clicks), c.anchors);
    }
}

TEST_F(PageInBrowserTest, FollowsTheSettingForDarkPages) {
    page(2, PlayedDamage::none);
    const std::string colour = "say(view.getComputedStyle(page.body).backgroundColor);";
    EXPECT_EQ(said(colour, 800, {"--blink-settings=preferredColorScheme=0"}), Texts{"rgb(21, 24, 27)"});
    EXPECT_EQ(said(colour, 800, {"--blink-settings=preferredColorScheme=1"}), Texts{"rgb(244, 245, 247)"});
}

// What a reader would miss: pictures that are none, elements without size, controls without a name.
TEST_F(PageInBrowserTest, ShowsAllPicturesAndNamesAllControls) {
    page(100, PlayedDamage::some);
    const Texts lines = said(R"(
        say([...page.images].filter(image => !image.complete || image.naturalWidth === 0).length);
        say(page.images.length);
        const controls = [...page.querySelectorAll('a, summary, [role=slider]')].filter(e => e.tabIndex >= 0);
        say(controls.filter(e => !(e.textContent.trim() || e.getAttribute('aria-label'))).length);
        say(controls.length > 100 ? 'many' : controls.length);
        say([...page.querySelectorAll('.strip path, .plot path')].filter(e => e.getBBox().width < 0).length);
    )");
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], "0");
    EXPECT_GT(std::stoi(lines[1]), 100);
    EXPECT_EQ(lines[2], "0");
    EXPECT_EQ(lines[4], "0");
}

TEST_F(PageInBrowserTest, IsWholeWithoutItsScript) {
    page(100, PlayedDamage::some);
    std::string html = readFileBytes(dir.file("page.html"));
    const auto begin = html.find("<script>");
    ASSERT_NE(begin, std::string::npos);
    html.erase(begin, html.find("</script>") - begin);
    ASSERT_TRUE(writeFileBytes(dir.file("page.html"), html));
    const Texts lines = said(R"(
        say(page.querySelector('.strip .track').getAttribute('role'));
        const bar = page.querySelector('.strip a');
        bar.dispatchEvent(new view.MouseEvent('click', {bubbles: true, cancelable: true}));
        say(bar.getAttribute('href'));
        say([...page.querySelectorAll('.frame')].filter(e => e.getBoundingClientRect().height < 20).length);
    )");
    EXPECT_EQ(lines, (Texts{"null", "#f1-18", "0"}));
}

TEST_F(PageInBrowserTest, TakesNoScriptButItsOwn) {
    page(2, PlayedDamage::none);
    std::string html = readFileBytes(dir.file("page.html"));
    html.insert(html.find("<main>"),
                "<script>document.title = 'taken'</script><img src=x onerror=\"document.title = 'taken'\" />");
    ASSERT_TRUE(writeFileBytes(dir.file("page.html"), html));
    EXPECT_EQ(said("say(page.title.substr(0, 5)); say(page.querySelector('.strip .track').getAttribute('role'));"),
              (Texts{"All 2", "slider"}));
}
