// SPDX-License-Identifier: BSD-3-Clause
// The stream beside the EXR library's own: the same calls on the same file, the same outcome of each.
#include "image/private/kxExrStream.h"

#include "tests/support/TempDir.h"

#include <Iex.h>
#include <ImfStdIO.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <typeinfo>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using kxExr::Stream;

namespace {

// What `call` returns, or the type and text of what it throws.
std::string outcomeOf(const std::function<std::string()>& call) {
    try {
        return call();
    } catch (const std::exception& error) {
        return std::string(typeid(error).name()) + ": " + error.what();
    }
}

std::string outcomeOfRead(Imf::IStream& stream, int count) {
    std::string bytes(static_cast<std::size_t>(count), '\0');
    return outcomeOf([&] { return (stream.read(bytes.data(), count) ? "more " : "all ") + bytes; });
}

std::string outcomeOfSeek(Imf::IStream& stream, std::uint64_t position) {
    return outcomeOf([&] {
        stream.seekg(position);
        return std::string("done");
    });
}

std::string outcomeOfTell(Imf::IStream& stream) {
    return outcomeOf([&] { return std::to_string(stream.tellg()); });
}

// Both streams on one path, or on two of the same kind.
class Pair {
public:
    Pair(const std::string& path, const std::string& ownPath)
        : library_(std::make_unique<Imf::StdIFStream>(path.c_str())), own_(ownPath.c_str()) {}
    explicit Pair(const std::string& path) : Pair(path, path) {}

