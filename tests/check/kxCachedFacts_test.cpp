// SPDX-License-Identifier: BSD-3-Clause
// The facts of a check in a cache entry: the bytes of docs/cache-file-format.md, and everything that can be wrong
// with them.
#include "check/kxCachedFacts.h"

#include "check/kxFrameRecord.h"
#include "tests/support/plainCheck.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>

using namespace kxCheck;

namespace {

constexpr std::size_t headerSize = 1188;
using Entry = kxCHK::_SingleImageFile;

kxExr::Part partOf(const std::vector<QByteArray>& channels) {
    kxExr::Part part;
    for (const QByteArray& name : channels) part.channels.push_back({name, kxExr::PixelType::half, 1, 1});
    return part;
}

FileReport fileReport() {
    FileReport report;
    report.hasIdentity = true;
    report.identity = {1, 2, 5000000000, 1700000000123456789};
    report.headers = std::make_shared<const Headers>(Headers{partOf({"A", "B", "G", "R"}), partOf({"Z", "id"})});
    return report;
}

PictureReport somePicture() {
    PictureReport picture;
    PictureFacts& facts = picture.picture.emplace();
    facts.histogram[0][0] = 1000000;
    facts.histogram[3][31] = 0xffffffffU;
    facts.hasAlpha = facts.isAlphaMissing = facts.isFlat = true;
    facts.ranges = {SampleRange{-1.5, 65504, 0.25}, std::nullopt, SampleRange{0, 4294967295.0, 1e-300},
                    std::nullopt};
    picture.strange = {{0, "R", 12, 0}, {1, "Z", 0, 345678901234}};
    picture.hash = {0xfedcba9876543210U, 1};
    return picture;
}

FileReport decodedReport(PictureReport picture = somePicture()) {
    FileReport report = fileReport();
    report.decoded = true;
    report.picture = std::make_shared<const PictureReport>(std::move(picture));
    return report;
}

// An entry of the report, as far as putFacts needs it.
std::unique_ptr<Entry> entryOf(const FileReport& report) {
    kxCHK::_SingleImageView view;
    fillRecord(view, report);
    auto entry = std::make_unique<Entry>();
    entry->ImportFrom(view);
    EXPECT_TRUE(putFacts(report, *entry));
    return entry;
}

std::string bytesOf(const Entry& entry) {
    return {reinterpret_cast<const char*>(&entry), headerSize};
}

void setByte(Entry& entry, std::size_t offset, unsigned char value) {
    reinterpret_cast<unsigned char*>(&entry)[offset] = value;
}

// As the format's page says it.
std::uint32_t plainCheckSum(std::string bytes) {
    plainSetNumber(bytes, 848, 4, 0);
    const std::string summed = bytes.substr(840, 296) + bytes.substr(4, 8) + bytes.substr(84, 512);
    return static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(summed.data()), static_cast<uInt>(summed.size())));
}

// With other facts, and a check sum that is right for them.
void spoil(Entry& entry, const std::function<void(CachedFacts&)>& change) {
    auto* const place = reinterpret_cast<unsigned char*>(&entry) + cachedFactsOffset;
    CachedFacts facts;
    std::memcpy(&facts, place, sizeof facts);
    change(facts);
    std::memcpy(place, &facts, sizeof facts);
    facts.checkSum = plainCheckSum(bytesOf(entry));
    std::memcpy(place, &facts, sizeof facts);
}

