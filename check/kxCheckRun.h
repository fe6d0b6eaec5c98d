// SPDX-License-Identifier: BSD-3-Clause
// A run over the frames of a sequence: has them checked, judges them, and gives them back in order.
//
// At level pixels the headers of the whole sequence are read first, many files at once, because verdicts depend on
// what most frames have in common; then each frame is decoded and given back as soon as all before it are done and
// what its verdict depends on is known: mostly the frame one step behind it as well, for one that is unlike both
// neighbours also the next, and for one that repeats the frame before, whether so many do that none counts. Frames
// next to the run are decoded too, but not given. At the other levels one pass is enough, and the first frame comes
// when the last one was read. Where a file changes between both passes, its second report counts; where its reader
// is lost in the second one, identity, headers and findings of the first one stay.
//
// With a cache the first pass looks at structure and cache as well, and frames that were found there are not
// checked again: also that waits for the share, not for processors.
//
// Files that were looked at before, because they were followed, are not looked at again.
//
// A stopped run ends before the first frame whose verdict needs a file that was not read; of frames that repeat
// others, those read so far decide.
//
// Nothing is printed, and nothing ends the process. One thread; see WorkerPool.
#pragma once

#include "check/kxCheckSettings.h"
#include "check/kxFrameReport.h"
#include "check/kxKeptPictures.h"
#include "check/kxLikeness.h"
#include "check/kxNeighbours.h"
#include "check/kxRepeatedFrames.h"
#include "check/kxReportRoom.h"
#include "check/kxWantedFrames.h"
#include "check/kxWorkerPool.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace kxCheck {

// The workers of all sequences of a run: some for headers and structure, which wait for the share, and some for
// pixels, which need processors. Each are started when there is work for them.
class CheckPools {
public:
    // `stopDescriptor` as in PoolOptions. `settings` must live longer.
    CheckPools(const Settings& settings, CheckFunction check, int stopDescriptor)
        : settings_(settings), check_(std::move(check)), stopDescriptor_(stopDescriptor) {}

    [[nodiscard]] WorkerPool& forLevel(Level level);

private:
    const Settings& settings_;
    CheckFunction check_;
    int stopDescriptor_;
    HeaderStore headers_;
    std::optional<WorkerPool> files_;
    std::optional<WorkerPool> pixels_;
};

// Whether lines stand in the order in which frames are checked, and need not wait for the last one.
[[nodiscard]] inline bool isOrderOfChecking(const Settings& settings) {
    return settings.sortKey == SortKey::frame && !settings.sortDescending;
}

struct RunProgress {
    Level level = Level::headers;  // of the pass
    std::int64_t done = 0;         // frames of the pass
    std::int64_t all = 0;
};
using ProgressFunction = std::function<void(const RunProgress&)>;

// Takes the preview out of a frame's report as soon as it is there: the frame may have to wait for others until it
// is given, and previews of many need more memory than there should be.
using PreviewFunction = std::function<void(const FrameName&, FileReport&)>;

// The report of a file that was looked at before, as far as the level of the run asks: it is not looked at again.
// Asked once of each frame; nothing for others.
using KnownFunction = std::function<std::optional<FileReport>(const FrameName&)>;

class SequenceRun {
public:
    // `settings` and `pools` must live longer. `progress` is called at the start of each pass and after
    // each of its frames. Previews are made only where there is a `takePreview`.
    SequenceRun(const Settings& settings, const WantedFrames& wanted, CheckPools& pools, ProgressFunction progress,
                PreviewFunction takePreview = {}, KnownFunction takeKnown = {});

    // The next frame of the run, judged, with the action that is planned for it; null behind the last one, and when
    // the run was stopped. What the frame before had but its name, verdict, action and identity is given up; with a
    // sort order that needs it later, only the findings of its file, which are among the judged ones.
    [[nodiscard]] const FrameReport* next();

    // Those that next() has given, in order.
    [[nodiscard]] std::vector<FrameReport> takeFrames();

    // Of the first frame whose headers could be read; null without one, and before the first next().
    [[nodiscard]] const Headers* headers() const { return headers_.get(); }
    [[nodiscard]] bool wasStopped() const { return wasStopped_; }
    // Of the frames of the whole sequence, also before they were checked.
    [[nodiscard]] const std::vector<FrameReport>& frames() const { return frames_; }

private:
    void begin();
    [[nodiscard]] bool hasSecondPass() const;
    [[nodiscard]] bool isFaultless(std::size_t place) const;
    [[nodiscard]] std::vector<bool> comparedPlaces() const;
    [[nodiscard]] std::vector<std::size_t> placesToOpen(std::size_t first, std::size_t last) const;
    [[nodiscard]] std::vector<std::size_t> placesToDecode() const;
    [[nodiscard]] bool isComparable(std::size_t place) const;
    [[nodiscard]] std::map<std::size_t, FileReport> knownReports(const std::vector<std::size_t>& places) const;
    void readFirstPass(const std::vector<std::size_t>& places);
    void beginSecondPass();
    [[nodiscard]] bool readSecondReport();
    void readRest();
    void stop();
    [[nodiscard]] FileCheck checkOf(std::size_t place, Level level) const;
    void keep(std::size_t place, FileReport report);

    [[nodiscard]] bool isRead(std::size_t place) const;
    [[nodiscard]] bool canBeJudged(std::size_t place) const;
    [[nodiscard]] bool isDecided(std::size_t place) const;
    void judgeNext();
    void complete(std::size_t place);
    void giveUp(FrameReport& frame);

    const Settings& settings_;
    CheckPools& pools_;
    ProgressFunction progress_;
    PreviewFunction takePreview_;      // may be empty
    KnownFunction takeKnown_;          // may be empty
    QByteArray cacheFolder_;           // empty: without cache
    std::vector<FrameReport> frames_;  // of the whole sequence
    std::vector<bool> isOpened_;       // whose file is there to be opened
    std::size_t first_;                // the run, [first_, last_)
    std::size_t last_;
    std::size_t judged_;   // the first that was not judged
    std::size_t place_;    // of the next frame to give
    std::size_t givenUp_;  // frames before it have no more details than are needed
    Neighbours neighbours_;
    KeptPictures pictures_;
    std::optional<Likeness> likeness_;  // once the first pass is over
    std::shared_ptr<const Headers> headers_;
    std::vector<std::size_t> decoded_;  // places of the second pass, ascending
    std::size_t read_ = 0;              // how many of them were read
    std::vector<bool> isComplete_;      // by place: known, or found in the cache, by the first pass
    std::vector<bool> isRepeated_;
    RepeatedFrames repeated_;
    ReportRoom room_;
    RunProgress secondPass_;
    bool wasStopped_ = false;
};

}  // namespace kxCheck
