// SPDX-License-Identifier: BSD-3-Clause
// Orders of the slots and of the display list.
#include "image/KX_DataTypes_imageList.h"
#include "tests/support/plainSequence.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <numeric>
#include <random>

#include <pthread.h>

namespace {

using kxCHK::_SingleImageView;
using IndexSort = void (_kxViewSequence::*)(int, int);

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

class SortTest : public ::testing::Test {
protected:
    // A used slot with this frame number.
    _SingleImageView& add(long long frame) {
        _SingleImageView& slot = record_->images[record_->imageCount++];
        slot.frameNumber = frame;
        return slot;
    }
    void addSize(long long frame, long long size) { add(frame).fileSize = size; }
    void addDate(long long frame, long long date) { add(frame).fileTime = _kxTime(date); }
    void addMachine(long long frame, const char* name) { add(frame).infoText = name; }
    void addDiff(long long frame, float diff) { add(frame).analyseValue1 = diff; }

    // Frame numbers in display order.
    std::vector<long long> sorted(_SortIDs id, bool descending) {
        record_->sort(id, descending);
        std::vector<long long> frames;
        for (int i = 0; i < record_->imageCount; ++i)
            frames.push_back(record_->images[record_->sortOrder[i]].frameNumber);
        return frames;
    }

    std::unique_ptr<_kxViewSequence> record_ = std::make_unique<_kxViewSequence>();
};

using Frames = std::vector<long long>;

TEST_F(SortTest, NumbersOfTheOrdersAreFixed) {
    EXPECT_EQ(sortNone, 0);
    EXPECT_EQ(sortMachine, 1);
    EXPECT_EQ(sortDate, 2);
    EXPECT_EQ(sortSize, 3);
    EXPECT_EQ(sortImageDiff, 4);
}

TEST_F(SortTest, SizeWithEqualSizesByFrame) {
    addSize(1, 5);
    addSize(2, 3);
    addSize(3, 3);
    EXPECT_EQ(sorted(sortSize, false), (Frames{2, 3, 1}));
    EXPECT_EQ(record_->sortID, sortSize);
    EXPECT_EQ(sorted(sortSize, true), (Frames{1, 3, 2}));
}

TEST_F(SortTest, DateIsNewestFirstInBothDirections) {
    addDate(1, 100);
    addDate(2, 300);
    addDate(3, 200);
    EXPECT_EQ(sorted(sortDate, false), (Frames{2, 3, 1}));
    EXPECT_EQ(sorted(sortDate, true), (Frames{2, 3, 1}));
}

TEST_F(SortTest, EqualDatesFollowTheFrames) {
    for (const long long frame : {3, 1, 4, 2}) addDate(frame, 7);
    EXPECT_EQ(sorted(sortDate, false), (Frames{1, 2, 3, 4}));
    EXPECT_EQ(sorted(sortDate, true), (Frames{4, 3, 2, 1}));
}

TEST_F(SortTest, MachineByBytesShorterFirst) {
    addMachine(1, "node2");
    addMachine(2, "node");
    addMachine(3, "Node");
    addMachine(4, "");
    addMachine(5,
               "n\xF6"
               "de");  // bytes above 127 come last
    addMachine(6, "node10");
    addMachine(7, "node");
    EXPECT_EQ(sorted(sortMachine, false), (Frames{4, 3, 2, 7, 6, 1, 5}));
    EXPECT_EQ(sorted(sortMachine, true), (Frames{5, 1, 6, 7, 2, 3, 4}));
}

TEST_F(SortTest, ImageDifference) {
    addDiff(1, 0.5F);
    addDiff(2, -1.0F);
    addDiff(3, 0.5F);
    addDiff(4, std::numeric_limits<float>::infinity());
    EXPECT_EQ(sorted(sortImageDiff, false), (Frames{2, 1, 3, 4}));
    EXPECT_EQ(sorted(sortImageDiff, true), (Frames{4, 3, 1, 2}));
}

TEST_F(SortTest, ZeroesOfBothSignsAreEqual) {
    addDiff(2, -0.0F);
    addDiff(1, 0.0F);
    EXPECT_EQ(sorted(sortImageDiff, false), (Frames{1, 2}));
}

TEST_F(SortTest, NoneIsSlotOrder) {
    for (const long long frame : {7, 5, 6, 4}) add(frame);
    EXPECT_EQ(sorted(sortNone, false), (Frames{7, 5, 6, 4}));
    EXPECT_EQ(sorted(sortNone, true), (Frames{4, 6, 5, 7}));
}

TEST_F(SortTest, DescendingKeepsTheRestOfTheOrder) {
    for (const long long frame : {1, 2, 3, 4}) add(frame);
    for (unsigned i = 4; i < 25000; ++i) record_->sortOrder[i] = 9;
    record_->sort(sortNone, true);
    for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(record_->sortOrder[i], 3 - i);
    for (unsigned i = 4; i < 25000; ++i) ASSERT_EQ(record_->sortOrder[i], 9U);
    record_->sort(sortNone, false);
    for (unsigned i = 0; i < 25000; ++i) ASSERT_EQ(record_->sortOrder[i], i);
}

TEST_F(SortTest, UnknownOrderIsSlotOrder) {
    addSize(2, 9);
    addSize(1, 3);
    EXPECT_EQ(sorted(static_cast<_SortIDs>(5), false), (Frames{2, 1}));
    EXPECT_EQ(record_->sortID, 5);
    EXPECT_EQ(sorted(static_cast<_SortIDs>(7), true), (Frames{1, 2}));
}

TEST_F(SortTest, FewerThanTwoSlotsOnlyResetTheOrder) {
    for (const int count : {0, 1}) {
        record_->imageCount = count;
        for (unsigned i = 0; i < 25000; ++i) record_->sortOrder[i] = 9;
        record_->sort(sortSize, false);
        for (unsigned i = 0; i < 25000; ++i) ASSERT_EQ(record_->sortOrder[i], i);
        record_->sortOrder[0] = 9;
        record_->sort(sortSize, true);
        EXPECT_EQ(record_->sortOrder[0], count == 1 ? 0U : 9U);
    }
}

TEST_F(SortTest, DisplaySortsLeaveTheSlotsAlone) {
    addSize(1, 5);
    addSize(2, 3);
    sorted(sortSize, false);
    EXPECT_EQ(record_->images[0].frameNumber, 1);
    EXPECT_EQ(record_->images[1].frameNumber, 2);
}

TEST_F(SortTest, FilesByFrameThenByLengthOfTheText) {
    const char* texts[] = {"0001", "01", "001", "7", "1"};
    const long long frames[] = {1, 1, 1, -7, 1};
    for (int i = 0; i < 5; ++i) add(frames[i]).frameText = texts[i];
    record_->QSort_files(0, 4);
    std::string order;
    for (int i = 0; i < 5; ++i) order += record_->images[i].frameText.data() + std::string(" ");
    EXPECT_EQ(order, "7 1 01 001 0001 ");
}

TEST_F(SortTest, FilesByTheWhole64BitFrameNumber) {
    const Frames frames = {4294967297, 2, 4294967296, -4294967296, 9223372036854775807, -9223372036854775807 - 1,
                           1};
    for (const long long frame : frames) add(frame);
    record_->QSort_files(0, record_->imageCount - 1);
    Frames expected = frames;
    std::sort(expected.begin(), expected.end());
    for (int i = 0; i < record_->imageCount; ++i) {
        EXPECT_EQ(record_->images[i].frameNumber, expected[static_cast<std::size_t>(i)]);
    }
}

TEST_F(SortTest, FilesMoveWholeSlotsAndNotTheDisplayOrder) {
    auto* image = new kxP::_imgRGBABuffer8(1U);
    _SingleImageView& slot = add(2);
    slot.thumbnail = image;
    slot.frameText = "2";
    slot.infoText = "node17";
    slot.fileSize = 12;
    slot.histogram[3][31] = 99;
    slot.thumbnailLoaded = 1;
    slot.checkPending = 0;
    slot.fileFound = true;
    add(1);
    record_->QSort_files(0, 1);
    const _SingleImageView& moved = record_->images[1];
    EXPECT_EQ(record_->images[0].frameNumber, 1);
    EXPECT_EQ(record_->images[0].thumbnail, nullptr);
    EXPECT_EQ(moved.thumbnail, image);
    EXPECT_EQ(moved.frameText.toQString(), QStringLiteral("2"));
    EXPECT_EQ(moved.infoText.toQString(), QStringLiteral("node17"));
    EXPECT_EQ(+moved.fileSize, 12);
    EXPECT_EQ(moved.histogram[3][31], 99U);
    EXPECT_TRUE(moved.thumbnailLoaded == 1 && moved.checkPending == 0 && moved.fileFound);
    EXPECT_TRUE(record_->sortOrder[0] == 0 && record_->sortOrder[1] == 1);
}

TEST_F(SortTest, OnlyTheGivenRangeIsSorted) {
    for (const long long frame : {5, 4, 3, 2, 1}) addSize(frame, frame);
    record_->QSort_Size(1, 3);
    EXPECT_EQ(std::vector<unsigned>(record_->sortOrder, record_->sortOrder + 5),
              (std::vector<unsigned>{0, 3, 2, 1, 4}));
    record_->QSort_files(1, 3);
    for (const int i : {0, 1, 2, 3, 4})
        EXPECT_EQ(record_->images[i].frameNumber, (Frames{5, 2, 3, 4, 1}[static_cast<std::size_t>(i)]));
}

TEST_F(SortTest, ImpossibleRangesDoNothing) {
    for (const long long frame : {2, 1}) addSize(frame, frame);
    const std::pair<int, int> ranges[] = {{0, 0},
                                          {1, 0},
                                          {0, -1},
                                          {-1, 1},
                                          {0, 25000},
                                          {24999, 25001},
                                          {-2147483647 - 1, 2147483647},
                                          {2147483647, -2147483647 - 1}};
    const IndexSort sorts[] = {
        &_kxViewSequence::QSort_files,    &_kxViewSequence::QSort_Machine,   &_kxViewSequence::QSort_Machine_des,
        &_kxViewSequence::QSort_Date,     &_kxViewSequence::QSort_Date_des,  &_kxViewSequence::QSort_Size,
        &_kxViewSequence::QSort_Size_des, &_kxViewSequence::QSort_ImageDiff, &_kxViewSequence::QSort_ImageDiff_des};
    for (const IndexSort sort : sorts) {
        for (const auto& range : ranges) ((*record_).*sort)(range.first, range.second);
    }
    EXPECT_EQ(record_->images[0].frameNumber, 2);
    EXPECT_TRUE(record_->sortOrder[0] == 0 && record_->sortOrder[1] == 1);
}

// --- Beside the plain scheme -----------------------------------------------------------------------------------

// How one key stands to another: -1 before, 1 after, 0 equal, and NaN to everything `neither`.
constexpr int neither = 9;

template <class T>
int compared(const T& a, const T& b) {
    if (a < b) return -1;
    if (b < a) return 1;
    return a == b ? 0 : neither;
}

struct PlainKey {
    unsigned slot;
    long long frame;
    std::string machine;
    long long date;
    long long size;
    float diff;
};

struct SortCase {
    const char* name;
    IndexSort sort;
    int (*byKey)(const PlainKey&, const PlainKey&);
    int keySign;  // -1 descending
    int frameSign;
};

int byMachine(const PlainKey& a, const PlainKey& b) {
    return compared(a.machine, b.machine);
}
int byDate(const PlainKey& a, const PlainKey& b) {
    return compared(a.date, b.date);
}
int bySize(const PlainKey& a, const PlainKey& b) {
    return compared(a.size, b.size);
}
int byDiff(const PlainKey& a, const PlainKey& b) {
    return compared(a.diff, b.diff);
}

const SortCase sortCases[] = {
    {"Machine", &_kxViewSequence::QSort_Machine, byMachine, 1, 1},
    {"Machine_des", &_kxViewSequence::QSort_Machine_des, byMachine, -1, -1},
    {"Date", &_kxViewSequence::QSort_Date, byDate, -1, 1},
    {"Date_des", &_kxViewSequence::QSort_Date_des, byDate, -1, -1},
    {"Size", &_kxViewSequence::QSort_Size, bySize, 1, 1},
    {"Size_des", &_kxViewSequence::QSort_Size_des, bySize, -1, -1},
    {"ImageDiff", &_kxViewSequence::QSort_ImageDiff, byDiff, 1, 1},
    {"ImageDiff_des", &_kxViewSequence::QSort_ImageDiff_des, byDiff, -1, -1},
};

// -1, 0 or 1, or `neither`: the element against the pivot, whose frame number has 32 bits.
int standsTo(const SortCase& sort, const PlainKey& element, const PlainKey& pivot) {
    const int byKey = sort.byKey(element, pivot);
    if (byKey == neither) return neither;
    if (byKey != 0) return byKey * sort.keySign;
    const long long pivotFrame = static_cast<int>(pivot.frame);
    return compared(element.frame, pivotFrame) * sort.frameSign;
}

std::vector<unsigned> plainlySorted(const SortCase& sort, std::vector<PlainKey> keys) {
    const auto copy = [](const PlainKey& key) { return key; };
    const auto before = [&](const PlainKey& a, const PlainKey& pivot) { return standsTo(sort, a, pivot) == -1; };
    const auto after = [&](const PlainKey& a, const PlainKey& pivot) { return standsTo(sort, a, pivot) == 1; };
    plainQuicksort(keys, 0, static_cast<int>(keys.size()) - 1, copy, before, after);
    std::vector<unsigned> order;
    for (const PlainKey& key : keys) order.push_back(key.slot);
    return order;
}

PlainKey randomKey(unsigned slot, std::mt19937& random, bool awkward) {
    const auto below = [&random](unsigned n) { return static_cast<int>(random() % n); };
    PlainKey key{
        slot,     below(30) - 5, std::string(static_cast<std::size_t>(below(3)), static_cast<char>('a' + below(2))),
        below(4), below(4),      static_cast<float>(below(4))};
    if (awkward && below(3) == 0) key.diff = nan;
    if (awkward && below(2) == 0) key.frame += 4294967296LL * (below(5) - 2) + 2147483640;
    return key;
}

TEST_F(SortTest, AgreesWithThePlainScheme) {
    std::mt19937 random(20240601);
    for (int round = 0; round < 3000; ++round) {
        const int count = static_cast<int>(random() % 24) + 2;
        std::vector<PlainKey> keys;
        record_->imageCount = 0;
        for (int i = 0; i < count; ++i) {
            const PlainKey key = randomKey(static_cast<unsigned>(i), random, round % 2 == 1);
            keys.push_back(key);
            _SingleImageView& slot = add(key.frame);
            slot.infoText = key.machine.c_str();
            slot.fileTime = _kxTime(key.date);
            slot.fileSize = key.size;
            slot.analyseValue1 = key.diff;
        }
        for (const SortCase& sort : sortCases) {
            record_->sort(sortNone, false);
            ((*record_).*sort.sort)(0, count - 1);
            const std::vector<unsigned> order(record_->sortOrder, record_->sortOrder + count);
            ASSERT_EQ(order, plainlySorted(sort, keys)) << sort.name << " in round " << round;
        }
    }
}

// --- Awkward keys ----------------------------------------------------------------------------------------------

bool isPermutation(const _kxViewSequence& record) {
    std::vector<unsigned> order(record.sortOrder, record.sortOrder + record.imageCount);
    std::sort(order.begin(), order.end());
    for (unsigned i = 0; i < order.size(); ++i) {
        if (order[i] != i) return false;
    }
    return true;
}

TEST_F(SortTest, NanNeitherComesBeforeNorAfter) {
    // Pivot NaN: both scans stop at every element, so the partition reverses all.
    addDiff(1, 3.0F);
    addDiff(2, nan);
    addDiff(3, 1.0F);
    record_->QSort_ImageDiff(0, 2);
    EXPECT_EQ(std::vector<unsigned>(record_->sortOrder, record_->sortOrder + 3), (std::vector<unsigned>{2, 1, 0}));
}

TEST_F(SortTest, NanAloneDoesNotConsultTheFrames) {
    addDiff(1, nan);
    addDiff(2, nan);
    EXPECT_EQ(sorted(sortImageDiff, false), (Frames{2, 1}));  // swapped once, though 1 is below 2
}

TEST_F(SortTest, NanTerminatesAtFullSize) {
    std::mt19937 random(7);
    for (int i = 0; i < 25000; ++i) addDiff(i, random() % 2 ? nan : static_cast<float>(random() % 100));
    for (const bool descending : {false, true}) {
        record_->sort(sortImageDiff, descending);
        EXPECT_TRUE(isPermutation(*record_));
    }
}

TEST_F(SortTest, FramesBeyond32BitsTerminateAtFullSize) {
    std::mt19937_64 random(8);
    for (int i = 0; i < 25000; ++i) addSize(static_cast<long long>(random()), 1);
    for (const bool descending : {false, true}) {
        record_->sort(sortSize, descending);
        EXPECT_TRUE(isPermutation(*record_));
    }
}

TEST_F(SortTest, PivotsFrameNumberHas32Bits) {
    // The pivot is 4294967297, held as 1: neither 2 nor the pivot itself comes before it.
    for (const long long frame : {4294967297LL, 2LL}) addSize(frame, 1);
    record_->QSort_Size(0, 1);
    EXPECT_EQ(record_->sortOrder[0], 0U);
}

TEST_F(SortTest, SortedReversedAndEqualKeysAtFullSize) {
    const auto fill = [this](auto frameOf) {
        record_->imageCount = 0;
        for (int i = 0; i < 25000; ++i) addSize(frameOf(i), 1);
    };
    const auto isSorted = [this] {
        return std::is_sorted(
            record_->images, record_->images + 25000,
            [](const _SingleImageView& a, const _SingleImageView& b) { return a.frameNumber < b.frameNumber; });
    };
    fill([](int i) { return i; });
    record_->QSort_files(0, 24999);
    EXPECT_TRUE(isSorted());
    fill([](int i) { return 25000 - i; });
    record_->QSort_files(0, 24999);
    EXPECT_TRUE(isSorted());
    fill([](int) { return 7; });
    record_->QSort_files(0, 24999);
    EXPECT_TRUE(isSorted());
}

// Sizes whose every pivot is the smallest (or largest) of its range: a partition splits off one element, and leaves
// all others on the right (or left).
std::vector<long long> worstSizes(int count, bool smallest) {
    std::vector<long long> sizes(static_cast<std::size_t>(count));
    std::vector<std::size_t> positions(sizes.size());
    std::iota(positions.begin(), positions.end(), std::size_t{0});
    for (int lo = 0, hi = count - 1; lo <= hi;) {
        const auto middle = static_cast<std::size_t>((lo + hi) / 2);
        const auto end = static_cast<std::size_t>(smallest ? lo++ : hi--);
        sizes[positions[middle]] = static_cast<long long>(end);
        std::swap(positions[end], positions[middle]);
    }
    return sizes;
}

void* sortAllBySize(void* record) {
    auto& sequence = *static_cast<_kxViewSequence*>(record);
    sequence.QSort_Size(0, sequence.imageCount - 1);
    return nullptr;
}

void runOnSmallStack(void* (*work)(void*), void* argument) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{256} * 1024), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, work, argument), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST_F(SortTest, WorstPartitionsNeedLittleStack) {
    for (const bool smallest : {true, false}) {
        const std::vector<long long> sizes = worstSizes(12000, smallest);
        record_->imageCount = 0;
        for (const long long size : sizes) addSize(size, size);
        record_->sort(sortNone, false);
        runOnSmallStack(sortAllBySize, record_.get());
        for (unsigned i = 0; i < 12000; ++i) ASSERT_EQ(sizes[record_->sortOrder[i]], i);
    }
}

}  // namespace
