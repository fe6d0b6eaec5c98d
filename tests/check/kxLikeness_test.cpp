// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxLikeness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <string>

using namespace kxCheck;
using kxExr::Channel;
using kxExr::Part;
using kxExr::PixelType;

namespace {

using Shared = std::shared_ptr<const Headers>;

Part hdPart(const QByteArray& name = {}) {
    Part part;
    part.name = name;
    part.displayWindow = part.dataWindow = {0, 0, 1919, 1079};
    part.compression = kxExr::Compression::zip;
    for (const char* channel : {"A", "B", "G", "R"}) part.channels.push_back({channel, PixelType::half, 1, 1});
    return part;
}

Headers oneHdPart() {
    return {hdPart()};
}

Headers threeParts() {
    return {hdPart("rgba"), hdPart("depth"), hdPart("normal")};
}

Shared shared(const Headers& headers) {
    return std::make_shared<const Headers>(headers);
}

std::vector<Shared> copies(const Headers& headers, int count) {
    std::vector<Shared> frames;
    for (int i = 0; i < count; ++i) frames.push_back(shared(headers));
    return frames;
}

std::vector<Shared> joined(std::vector<Shared> a, const std::vector<Shared>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

using Change = std::function<void(Headers&)>;

Headers changed(Headers headers, const Change& change) {
    change(headers);
    return headers;
}

// "differs: pixel aspect 2, the others have 1" lines, with "@1" behind the code for part 1.
std::string described(const std::vector<Finding>& findings) {
    std::string all;
    for (const Finding& finding : findings) {
        all += all.empty() ? "" : "\n";
        all += rowOf(finding.code).name;
        if (finding.part) all += "@" + std::to_string(*finding.part);
        all += ": " + finding.text.toStdString();
    }
    return all;
}

// What is said of the changed frame among ten that are as they were.
std::string deviation(const Headers& common, const Change& change) {
    const Headers headers = changed(common, change);
    const Likeness likeness(joined(copies(common, 10), {shared(headers)}));
    EXPECT_EQ(described(likeness.deviations(common)), "");
    return described(likeness.deviations(headers));
}

Headers withAspect(float aspect) {
    return changed(oneHdPart(), [aspect](Headers& h) { h[0].pixelAspectRatio = aspect; });
}

// The common pixel aspect of the frames, found by counting each; 0 for none. Null frames have no vote.
float plainCommonAspect(const std::vector<Shared>& frames) {
    std::map<float, std::size_t> votes;
    std::size_t all = 0;
    for (const Shared& headers : frames) {
        if (!headers) continue;
        ++votes[headers->front().pixelAspectRatio];
        ++all;
    }
    for (const auto& [aspect, count] : votes)
        if (all >= 4 && count * 4 >= all * 3) return aspect;
    return 0;
}

struct ChangeCase {
    Change change;
    const char* expected;
};

void expectDeviations(const Headers& common, const std::vector<ChangeCase>& cases) {
    for (const ChangeCase& c : cases) EXPECT_EQ(deviation(common, c.change), c.expected);
}

}  // namespace

TEST(Likeness, NamesEachPropertyThatDiffers) {
    expectDeviations(oneHdPart(), {
                                      {[](Headers& h) {
                                           h[0].displayWindow = {0, 0, 959, 539};
                                       },
                                       "differs: display window 960x540, the others have 1920x1080"},
                                      {[](Headers& h) {
                                           h[0].displayWindow = {-1, 2, 1918, 1081};
                                       },
                                       "differs: display window 1920x1080 from -1,2, the others have 1920x1080"},
                                      {[](Headers& h) {
                                           h[0].displayWindow = {0, 1, 1919, 1080};
                                       },
                                       "differs: display window 1920x1080 from 0,1, the others have 1920x1080"},
                                      {[](Headers& h) {
                                           h[0].displayWindow = {1, 0, 1920, 1079};
                                       },
                                       "differs: display window 1920x1080 from 1,0, the others have 1920x1080"},
                                      {[](Headers& h) { h[0].pixelAspectRatio = 2; },
                                       "differs: pixel aspect 2, the others have 1"},
                                      {[](Headers& h) { h[0].name = "rgba"; },
                                       "differs@0: part 0 is 'rgba' scanline, with the others scanline"},
                                      {[](Headers& h) { h[0].storage = kxExr::Storage::deepScanline; },
                                       "differs@0: part 0 is deepscanline, with the others scanline"},
                                      {[](Headers& h) { h[0].compression = kxExr::Compression::piz; },
                                       "differs-coding: compression piz, the others have zip"},
                                      {[](Headers& h) { h[0].lineOrder = kxExr::LineOrder::decreasing; },
                                       "differs-coding: line order decreasing, the others have increasing"},
                                      {[](Headers& h) {
                                           h[0].tiles = kxExr::TileDescription{64, 32};
                                       },
                                       "differs-coding: tile size 64x32, the others have none"},
                                  });
}

TEST(Likeness, LeavesOutWhatMayChangeFromFrameToFrame) {
    expectDeviations(oneHdPart(),
                     {
                         {[](Headers& h) {
                              h[0].dataWindow = {5, 5, 9, 9};
                          },
                          ""},
                         {[](Headers& h) { std::swap(h[0].channels.edit()[0], h[0].channels.edit()[3]); }, ""},
                     });
    Headers tiled = oneHdPart();
    tiled[0].tiles = kxExr::TileDescription{64, 64};
    expectDeviations(tiled, {
                                {[](Headers& h) { h[0].tiles->levels = kxExr::LevelMode::mipmap; }, ""},
                                {[](Headers& h) { h[0].tiles->height = 32; },
                                 "differs-coding: tile size 64x32, the others have 64x64"},
                            });
}

TEST(Likeness, NamesChannelsThatAreLackingExtraOrOther) {
    expectDeviations(
        oneHdPart(),
        {
            {[](Headers& h) { h[0].channels.edit().pop_back(); }, "differs: lacks channel R that the others have"},
            {[](Headers& h) { h[0].channels.edit().resize(2); },
             "differs: lacks 2 channels G, R that the others have"},
            {[](Headers& h) {
                 h[0].channels.push_back({"Z", PixelType::float32, 1, 1});
             },
             "differs: has channel Z that the others lack"},
            {[](Headers& h) { h[0].channels.edit()[1].type = PixelType::float32; },
             "differs: B is float, with the others half"},
            {[](Headers& h) { h[0].channels.edit()[1].xSampling = h[0].channels.edit()[1].ySampling = 2; },
             "differs: B is half every 2x2 pixels, with the others half"},
            {[](Headers& h) {
                 for (Channel& channel : h[0].channels.edit()) channel.type = PixelType::uint;
             },
             "differs: A is uint, with the others half, and 3 more differ"},
            {[](Headers& h) {
                 h[0].channels.edit().erase(h[0].channels.begin());
                 h[0].channels.edit()[0].type = PixelType::uint;
                 h[0].channels.edit()[1].name = "g";
             },
             "differs: lacks 2 channels A, G that the others have; has channel g that the others lack; "
             "B is uint, with the others half"},
            {[](Headers& h) {
                 for (int i = 0; i < 12; ++i)
                     h[0].channels.push_back({"a" + QByteArray::number(10 + i), PixelType::half, 1, 1});
             },
             "differs: has 12 channels a10, a11, a12, a13, a14 and 7 more that the others lack"},
            {[](Headers& h) { h[0].channels.push_back(h[0].channels[0]); },
             "differs: has channel A that the others lack"},
        });
}

TEST(Likeness, NamesTheParts) {
    expectDeviations(threeParts(), {
                                       {[](Headers& h) { h.pop_back(); }, "differs: 2 parts, the others have 3"},
                                       {[](Headers& h) { h.resize(1); }, "differs: 1 part, the others have 3"},
                                       {[](Headers& h) { h[1].name = "z"; },
                                        "differs@1: part 1 is 'z' scanline, with the others 'depth' scanline"},
                                       {[](Headers& h) { h[2].channels.edit().pop_back(); },
                                        "differs@2: part 2: lacks channel R that the others have"},
                                       {[](Headers& h) { h[1].compression = kxExr::Compression::none; },
                                        "differs-coding@1: compression of part 1 none, the others have zip"},
                                       {[](Headers& h) { h[2].lineOrder = kxExr::LineOrder::decreasing; },
                                        "differs-coding@2: line order of part 2 decreasing, the others have "
                                        "increasing"},
                                       {[](Headers& h) {
                                            h[1].tiles = kxExr::TileDescription{64, 32};
                                        },
                                        "differs-coding@1: tile size of part 1 64x32, the others have none"},
                                       {[](Headers& h) {
                                            h[1].displayWindow = {0, 0, 9, 9};
                                        },
                                        ""},
                                       {[](Headers& h) { h[2].pixelAspectRatio = 2; }, ""},
                                       {[](Headers& h) {
                                            for (Part& part : h) part.compression = kxExr::Compression::dwaa;
                                        },
                                        "differs-coding: compression dwaa, the others have zip"},
                                       {[](Headers& h) {
                                            for (Part& part : h) part.displayWindow = {0, 0, 9, 9};
                                        },
                                        "differs: display window 10x10, the others have 1920x1080"},
                                   });
}

TEST(Likeness, ComparesPartsByNameWhereSomeAreMissing) {
    expectDeviations(threeParts(), {
                                       {[](Headers& h) {
                                            h.erase(h.begin() + 1);
                                            h[1].compression = kxExr::Compression::piz;
                                            h[1].channels.edit().clear();
                                        },
                                        "differs: 2 parts, the others have 3\n"
                                        "differs@1: part 1: lacks 4 channels A, B, G, R that the others have\n"
                                        "differs-coding@1: compression of part 1 piz, the others have zip"},
                                   });
}

TEST(Likeness, TakesThreeInFourOfAtLeastFourReadableFrames) {
    const Shared odd = shared(withAspect(2));
    const std::string text = "differs: pixel aspect 2, the others have 1";
    struct {
        int alike;
        int odd;
        int unreadable;
        bool agree;
    } const cases[] = {
        {3, 1, 0, true},  {2, 1, 0, false},  {2, 1, 5, false},   {3, 1, 9, true}, {2, 2, 0, false},
        {5, 2, 0, false}, {6, 2, 0, true},   {8, 3, 0, false},   {9, 3, 0, true}, {1, 1, 0, false},
        {0, 1, 0, false}, {75, 25, 0, true}, {74, 25, 0, false},
    };
    for (const auto& c : cases) {
        std::vector<Shared> frames(static_cast<std::size_t>(c.unreadable));
        frames = joined(frames, std::vector<Shared>(static_cast<std::size_t>(c.odd), odd));
        frames = joined(frames, copies(withAspect(1), c.alike));
        EXPECT_EQ(described(Likeness(frames).deviations(*odd)), c.agree ? text : "")
            << c.alike << " alike, " << c.odd << " odd, " << c.unreadable << " unreadable";
    }
}

TEST(Likeness, JudgesEachPropertyByItself) {
    // Half of the frames have an aspect of their own: no agreement there, but in the compression.
    std::vector<Shared> frames;
    for (int i = 0; i < 8; ++i) frames.push_back(shared(withAspect(i < 4 ? 1.0F : static_cast<float>(i))));
    const Headers odd = changed(withAspect(9), [](Headers& h) { h[0].compression = kxExr::Compression::rle; });
    EXPECT_EQ(described(Likeness(frames).deviations(odd)), "differs-coding: compression rle, the others have zip");
}

TEST(Likeness, DoesNotDependOnTheOrderOfFrames) {
    for (int place = 0; place < 12; ++place) {
        std::vector<Shared> frames = copies(withAspect(1), 12);
        frames[static_cast<std::size_t>(place)] = shared(withAspect(3));
        frames[static_cast<std::size_t>((place + 5) % 12)] = shared(withAspect(4));
        const Likeness likeness(frames);
        EXPECT_EQ(described(likeness.deviations(withAspect(3))), "differs: pixel aspect 3, the others have 1");
        EXPECT_EQ(described(likeness.deviations(withAspect(1))), "");
    }
}

TEST(Likeness, FindsWhatCountingEachValueFinds) {
    std::mt19937 random(20240229);
    int agreements = 0;
    for (int round = 0; round < 2000; ++round) {
        const auto oneIn = 2 + random() % 7;
        std::vector<Shared> frames;
        for (auto count = random() % 24; count > 0; --count) {
            const float aspect = random() % oneIn == 0 ? static_cast<float>(2 + random() % 3) : 1.0F;
            frames.push_back(random() % 9 == 0 ? nullptr : shared(withAspect(aspect)));
        }
        const float common = plainCommonAspect(frames);
        agreements += common > 0 ? 1 : 0;
        const std::vector<Finding> found = Likeness(frames).deviations(withAspect(9));
        ASSERT_EQ(found.size(), common > 0 ? 1U : 0U) << round;
        if (common == 0) continue;
        ASSERT_EQ(found[0].text,
                  "pixel aspect 9, the others have " + QByteArray::number(static_cast<double>(common)));
    }
    EXPECT_GT(agreements, 500);
    EXPECT_LT(agreements, 1800);
}

TEST(Likeness, TakesNotANumberForOneValue) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Likeness likeness(copies(withAspect(nan), 5));
    EXPECT_EQ(described(likeness.deviations(withAspect(nan))), "");
    EXPECT_EQ(described(likeness.deviations(withAspect(1))), "differs: pixel aspect 1, the others have nan");
}

TEST(Likeness, OfNoFramesFindsNothing) {
    EXPECT_EQ(described(Likeness({}).deviations(oneHdPart())), "");
    EXPECT_EQ(described(Likeness(std::vector<Shared>(9)).deviations(oneHdPart())), "");
    EXPECT_EQ(described(Likeness(copies({}, 9)).deviations(oneHdPart())), "");
    EXPECT_EQ(described(Likeness(copies(oneHdPart(), 9)).deviations({})), "");
}
