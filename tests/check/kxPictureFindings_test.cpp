// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureFindings.h"

#include <gtest/gtest.h>

#include <string>

using namespace kxCheck;

namespace {

PictureFacts pictureIn(std::size_t bin) {
    PictureFacts picture;
    for (auto& channel : picture.histogram) channel[bin] = 1000000;
    return picture;
}

PictureReport reportWith(const PictureFacts& picture) {
    PictureReport report;
    report.picture = picture;
    return report;
}

PictureReport reportWith(const StrangeSamples& strange) {
    PictureReport report;
    report.strange = {strange};
    return report;
}

// Codes, with "!" behind an error.
std::string codesOf(const std::vector<Finding>& findings) {
    std::string codes;
    for (const Finding& finding : findings) {
        codes += (codes.empty() ? "" : " ") + std::string(rowOf(finding.code).name);
        if (finding.severity == Severity::error) codes += "!";
    }
    return codes;
}

std::string codesOf(const PictureReport& report, const PictureNeighbours& neighbours = {}) {
    return codesOf(judgePicture(report, neighbours).findings);
}

}  // namespace

TEST(PictureFindings, AreNoneOfASoundPicture) {
    const PictureFacts picture = pictureIn(3);
    EXPECT_EQ(codesOf(reportWith(picture), {&picture, &picture}), "");
    EXPECT_EQ(codesOf(PictureReport(), {&picture, &picture}), "");
}

TEST(PictureFindings, CountStrangeSamplesPerChannel) {
    PictureReport report;
    report.strange = {{0, "R", 3, 0}, {1, "beauty.A", 1, 2}};
    const std::vector<Finding> findings = judgePicture(report, {}).findings;
    ASSERT_EQ(codesOf(findings), "nan nan inf");
    EXPECT_EQ(findings[0].text, "3 samples of channel R: not a number");
    EXPECT_EQ(findings[0].part, 0);
    EXPECT_EQ(findings[0].channel, "R");
    EXPECT_EQ(findings[0].count, 3);
    EXPECT_EQ(findings[1].text, "1 sample of channel beauty.A: not a number");
    EXPECT_EQ(findings[2].text, "2 samples of channel beauty.A: infinite");
    EXPECT_EQ(findings[2].part, 1);
    EXPECT_EQ(findings[2].count, 2);
}

