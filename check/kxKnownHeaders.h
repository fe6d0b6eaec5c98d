// SPDX-License-Identifier: BSD-3-Clause
// Headers that were read and found right, remembered with their bytes: most frames of a sequence begin with the
// same ones.
//
// What is said of headers follows from their bytes alone, so that a file that begins with these needs neither a
// second reading nor the EXR library's opinion again. One thread at a time.
#pragma once

#include "check/kxExrHeader.h"

#include <QByteArray>

#include <cstddef>
#include <memory>
#include <vector>

namespace kxCheck {

class KnownHeaders {
public:
    // The last ones that differ: several sequences, and frames of several kinds, are looked at in turn.
    static constexpr std::size_t mostHeaders = 8;
    // Longer ones are not remembered: a file is read no further for them than it is anyway.
    static constexpr std::size_t mostBytes = std::size_t{8} * 1024;

    // What was said of the headers that these bytes begin with; null when that is not known.
    [[nodiscard]] std::shared_ptr<const HeaderReading> find(Bytes& bytes) const;
    // `reading` is that of `bytes`, and neither it nor the EXR library has a finding.
    void remember(Bytes& bytes, std::shared_ptr<const HeaderReading> reading);

private:
    struct Known {
        QByteArray bytes;
        std::shared_ptr<const HeaderReading> reading;
    };

    std::vector<Known> known_;
    std::size_t oldest_ = 0;  // whose place the next takes when there are mostHeaders
};

}  // namespace kxCheck
