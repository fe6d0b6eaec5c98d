// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxDataBuffer.h"

#include "tests/support/TempDir.h"
#include "tests/support/plainCheck.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Strings = std::vector<std::string>;

struct Content {
    std::string header;
    std::string data;

    std::string whole() const { return header + data; }
    bool operator==(const Content& other) const { return header == other.header && data == other.data; }
};

Content randomContent(std::size_t headerSize, std::size_t dataSize, unsigned seed) {
    std::mt19937 random(seed);
    Content content;
    for (std::size_t i = 0; i < headerSize; ++i) content.header += static_cast<char>(random());
    for (std::size_t i = 0; i < dataSize; ++i) content.data += static_cast<char>(random());
    return content;
}

Content uniformContent(std::size_t headerSize, std::size_t dataSize, char value) {
    return {std::string(headerSize, value), std::string(dataSize, value)};
}

int save(const std::string& path, Content content, bool compressed = true) {
    return _KX_DataBuffer::saveToFileCompressed(path.c_str(), compressed, content.header.data(),
                                                static_cast<int>(content.header.size()), content.data.data(),
                                                static_cast<int>(content.data.size()));
}

// Loads into areas of the content's sizes; bytes beyond them must stay.
int load(const std::string& path, Content& content, bool compressed = true) {
    const std::string guard = "guard";
    std::string header = content.header + guard;
    std::string data = content.data + guard;
    const int code = _KX_DataBuffer::loadFromFileCompressed(path.c_str(), compressed, header.data(),
                                                            static_cast<int>(content.header.size()), data.data(),
                                                            static_cast<int>(content.data.size()));
    EXPECT_EQ(header.substr(content.header.size()), guard);
    EXPECT_EQ(data.substr(content.data.size()), guard);
    content.header = header.substr(0, content.header.size());
    content.data = data.substr(0, content.data.size());
    return code;
}

int loadCode(const std::string& path, std::size_t headerSize, std::size_t dataSize, bool compressed = true) {
    Content content = uniformContent(headerSize, dataSize, 0);
    return load(path, content, compressed);
}

// The first `size` bytes of a compressed file; what lies behind the area must stay.
int loadStart(const std::string& path, std::size_t size, std::string& start) {
    const std::string guard = "guard";
    start = std::string(size, '\0') + guard;
    const int code = _KX_DataBuffer::loadStartOfCompressed(path.c_str(), start.data(), static_cast<int>(size));
    EXPECT_EQ(start.substr(size), guard);
    start.resize(size);
    return code;
}

std::string errorText(int code) {
    return _KX_DataBuffer::errorString(code).data();
}

int openFileCount() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

// The exit code of `body` in a process of its own.
template <class Body>
int inChild(Body body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool overwriteByte(const std::string& path, std::size_t offset, char value) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(offset));
    file.put(value);
    file.close();
    return file.good();
}

class KxDataBuffer : public testing::Test {
protected:
    ~KxDataBuffer() override { EXPECT_EQ(openFileCount(), filesBefore_); }

    TempDir dir;
    const std::string path = dir.file("frame.kxCache");

private:
    const int filesBefore_ = openFileCount();
};

}  // namespace

// --- Content ---------------------------------------------------------------------------------------------------

TEST_F(KxDataBuffer, GivesBackWhatWasSaved) {
    const std::pair<std::size_t, std::size_t> sizes[] = {{0, 0},      {1, 0},          {0, 1},         {7, 5},
                                                         {1188, 300}, {1188, 1000000}, {32768, 32768}, {70000, 1}};
    for (const auto& [headerSize, dataSize] : sizes) {
        for (const bool compressed : {true, false}) {
            const Content content = randomContent(headerSize, dataSize, 5);
            EXPECT_EQ(save(path, content, compressed), 0);
            Content loaded = uniformContent(headerSize, dataSize, 0);
            EXPECT_EQ(load(path, loaded, compressed), 0);
            EXPECT_TRUE(loaded == content) << headerSize << " + " << dataSize << " " << compressed;
        }
    }
}

