// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/RemovalModel.h"

#include "examples/SampleFrames.h"
#include "tests/support/TempDir.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <stdexcept>

namespace {

using Shape = FrameContent::Shape;
using Names = std::vector<std::string>;

constexpr const char* levelNames[] = {"headers", "structure", "pixels"};
// These condemn no file unless they are failed on, an error of the picture alone no more than warnings.
const std::set<std::string> ofPictures = {"nan", "black", "tile-missing"};

std::string writtenBytes(const std::string& directory, const SamplePart& part) {
    const std::string path = directory + "written";
    writeSampleFile(path, {part});
    std::string bytes = readFileBytes(path);
    std::filesystem::remove(path);
    return bytes;
}

SamplePart gradient() {
    SamplePart part;
    part.pixels = SamplePixels::gradient;
    return part;
}

std::uint64_t numberAt(const std::string& bytes, std::size_t at) {
    std::uint64_t number = 0;
    std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
}

// Of a file of three chunks the place of the table, behind which the first chunk begins.
std::size_t tableOf(const std::string& bytes) {
    constexpr std::size_t size = 3 * 8;
    for (std::size_t at = 0; at + size <= bytes.size(); ++at)
        if (numberAt(bytes, at) == at + size) return at;
    throw std::logic_error("no chunk table");
}

std::string replaced(std::string bytes, const std::string& from, const std::string& to) {
    return bytes.replace(bytes.find(from), from.size(), to);
}

std::string spoiledChunk(std::string bytes, std::size_t table) {
    constexpr std::size_t leader = 8;
    const std::size_t data = numberAt(bytes, table + 8) + leader;
    return bytes.replace(data, 30, std::string(30, '\xff'));
}

bool isYoung(int age, int minAge) {
    return minAge > 0 && age < minAge;
}

// --- One frame -------------------------------------------------------------------------------------------

std::string codeOf(const ModelFrame& frame, const RemovalOptions& options) {
    const FrameContent& content = frame.content;
    if (!content.code.empty() && content.level <= options.level)
        return content.code == "truncated" && isYoung(frame.age, options.minAge) ? "unfinished" : content.code;
    return {};
}

bool isCondemned(const ModelFrame& frame, const std::string& suffix, Shape common, const RemovalOptions& options) {
    const std::string code = codeOf(frame, options);
    const bool isDamaged = !code.empty() && options.ignored.count(code) == 0 &&
                           (ofPictures.count(code) == 0 || options.failOn.count(code) > 0);
    const bool isForeign = isDamaged && (code == "empty" || code == "not-exr");
    if (isForeign && suffix != ".exr") return false;
    const Shape shape = frame.content.shape;
    const bool isUnlike = common != Shape::none && shape != Shape::none && shape != common;
    return isDamaged || (isUnlike && options.ignored.count("differs") == 0);
}

// --- A sequence ------------------------------------------------------------------------------------------

// Of at least four frames with headers three in four have it.
Shape commonShape(const std::vector<ModelFrame>& frames) {
    const auto count = [&](Shape shape) {
        return std::count_if(frames.begin(), frames.end(),
                             [=](const ModelFrame& frame) { return frame.content.shape == shape; });
    };
    const auto usual = count(Shape::usual);
    const auto other = count(Shape::other);
    if (usual + other < 4) return Shape::none;
    if (4 * usual >= 3 * (usual + other)) return Shape::usual;
    return 4 * other >= 3 * (usual + other) ? Shape::other : Shape::none;
}

std::vector<ModelFrame> within(const std::vector<ModelFrame>& frames, int first, int last) {
    std::vector<ModelFrame> some;
    std::copy_if(frames.begin(), frames.end(), std::back_inserter(some),
                 [=](const ModelFrame& frame) { return frame.number >= first && frame.number <= last; });
    return some;
}

}  // namespace

const std::vector<FrameContent>& frameContents() {
    static const std::vector<FrameContent> all = {
        {"good", "", 0, Shape::usual},
        {"goodAgain", "", 0, Shape::usual},
        {"channelMore", "", 0, Shape::other},
        {"cutInHeader", "truncated", 0, Shape::none},
        {"cutBeforeChunks", "truncated", 1, Shape::usual},
        {"cutInLastChunk", "truncated", 1, Shape::usual},
        {"chunkNotWritten", "unfinished", 1, Shape::usual},
        {"chunkSpoiled", "chunk", 2, Shape::usual},
        {"empty", "empty", 0, Shape::none},
        {"text", "not-exr", 0, Shape::none},
        {"short", "not-exr", 0, Shape::none},
        {"noChannels", "header", 0, Shape::none},
        {"nan", "nan", 2, Shape::usual},
        {"black", "black", 2, Shape::usual},
        {"tileMissing", "tile-missing", 2, Shape::usual},
        {"newerVersion", "?", 0, Shape::none},
    };
    return all;
}

