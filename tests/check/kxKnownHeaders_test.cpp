// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxKnownHeaders.h"

#include "check/kxChunkGrid.h"
#include "check/kxWorkerMessage.h"
#include "tests/support/CheckedFile.h"
#include "tests/support/ExrDamage.h"
#include "tests/support/ExrKinds.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <functional>
#include <random>
#include <set>

using namespace kxCheck;

// --- The program's reads go through here
// --------------------------------------------------------------------------

namespace {

int reads = 0;
std::function<bool(int)> readWorks;  // asked before each, with the number of those before it; empty: all do

bool nextReadWorks() {
    const int number = reads++;
    if (!readWorks || readWorks(number)) return true;
    errno = EIO;
    return false;
}

}  // namespace

extern "C" {
ssize_t __real_pread(int file, void* bytes, std::size_t count, off_t offset);
ssize_t __wrap_pread(int file, void* bytes, std::size_t count, off_t offset) {
    return nextReadWorks() ? __real_pread(file, bytes, count, offset) : -1;
}
ssize_t __real_pread64(int file, void* bytes, std::size_t count, off_t offset);
ssize_t __wrap_pread64(int file, void* bytes, std::size_t count, off_t offset) {
    return nextReadWorks() ? __real_pread64(file, bytes, count, offset) : -1;
}
}

namespace {

class TextBytes : public Bytes {
public:
    explicit TextBytes(std::string text) : text_(std::move(text)) {}

