// SPDX-License-Identifier: BSD-3-Clause
// Finds values that are in use somewhere, so that equal ones can be one. It keeps none alive itself.
//
// One thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <unordered_map>
#include <utility>

namespace kxCheck {

template <class T>
class ValuesInUse {
public:
    // The value that was added with this hash and for which `isSame` holds; null when nobody has one any more.
    template <class IsSame>
    [[nodiscard]] std::shared_ptr<const T> find(std::size_t hash, IsSame isSame) const {
        auto [at, end] = values_.equal_range(hash);
        for (; at != end; ++at) {
            std::shared_ptr<const T> value = at->second.lock();
            if (value && isSame(*value)) return value;
        }
        return nullptr;
    }

    void add(std::size_t hash, const std::shared_ptr<const T>& value) {
        if (values_.size() >= nextCleaning_) forgetUnused();
        values_.emplace(hash, value);
    }

    // Values and those that were not yet forgotten.
    [[nodiscard]] std::size_t size() const { return values_.size(); }

private:
    // Rarely enough to cost little, and often enough that half of the entries at least are in use.
    void forgetUnused() {
        for (auto at = values_.begin(); at != values_.end();) at = at->second.expired() ? values_.erase(at) : ++at;
        nextCleaning_ = 2 * values_.size() + 64;
    }

    std::unordered_multimap<std::size_t, std::weak_ptr<const T>> values_;
    std::size_t nextCleaning_ = 64;
};

}  // namespace kxCheck