const FrameContent& uncheckedContent() {
    static const FrameContent content = {"unchecked", "?", 0, Shape::none};
    return content;
}

std::map<std::string, std::string> frameContentBytes(const std::string& directory) {
    SamplePart other = gradient();
    other.channels.push_back({"Z"});
    SamplePart strange = gradient();
    strange.patches = {{"R", {{3, 3}, {3, 3}}, std::numeric_limits<float>::quiet_NaN()}};
    SamplePart holed;
    holed.patches = {{"", {{0, 0}, {63, 35}}, 1}, {"", {{16, 8}, {23, 15}}, 0}};
    SamplePart moved = gradient();
    moved.phase = 3;
    const std::string good = writtenBytes(directory, gradient());
    const std::size_t table = tableOf(good);
    std::string newer = good;
    newer[4] = 3;
    return {
        {"good", good},
        {"goodAgain", writtenBytes(directory, moved)},
        {"channelMore", writtenBytes(directory, other)},
        {"cutInHeader", good.substr(0, 100)},
        {"cutBeforeChunks", good.substr(0, table + 3 * 8)},
        {"cutInLastChunk", good.substr(0, good.size() - 20)},
        {"chunkNotWritten", std::string(good).replace(table + 8, 8, std::string(8, '\0'))},
        {"chunkSpoiled", spoiledChunk(good, table)},
        {"empty", ""},
        {"text", "this is no frame but a text that took its place"},
        {"short", good.substr(0, 3)},
        {"noChannels", replaced(good, "channels", "channelz")},
        {"nan", writtenBytes(directory, strange)},
        {"black", writtenBytes(directory, SamplePart())},
        {"tileMissing", writtenBytes(directory, holed)},
        {"newerVersion", newer},
    };
}

Names RemovalOptions::arguments() const {
    Names words = {"-l", levelNames[level]};
    const auto add = [&](const std::string& option, const std::string& value) {
        words.push_back(option);
        words.push_back(value);
    };
    if (moveTo)
        add("--move-to", *moveTo);
    else
        words.emplace_back("--delete");
    if (removeMost) words.emplace_back("--remove-most");
    if (minAge != 60) add("--min-age", std::to_string(minAge));
    for (const std::string& code : failOn) add("--fail-on", code);
    for (const std::string& code : ignored) add("--ignore", code);
    if (frames) add("--frames", std::to_string(frames->first) + "-" + std::to_string(frames->second));
    if (chunks > 1) add("--chunk", std::to_string(chunk) + "/" + std::to_string(chunks));
    return words;
}

Removals removalsOf(const ModelSequence& sequence, const RemovalOptions& options,
                    const std::set<std::string>& taken) {
    const auto [first, last] = options.frames.value_or(std::pair(0, std::numeric_limits<int>::max() - 1));
    const std::vector<ModelFrame> listed = within(sequence.frames, first, last);
    const Shape common = commonShape(listed);
    const int count = options.chunks > 1 ? last - first + 1 : 0;
    const int runFirst = first + count * (options.chunk - 1) / options.chunks;
    const int runLast = options.chunks > 1 ? first + count * options.chunk / options.chunks - 1 : last;
    std::size_t checked = 0;
    Removals removals;
    for (const ModelFrame& frame : within(listed, runFirst, runLast)) {
        if (frame.content.code == "?") continue;
        ++checked;
        if (!isCondemned(frame, sequence.suffix, common, options)) continue;
        removals.planned.insert(frame.name);
        const bool isTaken = options.moveTo && taken.count(frame.name) > 0;
        if (!frame.isLink && !isTaken && !isYoung(frame.age, options.minAge)) removals.gone.insert(frame.name);
    }
    removals.isHeld = 2 * removals.planned.size() > checked && !options.removeMost;
    if (removals.isHeld) removals.gone.clear();
    return removals;
}