TEST_F(KxDataBuffer, ACompressedFileIsOneZlibStream) {
    for (const Content& content : {randomContent(1188, 100000, 1), uniformContent(1188, 760000, 'x')}) {
        ASSERT_EQ(save(path, content), 0);
        EXPECT_EQ(plainInflate(readFileBytes(path), content.whole().size()), content.whole());
    }
}

TEST_F(KxDataBuffer, ReadsAStreamOfAnyLevel) {
    const Content content = randomContent(100, 5000, 2);
    for (int level = 0; level <= 9; ++level) {
        writeFileBytes(path, plainDeflate(content.whole(), level));
        Content loaded = uniformContent(100, 5000, 0);
        EXPECT_EQ(load(path, loaded), 0);
        EXPECT_TRUE(loaded == content) << level;
    }
}

TEST_F(KxDataBuffer, AnUncompressedFileIsTheBytesAsTheyAre) {
    const Content content = randomContent(10, 20, 3);
    ASSERT_EQ(save(path, content, false), 0);
    EXPECT_EQ(readFileBytes(path), content.whole());
}

TEST_F(KxDataBuffer, ReplacesTheFileThatWasThere) {
    ASSERT_EQ(save(path, uniformContent(50, 5000, 'a')), 0);
    ASSERT_EQ(save(path, uniformContent(5, 50, 'b')), 0);
    EXPECT_EQ(loadCode(path, 5, 50), 0);
    EXPECT_EQ(dir.entries(), Strings{"frame.kxCache"});
}

TEST_F(KxDataBuffer, ReadsTheStartOfAFileOfAnyLevel) {
    const std::string whole = randomContent(1188, 100000, 8).whole();
    for (int level = 0; level <= 9; ++level) {
        for (const std::size_t size : std::initializer_list<std::size_t>{0, 1, 1187, 1188, 20000}) {
            writeFileBytes(path, plainDeflate(whole, level));
            std::string start;
            EXPECT_EQ(loadStart(path, size, start), 0) << level << " " << size;
            EXPECT_EQ(start, whole.substr(0, size));
        }
    }
}

TEST_F(KxDataBuffer, ReadsTheStartOfAFileThatIsDamagedBehindIt) {
    const Content content = randomContent(1188, 100000, 9);
    ASSERT_EQ(save(path, content), 0);
    ASSERT_EQ(truncate(path.c_str(), 20000), 0);
    std::string start;
    EXPECT_EQ(loadStart(path, 1188, start), 0);
    EXPECT_EQ(start, content.header);
    ASSERT_EQ(truncate(path.c_str(), 600), 0);
    EXPECT_EQ(loadStart(path, 1188, start), _KX_DataBuffer::errorTooShort);
}

// --- Damage ----------------------------------------------------------------------------------------------------

TEST_F(KxDataBuffer, TellsSizesThatDifferFromShortAndLongFiles) {
    const struct {
        std::size_t headerSize, dataSize;
        int code;
    } cases[] = {{10, 20, 0},
                 {20, 10, 0},
                 {30, 0, 0},
                 {10, 21, _KX_DataBuffer::errorTooShort},
                 {31, 0, _KX_DataBuffer::errorTooShort},
                 {10, 19, _KX_DataBuffer::errorTooLong},
                 {9, 20, _KX_DataBuffer::errorTooLong},
                 {0, 0, _KX_DataBuffer::errorTooLong}};
    for (const bool compressed : {true, false}) {
        ASSERT_EQ(save(path, randomContent(10, 20, 4), compressed), 0);
        for (const auto& row : cases) {
            EXPECT_EQ(loadCode(path, row.headerSize, row.dataSize, compressed), row.code)
                << row.headerSize << " + " << row.dataSize << " " << compressed;
        }
    }
}