    std::uint64_t size() const override { return text_.size(); }
    const char* view(std::uint64_t offset, std::size_t count) override {
        return count <= mostViewed && holds(offset, count) ? text_.data() + offset : nullptr;
    }

private:
    std::string text_;
};

HeaderReading readingOf(const std::string& file) {
    TextBytes bytes(file);
    return readHeaders(bytes);
}

std::string fileOfWidth(int width, int channels = 4, Imf::Compression compression = Imf::ZIP_COMPRESSION) {
    Kind kind{"one", {KindPart()}};
    kind.parts[0].dataWindow.max.x = width - 1;
    kind.parts[0].compression = compression;
    kind.parts[0].channels.clear();
    for (int i = 0; i < channels; ++i) kind.parts[0].channels.push_back({"channel" + std::to_string(1000 + i)});
    return exrBytes(kind);
}

// The file with one more attribute at the end of its header, its chunks after so many unused bytes that the first
// one's place ends in `lastByte`. A file of one part in scan-lines.
std::string withAttribute(const std::string& file, const std::string& attribute, unsigned char lastByte) {
    const HeaderReading reading = readingOf(file);
    const std::size_t table = ChunkGrid(reading.parts[0]).count() * sizeof(std::uint64_t);
    std::vector<std::uint64_t> offsets(table / sizeof(std::uint64_t));
    std::memcpy(offsets.data(), file.data() + reading.end, table);
    const std::string header = file.substr(0, reading.end - 1) + attribute + '\0';
    const std::string chunks = file.substr(offsets[0]);
    std::size_t unused = 0;
    while (((header.size() + table + unused) & 255U) != lastByte) ++unused;
    const std::uint64_t moved = header.size() + table + unused - offsets[0];
    for (std::uint64_t& offset : offsets) offset += moved;
    return header + std::string(reinterpret_cast<const char*>(offsets.data()), table) + std::string(unused, 'x') +
           chunks;
}

std::string attribute(const std::string& name, const std::string& type, const std::string& value) {
    const auto size = static_cast<std::uint32_t>(value.size());
    return name + '\0' + type + '\0' + std::string(reinterpret_cast<const char*>(&size), sizeof size) + value;
}

// Remembers the headers of this file.
std::shared_ptr<const HeaderReading> learn(KnownHeaders& known, const std::string& file) {
    const auto reading = std::make_shared<const HeaderReading>(readingOf(file));
    EXPECT_FALSE(reading->finding);
    known.remember({QByteArray(file.data(), static_cast<int>(reading->end)), reading});
    return reading;
}

std::shared_ptr<const HeaderReading> find(const KnownHeaders& known, const std::string& file) {
    TextBytes bytes(file);
    return known.find(bytes);
}

// All that a report says but for the time that it took, and which file it was.
QByteArray contentOf(FileReport report) {
    report.seconds = 0;
    report.identity = {};
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

// Those that a file's first 8 KiB hold: a file is read no further for them than it is anyway.
TEST(KnownHeaders, AreShortOnes) {
    const CheckedFile file;
    for (const int channels : {4, 100, 200, 600}) {
        KnownHeaders known;
        const std::string bytes = fileOfWidth(1, channels);
        const FileReport first = file.check(bytes, Level::headers, nullptr, &known);
        const int before = reads;
        const FileReport second = file.check(bytes, Level::headers, nullptr, &known);
        ASSERT_TRUE(first.headers && second.headers);
        EXPECT_EQ(first.headers == second.headers, channels < 600) << channels;
        EXPECT_EQ(reads == before + 1, channels < 600) << channels;
    }
}

TEST(KnownHeaders, AreNotLookedForAgainInAFileThatCannotBeRead) {
    KnownHeaders known;
    for (int width = 1; width <= 5; ++width) learn(known, fileOfWidth(width));
    const CheckedFile file;
    readWorks = [](int) { return false; };
    const int before = reads;
    EXPECT_EQ(codesOf(file.check(fileOfWidth(9), Level::headers, nullptr, &known)),
              std::set<std::string>{"unreadable"});
    EXPECT_EQ(reads, before + 1);
    readWorks = nullptr;
}

// A frame that is rendered again, in place, between any two reads of it.
TEST(KnownHeaders, AreThoseThatWereReadWhereAFileChangesMeanwhile) {
    const TempDir dir;
    const QByteArray path = QByteArray::fromStdString(dir.file("a.exr"));
    const CheckedFile another;
    for (const int channels : {4, 200, 300}) {
        const std::string old = fileOfWidth(45, channels);
        const std::string fresh = fileOfWidth(45, channels, Imf::ZIPS_COMPRESSION);
        const QByteArray right = contentOf(another.check(fresh, Level::structure));
        for (int read = 0; read < 8; ++read) {
            KnownHeaders known;
            ASSERT_TRUE(writeFileBytes(dir.file("a.exr"), old));
            const int first = reads;
            readWorks = [&](int number) {
                return number - first != read || writeFileBytes(dir.file("a.exr"), fresh);
            };
            static_cast<void>(checkFile({path, Level::structure}, nullptr, &known));
            readWorks = nullptr;
            for (int again = 0; again < 2; ++again)
                ASSERT_EQ(contentOf(another.check(fresh, Level::structure, nullptr, &known)), right)
                    << channels << " channels, before read " << read;
        }
    }
}

// Some versions of the EXR library let the value of an attribute go on behind the header.
TEST(KnownHeaders, DependOnNothingBehindThem) {
    const std::string attributes[] = {
        attribute("s", "stringvector", std::string("\1\0\0\0", 4)),
        attribute("c", "chlist", '\0' + attribute("x", "string", "").substr(0, 13)),
        attribute("s", "string", "nothing special"),
    };
    const CheckedFile file;
    for (const std::string& added : attributes) {
        const std::string one = withAttribute(fileOfWidth(45), added, 0);
        const std::string other = withAttribute(fileOfWidth(45), added, 0x55);
        ASSERT_EQ(one.substr(0, readingOf(one).end), other.substr(0, readingOf(other).end));
        for (const Level level : {Level::headers, Level::structure, Level::pixels}) {
            const std::vector<std::string> alone = textsOf(file.check(one, level));
            EXPECT_EQ(textsOf(file.check(other, level)), alone) << added;
            KnownHeaders known;
            for (const std::string& bytes : {one, other, one})
                EXPECT_EQ(textsOf(file.check(bytes, level, nullptr, &known)), alone) << added;
        }
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
