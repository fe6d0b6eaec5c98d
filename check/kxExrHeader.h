// SPDX-License-Identifier: BSD-3-Clause
// Reads the headers at the beginning of an EXR file as values, and says what is wrong with them.
//
// It stands before the EXR library: versions of the library differ in what they accept, invent and allocate, and
// none tells where a header ends. What is decided here is the same with each of them. The library is asked
// afterwards, see ExrCore, about the attributes that are only passed over here.
#pragma once

#include "check/kxBytes.h"
#include "check/kxFileReport.h"

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <vector>

namespace kxCheck {

// The first four bytes of every EXR file, little-endian.
constexpr std::uint32_t exrMagicNumber = 20000630;

// Bytes that the library is shown in place of the file's own.
struct HeaderPatch {
    std::uint64_t offset = 0;
    QByteArray bytes;
};

struct HeaderReading {
    std::optional<Finding> finding;  // why the headers can't be used; then `parts` may be incomplete
    Headers parts;
    HeaderNotes notes;
    bool multipart = false;            // each chunk begins with the number of its part
    std::uint64_t end = 0;             // where the first chunk table begins
    std::vector<HeaderPatch> patches;  // by offset
};

// At most the header's bytes are read, each piece once. Where a read fails the finding says `truncated`; whether
// the system or the file is to blame is known to the maker of `bytes`.
HeaderReading readHeaders(Bytes& bytes);

}  // namespace kxCheck