TEST(PictureFindings, FindInfiniteSamplesInColoursAndAlphaOnly) {
    const struct {
        const char* channel;
        bool isFound;
    } cases[] = {
        {"R", true},         {"G", true},     {"B", true},           {"A", true},         {"Y", true},
        {"diffuse.R", true}, {"a.b.Y", true}, {".G", true},          {"Z", false},        {"r", false},
        {"RY", false},       {"BY", false},   {"R.Z", false},        {"depth", false},    {"AR", false},
        {"R.", false},       {"", false},     {"beauty.red", false}, {"motion.X", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(codesOf(reportWith(StrangeSamples{0, c.channel, 0, 1})), c.isFound ? "inf" : "") << c.channel;
        EXPECT_EQ(codesOf(reportWith(StrangeSamples{0, c.channel, 1, 0})), "nan") << c.channel;
    }
}

TEST(PictureFindings, CallAPictureBlackOrFlatNotBoth) {
    PictureFacts picture = pictureIn(0);
    picture.isBlack = picture.isFlat = true;
    EXPECT_EQ(codesOf(reportWith(picture)), "black");
    picture.isBlack = false;
    EXPECT_EQ(codesOf(reportWith(picture)), "flat");
}

TEST(PictureFindings, NameMissingAlpha) {
    PictureFacts picture = pictureIn(5);
    picture.isAlphaMissing = true;
    EXPECT_EQ(codesOf(reportWith(picture)), "alpha-missing");
}

TEST(PictureFindings, HoldAMissingTileAgainstTheNeighbours) {
    const PictureFacts whole = pictureIn(5);
    PictureFacts holed = whole;
    holed.isTileMissing = true;
    PictureFacts soft = whole;  // the same in the scene, between two pixels
    soft.hasDarkCorner = true;
    const struct {
        const PictureFacts* before;
        const PictureFacts* after;
        const char* codes;
        const char* text;
        const PictureFacts* secondBefore = nullptr;
        const PictureFacts* secondAfter = nullptr;
    } cases[] = {
        {&whole, &whole, "tile-missing!", "a block of the picture was left black"},
        {&whole, nullptr, "tile-missing!", "a block of the picture was left black"},
        {nullptr, &whole, "tile-missing!", "a block of the picture was left black"},
        {&holed, &whole, "tile-missing",
         "a block of the picture was left black; the frame before seems to have one too"},
        {&whole, &holed, "tile-missing",
         "a block of the picture was left black; the frame after it seems to have one too"},
        {&holed, nullptr, "tile-missing",
         "a block of the picture was left black; the frame before seems to have one too"},
        {nullptr, &holed, "tile-missing",
         "a block of the picture was left black; the frame after it seems to have one too"},
        {nullptr, nullptr, "tile-missing",
         "a block of the picture was left black; there is no neighbour to compare it with"},
        {&holed, &holed, "", ""},
        {&holed, &whole, "", "", &holed},
        {&holed, nullptr, "", "", &holed, &whole},
        {&whole, &holed, "", "", &whole, &holed},
        {nullptr, &holed, "", "", &whole, &holed},
        {&holed, &whole, "tile-missing",
         "a block of the picture was left black; the frame before seems to have one too", &whole, &holed},
        {&whole, &holed, "tile-missing",
         "a block of the picture was left black; the frame after it seems to have one too", &holed, &whole},
        {&whole, &whole, "tile-missing!", "a block of the picture was left black", &holed, &holed},
        {&soft, &soft, "", ""},
        {&soft, &whole, "", "", &soft},
        {&soft, &whole, "tile-missing",
         "a block of the picture was left black; the frame before seems to have one too", &whole, &soft},
    };
    for (const auto& c : cases) {
        const PictureNeighbours around = {c.before, c.after, c.secondBefore, c.secondAfter};
        const std::vector<Finding> findings = judgePicture(reportWith(holed), around).findings;
        EXPECT_EQ(codesOf(findings), c.codes);
        EXPECT_EQ(findings.empty() ? "" : findings[0].text, c.text);
        EXPECT_EQ(codesOf(reportWith(whole), {c.before, c.after}), "")
            << "what neighbours lack is not this frame's";
    }
}

TEST(PictureFindings, JumpWhereBothNeighboursAreUnlike) {
    const PictureFacts usual = pictureIn(5);
    const PictureFacts other = pictureIn(7);
    const PictureJudgement judgement = judgePicture(reportWith(other), {&usual, &usual});
    EXPECT_DOUBLE_EQ(judgement.jump, 20);
    ASSERT_EQ(codesOf(judgement.findings), "jump");
    EXPECT_EQ(judgement.findings[0].text,
              "differs 20.0 times as much from its neighbours as they do from each other");
    for (const PictureNeighbours& fewer :
         {PictureNeighbours{&usual, nullptr}, PictureNeighbours{nullptr, &usual}}) {
        EXPECT_EQ(judgePicture(reportWith(other), fewer).jump, 0);
        EXPECT_FALSE(judgePicture(reportWith(other), fewer).isCompared);
        EXPECT_EQ(codesOf(reportWith(other), fewer), "");
    }
    EXPECT_TRUE(judgement.isCompared);
    EXPECT_EQ(judgePicture(PictureReport(), {&usual, &usual}).jump, 0);
    EXPECT_FALSE(judgePicture(PictureReport(), {&usual, &usual}).isCompared);
}

// Between two neighbours that are alike the distance alone decides, beyond the first border of bins: 0.4 of a bin.
TEST(PictureFindings, JumpOnlyWhereThePictureStandsOut) {
    const PictureFacts usual = pictureIn(5);
    PictureFacts other = usual;
    const auto judgementWith = [&](unsigned moved) {
        for (auto& channel : other.histogram) {
            channel[5] = 1000000 - moved;
            channel[7] = moved;
        }
        return judgePicture(reportWith(other), {&usual, &usual});
    };
    EXPECT_NEAR(judgementWith(399999).jump, 8, 0.001);
    EXPECT_EQ(codesOf(judgementWith(399999).findings), "");
    EXPECT_EQ(codesOf(judgementWith(400002).findings), "jump");
}

// A flat backdrop at the border of two bins.
TEST(PictureFindings, JumpNotWhereAllGoesOverToTheNextBin) {
    const PictureFacts usual = pictureIn(5);
    const PictureJudgement judgement = judgePicture(reportWith(pictureIn(6)), {&usual, &usual});
    EXPECT_DOUBLE_EQ(judgement.jump, 10);
    EXPECT_EQ(codesOf(judgement.findings), "");
}

TEST(PictureFindings, JumpAboveTwoOnly) {
    const PictureFacts before = pictureIn(5);
    const PictureFacts after = pictureIn(7);
    const PictureFacts other = pictureIn(12);
    const PictureJudgement judgement = judgePicture(reportWith(other), {&before, &before, &before, &after});
    EXPECT_DOUBLE_EQ(judgement.jump, 70);
    EXPECT_EQ(codesOf(judgement.findings), "") << "light as restless as the picture is unlike";
    EXPECT_EQ(codesOf(reportWith(other), {&before, &before, &before, nullptr}), "jump");
    EXPECT_EQ(codesOf(reportWith(other), {&before, &before, &after, nullptr}), "");
    EXPECT_EQ(codesOf(reportWith(other), {&before, &after}), "");
}

TEST(RepeatedFinding, NamesTheFrameBefore) {
    FrameName before;
    before.number = 41;
    before.text = "0041";
    before.tile = 2;
    const Finding finding = repeatedFinding(before);
    EXPECT_EQ(finding.code, Code::repeated);
    EXPECT_EQ(finding.severity, Severity::warning);
    EXPECT_EQ(finding.text, "all samples are those of 0041 tile 2");
}
