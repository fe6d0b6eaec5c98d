// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxFileSystem.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

void startListing(kxDirListing& listing, const TempDir& dir) {
    listing.init(dir.qpath() + QLatin1Char('*'), false, true, false, false);
}

std::vector<std::string> rest(kxDirListing& listing) {
    std::vector<std::string> names;
    while (listing.nextFile()) names.push_back(bytesOf(listing.fileName()));
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> listed(const QString& directory) {
    kxDirListing listing;
    listing.init(directory + QLatin1Char('*'), false, true, false, false);
    return rest(listing);
}

bool exists(const std::string& path) {
    return kxFileExists(latin1(path), nullptr, nullptr);
}

std::string deletionError(const std::string& path) {
    return bytesOf(kxDeleteFile(latin1(path)));
}

// A directory with one entry of every kind; the last two can't be made everywhere.
class EveryKind : public TempDir {
public:
    EveryKind() {
        writeFileBytes(file("frame.exr"), "12345");
        writeFileBytes(file("empty.exr"), "");
        writeFileBytes(file(".hidden.exr"), "1");
        fs::create_directory(file("directory.exr"));
        writeFileBytes(file("directory.exr/below.exr"), "1");
        fs::create_symlink("frame.exr", file("link.exr"));
        fs::create_symlink("link.exr", file("link_to_link.exr"));
        fs::create_symlink("empty.exr", file("link_to_empty.exr"));
        fs::create_symlink("nowhere.exr", file("dangling.exr"));
        fs::create_symlink("loop.exr", file("loop.exr"));
        fs::create_symlink("directory.exr", file("link_to_directory.exr"));
        fs::create_symlink("/dev/null", file("link_to_device.exr"));
        EXPECT_EQ(mkfifo(file("pipe.exr").c_str(), 0600), 0);
        hasSocket = makeSocket(file("socket.exr"));
        hasDevice = mknod(file("device.exr").c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0;
    }

    bool hasSocket = false;
    bool hasDevice = false;

private:
    static dev_t makedev(unsigned major, unsigned minor) { return major << 8 | minor; }

    static bool makeSocket(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path) return false;
        path.copy(address.sun_path, path.size());
        const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
        const bool made = bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        close(descriptor);
        return made;
    }
};

const std::vector<std::string> kindsThatAreNoFile = {
    "directory.exr", "dangling.exr", "loop.exr",   "link_to_directory.exr", "link_to_device.exr", "pipe.exr",
    "socket.exr",    "device.exr",   "missing.exr"};

// Lets the code below run with an ordinary user's rights where the test runs as root.
class OrdinaryUser {
public:
    OrdinaryUser() { isRoot_ = geteuid() == 0 && seteuid(65534) == 0; }
    ~OrdinaryUser() {
        if (isRoot_ && seteuid(0) != 0) ADD_FAILURE() << "the test's own rights are lost";
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    bool isRoot_;
};

int openDescriptors() {
    int count = 0;
    for (int descriptor = 0; descriptor < 256; ++descriptor) count += fcntl(descriptor, F_GETFD) != -1;
    return count;
}

void setModificationTime(const std::string& path, timespec time) {
    const timespec times[2] = {time, time};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

// ---- Listing

TEST(KxDirListing, ListsRegularFilesAndLinksToThem) {
    const EveryKind dir;
    EXPECT_EQ(listed(dir.qpath()), (std::vector<std::string>{".hidden.exr", "empty.exr", "frame.exr", "link.exr",
                                                             "link_to_empty.exr", "link_to_link.exr"}));
}

TEST(KxDirListing, EveryNameIsListedOnce) {
    const TempDir dir;
    std::vector<std::string> expected;
    for (int frame = 1000; frame < 3000; ++frame) {
        expected.push_back("beauty." + std::to_string(frame) + ".exr");
        ASSERT_TRUE(writeFileBytes(dir.file(expected.back()), ""));
    }
    EXPECT_EQ(listed(dir.qpath()), expected);
}

TEST(KxDirListing, NamesAreTheBytesOnDisk) {
    const TempDir dir;
    std::vector<std::string> expected;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') expected.push_back(std::string("n") + static_cast<char>(byte));
    }
    expected.insert(expected.end(), {"BEAUTY.0001.EXR", "100%s%n.exr", "utf8_\xC3\xA4\xE4\xB8\xAD.exr",
                                     "latin1_\xE4.exr", "neither_\xC3\xFF\x80.exr", "line\nbreak.exr", " .exr "});
    std::sort(expected.begin(), expected.end());
    for (const std::string& name : expected) ASSERT_TRUE(writeFileBytes(dir.file(name), "1"));
    EXPECT_EQ(listed(dir.qpath()), expected);
    for (const std::string& name : expected) EXPECT_TRUE(exists(dir.file(name))) << name;
}

TEST(KxDirListing, DirectoryNamesAreBytesToo) {
    const TempDir dir;
    for (const char* name : {"\xFC\x80", "\xC3\xA4", "%1", "a\\b", " "}) {
        fs::create_directory(dir.file(name));
        ASSERT_TRUE(writeFileBytes(dir.file(name) + "/frame.exr", ""));
        EXPECT_EQ(listed(latin1(dir.file(name) + "/")), std::vector<std::string>{"frame.exr"});
        EXPECT_TRUE(kxDirectoryExists(latin1(dir.file(name) + "/")));
    }
}

TEST(KxDirListing, NothingIsCurrentBeforeTheFirstAndAfterTheLastEntry) {
    const TempDir dir;
    writeFileBytes(dir.file("a.exr"), "123");
    kxDirListing listing;
    const auto expectNothing = [&] {
        EXPECT_TRUE(listing.fileName().isEmpty());
        EXPECT_EQ(listing.fileSize(), -1);
        EXPECT_EQ(listing.fileTime(), _kxTime());
    };
    expectNothing();
    EXPECT_FALSE(listing.nextFile());
    startListing(listing, dir);
    expectNothing();
    ASSERT_TRUE(listing.nextFile());
    EXPECT_EQ(listing.fileName(), QStringLiteral("a.exr"));
    EXPECT_EQ(listing.fileSize(), 3);
    EXPECT_FALSE(listing.nextFile());
    expectNothing();
    writeFileBytes(dir.file("b.exr"), "late");
    EXPECT_FALSE(listing.nextFile());
}

TEST(KxDirListing, UnlistableDirectoryYieldsNoEntries) {
    const EveryKind dir;
    for (const std::string& path : {dir.file("missing/"), dir.file("frame.exr/"), dir.file("pipe.exr"),
                                    std::string(), std::string(5000, 'x') + "/"}) {
        EXPECT_TRUE(listed(latin1(path)).empty()) << path;
    }
    kxDirListing listing;
    listing.init(QString(), false, true, false, false);
    EXPECT_FALSE(listing.nextFile());
}

TEST(KxDirListing, UnreadableDirectoryYieldsNoEntries) {
    const TempDir dir;
    writeFileBytes(dir.file("a.exr"), "");
    ASSERT_EQ(chmod(dir.path().c_str(), 0111), 0);
    {
        const OrdinaryUser user;
        EXPECT_TRUE(listed(dir.qpath()).empty());
        EXPECT_FALSE(kxDirectoryExists(dir.qpath()));
    }
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    const OrdinaryUser user;
    EXPECT_EQ(listed(dir.qpath()), std::vector<std::string>{"a.exr"});
    EXPECT_TRUE(kxDirectoryExists(dir.qpath()));
}

TEST(KxDirListing, InitStartsOver) {
    const TempDir first;
    const TempDir second;
    for (const char* name : {"a", "b", "c"}) writeFileBytes(first.file(name), "12");
    writeFileBytes(second.file("d"), "");
    kxDirListing listing;
    startListing(listing, first);
    ASSERT_TRUE(listing.nextFile());
    EXPECT_EQ(listing.fileSize(), 2);
    startListing(listing, second);
    EXPECT_EQ(listing.fileSize(), -1);
    EXPECT_EQ(rest(listing), std::vector<std::string>{"d"});
    startListing(listing, first);
    EXPECT_EQ(rest(listing), (std::vector<std::string>{"a", "b", "c"}));
    listing.init(QStringLiteral("/nowhere/at/all/*"), false, true, false, false);
    EXPECT_FALSE(listing.nextFile());
}

TEST(KxDirListing, FlagsChangeNothing) {
    const EveryKind dir;
    for (int flags = 0; flags < 16; ++flags) {
        kxDirListing listing;
        listing.init(dir.qpath() + QLatin1Char('*'), flags & 1, flags & 2, flags & 4, flags & 8);
        EXPECT_EQ(rest(listing), listed(dir.qpath()));
    }
}

TEST(KxDirListing, LeavesNoDescriptorOpen) {
    const EveryKind dir;
    const int before = openDescriptors();
    for (int i = 0; i < 50; ++i) {
        kxDirListing listing;
        startListing(listing, dir);
        listing.nextFile();
        startListing(listing, dir);
        if (i % 2) rest(listing);
        kxDirectoryExists(dir.qpath());
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(KxDirListing, NoDescriptorLeftMeansNoEntries) {
    const EveryKind dir;
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none{0, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const bool directoryExists = kxDirectoryExists(dir.qpath());
    const bool fileExists = exists(dir.file("frame.exr"));
    const std::size_t entries = listed(dir.qpath()).size();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_FALSE(directoryExists);
    EXPECT_EQ(entries, 0U);
    EXPECT_TRUE(fileExists) << "a status needs no descriptor";
}

TEST(KxDirListing, NamesItsFacility) {
    EXPECT_EQ(kxDirListing().OSSearchFunctionName(), QStringLiteral("readdir"));
}

// ---- Size and time

TEST(KxDirListing, SizeAndTimeAreThoseOfKxFileExists) {
    const EveryKind dir;
    setModificationTime(dir.file("frame.exr"), {1700000000, 123456789});
    kxDirListing listing;
    startListing(listing, dir);
    int files = 0;
    for (; listing.nextFile(); ++files) {
        _kxTime time;
        long long size = 0;
        ASSERT_TRUE(kxFileExists(dir.qpath() + listing.fileName(), &time, &size));
        EXPECT_EQ(listing.fileSize(), size);
        EXPECT_EQ(listing.fileTime(), time);
        EXPECT_EQ(listing.fileTime(), time) << "asked again";
    }
    EXPECT_EQ(files, 6);
}

TEST(KxFileExists, SizeAndTimeOfALinkAreItsTargets) {
    const EveryKind dir;
    setModificationTime(dir.file("frame.exr"), {1700000000, 123456789});
    setModificationTime(dir.file("link.exr"), {5, 6});
    for (const char* name : {"frame.exr", "link.exr", "link_to_link.exr"}) {
        _kxTime time;
        long long size = 0;
        ASSERT_TRUE(kxFileExists(latin1(dir.file(name)), &time, &size));
        EXPECT_EQ(size, 5);
        EXPECT_EQ(time.nanoseconds(), 1700000000123456789);
    }
}

TEST(KxFileExists, SizesBeyond32BitsAreWhole) {
    const TempDir dir;
    ASSERT_TRUE(writeFileBytes(dir.file("large.exr"), ""));
    if (truncate(dir.file("large.exr").c_str(), 5000000000) != 0) GTEST_SKIP() << "no large files here";
    long long size = 0;
    ASSERT_TRUE(kxFileExists(latin1(dir.file("large.exr")), nullptr, &size));
    EXPECT_EQ(size, 5000000000);
}

// What the file system stored, in nanoseconds, held to what 64 bits can say.
long long plainTime(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    __extension__ typedef __int128 Wide;
    const Wide exact = static_cast<Wide>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
    const Wide lowest = std::numeric_limits<long long>::min();
    const Wide highest = std::numeric_limits<long long>::max();
    return static_cast<long long>(std::min(std::max(exact, lowest), highest));
}

TEST(KxFileExists, ExtremeTimesAreHeldInRange) {
    const TempDir dir;
    const std::string path = dir.file("a.exr");
    ASSERT_TRUE(writeFileBytes(path, ""));
    const timespec times[] = {{0, 0},
                              {0, 1},
                              {-1, 999999999},
                              {-1, 0},
                              {9223372035, 999999999},
                              {9223372036, 0},
                              {9223372036, 854775807},
                              {9223372036, 854775808},
                              {9223372037, 0},
                              {-9223372036, 0},
                              {-9223372037, 0},
                              {-9223372037, 145224192},
                              {-9223372038, 5},
                              {1LL << 60, 0},
                              {-(1LL << 60), 0}};
    for (const timespec& wanted : times) {
        setModificationTime(path, wanted);
        _kxTime time;
        ASSERT_TRUE(kxFileExists(latin1(path), &time, nullptr));
        EXPECT_EQ(time.nanoseconds(), plainTime(path)) << wanted.tv_sec << " " << wanted.tv_nsec;
    }
}

TEST(KxDirListing, FileThatVanishedHasNoSizeAndNoTime) {
    const TempDir dir;
    for (const char* name : {"a", "b", "c"}) writeFileBytes(dir.file(name), "12");
    kxDirListing listing;
    startListing(listing, dir);
    ASSERT_TRUE(listing.nextFile());
    for (const char* name : {"a", "b", "c"}) fs::remove(dir.file(name));
    EXPECT_EQ(listing.fileSize(), -1);
    EXPECT_EQ(listing.fileTime(), _kxTime());
    EXPECT_FALSE(listing.fileName().isEmpty());
}

// ---- Existence

TEST(KxFileExists, TrueForRegularFilesAndLinksToThem) {
    const EveryKind dir;
    for (const char* name : {"frame.exr", "empty.exr", ".hidden.exr", "link.exr", "link_to_link.exr"}) {
        EXPECT_TRUE(exists(dir.file(name))) << name;
    }
    for (const std::string& name : kindsThatAreNoFile) EXPECT_FALSE(exists(dir.file(name))) << name;
    EXPECT_FALSE(exists(""));
    EXPECT_FALSE(exists(dir.path()));
    EXPECT_FALSE(exists(dir.file("frame.exr/")));
    EXPECT_FALSE(exists(dir.file("frame.exr/x")));
    EXPECT_FALSE(exists("/" + std::string(5000, 'x')));
}

TEST(KxFileExists, OutputsOfAMissingFileAreLeftAsTheyWere) {
    const EveryKind dir;
    for (const std::string& name : kindsThatAreNoFile) {
        _kxTime time(42);
        long long size = 43;
        EXPECT_FALSE(kxFileExists(latin1(dir.file(name)), &time, &size));
        EXPECT_EQ(time, _kxTime(42));
        EXPECT_EQ(size, 43);
    }
}

TEST(KxFileExists, NeedsNoRightToReadTheFile) {
    const TempDir dir;
    writeFileBytes(dir.file("a.exr"), "1");
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(dir.file("a.exr").c_str(), 0), 0);
    const OrdinaryUser user;
    EXPECT_TRUE(exists(dir.file("a.exr")));
}

TEST(KxFileSystem, PathsThatNoByteStringNamesReachNoFile) {
    const TempDir dir;
    writeFileBytes(dir.file("a"), "1");
    writeFileBytes(dir.file("?"), "1");
    const QString embeddedZero = dir.qpath() + latin1(std::string("a\0.exr", 6));
    const QString beyondLatin1 = dir.qpath() + QChar(0x4E2D);
    for (const QString& path : {embeddedZero, beyondLatin1}) {
        EXPECT_FALSE(kxFileExists(path, nullptr, nullptr));
        EXPECT_EQ(kxDeleteFile(path), QStringLiteral("Invalid argument"));
    }
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"?", "a"}));
    const QString directory = dir.qpath() + latin1(std::string("\0x/", 3));
    EXPECT_FALSE(kxDirectoryExists(directory));
    EXPECT_TRUE(listed(directory).empty());
}

TEST(KxDirectoryExists, TrueForWhatCanBeListed) {
    const EveryKind dir;
    EXPECT_TRUE(kxDirectoryExists(dir.qpath()));
    EXPECT_TRUE(kxDirectoryExists(QStringLiteral("./")));
    for (const char* name :
         {"directory.exr", "directory.exr/", "link_to_directory.exr", "link_to_directory.exr/"}) {
        EXPECT_TRUE(kxDirectoryExists(latin1(dir.file(name)))) << name;
    }
    for (const char* name : {"frame.exr", "frame.exr/", "link.exr", "link.exr/", "dangling.exr/", "loop.exr/",
                             "pipe.exr", "pipe.exr/", "link_to_device.exr", "missing/"}) {
        EXPECT_FALSE(kxDirectoryExists(latin1(dir.file(name)))) << name;
    }
    EXPECT_FALSE(kxDirectoryExists(QString()));
}

// ---- Deletion

TEST(KxDeleteFile, DeletesOneFile) {
    const TempDir dir;
    for (const char* name : {"a.exr", "b.exr", "latin1_\xE4.exr", "%s%n.exr"}) writeFileBytes(dir.file(name), "1");
    EXPECT_EQ(deletionError(dir.file("a.exr")), "");
    EXPECT_EQ(deletionError(dir.file("latin1_\xE4.exr")), "");
    EXPECT_EQ(deletionError(dir.file("%s%n.exr")), "");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"b.exr"});
}

