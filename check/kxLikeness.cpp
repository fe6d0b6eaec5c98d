// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxLikeness.h"

#include "check/kxHeaderProperty.h"

#include <cstddef>

namespace kxCheck {

namespace {

using Frames = std::vector<std::shared_ptr<const Headers>>;

constexpr std::size_t fewestVotes = 4;

bool canVote(const std::shared_ptr<const Headers>& headers) {
    return headers && !headers->empty();
}

bool sameValue(const HeaderProperty& property, const std::shared_ptr<const Headers>& a,
               const std::shared_ptr<const Headers>& b) {
    return a == b || property.isSame(*a, *b);
}

// The only value that more than half of the frames can have: each frame with another one cancels one with it.
std::shared_ptr<const Headers> candidate(const HeaderProperty& property, const Frames& frames) {
    std::shared_ptr<const Headers> value;
    std::size_t lead = 0;
    for (const auto& headers : frames) {
        if (!canVote(headers)) continue;
        if (lead == 0) value = headers;
        lead = sameValue(property, value, headers) ? lead + 1 : lead - 1;
    }
    return value;
}

std::shared_ptr<const Headers> commonValue(const HeaderProperty& property, const Frames& frames) {
    const auto value = candidate(property, frames);
    std::size_t votes = 0;
    std::size_t agreeing = 0;
    for (const auto& headers : frames) {
        if (!canVote(headers)) continue;
        ++votes;
        if (sameValue(property, value, headers)) ++agreeing;
    }
    return votes >= fewestVotes && 4 * agreeing >= 3 * votes ? value : nullptr;
}

}  // namespace

Likeness::Likeness(const Frames& frames) {
    for (std::size_t i = 0; i < common_.size(); ++i) common_[i] = commonValue(headerProperties()[i], frames);
}

std::vector<Finding> Likeness::deviations(const Headers& headers) const {
    std::vector<Finding> findings;
    if (headers.empty()) return findings;
    for (std::size_t i = 0; i < common_.size(); ++i) {
        const HeaderProperty& property = headerProperties()[i];
        const auto& common = common_[i];
        if (!common || common.get() == &headers || property.isSame(headers, *common)) continue;
        const std::vector<Finding> found = property.differences(property, headers, *common);
        findings.insert(findings.end(), found.begin(), found.end());
    }
    return findings;
}

}  // namespace kxCheck
