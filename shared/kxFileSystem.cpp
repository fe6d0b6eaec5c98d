// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxFileSystem.h"

#include "shared/kxSystemCall.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

const QString PDs = QStringLiteral("/");

namespace {

// The path's bytes; nothing when it has none that name the same file: a NUL would end it early, and a character
// beyond Latin-1 has no byte.
std::optional<std::string> pathBytes(const QString& path) {
    std::string bytes;
    bytes.reserve(static_cast<std::size_t>(path.size()));
    for (const QChar unit : path) {
        if (unit.isNull() || unit.unicode() > 0xFF) return {};
        bytes.push_back(unit.toLatin1());
    }
    return bytes;
}

DIR* openDirectory(const QString& path) {
    const std::optional<std::string> bytes = pathBytes(path);
    if (!bytes) return nullptr;
    return kxRetryInterrupted<DIR*>(nullptr, [&] { return opendir(bytes->c_str()); });
}

// Times beyond the years 1677 to 2262 become the nearest one that _kxTime holds.
_kxTime modificationTime(const struct stat& status) {
    long long seconds = status.st_mtim.tv_sec;
    long long fraction = status.st_mtim.tv_nsec;
    const bool beforeEpoch = seconds < 0;
    if (beforeEpoch) {  // -1.5 s comes as -2 + 0.5; as -1 - 0.5 no step leaves the range before the sum does
        seconds += 1;
        fraction -= 1000000000;
    }
    long long nanoseconds = 0;
    if (__builtin_mul_overflow(seconds, 1000000000LL, &nanoseconds) ||
        __builtin_add_overflow(nanoseconds, fraction, &nanoseconds)) {
        using Limits = std::numeric_limits<long long>;
        return _kxTime(beforeEpoch ? Limits::min() : Limits::max());
    }
    return _kxTime(nanoseconds);
}

struct FileStatus {
    long long size = -1;
    _kxTime time;
};

// Asks the system about `name`, relative to the open directory, links followed. Nothing but for regular files.
std::optional<FileStatus> askFileStatus(int directory, const char* name) {
    struct stat status {};
    if (kxRetryInterrupted(-1, [&] { return fstatat(directory, name, &status, 0); }) != 0) return {};
    if (!S_ISREG(status.st_mode)) return {};
    return FileStatus{status.st_size, modificationTime(status)};
}

// 0, or the reason why `path` was not deleted. The kind is looked at first because some systems let a privileged
// user unlink a directory, and because nothing but a frame may go where something else took a frame's name.
int deleteFile(const char* path) {
    struct stat status {};
    if (kxRetryInterrupted(-1, [&] { return lstat(path, &status); }) != 0) return errno;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) return EPERM;
    return kxRetryInterrupted(-1, [&] { return unlink(path); }) == 0 ? 0 : errno;
}

// The byte of every Latin-1 character in lower case; none leaves Latin-1 or becomes two.
std::array<char, 256> makeLowerCaseTable() {
    std::array<char, 256> table{};
    for (unsigned code = 0; code < 256; ++code) {
        table[code] = QChar(static_cast<ushort>(code)).toLower().toLatin1();
    }
    return table;
}

// Compares names with a sequence's prefix and suffix as lower-case Latin-1 texts would compare, on the raw bytes.
class NameFilter {
public:
    void set(const QString& prefix, const QString& suffix) {
        prefix_ = lowerCaseBytes(prefix);
        suffix_ = lowerCaseBytes(suffix);
    }

    bool accepts(const char* name) const {
        const std::size_t length = std::strlen(name);
        return length >= prefix_.size() + suffix_.size() && standsAt(name, prefix_) &&
               standsAt(name + length - suffix_.size(), suffix_);
    }

private:
    // A character beyond Latin-1 becomes NUL, which no name contains. Lowering comes first: it takes some of them
    // into Latin-1 (the Kelvin sign becomes "k").
    static std::string lowerCaseBytes(const QString& text) {
        std::string bytes;
        for (const QChar unit : text.toLower()) bytes.push_back(unit.unicode() > 0xFF ? '\0' : unit.toLatin1());
        return bytes;
    }

    bool standsAt(const char* position, const std::string& lowerCase) const {
        for (const char wanted : lowerCase) {
            if (lowerCase_[static_cast<unsigned char>(*position++)] != wanted) return false;
        }
        return true;
    }

