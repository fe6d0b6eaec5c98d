// SPDX-License-Identifier: BSD-3-Clause
// A sequence whose frames arrive: which of its files are there, what was found in each, and what is to be done
// next.
//
// A frame is judged when it is done, by what its file says, the modes and what is expected; and once more, beside
// its neighbours, when those one and two steps away that the list has are done too. What depends on the whole
// sequence (differs, differs-coding, repeated) is left to a SequenceRun at the end, which takes the reports over.
//
// Frames outside the run of --chunk are not followed. One thread.
#pragma once

#include "check/kxCheckRun.h"
#include "check/kxCheckSettings.h"
#include "check/kxFollowedFile.h"
#include "check/kxFrameReport.h"
#include "check/kxLikeness.h"
#include "check/kxNeighbours.h"
#include "check/kxReportRoom.h"
#include "check/kxSequenceArgument.h"
#include "check/kxSequenceName.h"

#include <QByteArray>
#include <QHash>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace kxCheck {

// Bounds what all followed frames together take in memory.
struct FollowRoom {
    ReportRoom reports;
    std::int64_t strange = 100000;  // channels with strange samples; what finds no room is read again at the end
};

// What becomes of the pictures for a page; both are empty without one.
struct FollowPreviews {
    PreviewFunction take;
    std::function<void(const FrameName&)> drop;  // of a file that is not there any more, or was looked at anew
};

// What is given out to be checked, and which arrival of the frame's file that is about.
struct FollowCheck {
    FileCheck file;
    std::int64_t arrival = 0;
};

class FollowedSequence {
public:
    using Clock = std::chrono::steady_clock;

    // `settings` has a list of frames; both must live longer.
    FollowedSequence(const Settings& settings, FollowRoom& room, FollowPreviews previews);

    // Tells which files are there now. True when one that is followed came or went.
    bool update(FoundSequence found);
    // Asks the system about frames that may have changed, unfinished ones and those that are not good, going on
    // where it stopped, until `end`, but about one in any case. True when one did.
    bool askFiles(Clock::time_point end);
    // The same about all of them, good ones too: whether what was found still holds.
    bool askAllFiles();
    // Goes on with what only time was needed for.
    void grow(std::int64_t now);
    // Until when that has nothing to do, as far as is known.
    [[nodiscard]] std::int64_t growsAt() const { return growsAt_; }

    // What is to be looked into, down to the structure, and what is to be decoded. Both count as given out.
    [[nodiscard]] std::vector<FollowCheck> takeArrived();
    [[nodiscard]] std::vector<FollowCheck> takeWhole();
    // The report of one of these, at its level. It is passed over where the file went meanwhile, also when another
    // one has come under its name.
    void take(const FollowCheck& check, FileReport report, std::int64_t now);

    // The frames that were judged since the last call, once or once more.
    [[nodiscard]] std::vector<FrameReport> takeJudged();

    // Of the run: frames there must be, and how many of them are done.
    [[nodiscard]] std::int64_t frames() const { return static_cast<std::int64_t>(last_ - first_); }
    [[nodiscard]] std::int64_t done() const { return done_; }

    [[nodiscard]] const FoundSequence& found() const { return found_; }
    [[nodiscard]] const SequenceName& name() const { return name_; }
    // Of the first file that had some; null before.
    [[nodiscard]] const Headers* headers() const { return headers_.get(); }
    [[nodiscard]] int labelWidth() const { return labelWidth_; }

    // Whether the frame is done, and its report found room.
    [[nodiscard]] bool hasReport(const QByteArray& path) const;
    // Asks the system whether the report still says what there is: of the file that is there now, which could be
    // read. False without report.
    [[nodiscard]] bool isReportTrue(const QByteArray& path) const;
    // Gives the report away; nothing where there is none.
    [[nodiscard]] std::optional<FileReport> takeReport(const QByteArray& path);
    // The frame will be looked at anew by somebody else.
    void dropReport(const QByteArray& path);

private:
    struct State {
        FollowStep step = FollowStep::absent;
        std::int64_t arrival = 0;            // 0: not there
        bool wasAsked = false;               // the system, about another file than that of the report
        std::optional<FileIdentity> answer;  // what it said last; nothing also where it knew of no file
        bool isForgotten = false;            // done, but its report found no room
    };

    void layOut();
    [[nodiscard]] std::optional<std::size_t> placeOf(const QByteArray& path) const;
    void setStep(std::size_t place, FollowStep step);
    void arrive(std::size_t place);
    void giveRoomBack(const FileReport& file);
    void forget(std::size_t place);
    void keep(std::size_t place, FileReport report);
    enum class Asked { watched, all };
    bool ask(Asked asked, Clock::time_point end);
    [[nodiscard]] bool isAsked(std::size_t place, Asked asked) const;
    bool askFile(std::size_t place);
    [[nodiscard]] bool isAroundDone(std::size_t place) const;
    [[nodiscard]] bool isFaultless(std::size_t place) const;
    [[nodiscard]] PictureJudgement judgePicture(std::size_t place, bool isCompared) const;
    void judgeAround(std::size_t place, std::int64_t now);
    void judgeOne(std::size_t place, std::int64_t now);

    const Settings& settings_;
    FollowRoom& room_;
    FollowPreviews previews_;
    const Likeness unlikeNone_;  // as if no frame were like others, so that none differs
    FoundSequence found_;
    bool isLaidOut_ = false;            // `found_` is what the frames below stand for
    std::vector<QByteArray> followed_;  // paths of the files that are followed
    SequenceName name_;
    QByteArray cacheFolder_;           // empty: without cache
    std::vector<FrameReport> frames_;  // of the whole list; verdicts as far as they are known
    std::vector<State> states_;        // by place
    std::size_t first_ = 0;            // the run, [first_, last_)
    std::size_t last_ = 0;
    std::optional<Neighbours> neighbours_;
    QHash<QByteArray, std::size_t> places_;  // by path
    std::int64_t arrivals_ = 0;              // so far
    std::int64_t done_ = 0;
    std::int64_t growsAt_ = std::numeric_limits<std::int64_t>::max();
    std::size_t nextAsked_ = 0;
    std::vector<FrameReport> judged_;
    std::shared_ptr<const Headers> headers_;
    int labelWidth_ = 0;
};

}  // namespace kxCheck
