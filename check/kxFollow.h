// SPDX-License-Identifier: BSD-3-Clause
// Waits for the frames of sequences and has them checked as they arrive.
//
// Directories are asked for new files at the intervals of FollowPace, each with one list; about single files the
// system is asked only where one may have changed: about those that are still written, and frames that are not
// good, for a quarter of a second each time and a file more; about all files once all frames are done. What came
// is looked into down to the structure, and what is whole there is decoded, while the next news are waited for.
// Each frame is told as soon as it is done, also while a reader hangs at one before it.
//
// It ends when an asking has no news and all frames of the runs were done before it (of a directory as an argument
// those of the sequences that are still there), when there was no news for the time of --timeout, when the
// listener does not go on, or when the pools are stopped. Then `sequences` say what is known of each frame.
// One thread.
#pragma once

#include "check/kxCheckRun.h"
#include "check/kxCheckSettings.h"
#include "check/kxFileSequence.h"
#include "check/kxFollowPace.h"
#include "check/kxFollowedSequence.h"
#include "check/kxFrameReport.h"
#include "check/kxSequenceArgument.h"

#include <QByteArray>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace kxCheck {

// Is told what happens.
struct FollowListener {
    // A frame was judged, maybe once more, as far as it can be without the whole sequence.
    std::function<void(const FollowedSequence&, const FrameReport&)> judged;
    // Each time before the directories are asked, with what could not be found the last time. False ends it.
    std::function<bool(const std::vector<QByteArray>& problems)> asking;
    ProgressFunction progress;  // frames done, of all
    FollowPreviews previews;
};

class Follow {
public:
    // `settings`, with a list of frames, and `pools` must live longer.
    Follow(const Settings& settings, NamesMean mean, CheckPools& pools, FollowListener listener);

    void run();

    // Those that the last asking found, in the order of the arguments; where a directory could not be listed, those
    // that were found before behind them. They alone count for what is done.
    [[nodiscard]] const std::vector<FollowedSequence*>& sequences() const { return counted_; }
    // Of the last asking; see FoundSequences.
    [[nodiscard]] const std::vector<QByteArray>& problems() const { return problems_; }

private:
    using Clock = FollowPace::Clock;
    using Key = std::pair<QByteArray, FileSequence>;  // directory and name
    struct Work {
        FollowedSequence* sequence;
        FollowCheck check;
    };
    using Works = std::map<WorkerPool::Number, Work>;

    [[nodiscard]] bool ask();
    [[nodiscard]] bool listDirectories();
    [[nodiscard]] bool askFiles();
    [[nodiscard]] bool dropOthers(const std::set<Key>& found);
    [[nodiscard]] bool isInWork(const FollowedSequence& sequence) const;
    void countOthers(const std::set<Key>& found);
    void look();
    void decode();
    [[nodiscard]] bool waitForReports();
    [[nodiscard]] bool fetch(Works& works, Level level);
    [[nodiscard]] Clock::time_point endOfTurn() const;
    [[nodiscard]] Level levelOfLook() const { return std::min(settings_.level, Level::structure); }
    void take(const Work& work, FileReport report);
    [[nodiscard]] bool isAllDone() const;
    [[nodiscard]] bool isNothingLeft() const { return looked_.empty() && decoded_.empty() && isAllDone(); }
    [[nodiscard]] bool isOver(bool isQuiet) const;
    void showProgress();

    const Settings& settings_;
    NamesMean mean_;
    CheckPools& pools_;
    FollowListener listener_;
    FollowPace pace_;
    FollowRoom room_;
    std::map<Key, FollowedSequence> sequences_;
    std::vector<FollowedSequence*> counted_;
    std::vector<QByteArray> problems_;
    // Given to the workers of both levels.
    Works looked_;
    Works decoded_;
};

}  // namespace kxCheck
