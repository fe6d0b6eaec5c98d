// SPDX-License-Identifier: BSD-3-Clause
// Headers that were read and found right, remembered with their bytes: most frames of a sequence begin with the
// same ones.
//
// What is said of headers follows from their bytes alone: neither the reader nor the EXR library, see ExrCore, is
// shown anything behind them. So a file that begins with these needs neither a second reading nor the library's
// opinion again. One thread at a time.
#pragma once

#include "check/kxExrHeader.h"

#include <QByteArray>

#include <cstddef>
#include <memory>
#include <vector>

namespace kxCheck {

// A file's first bytes up to the end of its headers, and what was read from them: from these, not from those that
// were there a moment later.
struct KnownHeader {
    QByteArray bytes;
    std::shared_ptr<const HeaderReading> reading;
};

class KnownHeaders {
public:
    // The last ones that differ: several sequences, and frames of several kinds, are looked at in turn.
    static constexpr std::size_t mostHeaders = 8;

    // What was said of the headers that these bytes begin with; null when that is not known, and when the file
    // can't be read.
    [[nodiscard]] std::shared_ptr<const HeaderReading> find(Bytes& bytes) const;
    // Neither the reading nor the EXR library has a finding.
    void remember(KnownHeader header);

private:
    std::vector<KnownHeader> known_;
    std::size_t oldest_ = 0;  // whose place the next takes when there are mostHeaders
};

}  // namespace kxCheck
