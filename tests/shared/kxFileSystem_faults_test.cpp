// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxFileSystem.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <dirent.h>
#include <libintl.h>

namespace fs = std::filesystem;

// The system's own functions, which do not count.
extern "C" {
DIR* __real_opendir(const char* path);
dirent* __real_readdir(DIR* directory);
}

namespace {

// A directory of three frames and entries that are none; the system works and counts from 0.
class KxFileSystemFaults : public ::testing::Test {
protected:
    KxFileSystemFaults() {
        for (const char* name : {"b.1.exr", "b.2.exr", "b.3.exr", "other.exr", "notes.txt"}) {
            writeFileBytes(dir.file(name), "12");
        }
        fs::create_directory(dir.file("b.4.exr"));
        fs::create_symlink("other.exr", dir.file("other_link.exr"));
        theSystem = System();
    }
    ~KxFileSystemFaults() override { theSystem = System(); }

    void start(kxDirListing& listing) const {
        listing.setNameFilter(QStringLiteral("b."), QStringLiteral(".exr"));
        listing.init(dir.qpath() + QLatin1Char('*'), false, true, false, false);
    }
    std::vector<std::string> frames() const {
        kxDirListing listing;
        start(listing);
        std::vector<std::string> names;
        while (listing.nextFile()) names.push_back(bytesOf(listing.fileName()));
        std::sort(names.begin(), names.end());
        return names;
    }
    QString path(const char* name) const { return latin1(dir.file(name)); }
    // Some file systems never tell an entry's kind.
    bool kindsAreTold() const {
        DIR* directory = __real_opendir(dir.path().c_str());
        bool told = true;
        while (const dirent* entry = __real_readdir(directory)) told = told && entry->d_type != DT_UNKNOWN;
        closedir(directory);
        return told;
    }

