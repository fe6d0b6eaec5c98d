// SPDX-License-Identifier: BSD-3-Clause
// What kxCheckFrames must remove, told from what is known of each file and not from looking at it.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

// In one file. A level is 0 for headers, 1 for structure, 2 for pixels.
struct FrameContent {
    std::string name;
    std::string code;  // what is found; empty: nothing, "?": it can't be checked
    int level = 0;     // from which on it is found
    enum class Shape { none, usual, other } shape = Shape::usual;  // of headers that others are held against
};

// Sound frames and one for each way in which files are damaged.
const std::vector<FrameContent>& frameContents();
// What stands in a frame's place and can't be checked.
const FrameContent& uncheckedContent();
// The bytes of all contents by name; `directory` is one to write in.
std::map<std::string, std::string> frameContentBytes(const std::string& directory);

struct ModelFrame {
    std::string name;
    int number = 0;
    FrameContent content;
    int age = 0;  // seconds since the file, or that behind the link, was changed; below 0 for a time to come
    bool isLink = false;
};

struct ModelSequence {
    std::string prefix;
    std::string suffix;
    std::vector<ModelFrame> frames;
};

struct RemovalOptions {
    std::optional<std::string> moveTo;  // none: deleted
    bool removeMost = false;
    int minAge = 60;
    int level = 2;
    std::set<std::string> failOn;
    std::set<std::string> ignored;
    std::optional<std::pair<int, int>> frames;
    int chunk = 1;
    int chunks = 1;  // above 1 with `frames` only

    [[nodiscard]] std::vector<std::string> arguments() const;
};

// Names of files.
struct Removals {
    std::set<std::string> planned;  // their lines say that they are to go
    std::set<std::string> gone;     // those of them that go
    bool isHeld = false;            // none goes because they are too many
};

// Of one run that is not disturbed. `taken` are the names in the directory that files are moved to.
Removals removalsOf(const ModelSequence& sequence, const RemovalOptions& options,
                    const std::set<std::string>& taken);