TEST(KxDeleteFile, DeletesALinkAndNeverItsTarget) {
    const EveryKind dir;
    const std::size_t before = dir.entries().size();
    for (const char* name :
         {"link.exr", "dangling.exr", "loop.exr", "link_to_directory.exr", "link_to_device.exr"}) {
        EXPECT_EQ(deletionError(dir.file(name)), "") << name;
        EXPECT_FALSE(entryExists(dir.file(name))) << name;
    }
    EXPECT_EQ(dir.entries().size(), before - 5);
    EXPECT_EQ(readFileBytes(dir.file("frame.exr")), "12345");
    EXPECT_TRUE(entryExists(dir.file("directory.exr/below.exr")));
    EXPECT_TRUE(entryExists("/dev/null"));
}

TEST(KxDeleteFile, NeverDeletesADirectory) {
    const EveryKind dir;
    fs::create_directory(dir.file("empty"));
    for (const char* name : {"empty", "empty/", "directory.exr", "directory.exr/", "link_to_directory.exr/"}) {
        EXPECT_EQ(deletionError(dir.file(name)), "Is a directory") << name;
        EXPECT_TRUE(entryExists(dir.file(name))) << name;
    }
    EXPECT_TRUE(entryExists(dir.file("directory.exr/below.exr")));
}