TEST_F(KxDataBuffer, RefusesAStartThatIsNotThere) {
    std::string start;
    EXPECT_EQ(loadStart(path, 10, start), ENOENT);
    writeFileBytes(path, plainDeflate("nine chars"));
    EXPECT_EQ(loadStart(path, 10, start), 0);
    EXPECT_EQ(loadStart(path, 11, start), _KX_DataBuffer::errorTooShort);
    writeFileBytes(path, std::string(100, 'x'));
    EXPECT_EQ(loadStart(path, 10, start), _KX_DataBuffer::errorDamaged);
    EXPECT_EQ(_KX_DataBuffer::loadStartOfCompressed("", start.data(), 1), ENOENT);
    EXPECT_EQ(_KX_DataBuffer::loadStartOfCompressed(path.c_str(), start.data(), -1), EINVAL);
    EXPECT_EQ(loadStart(dir.path(), 10, start), EISDIR);
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(loadStart(path, 10, start), _KX_DataBuffer::errorNotAFile);
}

// Stored blocks of no bytes, each of five: a stream of them never gives any.
TEST_F(KxDataBuffer, ReadsNoMoreForAStartThanAWriterNeeds) {
    std::string stream("\x78\x01", 2);
    for (int i = 0; i < 100000; ++i) stream.append("\0\0\0\xff\xff", 5);
    writeFileBytes(path, stream);
    std::string start;
    EXPECT_EQ(loadStart(path, 1188, start), _KX_DataBuffer::errorTooLong);
}

TEST_F(KxDataBuffer, RefusesEveryTruncation) {
    const Content content = randomContent(100, 900, 6);
    for (const bool compressed : {true, false}) {
        ASSERT_EQ(save(path, content, compressed), 0);
        for (auto length = static_cast<off_t>(readFileBytes(path).size()) - 1; length >= 0; --length) {
            ASSERT_EQ(truncate(path.c_str(), length), 0);
            ASSERT_EQ(loadCode(path, 100, 900, compressed), _KX_DataBuffer::errorTooShort) << length;
        }
    }
}

// The few bits that a stream leaves unused between blocks change nothing.
TEST_F(KxDataBuffer, RefusesEveryByteThatChangesTheContent) {
    const Content content = randomContent(100, 400, 7);
    ASSERT_EQ(save(path, content), 0);
    const std::string whole = readFileBytes(path);
    int accepted = 0;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        for (const int change : {0x01, 0x80, 0xFF}) {
            ASSERT_TRUE(overwriteByte(path, i, static_cast<char>(whole[i] ^ change)));
            Content loaded = uniformContent(100, 400, 0);
            const int code = load(path, loaded);
            ASSERT_TRUE(code < 0 || (code == 0 && loaded == content)) << "byte " << i << " ^ " << change;
            accepted += code == 0;
        }
        ASSERT_TRUE(overwriteByte(path, i, whole[i]));
    }
    EXPECT_LT(accepted, 5);
}

TEST_F(KxDataBuffer, RefusesWhatFollowsTheStream) {
    const Content content = uniformContent(100, 900, 'c');
    for (const std::size_t extra : {std::size_t{1}, std::size_t{1000}, std::size_t{40000}}) {
        writeFileBytes(path, plainDeflate(content.whole()) + std::string(extra, '\0'));
        EXPECT_EQ(loadCode(path, 100, 900), _KX_DataBuffer::errorTooLong) << extra;
    }
}

TEST_F(KxDataBuffer, RefusesWhatIsNoStream) {
    const std::pair<std::string, int> cases[] = {
        {"", _KX_DataBuffer::errorTooShort},
        {"x", _KX_DataBuffer::errorTooShort},
        {"x\x9C", _KX_DataBuffer::errorTooShort},
        {"xx", _KX_DataBuffer::errorDamaged},
        {std::string(50, '\0'), _KX_DataBuffer::errorDamaged},
        {"\x1F\x8B\x08 a gzip header", _KX_DataBuffer::errorDamaged},
        // A stream that wants a dictionary.
        {std::string("\x78\xBB\0\0\0\1", 6), _KX_DataBuffer::errorDamaged},
    };
    for (const auto& [bytes, code] : cases) {
        writeFileBytes(path, bytes);
        EXPECT_EQ(loadCode(path, 10, 10), code) << bytes;
    }
}

TEST_F(KxDataBuffer, StopsAStreamThatWouldInflateWithoutEnd) {
    writeFileBytes(path, plainDeflate(std::string(64 << 20, '\0'), 9));
    EXPECT_EQ(loadCode(path, 1188, 760000), _KX_DataBuffer::errorTooLong);
}

