// SPDX-License-Identifier: BSD-3-Clause
// The names of all entries of a directory, read at once, without a question to the system about any of them: on a
// share each of those takes as long as the whole list.
#pragma once

#include <QByteArray>

#include <cstdint>
#include <vector>

struct kxDirectoryEntry {
    QByteArray name;           // bytes, as on disk
    bool isDirectory = false;  // as far as the list itself tells
    bool isUnclear = false;    // a link, or of a kind that the list does not tell: may lead to a directory
    bool isLink = false;       // as far as the list itself tells
    std::uint64_t inode = 0;   // of the entry itself
};

// Which directory a path leads to; two paths to one directory have equal ones.
struct kxDirectoryIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
};

inline bool operator==(const kxDirectoryIdentity& a, const kxDirectoryIdentity& b) {
    return a.device == b.device && a.inode == b.inode;
}
inline bool operator<(const kxDirectoryIdentity& a, const kxDirectoryIdentity& b) {
    return a.device != b.device ? a.device < b.device : a.inode < b.inode;
}

// One open directory. Used by one thread at a time.
class kxOpenDirectory {
public:
    // The current directory where the path is empty.
    explicit kxOpenDirectory(const QByteArray& path);
    ~kxOpenDirectory();
    kxOpenDirectory(const kxOpenDirectory&) = delete;
    kxOpenDirectory& operator=(const kxOpenDirectory&) = delete;

    // 0, or the system's number of the reason why it could not be opened or not be read to its end.
    [[nodiscard]] int error() const { return error_; }
    [[nodiscard]] kxDirectoryIdentity identity() const { return identity_; }
    // All entries but "." and "..", in the order of the file system; once. Fewer with an error.
    [[nodiscard]] std::vector<kxDirectoryEntry> entries();

private:
    void* handle_;
    int error_ = 0;
    kxDirectoryIdentity identity_;
};