void expectSame(const PictureReport& a, const PictureReport& b) {
    EXPECT_EQ(a.hash, b.hash);
    ASSERT_EQ(a.strange.size(), b.strange.size());
    for (std::size_t i = 0; i < a.strange.size(); ++i) {
        EXPECT_EQ(a.strange[i].part, b.strange[i].part);
        EXPECT_EQ(a.strange[i].channel, b.strange[i].channel);
        EXPECT_EQ(a.strange[i].nan, b.strange[i].nan);
        EXPECT_EQ(a.strange[i].infinite, b.strange[i].infinite);
    }
    ASSERT_EQ(a.picture.has_value(), b.picture.has_value());
    if (!a.picture) return;
    EXPECT_EQ(a.picture->histogram, b.picture->histogram);
    EXPECT_EQ(a.picture->hasAlpha, b.picture->hasAlpha);
    EXPECT_EQ(a.picture->isTileMissing, b.picture->isTileMissing);
    EXPECT_EQ(a.picture->hasDarkCorner, b.picture->hasDarkCorner);
    EXPECT_EQ(a.picture->isAlphaMissing, b.picture->isAlphaMissing);
    EXPECT_EQ(a.picture->isBlack, b.picture->isBlack);
    EXPECT_EQ(a.picture->isFlat, b.picture->isFlat);
    for (std::size_t c = 0; c < 4; ++c) {
        ASSERT_EQ(a.picture->ranges[c].has_value(), b.picture->ranges[c].has_value());
        if (!a.picture->ranges[c]) continue;
        EXPECT_EQ(a.picture->ranges[c]->min, b.picture->ranges[c]->min);
        EXPECT_EQ(a.picture->ranges[c]->max, b.picture->ranges[c]->max);
        EXPECT_EQ(a.picture->ranges[c]->mean, b.picture->ranges[c]->mean);
    }
}

PictureReport randomPicture(std::mt19937& random) {
    const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    const auto oneIn = [&below](unsigned share) { return below(share) == 0; };
    const auto count = [&] { return static_cast<std::int64_t>(random() << below(31)) >> below(32); };
    PictureReport picture;
    picture.hash = {std::uint64_t{random()} << 32U | random(), random()};
    const char* const names[][4] = {{"A", "B", "G", "R"}, {"Z", "id", "Z", "id"}};
    for (unsigned i = below(6); i > 0; --i) {
        const unsigned part = below(2);
        picture.strange.push_back({static_cast<int>(part), names[part][below(4)], count(), count()});
    }
    if (oneIn(5)) return picture;
    PictureFacts& facts = picture.picture.emplace();
    for (auto& channel : facts.histogram)
        for (unsigned& bin : channel) bin = static_cast<unsigned>(random());
    for (bool PictureFacts::*field :
         {&PictureFacts::hasAlpha, &PictureFacts::isTileMissing, &PictureFacts::hasDarkCorner,
          &PictureFacts::isAlphaMissing, &PictureFacts::isBlack, &PictureFacts::isFlat})
        facts.*field = oneIn(2);
    for (auto& range : facts.ranges) {
        const double low = std::ldexp(static_cast<double>(random()) - 2e9, static_cast<int>(random() % 60) - 30);
        if (!oneIn(3)) range = SampleRange{low, low + static_cast<double>(random()), low * 0.7};
    }
    return picture;
}

}  // namespace

TEST(CachedFactsTest, AreTheBytesOfTheFormat) {
    const std::string bytes = bytesOf(*entryOf(decodedReport()));
    EXPECT_EQ(bytes.substr(840, 4), "kxCF");
    EXPECT_EQ(plainNumber(bytes, 844, 2), 2);
    EXPECT_EQ(plainNumber(bytes, 846, 2), 1 + 2 + 8 + 32 + 256 + 1024);
    EXPECT_EQ(static_cast<std::uint32_t>(plainNumber(bytes, 848, 4)), plainCheckSum(bytes));
    EXPECT_EQ(plainNumber(bytes, 852, 4), 13);
    EXPECT_EQ(plainNumber(bytes, 856, 8), 5000000000);
    EXPECT_EQ(static_cast<std::uint64_t>(plainNumber(bytes, 864, 8)), 0xfedcba9876543210U);
    EXPECT_EQ(plainNumber(bytes, 872, 8), 1);
    const std::array<double, 12> expected = {-1.5, 65504, 0.25, 0, 0, 0, 0, 4294967295.0, 1e-300, 0, 0, 0};
    std::array<double, 12> ranges{};
    std::memcpy(ranges.data(), bytes.data() + 880, sizeof ranges);
    EXPECT_EQ(ranges, expected);
    const unsigned char strange[13] = {0, 3, 12, 0, 1, 0, 0, 0xf2, 0xdf, 0xc5, 0xe0, 0x87, 0x0a};
    EXPECT_EQ(bytes.substr(976, 13), std::string(reinterpret_cast<const char*>(strange), 13));
    EXPECT_EQ(bytes.substr(989, 151), std::string(151, '\0'));
}

