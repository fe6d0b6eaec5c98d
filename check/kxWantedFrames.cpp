// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxWantedFrames.h"

#include "check/kxNumberText.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <numeric>
#include <utility>

namespace kxCheck {

namespace {

using Tiles = std::vector<std::optional<int>>;

std::int64_t stepOf(const FrameNumbers& numbers) {
    if (numbers.size() < 3) return 1;
    std::int64_t step = numbers[1] - numbers[0];
    for (std::size_t i = 2; i < numbers.size(); ++i) {
        const std::int64_t difference = numbers[i] - numbers[i - 1];
        if (difference < step) step = std::gcd(step, difference);
    }
    return step;
}

// Those of the files, ascending, each once.
FrameNumbers numbersOf(const std::vector<FrameFile>& files) {
    FrameNumbers numbers;
    for (const FrameFile& file : files)
        if (file.number && (numbers.empty() || numbers.back() != *file.number)) numbers.push_back(*file.number);
    return numbers;
}

// With every number between two neighbours that lies whole steps behind the first of them and at least one before
// the second. 4, 8, 13, 22 by 4 misses 17.
FrameNumbers withoutGaps(const FrameNumbers& numbers, std::int64_t step) {
    FrameNumbers filled;
    for (std::size_t i = 0; i + 1 < numbers.size(); ++i) {
        const std::int64_t count = std::max<std::int64_t>((numbers[i + 1] - numbers[i]) / step, 1);
        for (std::int64_t k = 0; k < count; ++k) filled.push_back(numbers[i] + k * step);
    }
    if (!numbers.empty()) filled.push_back(numbers.back());
    return filled;
}

// One tile that is none where the sequence has no tiles.
Tiles tilesOf(const FoundSequence& found) {
    if (found.name.tile == kxFrames::TileMarker::none) return {std::nullopt};
    int lowest = kxFrames::tileCount;
    int highest = 0;
    for (const FrameFile& file : found.files) {
        lowest = std::min(lowest, file.tile.value_or(lowest));
        highest = std::max(highest, file.tile.value_or(highest));
    }
    Tiles tiles;
    for (int tile = std::min(lowest, highest); tile <= highest; ++tile) tiles.emplace_back(tile);
    return tiles;
}

// How many digits a missing frame is written with: as few as any other, four when there is none. Negative ones may
// differ ("-005" beside "0005").
class NumberWidth {
public:
    explicit NumberWidth(const std::vector<FrameFile>& files) {
        for (const FrameFile& file : files) add(file);
    }

    QByteArray textOf(std::int64_t number) const {
        const bool isNegative = number < 0;
        const auto& own = isNegative ? negative_ : positive_;
        const auto& other = isNegative ? positive_ : negative_;
        const int digits = own ? *own : other.value_or(4);
        const QByteArray text = numberText(std::abs(number)).rightJustified(digits, '0');
        return isNegative ? '-' + text : text;
    }

private:
    void add(const FrameFile& file) {
        if (!file.number) return;
        const bool isNegative = file.text.startsWith('-');
        auto& width = isNegative ? negative_ : positive_;
        const int digits = static_cast<int>(file.text.size()) - (isNegative ? 1 : 0);
        width = std::min(width.value_or(digits), digits);
    }

    std::optional<int> positive_;
    std::optional<int> negative_;
};

// Lays out the list of all frames.
class Layout {
public:
    Layout(const FoundSequence& found, const FrameNumbers& numbers, const Tiles& tiles)
        : found_(found), numbers_(numbers), tiles_(tiles), width_(found.files) {}

    // The files in their order, and for each frame of the list without one its gap; as many as a sequence holds.
    // Where files were left out before, a gap behind the last of the others may be none.
    std::vector<WantedFrame> listed(const std::vector<FrameFile>& files, bool withGaps, bool isCut) {
        auto file = files.begin();
        for (const std::int64_t number : numbers_) {
            for (const std::optional<int> tile : tiles_) {
                if (isCut && file == files.end()) return std::move(frames_);
                const bool isThere = isOf(file, files.end(), number, tile);
                if (!isThere && withGaps) addGap(number, tile);
                for (; isOf(file, files.end(), number, tile); ++file) addFile(*file);
            }
        }
        for (; file != files.end(); ++file) addFile(*file);
        return std::move(frames_);
    }

    // Frames that were no longer laid out.
    [[nodiscard]] std::int64_t leftOut() const { return leftOut_; }

private:
    using Files = std::vector<FrameFile>::const_iterator;

