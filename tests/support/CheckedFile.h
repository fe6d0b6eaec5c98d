// SPDX-License-Identifier: BSD-3-Clause
// Bytes as a file that is checked.
#pragma once

#include "check/kxFileReader.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

// The file is in memory only: tests check thousands of them.
class CheckedFile {
public:
    CheckedFile() : descriptor_(memfd_create("frame", MFD_CLOEXEC)) {}
    ~CheckedFile() { close(descriptor_); }
    CheckedFile(const CheckedFile&) = delete;
    CheckedFile& operator=(const CheckedFile&) = delete;

    // Writes the bytes and checks them.
    kxCheck::FileReport check(const std::string& bytes, kxCheck::Level level = kxCheck::Level::pixels,
                              kxCheck::ChunkSink* sink = nullptr, kxCheck::KnownHeaders* known = nullptr) const {
        const bool isWritten = ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, bytes.data(), bytes.size(),
                                                                        0) == static_cast<ssize_t>(bytes.size());
        EXPECT_TRUE(isWritten);
        return kxCheck::checkFile({path(), level}, sink, known);
    }
    QByteArray path() const { return "/proc/self/fd/" + QByteArray::number(descriptor_); }

private:
    int descriptor_;
};

inline std::set<std::string> codesOf(const kxCheck::FileReport& report) {
    std::set<std::string> codes;
    for (const kxCheck::Finding& finding : report.findings) codes.insert(kxCheck::rowOf(finding.code).name);
    return codes;
}

inline std::vector<std::string> textsOf(const kxCheck::FileReport& report) {
    std::vector<std::string> texts;
    for (const kxCheck::Finding& finding : report.findings)
        texts.push_back(std::string(kxCheck::rowOf(finding.code).name) + ": " + finding.text.toStdString());
    return texts;
}
