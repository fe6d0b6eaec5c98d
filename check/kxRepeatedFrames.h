// SPDX-License-Identifier: BSD-3-Clause
// Whether the frames of a run that repeat the one before them are a finding: not where more than a quarter of the
// frames do, because then the shot stands still.
//
// Decided as soon as no frame to come can change it. Not thread-safe.
#pragma once

#include <cstdint>

namespace kxCheck {

class RepeatedFrames {
public:
    enum class Answer { open, reported, leftOut };

    // A run of fewer frames is too short to say.
    static constexpr std::int64_t fewest = 8;

    RepeatedFrames() = default;
    // Of `frames` that have a file, `comparable` can be compared with the one before and are going to be added.
    RepeatedFrames(std::int64_t frames, std::int64_t comparable) : frames_(frames), open_(comparable) {}

    void add(bool isRepeated);
    // No more are added: the run ends early, behind `frames` that have a file. What was decided stays.
    void end(std::int64_t frames);

    [[nodiscard]] Answer answer() const;

private:
    std::int64_t frames_ = 0;
    std::int64_t open_ = 0;
    std::int64_t repeated_ = 0;
};

}  // namespace kxCheck
