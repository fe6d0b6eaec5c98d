// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxKnownHeaders.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kxCheck {

namespace {

bool beginsWith(Bytes& bytes, const QByteArray& beginning) {
    const auto size = static_cast<std::size_t>(beginning.size());
    const char* const there = bytes.view(0, size);
    return there && std::memcmp(there, beginning.constData(), size) == 0;
}

}  // namespace

std::shared_ptr<const HeaderReading> KnownHeaders::find(Bytes& bytes) const {
    const auto found = std::find_if(known_.begin(), known_.end(),
                                    [&](const Known& known) { return beginsWith(bytes, known.bytes); });
    return found == known_.end() ? nullptr : found->reading;
}

void KnownHeaders::remember(Bytes& bytes, std::shared_ptr<const HeaderReading> reading) {
    const char* const beginning = reading->end <= mostBytes ? bytes.view(0, reading->end) : nullptr;
    if (!beginning) return;
    Known known = {QByteArray(beginning, static_cast<int>(reading->end)), std::move(reading)};
    if (known_.size() < mostHeaders) return known_.push_back(std::move(known));
    known_[oldest_] = std::move(known);
    oldest_ = (oldest_ + 1) % mostHeaders;
}

}  // namespace kxCheck
