// SPDX-License-Identifier: BSD-3-Clause
// A file that takes another one's place when it is whole.
//
// It is written beside its target under a temporary name, flushed to disk if asked to, and renamed: a reader sees
// the old file or the new one and never a part, and what fails before the rename leaves the old file as it was. A
// process that is killed while it writes leaves its temporary file behind.
//
// Threads: each may use objects of its own, also for the same target.
#pragma once

#include <cstddef>
#include <string>

// A file descriptor that is closed when the object goes.
class kxDescriptor {
public:
    kxDescriptor() = default;
    ~kxDescriptor() { close(); }
    kxDescriptor(const kxDescriptor&) = delete;
    kxDescriptor& operator=(const kxDescriptor&) = delete;

    // 0, or the reason as an errno value; 0 too when nothing is open. An interrupted close has closed.
    int close();

    int number = -1;
};

// 0, or the reason as an errno value; a part may then have been written.
[[nodiscard]] int kxWriteAll(int file, const char* bytes, std::size_t size);

// When what was written is with the disk. `now`: before it takes the target's place, which is a wait of
// milliseconds. `later`: when the system comes to it; a loss of power meanwhile may leave the new name with a part
// of the file, so this is for what whoever reads it recognises and makes anew.
enum class kxFlush { now, later };

class kxReplacementFile {
public:
    kxReplacementFile() = default;
    // Removes the temporary file, unless it has taken the target's place.
    ~kxReplacementFile();
    kxReplacementFile(const kxReplacementFile&) = delete;
    kxReplacementFile& operator=(const kxReplacementFile&) = delete;

    // Makes the temporary file, "<stem>-<process>-<time>-<number>.tmp" in the directory of `target`. 0, or the
    // reason as an errno value. Once for each object.
    [[nodiscard]] int create(const std::string& target, const char* stem);
    // Where to write, once it was created.
    [[nodiscard]] int file() const { return file_.number; }
    // 0, or the reason as an errno value. The one failure after which the new file stands is that of flushing the
    // directory.
    [[nodiscard]] int replaceTarget(kxFlush flush = kxFlush::now);

private:
    int createTemporary(const char* stem);
    void removeTemporary() const;

    kxDescriptor directory_;
    kxDescriptor file_;
    std::string targetName_;
    std::string temporaryName_;  // empty when there is none
};