    const TempDir dir;
    static constexpr int callsOfAListing = 10;  // of readdir: seven entries, "." and "..", the end
    const std::vector<std::string> allFrames{"b.1.exr", "b.2.exr", "b.3.exr"};
};

TEST_F(KxFileSystemFaults, ListingAsksTheSystemAboutNoEntry) {
    if (!kindsAreTold()) GTEST_SKIP() << "this file system does not tell the entries' kinds";
    EXPECT_EQ(frames(), allFrames);
    EXPECT_EQ(theSystem.opendir.calls, 1);
    EXPECT_EQ(theSystem.readdir.calls, callsOfAListing);
    EXPECT_EQ(theSystem.fstatat.calls, 0);
    EXPECT_EQ(theSystem.lstat.calls, 0);
}

TEST_F(KxFileSystemFaults, OnlyLinksOfTheSequenceAreAskedAbout) {
    if (!kindsAreTold()) GTEST_SKIP() << "this file system does not tell the entries' kinds";
    fs::create_symlink("other.exr", dir.file("b.5.exr"));
    fs::create_symlink("nowhere.exr", dir.file("b.6.exr"));
    EXPECT_EQ(frames(), (std::vector<std::string>{"b.1.exr", "b.2.exr", "b.3.exr", "b.5.exr"}));
    EXPECT_EQ(theSystem.fstatat.calls, 2);
}

TEST_F(KxFileSystemFaults, SizeAndTimeCostOneCallForEachFile) {
    fs::create_symlink("other.exr", dir.file("b.5.exr"));
    kxDirListing listing;
    start(listing);
    int files = 0;
    for (; listing.nextFile(); ++files) {
        EXPECT_EQ(listing.fileSize(), 2);
        EXPECT_NE(listing.fileTime(), _kxTime());
        EXPECT_EQ(listing.fileSize(), 2);
    }
    EXPECT_EQ(files, 4);
    if (kindsAreTold()) {
        EXPECT_EQ(theSystem.fstatat.calls, 4);
    }
}

TEST_F(KxFileSystemFaults, MissingFileIsAskedAboutOnce) {
    kxDirListing listing;
    start(listing);
    ASSERT_TRUE(listing.nextFile());
    theSystem = System();
    theSystem.fstatat.failWith(ENOENT, 1);
    EXPECT_EQ(listing.fileSize(), -1);
    EXPECT_EQ(listing.fileTime(), _kxTime());
    EXPECT_EQ(theSystem.fstatat.calls, 1);
}

TEST_F(KxFileSystemFaults, FileThatBecameADirectoryHasNoSizeAndNoTime) {
    if (!kindsAreTold()) GTEST_SKIP() << "this file system does not tell the entries' kinds";
    kxDirListing listing;
    start(listing);
    ASSERT_TRUE(listing.nextFile());
    const std::string file = dir.file(bytesOf(listing.fileName()));
    fs::remove(file);
    fs::create_directory(file);
    EXPECT_EQ(listing.fileSize(), -1);
    EXPECT_EQ(listing.fileTime(), _kxTime());
}

TEST_F(KxFileSystemFaults, EntriesOfUnknownKindAreAskedAbout) {
    fs::create_symlink("other.exr", dir.file("b.5.exr"));
    theSystem.hidesKinds = true;
    EXPECT_EQ(frames(), (std::vector<std::string>{"b.1.exr", "b.2.exr", "b.3.exr", "b.5.exr"}));
    EXPECT_EQ(theSystem.fstatat.calls, 5);  // the directory b.4.exr too, nothing that the filter rejects
}

TEST_F(KxFileSystemFaults, InterruptedCallsAreRepeated) {
    theSystem.hidesKinds = true;
    for (Call* call : {&theSystem.opendir, &theSystem.readdir, &theSystem.fstatat}) {
        call->failWith(EINTR, 3);
        EXPECT_EQ(frames(), allFrames);
        EXPECT_EQ(call->failures, 0);
    }
    theSystem.opendir.failWith(EINTR, 3);
    EXPECT_TRUE(kxDirectoryExists(dir.qpath()));
    theSystem.fstatat.failWith(EINTR, 3);
    EXPECT_TRUE(kxFileExists(path("b.1.exr"), nullptr, nullptr));
    theSystem.lstat.failWith(EINTR, 3);
    theSystem.unlink.failWith(EINTR, 3);
    EXPECT_EQ(kxDeleteFile(path("b.1.exr")), QString());
    EXPECT_FALSE(entryExists(dir.file("b.1.exr")));
}

TEST_F(KxFileSystemFaults, InterruptionInTheMiddleLosesNoEntry) {
    for (int after = 0; after < callsOfAListing; ++after) {
        theSystem.readdir.failWith(EINTR, 1, after);
        EXPECT_EQ(frames(), allFrames);
    }
}

TEST_F(KxFileSystemFaults, ReadErrorEndsTheListing) {
    std::size_t most = 0;
    for (int after = 0; after < callsOfAListing; ++after) {
        theSystem = System();
        theSystem.readdir.failWith(EIO, 1, after);
        kxDirListing listing;
        start(listing);
        std::size_t entries = 0;
        while (listing.nextFile()) ++entries;
        EXPECT_FALSE(listing.nextFile()) << "an ended listing stays ended";
        EXPECT_EQ(theSystem.readdir.calls, after + 1);
        EXPECT_GE(entries, most);
        most = entries;
    }
    EXPECT_EQ(most, 3U);
}

TEST_F(KxFileSystemFaults, DirectoryThatCantBeOpenedYieldsNoEntries) {
    for (const int error : {EACCES, EMFILE, ENFILE, ENOMEM, EIO, ESTALE}) {
        theSystem.opendir.failWith(error, 1);
        EXPECT_TRUE(frames().empty());
        theSystem.opendir.failWith(error, 1);
        EXPECT_FALSE(kxDirectoryExists(dir.qpath()));
    }
}

TEST_F(KxFileSystemFaults, FileWhoseStatusCantBeReadDoesNotExist) {
    for (const int error : {EACCES, EIO, ESTALE, EOVERFLOW}) {
        theSystem.fstatat.failWith(error, 1);
        long long size = 43;
        EXPECT_FALSE(kxFileExists(path("b.1.exr"), nullptr, &size));
        EXPECT_EQ(size, 43);
    }
}

TEST_F(KxFileSystemFaults, DeletionGivesTheReasonOfEitherCall) {
    const struct {
        int error;
        const char* text;
    } cases[] = {{EROFS, "Read-only file system"},     {EACCES, "Permission denied"},
                 {EPERM, "Operation not permitted"},   {EBUSY, "Device or resource busy"},
                 {EIO, "Input/output error"},          {ESTALE, "Stale file handle"},
                 {ENOENT, "No such file or directory"}};
    for (const auto& c : cases) {
        for (Call* call : {&theSystem.lstat, &theSystem.unlink}) {
            call->failWith(c.error, 1);
            EXPECT_EQ(bytesOf(kxDeleteFile(path("b.1.exr"))), c.text);
            EXPECT_TRUE(entryExists(dir.file("b.1.exr")));
        }
    }
}

TEST_F(KxFileSystemFaults, DirectoriesStayEvenWhereUnlinkTakesThem) {
    theSystem.directoriesGo = true;
    EXPECT_EQ(kxDeleteFile(path("b.4.exr")), QStringLiteral("Is a directory"));
    EXPECT_EQ(theSystem.unlinkedDirectories, 0);
    EXPECT_EQ(theSystem.unlink.calls, 0);
}

// ---- The language of the reason

// A translation table as gettext reads it, of one text.
std::string messageCatalog(const std::string& text, const std::string& translation) {
    const auto number = [](std::size_t value) {
        const unsigned word = static_cast<unsigned>(value);
        return std::string(reinterpret_cast<const char*>(&word), sizeof word);
    };
    const std::size_t texts = 28;
    const std::size_t translations = texts + 16;
    const std::size_t strings = translations + 16;
    const std::string header = "Content-Type: text/plain; charset=UTF-8\n";
    std::string bytes = number(0x950412de) + number(0) + number(2) + number(texts) + number(translations) +
                        number(0) + number(strings);
    bytes += number(0) + number(strings) + number(text.size()) + number(strings + 1);
    const std::size_t translated = strings + 1 + text.size() + 1;
    bytes += number(header.size()) + number(translated) + number(translation.size()) +
             number(translated + header.size() + 1);
    for (const std::string& string : {std::string(), text, header, translation}) bytes += string + '\0';
    return bytes;
}

TEST_F(KxFileSystemFaults, ReasonIsEnglishInEveryLocale) {
    fs::create_directories(dir.file("xx/LC_MESSAGES"));
    writeFileBytes(dir.file("xx/LC_MESSAGES/libc.mo"), messageCatalog("Permission denied", "Zugriff verweigert"));
    const std::string domainBefore = bindtextdomain("libc", nullptr);
    bindtextdomain("libc", dir.path().c_str());
    qputenv("LANGUAGE", "xx");
    setlocale(LC_ALL, "C.UTF-8");
    const std::string translated = std::strerror(EACCES);
    theSystem.unlink.failWith(EACCES, 1);
    const QString reason = kxDeleteFile(path("b.1.exr"));
    setlocale(LC_ALL, "C");
    qunsetenv("LANGUAGE");
    bindtextdomain("libc", domainBefore.c_str());
    EXPECT_EQ(reason, QStringLiteral("Permission denied"));
    if (translated != "Zugriff verweigert") GTEST_SKIP() << "this system translates nothing";
}

}  // namespace