    static bool isOf(Files file, Files end, std::int64_t number, std::optional<int> tile) {
        return file != end && file->number == number && file->tile == tile;
    }

    // False when there is none, and the frame is left out.
    bool takeRoom() {
        const bool hasRoom = frames_.size() < static_cast<std::size_t>(mostFrames);
        if (!hasRoom) ++leftOut_;
        return hasRoom;
    }

    void addFile(const FrameFile& file) {
        if (!takeRoom()) return;
        const bool isLong = !file.number && !found_.name.isSingle;
        frames_.push_back({{file.number, file.text, file.tile, found_.directory + file.name},
                           isLong ? WantedFrame::Source::longNumber : WantedFrame::Source::file});
    }

    void addGap(std::int64_t number, std::optional<int> tile) {
        if (!takeRoom()) return;
        const QByteArray text = width_.textOf(number);
        frames_.push_back({{number, text, tile, found_.directory + frameFileName(found_.name, tile, text)},
                           WantedFrame::Source::none});
    }

    const FoundSequence& found_;
    const FrameNumbers& numbers_;
    const Tiles& tiles_;
    NumberWidth width_;
    std::vector<WantedFrame> frames_;
    std::int64_t leftOut_ = 0;
};

// Files of the list's frames.
std::vector<FrameFile> filesOf(const std::vector<FrameFile>& files, const FrameNumbers& asked) {
    std::vector<FrameFile> wanted;
    std::copy_if(files.begin(), files.end(), std::back_inserter(wanted), [&asked](const FrameFile& file) {
        return file.number && std::binary_search(asked.begin(), asked.end(), *file.number);
    });
    return wanted;
}

// The index-th of `count` runs of frames: all files and tiles of a frame are in one run.
void chooseRun(WantedFrames& wanted, ChunkOfFrames chunk) {
    std::vector<std::size_t> starts;
    for (std::size_t i = 0; i < wanted.frames.size(); ++i) {
        const auto& number = wanted.frames[i].name.number;
        if (i == 0 || !number || number != wanted.frames[i - 1].name.number) starts.push_back(i);
    }
    const std::size_t units = starts.size();
    starts.push_back(wanted.frames.size());
    const auto count = static_cast<std::size_t>(chunk.count);
    const auto index = static_cast<std::size_t>(chunk.index);
    wanted.runFirst = starts[units * (index - 1) / count];
    wanted.runLast = starts[units * index / count];
}

void describe(WantedFrames& wanted, const FoundSequence& found, const FrameNumbers& numbers) {
    SequenceName& sequence = wanted.sequence;
    sequence.path = shownPath(found);
    sequence.directory = found.directory;
    sequence.prefix = found.name.prefix;
    sequence.suffix = found.name.suffix;
    sequence.frames = static_cast<std::int64_t>(wanted.frames.size());
    if (!numbers.empty()) sequence.range = FrameRange{numbers.front(), numbers.back(), wanted.step};
}

}  // namespace

WantedFrames wantedFrames(const FoundSequence& found, const std::optional<FrameNumbers>& asked,
                          ChunkOfFrames chunk) {
    WantedFrames wanted;
    const bool isListed = asked && !found.name.isSingle;
    std::vector<FrameFile> files = asked ? filesOf(found.files, *asked) : found.files;
    const bool isCut = !isListed && files.size() > static_cast<std::size_t>(mostFrames);
    if (isCut) {
        wanted.leftOut = static_cast<std::int64_t>(files.size()) - mostFrames;
        files.resize(mostFrames);
    }

    FrameNumbers numbers = isListed ? *asked : numbersOf(files);
    const Tiles tiles = tilesOf(found);
    wanted.step = stepOf(numbers);
    if (!isListed && !numbers.empty()) {
        const std::int64_t frames = (numbers.back() - numbers.front()) / wanted.step + 1;
        wanted.gapsUnknown = frames > mostFrames / static_cast<std::int64_t>(tiles.size());
        if (!wanted.gapsUnknown) numbers = withoutGaps(numbers, wanted.step);
    }
    Layout layout(found, numbers, tiles);
    wanted.frames = layout.listed(files, !wanted.gapsUnknown, isCut);
    wanted.leftOut += layout.leftOut();
    describe(wanted, found, numbers);
    chooseRun(wanted, chunk);
    return wanted;
}

}  // namespace kxCheck
