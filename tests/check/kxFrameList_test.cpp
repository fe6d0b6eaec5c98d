// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>

namespace {

using kxCheck::formatFrameList;
using kxCheck::FrameNumbers;
using kxCheck::mostFrames;
using kxCheck::parseFrameList;

FrameNumbers framesOf(const QByteArray& text) {
    const auto parsed = parseFrameList(text);
    if (const auto* const fault = std::get_if<QByteArray>(&parsed)) {
        ADD_FAILURE() << text.constData() << ": " << fault->constData();
        return {};
    }
    return std::get<FrameNumbers>(parsed);
}

std::string faultOf(const QByteArray& text) {
    const auto parsed = parseFrameList(text);
    const auto* const fault = std::get_if<QByteArray>(&parsed);
    return fault ? fault->toStdString() : "none";
}

TEST(FrameListTest, NumbersAndRangesBecomeFrames) {
    EXPECT_EQ(framesOf("7"), FrameNumbers({7}));
    EXPECT_EQ(framesOf("1001-1004"), FrameNumbers({1001, 1002, 1003, 1004}));
    EXPECT_EQ(framesOf("1-9x2,150"), FrameNumbers({1, 3, 5, 7, 9, 150}));
    EXPECT_EQ(framesOf("5-5"), FrameNumbers({5}));
    EXPECT_EQ(framesOf("0001-0003"), FrameNumbers({1, 2, 3}));
}

TEST(FrameListTest, EndOfARangeNeedNotBeMet) {
    EXPECT_EQ(framesOf("1-10x4"), FrameNumbers({1, 5, 9}));
    EXPECT_EQ(framesOf("1-3x1000"), FrameNumbers({1}));
}

TEST(FrameListTest, FramesAreSortedAndStandOnce) {
    EXPECT_EQ(framesOf("5,1-3,2-4,1"), FrameNumbers({1, 2, 3, 4, 5}));
}

TEST(FrameListTest, BlanksAroundItemsAreAllowed) {
    EXPECT_EQ(framesOf(" 1-3, 8 "), FrameNumbers({1, 2, 3, 8}));
}

TEST(FrameListTest, NumbersMayBeNegative) {
    EXPECT_EQ(framesOf("-2-1"), FrameNumbers({-2, -1, 0, 1}));
    EXPECT_EQ(framesOf("-3--1,-7"), FrameNumbers({-7, -3, -2, -1}));
    EXPECT_EQ(framesOf("-0"), FrameNumbers({0}));
}

TEST(FrameListTest, NumbersHaveUpToFifteenCharacters) {
    EXPECT_EQ(framesOf("999999999999998-999999999999999"), FrameNumbers({999999999999998, 999999999999999}));
    EXPECT_EQ(framesOf("-99999999999999"), FrameNumbers({-99999999999999}));
    const std::string fault = "' is no frame or range; write frames like 1001-1100 or 1-99x2,150";
    EXPECT_EQ(faultOf("1000000000000000"), "'1000000000000000" + fault);
    EXPECT_EQ(faultOf("-100000000000000"), "'-100000000000000" + fault);
}

TEST(FrameListTest, TextThatIsNoListIsRefusedWithTheItem) {
    const std::string fault = "' is no frame or range; write frames like 1001-1100 or 1-99x2,150";
    for (const char* const item : {"", "abc", "1-", "-", "1-2-3", "1x2", "1-9x", "1-9x2x3", "x2", "1..9", "+5",
                                   "1 - 3", "1-9X2", "1:9", "0x10", "1e3", "1-9x2 3"}) {
        EXPECT_EQ(faultOf(item), "'" + std::string(item) + fault);
        EXPECT_EQ(faultOf(QByteArray("1-2,") + item + ",9"), "'" + std::string(item) + fault);
    }
    EXPECT_EQ(faultOf("1,"), "'" + fault);
}

TEST(FrameListTest, DescendingRangesAreRefusedWithTheRightOne) {
    EXPECT_EQ(faultOf("10-5"), "'10-5' descends; write '5-10'");
    EXPECT_EQ(faultOf("1-2,-1--3x2"), "'-1--3x2' descends; write '-3--1'");
}

TEST(FrameListTest, StepsBelowOneAreRefused) {
    EXPECT_EQ(faultOf("1-9x0"), "'1-9x0' has a step below 1; write it like 1-99x2");
    EXPECT_EQ(faultOf("1-9x-2"), "'1-9x-2' has a step below 1; write it like 1-99x2");
}

TEST(FrameListTest, AtMostSoManyFramesAreListed) {
    const std::string end = " more than 24999 frames; check a longer sequence in parts, or without a list";
    EXPECT_EQ(framesOf("1-24999").size(), 24999U);
    EXPECT_EQ(faultOf("1-25000"), "'1-25000' is" + end);
    EXPECT_EQ(framesOf("1-49998x2").size(), 24999U);
    EXPECT_EQ(faultOf("1-49999x2"), "'1-49999x2' is" + end);
    EXPECT_EQ(faultOf("-99999999999999-999999999999999"), "'-99999999999999-999999999999999' is" + end);
    EXPECT_EQ(framesOf("1-20000,5000-24999").size(), 24999U);
    EXPECT_EQ(faultOf("1-20000,5000-25000"), "the list has" + end);
}

TEST(FrameListTest, ManyOverlappingRangesStayOneList) {
    QByteArray text = "1-24999";
    for (int i = 0; i < 200; ++i) text += ",1-24999";
    EXPECT_EQ(framesOf(text).size(), 24999U);
    EXPECT_NE(faultOf(text + ",0"), "none");
}

TEST(FrameListTest, MoreRangesThanFitAreRefused) {
    QByteArray text = "1-24999";
    for (int i = 1; i < 100; ++i)
        text += ',' + QByteArray::number(i * 100000) + '-' + QByteArray::number(i * 100000 + 24000);
    EXPECT_EQ(faultOf(text),
              "the list has more than 24999 frames; check a longer sequence in parts, or without a list");
}

TEST(FrameListTest, RunsAreWrittenShort) {
    EXPECT_EQ(formatFrameList({}), "");
    EXPECT_EQ(formatFrameList({7}), "7");
    EXPECT_EQ(formatFrameList({17, 44, 45, 50, 52, 54, 56, 58, 60}), "17,44-45,50-60x2");
    EXPECT_EQ(formatFrameList({1, 2, 3}), "1-3");
    EXPECT_EQ(formatFrameList({1, 2}), "1-2");
    EXPECT_EQ(formatFrameList({1, 3}), "1,3");
    EXPECT_EQ(formatFrameList({1, 3, 4, 5}), "1,3-5");
    EXPECT_EQ(formatFrameList({1, 3, 5, 6}), "1-5x2,6");
    EXPECT_EQ(formatFrameList({1, 2, 4, 6, 8}), "1-2,4-8x2");
    EXPECT_EQ(formatFrameList({10, 20, 30, 100}), "10-30x10,100");
    EXPECT_EQ(formatFrameList({-3, -2, -1, 4}), "-3--1,4");
    EXPECT_EQ(formatFrameList({-99999999999999, 999999999999999}), "-99999999999999,999999999999999");
}

TEST(FrameListTest, WhatIsWrittenParsesToTheSameFrames) {
    std::mt19937 random(2026);
    for (int round = 0; round < 3000; ++round) {
        const int span = 1 + static_cast<int>(random() % 60);
        const std::int64_t offset = static_cast<std::int64_t>(random() % 100) - 50;
        const std::int64_t scale = random() % 4 == 0 ? 1000003 : 1;
        std::set<std::int64_t> chosen;
        for (int i = 0; i < 1 + span / 2; ++i)
            chosen.insert((static_cast<std::int64_t>(random()) % span + offset) * scale);
        const FrameNumbers frames(chosen.begin(), chosen.end());
        const QByteArray text = formatFrameList(frames);
        ASSERT_EQ(framesOf(text), frames) << text.constData();
        ASSERT_EQ(formatFrameList(framesOf(text)), text);
    }
}

// The list parser against a walk over the letters of generated lists.
TEST(FrameListTest, RandomListsAreTheUnionOfTheirRanges) {
    std::mt19937 random(7);
    const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    for (int round = 0; round < 500; ++round) {
        std::set<std::int64_t> expected;
        QByteArray text;
        for (int items = 1 + below(6); items > 0; --items) {
            const int first = below(200) - 100;
            const int last = first + below(50);
            const int step = 1 + below(5);
            if (!text.isEmpty()) text += ',';
            text += QByteArray::number(first) + '-' + QByteArray::number(last) + 'x' + QByteArray::number(step);
            for (int frame = first; frame <= last; frame += step) expected.insert(frame);
        }
        ASSERT_EQ(framesOf(text), FrameNumbers(expected.begin(), expected.end())) << text.constData();
    }
}

}  // namespace