TEST(CachedFactsTest, ComeBackAsTheyWere) {
    std::mt19937 random(5);
    for (int i = 0; i < 500; ++i) {
        const FileReport report = decodedReport(i == 0 ? somePicture() : randomPicture(random));
        const auto entry = entryOf(report);
        const auto cached = cachedPicture(fileReport(), *entry);
        ASSERT_TRUE(cached) << i;
        EXPECT_TRUE(cached->isCached);
        expectSame(*cached, *report.picture);
    }
}

TEST(CachedFactsTest, LeaveRoomForALongFormatTextOnlyByCuttingIt) {
    FileReport report = decodedReport();
    for (const int channels : {1, 30, 31, 32, 33, 34, 35, 200}) {
        Headers headers{partOf({}), partOf({"Z"})};
        for (int i = 0; i < channels; ++i)
            headers[0].channels.push_back({"c" + QByteArray::number(i), kxExr::PixelType::half, 1, 1});
        headers[0].channels.push_back({"R", kxExr::PixelType::half, 1, 1});
        report.headers = std::make_shared<const Headers>(headers);
        kxCHK::_SingleImageView view;
        fillRecord(view, report);
        const QString whole = view.thumbnail->formatText.toQString();
        const auto entry = entryOf(report);
        EXPECT_TRUE(entry->image.formatText.isIntact());
        const QString text = entry->image.formatText.toQString();
        EXPECT_EQ(text, whole.size() > 100 ? whole.left(97) + QStringLiteral("...") : whole) << channels;
        FileReport file = fileReport();
        file.headers = report.headers;
        EXPECT_TRUE(cachedPicture(file, *entry));
    }
}

TEST(CachedFactsTest, AreNotWrittenWhereThereIsNoRoomForThem) {
    Headers headers{partOf({})};
    PictureReport picture = somePicture();
    picture.strange.clear();
    for (int i = 0; i < 60; ++i) {
        const QByteArray name = "c" + QByteArray::number(i);
        headers[0].channels.push_back({name, kxExr::PixelType::half, 1, 1});
        picture.strange.push_back({0, name, 2000000, 0});
        FileReport report = decodedReport(picture);
        report.headers = std::make_shared<const Headers>(headers);
        Entry entry;
        EXPECT_EQ(putFacts(report, entry), i < 26) << "six bytes a channel";
        EXPECT_EQ(bytesOf(entry).substr(840, 4), i < 26 ? "kxCF" : std::string(4, '\0'));
    }
}

TEST(CachedFactsTest, AreNotWrittenOfAChannelThatTheHeadersLack) {
    for (const StrangeSamples& strange : {StrangeSamples{0, "Z", 1, 0}, {2, "R", 1, 0}, {-1, "R", 1, 0}}) {
        PictureReport picture = somePicture();
        picture.strange = {strange};
        Entry entry;
        EXPECT_FALSE(putFacts(decodedReport(picture), entry)) << strange.part;
    }
}

TEST(CachedFactsTest, AreOfOneFileOfOneSizeAndTime) {
    const auto entry = entryOf(decodedReport());
    FileReport file = fileReport();
    EXPECT_TRUE(cachedPicture(file, *entry));
    file.identity.inode = 99;
    EXPECT_TRUE(cachedPicture(file, *entry)) << "a copy with its time";
    for (const std::int64_t difference : {-1, 1, 1 << 20}) {
        FileReport other = file;
        other.identity.size += difference;
        EXPECT_FALSE(cachedPicture(other, *entry));
        other = file;
        other.identity.modified += difference;
        EXPECT_FALSE(cachedPicture(other, *entry));
    }
    file.hasIdentity = false;
    EXPECT_FALSE(cachedPicture(file, *entry));
    file = fileReport();
    file.headers = nullptr;
    EXPECT_FALSE(cachedPicture(file, *entry));
    file = fileReport();
    entry->data.fileSize = 5000000000;
    EXPECT_FALSE(cachedPicture(file, *entry)) << "the record has the marker";
}

TEST(CachedFactsTest, AreNoneInAnEntryOfAnotherProgram) {
    const FileReport report = decodedReport();
    kxCHK::_SingleImageView view;
    fillRecord(view, report);
    Entry entry;
    entry.ImportFrom(view);
    EXPECT_FALSE(cachedPicture(fileReport(), entry));
}

