// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageStyle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <set>
#include <string>

namespace {

using Colours = std::map<std::string, std::string>;

// The custom properties of the n-th ":root" block.
Colours coloursOf(int block) {
    const std::string style = kxCheck::pageStyle().toStdString();
    std::size_t begin = 0;
    for (int i = 0; i <= block; ++i) begin = style.find(":root {", begin) + 1;
    const std::string text = style.substr(begin, style.find('}', begin) - begin);
    Colours colours;
    for (std::size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at + 2)) {
        const std::size_t colon = text.find(": ", at);
        colours[text.substr(at + 2, colon - at - 2)] = text.substr(colon + 2, 7);
    }
    return colours;
}

double light(const std::string& colour, std::size_t at) {
    const double part = std::stoi(colour.substr(at, 2), nullptr, 16) / 255.0;
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

// WCAG 2: relative luminance and contrast ratio.
double luminance(const std::string& colour) {
    return 0.2126 * light(colour, 1) + 0.7152 * light(colour, 3) + 0.0722 * light(colour, 5);
}

double contrast(const std::string& a, const std::string& b) {
    const double first = luminance(a);
    const double second = luminance(b);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

struct Pair {
    const char* text;
    const char* behind;
};

}  // namespace

TEST(PageStyle, MeasuresContrastAsDefined) {
    EXPECT_NEAR(contrast("#000000", "#ffffff"), 21, 1e-9);
    EXPECT_NEAR(contrast("#777777", "#ffffff"), 4.478, 0.001);
}

TEST(PageStyle, HasTextsThatCanBeRead) {
    constexpr Pair pairs[] = {{"text", "page"}, {"text", "card"}, {"soft", "page"}, {"soft", "card"},
                              {"link", "page"}, {"link", "card"}, {"t0", "b0"},     {"t1", "b1"},
                              {"t2", "b2"},     {"t3", "b3"},     {"red", "card"},  {"green", "card"},
                              {"blue", "card"}, {"page", "text"}};
    for (const int block : {0, 1}) {
        const Colours colours = coloursOf(block);
        for (const Pair& pair : pairs)
            EXPECT_GE(contrast(colours.at(pair.text), colours.at(pair.behind)), 4.5)
                << block << ' ' << pair.text << ' ' << pair.behind;
    }
}

TEST(PageStyle, HasDrawingsThatCanBeSeen) {
    constexpr Pair pairs[] = {{"l0", "card"},    {"l1", "card"},  {"l2", "card"},    {"l3", "card"},
                              {"curve", "card"}, {"red", "page"}, {"green", "page"}, {"blue", "page"}};
    for (const int block : {0, 1}) {
        const Colours colours = coloursOf(block);
        for (const Pair& pair : pairs)
            EXPECT_GE(contrast(colours.at(pair.text), colours.at(pair.behind)), 3)
                << block << ' ' << pair.text << ' ' << pair.behind;
    }
}

// Whatever is drawn upon a card, or upon the page itself.
TEST(PageStyle, DrawsNothingThatCanNotBeSeen) {
    const std::string style = kxCheck::pageStyle().toStdString();
    std::set<std::string> drawn;
    for (const std::string property : {"stroke: var(--", "fill: var(--"})
        for (std::size_t at = style.find(property); at != std::string::npos; at = style.find(property, at + 1)) {
            const std::size_t begin = at + property.size();
            drawn.insert(style.substr(begin, style.find(')', begin) - begin));
        }
    EXPECT_EQ(drawn.count("soft"), 1U) << "of the threshold";
    for (const int block : {0, 1})
        for (const std::string& name : drawn)
            EXPECT_GE(contrast(coloursOf(block).at(name), coloursOf(block).at("card")), 3) << block << ' ' << name;
}

TEST(PageStyle, HasEachColourLightAndDarkAndNoOther) {
    const Colours lightOnes = coloursOf(0);
    const Colours darkOnes = coloursOf(1);
    EXPECT_EQ(lightOnes.size(), darkOnes.size());
    const std::string style = kxCheck::pageStyle().toStdString();
    for (const auto& [name, colour] : lightOnes) {
        EXPECT_EQ(darkOnes.count(name), 1U) << name;
        EXPECT_NE(style.find("var(--" + name + ")"), std::string::npos) << name;
    }
    for (std::size_t at = style.find("var(--"); at != std::string::npos; at = style.find("var(--", at + 1))
        EXPECT_EQ(lightOnes.count(style.substr(at + 6, style.find(')', at) - at - 6)), 1U);
}

// They end the element they stand in.
TEST(PageStyle, HasNoTagsInStyleAndScript) {
    EXPECT_EQ(kxCheck::pageStyle().count('<'), 0);
    EXPECT_EQ(kxCheck::pageScript().count("</"), 0);
    EXPECT_EQ(kxCheck::pageScript().count("<!"), 0);
}
