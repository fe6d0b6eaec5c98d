// SPDX-License-Identifier: BSD-3-Clause
// What the system says about a file, and what happens when it changes; real sample files.
#include "shared/kxMemoryLimit.h"
#include "tests/support/CheckedFile.h"
#include "tests/support/ExrKinds.h"
#include "tests/support/RealSamples.h"
#include "tests/support/TempDir.h"
#include "tests/support/plainLayout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

using Texts = std::vector<std::string>;

std::string goodBytes() {
    return exrBytes(exrKinds().front());
}

// One tile of 32 MiB.
std::string largeTileBytes() {
    Kind large;
    KindPart part;
    part.tiled = true;
    part.tileWidth = 2048;
    part.tileHeight = 2048;
    part.compression = Imf::RLE_COMPRESSION;
    part.dataWindow = {{0, 0}, {2047, 2047}};
    large.parts = {part};
    return exrBytes(large);
}

// Runs `work` in a process with a gibibyte of memory (all of it where a sanitizer allows no limit) and half a
// minute; its exit code, -1 when it did not end by itself.
template <class Work>
int exitCodeWithLimits(const Work& work) {
    const pid_t child = fork();
    if (child == 0) {
        const rlimit memory{1U << 30, 1U << 30};
        if (!kxIsSanitizerBuild()) setrlimit(RLIMIT_AS, &memory);
        alarm(30);
        _exit(work());
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Bytes of this process's address space.
rlim_t usedMemory() {
    std::ifstream sizes("/proc/self/statm");
    rlim_t pages = 0;
    sizes >> pages;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

class FileReader : public ::testing::Test {
protected:
    FileReport check(const std::string& name, ChunkSink* sink = nullptr) const {
        return checkFile({QByteArray::fromStdString(dir.file(name)), Level::pixels}, sink);
    }

    // Whether that is all that is found with 24 MiB.
    bool hasCodeWithLittleMemory(const std::string& name, const std::string& code) const {
        return exitCodeWithLimits([&] {
                   const rlim_t memory = usedMemory() + (24U << 20);
                   const rlimit limit{memory, memory};
                   setrlimit(RLIMIT_AS, &limit);
                   return codesOf(check(name)) == std::set<std::string>{code} ? 0 : 1;
               }) == 0;
    }

    TempDir dir;
};

// Changes the file while its chunks are being decoded, as often as it is told to.
class ChangingSink : public ChunkSink {
public:
    ChangingSink(std::string path, int changes) : path_(std::move(path)), changes_(changes) {}

    void take(const DecodedChunk&) override {
        ++taken;
        if (changes_ == 0 || changed_) return;
        --changes_;
        changed_ = true;
        const timespec times[] = {{0, UTIME_OMIT}, {1000 + changes_, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, path_.c_str(), times, 0), 0);
    }
    void restart() override {
        changed_ = false;
        taken = 0;
        ++restarts;
    }

    int taken = 0;
    int restarts = 0;

private:
    std::string path_;
    int changes_;
    bool changed_ = false;
};

std::vector<std::string> sampleFiles(bool damaged) {
    std::vector<std::string> files;
    if (realSamplesDir().empty()) return files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(realSamplesDir())) {
        const bool isDamaged = entry.path().parent_path().filename() == "Damaged";
        if (entry.is_regular_file() && isDamaged == damaged && (damaged || entry.path().extension() == ".exr"))
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

TEST_F(FileReader, TellsIdentityOfTheFile) {
    writeFileBytes(dir.file("a.exr"), goodBytes());
    struct stat status;
    ASSERT_EQ(stat(dir.file("a.exr").c_str(), &status), 0);
    const FileReport report = check("a.exr");
    EXPECT_TRUE(report.hasIdentity);
    EXPECT_EQ(report.identity.device, status.st_dev);
    EXPECT_EQ(report.identity.inode, status.st_ino);
    EXPECT_EQ(report.identity.size, status.st_size);
    EXPECT_EQ(report.identity.modified, status.st_mtim.tv_sec * 1000000000LL + status.st_mtim.tv_nsec);
    EXPECT_GT(report.seconds, 0);
}

TEST_F(FileReader, CallsAFileMissingOnlyWhereNothingIs) {
    EXPECT_EQ(textsOf(check("none.exr")), Texts{"missing: there is no such file"});
    ASSERT_EQ(symlink("none.exr", dir.file("link.exr").c_str()), 0);
    EXPECT_EQ(textsOf(check("link.exr")), Texts{"unreadable: the link leads nowhere"});
    writeFileBytes(dir.file("file"), "x");
    EXPECT_EQ(textsOf(check("file/a.exr")), Texts{"unreadable: Not a directory"});
    EXPECT_EQ(textsOf(check(std::string(300, 'n'))), Texts{"unreadable: File name too long"});
    EXPECT_FALSE(check("none.exr").hasIdentity);
}

TEST_F(FileReader, CallsAFileEmptyOnlyWithoutAByte) {
    const struct {
        const char* bytes;
        const char* expected;
    } cases[] = {{"", "empty: the file is empty"},
                 {"v", "not-exr: this is no EXR file"},
                 {"v/1", "not-exr: this is no EXR file"},
                 {"v/1.", "not-exr: this is no EXR file"},
                 {"v/1\x01", "truncated: the file ends within its header"}};
    for (const auto& c : cases) {
        writeFileBytes(dir.file("a.exr"), c.bytes);
        EXPECT_EQ(textsOf(check("a.exr")), Texts{c.expected}) << c.bytes;
    }
}

TEST_F(FileReader, FollowsALink) {
    writeFileBytes(dir.file("a.exr"), goodBytes());
    ASSERT_EQ(symlink("a.exr", dir.file("link.exr").c_str()), 0);
    EXPECT_TRUE(check("link.exr").decoded);
}

TEST_F(FileReader, ReadsNothingButRegularFiles) {
    ASSERT_EQ(mkdir(dir.file("directory.exr").c_str(), 0777), 0);
    ASSERT_EQ(mkfifo(dir.file("pipe.exr").c_str(), 0666), 0);
    const Texts expected{"unreadable: this is no regular file"};
    EXPECT_EQ(textsOf(check("directory.exr")), expected);
    EXPECT_EQ(textsOf(check("pipe.exr")), expected);
    EXPECT_FALSE(check("directory.exr").hasIdentity);
    EXPECT_FALSE(check("pipe.exr").hasIdentity);
    EXPECT_EQ(textsOf(checkFile({"/dev/null", Level::headers})), expected);
}

TEST_F(FileReader, ReportsTheSystemsReason) {
    constexpr uid_t nobody = 65534;
    writeFileBytes(dir.file("a.exr"), goodBytes());
    ASSERT_EQ(chmod(dir.file("a.exr").c_str(), 0), 0);
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    const int code = exitCodeWithLimits([this] {
        if (geteuid() == 0 && seteuid(nobody) != 0) return 2;  // root may read everything
        return textsOf(check("a.exr")) == Texts{"unreadable: Permission denied"} ? 0 : 1;
    });
    EXPECT_EQ(code, 0);
}

TEST_F(FileReader, TellsTheSizeOfAFileThatCannotBeOpened) {
    writeFileBytes(dir.file("a.exr"), goodBytes());
    const int code = exitCodeWithLimits([this] {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        const FileReport report = check("a.exr");
        return report.hasIdentity && report.identity.size == static_cast<std::int64_t>(goodBytes().size()) ? 0 : 1;
    });
    EXPECT_EQ(code, 0);
}

TEST_F(FileReader, ReportsThatDescriptorsRanOut) {
    writeFileBytes(dir.file("a.exr"), goodBytes());
    const int code = exitCodeWithLimits([this] {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        return textsOf(check("a.exr")) == Texts{"unreadable: Too many open files"} ? 0 : 1;
    });
    EXPECT_EQ(code, 0);
}

TEST_F(FileReader, LooksOnceMoreWhenTheFileChanged) {
    writeFileBytes(dir.file("a.exr"), goodBytes());
    ChangingSink once(dir.file("a.exr"), 1);
    const FileReport report = check("a.exr", &once);
    EXPECT_TRUE(report.decoded);
    EXPECT_EQ(textsOf(report), Texts{});
    EXPECT_EQ(once.restarts, 1);
    EXPECT_EQ(once.taken, report.chunks.at(0).chunks);
}

TEST_F(FileReader, CallsAFileChangingThatChangedTwice) {
    writeFileBytes(dir.file("a.exr"), goodBytes());
    ChangingSink twice(dir.file("a.exr"), 2);
    const FileReport report = check("a.exr", &twice);
    EXPECT_FALSE(report.decoded);
    EXPECT_EQ(textsOf(report), Texts{"changing: it changed twice while it was checked"});
}

TEST_F(FileReader, CallsItALimitWhenMemoryRunsOut) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer allows no memory limit";
    writeFileBytes(dir.file("a.exr"), largeTileBytes());
    EXPECT_TRUE(hasCodeWithLittleMemory("a.exr", "limit"));
}

TEST_F(FileReader, NeedsNoMemoryForChunkTablesToReadHeaders) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer allows no memory limit";
    constexpr std::int32_t rows = 20000000;
    Kind small;
    small.parts = {KindPart()};
    small.parts[0].compression = Imf::NO_COMPRESSION;
    std::string bytes = exrBytes(small);
    const PlainLayout layout = plainLayout(bytes);
    putPlainNumber(bytes, layout.attribute(0, "dataWindow").value + 12, 4, rows - 1);
    writeFileBytes(dir.file("a.exr"), bytes);
    std::filesystem::resize_file(dir.file("a.exr"), layout.headersEnd + std::uint64_t{8} * rows);
    const int code = exitCodeWithLimits([this] {
        const rlim_t memory = usedMemory() + (24U << 20);
        const rlimit limit{memory, memory};
        setrlimit(RLIMIT_AS, &limit);
        const FileReport report = checkFile({QByteArray::fromStdString(dir.file("a.exr")), Level::headers});
        return report.findings.empty() && report.headers ? 0 : 1;
    });
    EXPECT_EQ(code, 0);
}

TEST_F(FileReader, NeedsNoMemoryToTellThatAChunkIsTooSmallForItsPixels) {
    if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer allows no memory limit";
    const std::string good = largeTileBytes();
    const PlainLayout layout = plainLayout(good);
    for (const Imf::Compression compression :
         {Imf::RLE_COMPRESSION, Imf::ZIPS_COMPRESSION, Imf::ZIP_COMPRESSION, Imf::PXR24_COMPRESSION}) {
        std::string bomb = good;
        bomb.at(layout.attribute(0, "compression").value) = static_cast<char>(compression);
        putPlainNumber(bomb, layout.chunks.at(0).sizes, 4, 400);
        writeFileBytes(dir.file("a.exr"), bomb);
        EXPECT_TRUE(hasCodeWithLittleMemory("a.exr", "chunk")) << compression;
    }
}

TEST(FileReaderSamples, RealFilesAreGood) {
    const std::vector<std::string> files = sampleFiles(false);
    if (files.empty()) GTEST_SKIP() << "no real sample files here";
    for (const std::string& file : files)
        for (const Level level : {Level::headers, Level::structure, Level::pixels}) {
            const FileReport report = checkFile({QByteArray::fromStdString(file), level});
            EXPECT_EQ(textsOf(report), Texts{}) << file;
            EXPECT_EQ(report.decoded, level == Level::pixels) << file;
        }
}

// All of them are damaged, and none of them may take the process along.
TEST(FileReaderSamples, DamagedFilesHaveAVerdict) {
    const std::vector<std::string> files = sampleFiles(true);
    if (files.empty()) GTEST_SKIP() << "no real sample files here";
    for (const std::string& file : files) {
        const int code = exitCodeWithLimits([&file] {
            return checkFile({QByteArray::fromStdString(file), Level::pixels}).findings.empty() ? 1 : 0;
        });
        EXPECT_EQ(code, 0) << file;
    }
}