    const std::array<char, 256> lowerCase_ = makeLowerCaseTable();
    std::string prefix_;
    std::string suffix_;
};

}  // namespace

struct kxDirListing::Entries {
    DIR* directory = nullptr;         // null when there is nothing left to list
    const dirent* current = nullptr;  // belongs to `directory`
    bool statusKnown = false;         // the system was asked about `current`; `status` holds what it said
    FileStatus status;
    NameFilter filter;

    ~Entries() { close(); }

    void close() {
        if (directory) closedir(directory);
        directory = nullptr;
        current = nullptr;
        forgetStatus();
    }

    void forgetStatus() {
        statusKnown = false;
        status = FileStatus();
    }

    // False at the end; an error while reading is one.
    bool advance() {
        if (!directory) return false;
        forgetStatus();
        current = kxRetryInterrupted<const dirent*>(nullptr, [this] { return readdir(directory); });
        if (!current) close();
        return current != nullptr;
    }

    // An entry that is no file, or is gone, keeps size -1 and time 0.
    const FileStatus& askOnce() {
        if (current && !statusKnown) {
            status = askFileStatus(dirfd(directory), current->d_name).value_or(FileStatus());
            statusKnown = true;
        }
        return status;
    }

    bool isFile() {
        if (current->d_type == DT_REG) return true;
        return (current->d_type == DT_LNK || current->d_type == DT_UNKNOWN) && askOnce().size >= 0;
    }
};

kxDirListing::kxDirListing() : entries_(new Entries) {}
kxDirListing::~kxDirListing() = default;

void kxDirListing::setNameFilter(const QString& prefix, const QString& suffix) {
    entries_->filter.set(prefix, suffix);
}

void kxDirListing::init(QString pattern, const bool& /*recursive*/, const bool& /*files*/,
                        const bool& /*directories*/, const bool& /*hiddenOnly*/) {
    entries_->close();
    pattern.chop(1);
    entries_->directory = openDirectory(pattern);
}

bool kxDirListing::nextFile() {
    while (entries_->advance()) {
        if (entries_->filter.accepts(entries_->current->d_name) && entries_->isFile()) return true;
    }
    return false;
}

QString kxDirListing::fileName() const {
    return entries_->current ? QString::fromLatin1(entries_->current->d_name) : QString();
}

long long kxDirListing::fileSize() {
    return entries_->askOnce().size;
}

_kxTime kxDirListing::fileTime() {
    return entries_->askOnce().time;
}

QString kxDirListing::OSSearchFunctionName() const {
    return QStringLiteral("readdir");
}

bool kxFileExists(QString path, _kxTime* time, long long* size) {
    const std::optional<std::string> bytes = pathBytes(path);
    const std::optional<FileStatus> status = bytes ? askFileStatus(AT_FDCWD, bytes->c_str()) : std::nullopt;
    if (!status) return false;
    if (time) *time = status->time;
    if (size) *size = status->size;
    return true;
}

bool kxDirectoryExists(QString path) {
    DIR* directory = openDirectory(path);
    if (directory) closedir(directory);
    return directory != nullptr;
}

QString kxDeleteFile(const QString& path) {
    const std::optional<std::string> bytes = pathBytes(path);
    const int code = bytes ? deleteFile(bytes->c_str()) : EINVAL;
    return code == 0 ? QString() : kxSystemErrorText(code);
}

QString kxGetDirName(QString path, unsigned short separator) {
    return path.left(path.lastIndexOf(QChar(separator)) + 1);
}

QString kxGetFileName(QString path, unsigned short separator) {
    return path.mid(path.lastIndexOf(QChar(separator)) + 1);
}

QString kxConvertPDToOS(const QString& path) {
    QString converted = path;
    return converted.replace(QLatin1Char('\\'), QLatin1Char('/'));
}

QString kxToKXUTF8(QString text, bool /*reserved*/) {
    const QByteArray bytes = text.toUtf8();
    return QLatin1String(bytes.constData(), bytes.size());
}

void splitAtLastOccurence(QString& first, QString& second, const QString& separator, const QString& /*reserved1*/,
                          const QString& /*reserved2*/) {
    const auto at = separator.isEmpty() ? -1 : first.lastIndexOf(separator);
    second = at < 0 ? QString() : first.mid(at);
    if (at >= 0) first.truncate(at);
}