    void read(int count) {
        // Not EXPECT_EQ, which would print megabytes.
        const std::string expected = outcomeOfRead(*library_, count);
        const std::string got = outcomeOfRead(own_, count);
        EXPECT_TRUE(got == expected) << "read of " << count << ": " << got.substr(0, 200) << "\nnot "
                                     << expected.substr(0, 200);
    }
    void seek(std::uint64_t position) {
        EXPECT_EQ(outcomeOfSeek(own_, position), outcomeOfSeek(*library_, position)) << "seek to " << position;
    }
    void tell() { EXPECT_EQ(outcomeOfTell(own_), outcomeOfTell(*library_)); }
    void clear() {
        library_->clear();
        own_.clear();
    }

private:
    std::unique_ptr<Imf::StdIFStream> library_;
    Stream own_;
};

// How many times each random walk is made; $KX_ROUNDS makes it more.
int rounds() {
    const char* const asked = std::getenv("KX_ROUNDS");
    return asked ? std::atoi(asked) : 40;
}

// 300 calls in any order, near the limits of buffers and of the file.
void walk(Pair& pair, std::mt19937_64& random, const std::vector<std::uint64_t>& places) {
    const std::vector<int> counts{0,    1,    1,    4,    4,     8,     8,     8,     33,     1000,  3000,
                                  8190, 8191, 8192, 8193, 16000, 65535, 65536, 65537, 100000, 200000};
    const auto any = [&](const auto& list) { return list[random() % list.size()]; };
    for (int call = 0; call < 300 && !testing::Test::HasFailure(); ++call) {
        const auto kind = random() % 20;
        if (kind < 12) pair.read(any(counts));
        if (kind >= 12 && kind < 16) pair.seek(any(places) + random() % 9 - 4);
        if (kind == 16 || kind == 17) pair.tell();
        if (kind >= 18) pair.clear();
    }
}

std::vector<std::uint64_t> placesIn(std::uint64_t size) {
    return {4,
            8191,
            8192,
            65536,
            73727,
            2 * 65536,
            size,
            size / 2,
            size / 3,
            size + 9000,
            std::uint64_t{1} << 31,
            std::uint64_t{1} << 33,
            std::uint64_t{1} << 63,
            ~std::uint64_t{0}};
}

std::string bytesOfSize(std::size_t size) {
    std::mt19937_64 random(size);
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

class ExrStream : public testing::Test {
protected:
    TempDir dir;
    const std::string path = dir.file("frame.exr");
    std::mt19937_64 random{20240609};
};

TEST_F(ExrStream, DoesWhatTheLibrarysOwnDoes) {
    for (const std::size_t size : {0U, 1U, 7U, 8190U, 8191U, 8192U, 65535U, 65536U, 65537U, 300000U}) {
        ASSERT_TRUE(writeFileBytes(path, bytesOfSize(size)));
        for (int round = 0; round < rounds() && !HasFailure(); ++round) {
            Pair pair(path);
            walk(pair, random, placesIn(size));
        }
    }
}

// Right behind its first read the stream holds the first 64 KiB.
TEST_F(ExrStream, SeeksAtTheEdgesOfWhatItHolds) {
    ASSERT_TRUE(writeFileBytes(path, bytesOfSize(300000)));
    for (const int start : {0, 100000}) {
        for (int place = start + 65530; place < start + 65545; ++place) {
            Pair pair(path);
            pair.seek(static_cast<std::uint64_t>(start));
            pair.read(1);
            pair.seek(static_cast<std::uint64_t>(place));
            pair.tell();
            pair.read(4);
            pair.seek(static_cast<std::uint64_t>(start > 0 ? start - 1 : 0));
            pair.read(4);
        }
    }
}

TEST_F(ExrStream, ReadsBeyond4GiB) {
    const std::uint64_t size = (std::uint64_t{5} << 30) + 12345;
    ASSERT_TRUE(writeFileBytes(path, bytesOfSize(100000)));
    fs::resize_file(path, size);
    for (int round = 0; round < rounds() && !HasFailure(); ++round) {
        Pair pair(path);
        walk(pair, random, placesIn(size));
    }
}

TEST_F(ExrStream, FileThatCannotBeOpenedFailsAtTheFirstReadWithTheSameWords) {
    ASSERT_TRUE(writeFileBytes(path, "bytes"));
    fs::permissions(path, fs::perms::none);
    std::vector<std::string> paths{dir.file("gone"), path + "/below", "", dir.file(std::string(300, 'n'))};
    if (geteuid() != 0) paths.push_back(path);
    for (const std::string& name : paths) {
        const std::string reason = outcomeOf([&] { return Imf::StdIFStream(name.c_str()).fileName(); });
        ASSERT_NE(reason, name);
        Stream stream(name.c_str());
        EXPECT_EQ(outcomeOfRead(stream, 4), reason);
        EXPECT_EQ(outcomeOfRead(stream, 4),
                  outcomeOf([]() -> std::string { throw IEX_NAMESPACE::InputExc("Unexpected end of file."); }));
    }
}

TEST_F(ExrStream, DirectoryFailsToBeRead) {
    Pair pair(dir.path());
    pair.read(4);
    pair.read(4);
    pair.clear();
    pair.read(100000);
    pair.tell();
}

// Makes whole pages of memory unreadable: they map a file that has no bytes. Unlike pages that are not mapped,
// nothing else of the process ever gets their place.
void makeUnreadable(const std::string& emptyFile, char* where, std::size_t bytes) {
    ASSERT_TRUE(writeFileBytes(emptyFile, ""));
    const int file = open(emptyFile.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(file, 0);
    EXPECT_EQ(mmap(where, bytes, PROT_READ, MAP_PRIVATE | MAP_FIXED, file, 0), where);
    close(file);
}

// The process's own memory as a file with bad sectors in its middle, and behind all that is asked for.
TEST_F(ExrStream, UnreadableBytesFailOnlyWhereTheyAreNeeded) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t size = 64 * page;
    const std::size_t behind = 256 * page;
    void* const memory = mmap(nullptr, size + behind, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    char* const bytes = static_cast<char*>(memory);
    bytesOfSize(size).copy(bytes, size);
    for (const std::size_t bad : {3U, 20U, 50U}) makeUnreadable(path, bytes + bad * page, page);
    makeUnreadable(path, bytes + size, behind);
    const auto begin = reinterpret_cast<std::uintptr_t>(memory);
    std::vector<std::uint64_t> places;
    for (std::size_t i = 1; i < 63; ++i) places.push_back(begin + i * page - 20);
    for (int round = 0; round < rounds() && !HasFailure(); ++round) {
        Pair pair("/proc/self/mem");
        pair.read(8);  // at 0, where nothing ever is
        pair.clear();
        pair.seek(begin);
        walk(pair, random, places);
    }
    munmap(memory, size + behind);
}

// Two pipes that hold the same bytes.
TEST_F(ExrStream, PipeCanBeReadButHasNoPlaces) {
    for (const std::size_t size : {0U, 100U, 9000U, 60000U}) {
        const std::vector<std::string> pipes{dir.file("a"), dir.file("b")};
        std::vector<int> writers;
        for (const std::string& name : pipes) {
            ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
            writers.push_back(open(name.c_str(), O_RDWR | O_CLOEXEC));
            const std::string bytes = bytesOfSize(size);
            ASSERT_EQ(write(writers.back(), bytes.data(), size), static_cast<ssize_t>(size));
        }
        Pair pair(pipes[0], pipes[1]);
        for (const int writer : writers) close(writer);
        walk(pair, random, placesIn(size));
        for (const std::string& name : pipes) fs::remove(name);
    }
}

TEST_F(ExrStream, ShrunkFileEndsEarly) {
    ASSERT_TRUE(writeFileBytes(path, bytesOfSize(300000)));
    Pair pair(path);
    pair.read(5);
    fs::resize_file(path, 150000);
    pair.read(160000);
    pair.read(1);
    pair.clear();
    pair.seek(140000);
    pair.read(10000);
    pair.read(1);
}

TEST_F(ExrStream, IsNamedLikeTheFile) {
    EXPECT_EQ(std::string(Stream(path.c_str()).fileName()), path);
    EXPECT_FALSE(Stream(path.c_str()).isMemoryMapped());
}

}  // namespace