TEST(CachedFactsTest, AreNotUsedWhenAnyByteOfThemIsSpoiled) {
    const auto entry = entryOf(decodedReport());
    for (std::size_t offset = 0; offset < headerSize; ++offset) {
        const bool isUsed =
            (offset >= 4 && offset < 20) || (offset >= 84 && offset < 596) || (offset >= 840 && offset < 1136);
        const auto byte = static_cast<unsigned char>(bytesOf(*entry)[offset]);
        for (const unsigned bit : {1U, 0x10U, 0x80U}) {
            setByte(*entry, offset, static_cast<unsigned char>(byte ^ bit));
            if (offset < 1172) {
                EXPECT_EQ(!cachedPicture(fileReport(), *entry), isUsed) << offset;
            }
        }
        setByte(*entry, offset, byte);
    }
    EXPECT_TRUE(cachedPicture(fileReport(), *entry));
}

TEST(CachedFactsTest, AreNotUsedWhenTheySayWhatCanNotBe) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const std::pair<const char*, std::function<void(CachedFacts&)>> cases[] = {
        {"other id", [](CachedFacts& f) { f.id ^= 1U; }},
        {"older version", [](CachedFacts& f) { f.version = CachedFacts::currentVersion - 1; }},
        {"newer version", [](CachedFacts& f) { f.version = CachedFacts::currentVersion + 1; }},
        {"NaN", [&](CachedFacts& f) { f.ranges[0][0] = nan; }},
        {"NaN mean", [&](CachedFacts& f) { f.ranges[2][2] = nan; }},
        {"infinite", [&](CachedFacts& f) { f.ranges[0][1] = infinity; }},
        {"no order", [](CachedFacts& f) { f.ranges[0][0] = 1e9; }},
        {"much strange", [](CachedFacts& f) { f.strangeSize = 161; }},
        {"wildly strange", [](CachedFacts& f) { f.strangeSize = 0xffffffffU; }},
        {"half a channel", [](CachedFacts& f) { f.strangeSize = 12; }},
        {"no such part", [](CachedFacts& f) { f.strange[0] = 2; }},
        {"no such channel", [](CachedFacts& f) { f.strange[1] = 4; }},
        {"no such channel of its part", [](CachedFacts& f) { f.strange[5] = 2; }},
        {"numbers without end",
         [](CachedFacts& f) {
             std::memset(f.strange, 0xff, sizeof f.strange);
             f.strangeSize = 160;
         }},
        {"a part without end",
         [](CachedFacts& f) {
             std::memset(f.strange, 0xff, 9);
             std::memset(f.strange + 9, 0, 20);
             f.strangeSize = 13;
         }},
    };
    for (const auto& [name, change] : cases) {
        const auto entry = entryOf(decodedReport());
        spoil(*entry, change);
        EXPECT_FALSE(cachedPicture(fileReport(), *entry)) << name;
    }
    const auto entry = entryOf(decodedReport());
    spoil(*entry, [](CachedFacts& f) { f.hash[0] = 7; });
    const auto cached = cachedPicture(fileReport(), *entry);
    ASSERT_TRUE(cached) << "the check sum is right";
    EXPECT_EQ(cached->hash[0], 7U);
}

TEST(CachedFactsTest, AreHarmlessWhateverTheySay) {
    std::mt19937 random(8);
    int used = 0;
    for (int i = 0; i < 20000; ++i) {
        static const auto good = entryOf(decodedReport());
        Entry entry;
        std::memcpy(reinterpret_cast<char*>(&entry), reinterpret_cast<const char*>(good.get()), 1148);
        spoil(entry, [&](CachedFacts& facts) {
            auto* const bytes = reinterpret_cast<unsigned char*>(&facts);
            for (auto k = 1 + random() % 6; k > 0; --k)
                bytes[8 + random() % (sizeof facts - 8)] = static_cast<unsigned char>(random());
            facts.fileSize = 5000000000;
        });
        const auto cached = cachedPicture(fileReport(), entry);
        if (!cached) continue;
        ++used;
        for (const StrangeSamples& strange : cached->strange) {
            ASSERT_TRUE(strange.part == 0 || strange.part == 1);
            ASSERT_GE(strange.nan, 0);
            ASSERT_GE(strange.infinite, 0);
        }
    }
    EXPECT_GT(used, 1000);
    EXPECT_LT(used, 19000);
}
