// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxKnownHeaders.h"

#include "check/kxWorkerMessage.h"
#include "tests/support/CheckedFile.h"
#include "tests/support/ExrDamage.h"
#include "tests/support/ExrKinds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>

using namespace kxCheck;

namespace {

class TextBytes : public Bytes {
public:
    explicit TextBytes(std::string text) : text_(std::move(text)) {}

    std::uint64_t size() const override { return text_.size(); }
    const char* view(std::uint64_t offset, std::size_t count) override {
        mostRead = std::max(mostRead, offset + count);
        return count <= mostViewed && holds(offset, count) ? text_.data() + offset : nullptr;
    }

    std::uint64_t mostRead = 0;

private:
    std::string text_;
};

std::string fileOfWidth(int width, std::size_t channels = 4) {
    Kind kind{"one", {KindPart()}};
    kind.parts[0].dataWindow.max.x = width - 1;
    kind.parts[0].channels.clear();
    for (std::size_t i = 0; i < channels; ++i) kind.parts[0].channels.push_back({"channel" + std::to_string(i)});
    return exrBytes(kind);
}

// Remembers the headers of this file.
std::shared_ptr<const HeaderReading> learn(KnownHeaders& known, const std::string& file) {
    TextBytes bytes(file);
    const auto reading = std::make_shared<const HeaderReading>(readHeaders(bytes));
    EXPECT_FALSE(reading->finding);
    known.remember(bytes, reading);
    return reading;
}

std::shared_ptr<const HeaderReading> find(const KnownHeaders& known, const std::string& file) {
    TextBytes bytes(file);
    return known.find(bytes);
}

// All that a report says but for the time that it took, and when the file was written.
QByteArray contentOf(FileReport report) {
    report.seconds = 0;
    report.identity.modified = 0;
    return ReportEncoder().encode(report);
}

}  // namespace

TEST(KnownHeaders, AreFoundInEveryFileThatBeginsWithTheirBytes) {
    KnownHeaders known;
    const std::string file = fileOfWidth(45);
    EXPECT_EQ(find(known, file), nullptr);
    const auto reading = learn(known, file);
    EXPECT_EQ(find(known, file), reading);
    EXPECT_EQ(find(known, file + "more"), reading);
    EXPECT_EQ(find(known, file.substr(0, reading->end)), reading);
}

TEST(KnownHeaders, AreNotFoundWhereOneByteDiffersOrIsMissing) {
    KnownHeaders known;
    const std::string file = fileOfWidth(45);
    const auto reading = learn(known, file);
    for (std::size_t i = 0; i < reading->end; ++i) {
        EXPECT_EQ(find(known, file.substr(0, i)), nullptr) << i;
        std::string changed = file;
        changed[i] = static_cast<char>(changed[i] ^ 1);
        EXPECT_EQ(find(known, changed), nullptr) << i;
    }
}

TEST(KnownHeaders, AreTheLastThatDiffer) {
    KnownHeaders known;
    const int more = 5;
    const int last = static_cast<int>(KnownHeaders::mostHeaders) + more;
    for (int width = 1; width <= last; ++width) learn(known, fileOfWidth(width));
    for (int width = 1; width <= last; ++width) {
        const auto found = find(known, fileOfWidth(width));
        ASSERT_EQ(found != nullptr, width > more) << width;
        if (!found) continue;
        EXPECT_EQ(found->parts[0].dataWindow.width(), width);
    }
}

TEST(KnownHeaders, AreAsLongAsAFileIsReadAnyway) {
    for (const std::size_t channels : {250U, 600U}) {
        KnownHeaders known;
        const std::string file = fileOfWidth(1, channels);
        const auto reading = learn(known, file);
        EXPECT_EQ(find(known, file), reading->end <= KnownHeaders::mostBytes ? reading : nullptr);
        EXPECT_EQ(reading->end <= KnownHeaders::mostBytes, channels == 250U) << reading->end;
        TextBytes other(std::string(100000, 'x'));
        EXPECT_EQ(known.find(other), nullptr);
        EXPECT_LE(other.mostRead, KnownHeaders::mostBytes);
    }
}

// Good and damaged files of a few kinds in any order, so that most begin as one before.
TEST(KnownHeaders, ChangeNothingOfWhatIsFound) {
    std::vector<std::string> files;
    for (std::size_t i = 0; i < exrKinds().size(); i += 5) {
        const std::string good = exrBytes(exrKinds()[i]);
        const auto add = [&](const std::vector<ExrDamage>& damages) {
            for (std::size_t j = 0; j < damages.size(); j += 3) files.push_back(damages[j].file);
        };
        add(damagedHeaders(good));
        add(damagedChunks(good));
        add(damagedData(good));
        for (const std::size_t part : {2U, 3U, 5U, 100U})
            files.push_back(good.substr(0, good.size() - good.size() / part));
        files.insert(files.end(), 10, good);
    }
    std::shuffle(files.begin(), files.end(), std::mt19937(1));
    const CheckedFile file;
    KnownHeaders known;
    std::size_t shared = 0;
    std::set<std::shared_ptr<const Headers>> seen;
    for (const std::string& bytes : files)
        for (const Level level : {Level::headers, Level::structure, Level::pixels}) {
            const FileReport report = file.check(bytes, level, nullptr, &known);
            ASSERT_EQ(contentOf(report), contentOf(file.check(bytes, level)));
            shared += report.headers && !seen.insert(report.headers).second ? 1 : 0;
        }
    EXPECT_GT(shared, files.size());
}
