// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxKnownHeaders.h"

#include <cstring>
#include <utility>

namespace kxCheck {

std::shared_ptr<const HeaderReading> KnownHeaders::find(Bytes& bytes) const {
    for (const KnownHeader& known : known_) {
        const auto size = static_cast<std::size_t>(known.bytes.size());
        if (!bytes.holds(0, size)) continue;
        const char* const beginning = bytes.view(0, size);
        if (!beginning) return nullptr;  // a share that fails takes its time each time
        if (std::memcmp(beginning, known.bytes.constData(), size) == 0) return known.reading;
    }
    return nullptr;
}

void KnownHeaders::remember(KnownHeader header) {
    if (known_.size() < mostHeaders) return known_.push_back(std::move(header));
    known_[oldest_] = std::move(header);
    oldest_ = (oldest_ + 1) % mostHeaders;
}

}  // namespace kxCheck