TEST_F(KxDataBuffer, StopsAStreamOfNothingButEmptyBlocks) {
    const std::string emptyBlock("\0\0\0\xFF\xFF", 5);
    std::string stream = "\x78\x9C";
    for (int i = 0; i < 900; ++i) stream += emptyBlock;
    writeFileBytes(path, stream);
    EXPECT_EQ(loadCode(path, 1000, 0), _KX_DataBuffer::errorTooShort);
    EXPECT_EQ(loadCode(path, 10, 10), _KX_DataBuffer::errorTooLong) << "not read at all";
}

TEST_F(KxDataBuffer, RefusesAHugeFileUnread) {
    writeFileBytes(path, "");
    if (truncate(path.c_str(), 1LL << 40) != 0) GTEST_SKIP() << "no sparse files here: " << std::strerror(errno);
    EXPECT_EQ(loadCode(path, 10, 10), _KX_DataBuffer::errorTooLong);
    EXPECT_EQ(loadCode(path, 10, 10, false), _KX_DataBuffer::errorTooLong);
}

// --- What is no file -------------------------------------------------------------------------------------------

TEST_F(KxDataBuffer, ReadsRegularFilesOnlyAndNeverWaits) {
    ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
    ASSERT_EQ(symlink("loop", dir.file("loop").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", dir.file("dangling").c_str()), 0);
    const std::pair<std::string, int> cases[] = {
        {dir.path(), EISDIR},
        {dir.file("."), EISDIR},
        {dir.file("pipe"), _KX_DataBuffer::errorNotAFile},
        {"/dev/null", _KX_DataBuffer::errorNotAFile},
        {dir.file("loop"), ELOOP},
        {dir.file("dangling"), ENOENT},
        {dir.file("missing"), ENOENT},
        {dir.file("missing/file"), ENOENT},
        {"/dev/null/file", ENOTDIR},
        {dir.file(std::string(256, 'n')), ENAMETOOLONG},
        {"", ENOENT},
    };
    for (const auto& [name, code] : cases) EXPECT_EQ(loadCode(name, 10, 10), code) << name;
}

// Of a program that was started without standard input, the first file opened has descriptor 0.
TEST_F(KxDataBuffer, DescriptorZeroIsAsGoodAsAnyOther) {
    const int failures = inChild([this] {
        close(STDIN_FILENO);
        const bool saved = save(path, randomContent(20, 500, 1)) == 0;
        return saved && loadCode(path, 20, 500) == 0 ? 0 : 1;
    });
    EXPECT_EQ(failures, 0);
}

TEST_F(KxDataBuffer, ReadsThroughALink) {
    ASSERT_EQ(save(path, uniformContent(10, 10, 'l')), 0);
    ASSERT_EQ(symlink("frame.kxCache", dir.file("link").c_str()), 0);
    EXPECT_EQ(loadCode(dir.file("link"), 10, 10), 0);
}

TEST_F(KxDataBuffer, RefusesASocket) {
    const int socketFile = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = dir.file("s");
    ASSERT_LT(name.size(), sizeof address.sun_path);
    std::strcpy(address.sun_path, name.c_str());
    ASSERT_EQ(bind(socketFile, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(loadCode(name, 10, 10), ENXIO);
    close(socketFile);
}

// --- Names -----------------------------------------------------------------------------------------------------

TEST_F(KxDataBuffer, WritesNamesOfAnyBytesAndOfFullLength) {
    for (const std::string& name : {std::string("\xC3\xA4\xFF%s.kxCache"), std::string(255, 'n')}) {
        ASSERT_EQ(save(dir.file(name), uniformContent(10, 10, 'n')), 0) << name;
        EXPECT_EQ(dir.entries(), Strings{name});
        EXPECT_EQ(loadCode(dir.file(name), 10, 10), 0);
        ASSERT_EQ(std::remove(dir.file(name).c_str()), 0);
    }
}

TEST_F(KxDataBuffer, WritesANameWithoutDirectoryIntoTheCurrentOne) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    EXPECT_EQ(save("here", uniformContent(10, 10, 'n')), 0);
    EXPECT_EQ(loadCode("here", 10, 10), 0);
    std::filesystem::current_path(before);
    EXPECT_EQ(dir.entries(), Strings{"here"});
}

TEST_F(KxDataBuffer, RefusesANameWithAZeroByte) {
    const std::string name = path + '\0' + "rest";
    Content content = uniformContent(10, 10, 'n');
    ASSERT_EQ(save(path, content), 0);
    const _kxString8_allSize<500> cut(latin1(name));
    ASSERT_EQ(cut.length(), static_cast<int>(name.size()));
    EXPECT_EQ(_KX_DataBuffer::saveToFileCompressed(cut, true, content.header.data(), 10, content.data.data(), 10),
              EINVAL);
    EXPECT_EQ(_KX_DataBuffer::loadFromFileCompressed(cut, true, content.header.data(), 10, content.data.data(), 10),
              EINVAL);
}

TEST_F(KxDataBuffer, RefusesNegativeSizes) {
    char byte = 0;
    for (const bool compressed : {true, false}) {
        EXPECT_EQ(_KX_DataBuffer::saveToFileCompressed(path.c_str(), compressed, &byte, -1, &byte, 1), EINVAL);
        EXPECT_EQ(_KX_DataBuffer::saveToFileCompressed(path.c_str(), compressed, &byte, 1, &byte, -1), EINVAL);
        EXPECT_EQ(_KX_DataBuffer::loadFromFileCompressed(path.c_str(), compressed, &byte, -1, &byte, 1), EINVAL);
        EXPECT_EQ(_KX_DataBuffer::loadFromFileCompressed(path.c_str(), compressed, &byte, 1, &byte, -1), EINVAL);
    }
    EXPECT_TRUE(dir.entries().empty());
}

// --- Failing writes --------------------------------------------------------------------------------------------

TEST_F(KxDataBuffer, AFailedWriteNamesItsReasonAndLeavesNothing) {
    std::filesystem::create_directory(dir.file("directory"));
    writeFileBytes(dir.file("file"), "old");
    const std::pair<std::string, int> cases[] = {
        {dir.file("directory"), EISDIR},
        {dir.file("directory/"), EISDIR},
        {dir.file("missing/file"), ENOENT},
        {dir.file("file/below"), ENOTDIR},
        {"", ENOENT},
        {dir.file(std::string(256, 'n')), ENAMETOOLONG},
    };
    for (const auto& [name, code] : cases) EXPECT_EQ(save(name, uniformContent(10, 10, 'w')), code) << name;
    EXPECT_EQ(dir.entries(), (Strings{"directory", "file"}));
    EXPECT_EQ(readFileBytes(dir.file("file")), "old");
}

TEST_F(KxDataBuffer, AFileThatGrowsTooLargeLeavesTheOldOne) {
    ASSERT_EQ(save(path, uniformContent(100, 900, 'o')), 0);
    for (const rlim_t limit : {rlim_t{0}, rlim_t{1}, rlim_t{100000}, rlim_t{500000}}) {
        const int code = inChild([&] {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit fileSize{limit, limit};
            setrlimit(RLIMIT_FSIZE, &fileSize);
            return save(path, randomContent(1188, 760000, 8));
        });
        EXPECT_EQ(code, EFBIG) << limit;
        EXPECT_EQ(dir.entries(), Strings{"frame.kxCache"});
        EXPECT_EQ(loadCode(path, 100, 900), 0);
    }
}

TEST_F(KxDataBuffer, ADirectoryWithoutPermissionKeepsItsFiles) {
    ASSERT_EQ(save(path, uniformContent(100, 900, 'o')), 0);
    const bool isRoot = geteuid() == 0;
    for (const mode_t mode : {mode_t{0700}, mode_t{0555}}) {
        if (mode == 0700 && !isRoot) continue;  // the directory is this user's own
        ASSERT_EQ(chmod(dir.path().c_str(), mode), 0);
        const int code =
            inChild([&] { return isRoot && setuid(65534) != 0 ? 99 : save(path, uniformContent(100, 900, 'n')); });
        EXPECT_EQ(code, EACCES);
    }
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    EXPECT_EQ(dir.entries(), Strings{"frame.kxCache"});
    Content content = uniformContent(100, 900, 0);
    EXPECT_EQ(load(path, content), 0);
    EXPECT_EQ(content.data[0], 'o');
}

TEST_F(KxDataBuffer, FilesGetThePermissionsThatTheUmaskLeaves) {
    const std::pair<mode_t, mode_t> cases[] = {{022, 0644}, {077, 0600}, {0, 0666}};
    for (const auto& [mask, expected] : cases) {
        const mode_t before = umask(mask);
        EXPECT_EQ(save(path, uniformContent(10, 10, 'u')), 0);
        umask(before);
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, expected);
    }
}

// --- Writers that die or meet ----------------------------------------------------------------------------------

namespace {

constexpr std::size_t bigHeader = 1188;
constexpr std::size_t bigData = 300000;

// True when the file is one of the two contents, whole.
bool isOneOf(const std::string& path, const Content& first, const Content& second) {
    Content loaded = uniformContent(bigHeader, bigData, 0);
    const int code = load(path, loaded);
    EXPECT_EQ(code, 0);
    return code == 0 && (loaded == first || loaded == second);
}

}  // namespace

TEST_F(KxDataBuffer, AKilledWriterLeavesTheOldOrTheNewFile) {
    const Content first = randomContent(bigHeader, bigData, 11);
    const Content second = randomContent(bigHeader, bigData, 12);
    ASSERT_EQ(save(path, first), 0);
    std::mt19937 random(13);
    for (int round = 0; round < 60; ++round) {
        const pid_t writer = fork();
        if (writer == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (;;) {
                if (save(path, second) != 0 || save(path, first) != 0) _exit(1);
            }
        }
        usleep(static_cast<useconds_t>(random() % 30000));
        kill(writer, SIGKILL);
        int status = 0;
        waitpid(writer, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        ASSERT_TRUE(isOneOf(path, first, second)) << "round " << round;
    }
}

TEST_F(KxDataBuffer, OfTwoWritersAtOnceOneWinsWhole) {
    const Content first = randomContent(bigHeader, bigData, 14);
    const Content second = randomContent(bigHeader, bigData, 15);
    ASSERT_EQ(save(path, first), 0);
    std::vector<pid_t> writers;
    for (const Content& content : {first, second}) {
        writers.push_back(fork());
        if (writers.back() == 0) {
            for (int i = 0; i < 20; ++i) {
                if (save(path, content) != 0) _exit(1);
            }
            _exit(0);
        }
    }
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(isOneOf(path, first, second));
    for (const pid_t writer : writers) {
        int status = 0;
        waitpid(writer, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_TRUE(isOneOf(path, first, second));
    EXPECT_EQ(dir.entries(), Strings{"frame.kxCache"});
}

// --- Texts -----------------------------------------------------------------------------------------------------

TEST(KxDataBufferErrorString, NamesEveryCode) {
    const std::pair<int, const char*> cases[] = {
        {0, ""},
        {EPERM, "Operation not permitted"},
        {ENOENT, "No such file or directory"},
        {EACCES, "Permission denied"},
        {ENOSPC, "No space left on device"},
        {-1, "File of another layout"},
        {-2, "Not a regular file"},
        {-3, "Compressed data is damaged"},
        {-4, "File ends too early"},
        {-5, "File is longer than expected"},
        {-6, "Unknown error -6"},
        {99999, "Unknown error 99999"},
    };
    for (const auto& [code, expected] : cases) EXPECT_EQ(errorText(code), expected);
}

TEST(KxDataBufferErrorString, IsEnglishInEveryLocale) {
    const std::string before = setlocale(LC_ALL, nullptr);
    int other = 0;
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8", "POSIX"}) {
        if (!setlocale(LC_ALL, name)) continue;
        ++other;
        EXPECT_EQ(errorText(EACCES), "Permission denied") << name;
    }
    setlocale(LC_ALL, before.c_str());
    EXPECT_GT(other, 0);
}