TEST(KxDeleteFile, NeverDeletesADevicePipeOrSocket) {
    const EveryKind dir;
    for (const char* name : {"pipe.exr", "socket.exr", "device.exr"}) {
        if (!entryExists(dir.file(name))) continue;
        EXPECT_EQ(deletionError(dir.file(name)), "Operation not permitted") << name;
        EXPECT_TRUE(entryExists(dir.file(name))) << name;
    }
    EXPECT_TRUE(entryExists(dir.file("pipe.exr")));
}

TEST(KxDeleteFile, GivesTheSystemsReasonWithoutThePath) {
    const EveryKind dir;
    EXPECT_EQ(deletionError(dir.file("missing.exr")), "No such file or directory");
    EXPECT_EQ(deletionError(dir.file("missing/a.exr")), "No such file or directory");
    EXPECT_EQ(deletionError(""), "No such file or directory");
    EXPECT_EQ(deletionError(dir.file("frame.exr/")), "Not a directory");
    EXPECT_EQ(deletionError(dir.file("frame.exr/a.exr")), "Not a directory");
    EXPECT_EQ(deletionError(dir.file("loop.exr/a.exr")), "Too many levels of symbolic links");
    EXPECT_EQ(deletionError(dir.file(std::string(300, 'x'))), "File name too long");
    EXPECT_EQ(deletionError(dir.path()), "Is a directory");
}

TEST(KxDeleteFile, NeedsTheRightToChangeTheDirectory) {
    const TempDir dir;
    writeFileBytes(dir.file("a.exr"), "1");
    ASSERT_EQ(chmod(dir.path().c_str(), 0555), 0);
    {
        const OrdinaryUser user;
        EXPECT_EQ(deletionError(dir.file("a.exr")), "Permission denied");
    }
    EXPECT_TRUE(entryExists(dir.file("a.exr")));
    ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
    const OrdinaryUser user;
    EXPECT_EQ(deletionError(dir.file("a.exr")), "");
    EXPECT_FALSE(entryExists(dir.file("a.exr")));
}

}  // namespace
