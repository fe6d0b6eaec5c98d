// SPDX-License-Identifier: BSD-3-Clause
// A directory of the test's own, removed with all it holds when the object goes.
#pragma once

#include <QString>

#include <string>
#include <vector>

class TempDir {
public:
    // Below $TMPDIR or /tmp; the process ends when it can't be made.
    TempDir();
    // In this directory.
    explicit TempDir(const std::string& parent);
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // Ends with "/".
    const std::string& path() const { return path_; }
    QString qpath() const { return QString::fromLatin1(path_.data(), static_cast<int>(path_.size())); }
    // The directory's path followed by `name`, bytes as they are.
    std::string file(const std::string& name) const { return path_ + name; }

    // Names of all entries but "." and "..", sorted by byte.
    std::vector<std::string> entries() const;

private:
    std::string path_;
};

// A directory in memory where the system offers that: a busy disk takes minutes for tens of thousands of files.
TempDir memoryDir();

// Writes `bytes` to `path`, replacing what was there; false when that fails.
bool writeFileBytes(const std::string& path, const std::string& bytes);
// The file's bytes; empty when it can't be read whole, as of a process that ends meanwhile.
std::string readFileBytes(const std::string& path);
// Bytes as Latin-1 text and back.
QString latin1(const std::string& bytes);
std::string bytesOf(const QString& text);
// True when something, a dangling link included, is there.
bool entryExists(const std::string& path);
