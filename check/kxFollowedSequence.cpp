// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFollowedSequence.h"

#include "check/kxCacheFolder.h"
#include "check/kxFrameLines.h"
#include "check/kxFrameLook.h"
#include "check/kxJudge.h"
#include "check/kxWantedFrames.h"

#include <algorithm>
#include <utility>

namespace kxCheck {

namespace {

bool hasSameNames(const std::vector<FrameFile>& a, const std::vector<FrameFile>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const FrameFile& x, const FrameFile& y) { return x.name == y.name; });
}

const PictureFacts* pictureOf(const FrameReport& frame) {
    const auto& report = frame.file.picture;
    return report && report->picture ? &*report->picture : nullptr;
}

std::int64_t strangeIn(const FileReport& file) {
    return file.picture ? static_cast<std::int64_t>(file.picture->strange.size()) : 0;
}

// A missing tile is judged beside the neighbours only.
PictureJudgement judgeAlone(PictureReport report) {
    if (report.picture) report.picture->isTileMissing = false;
    return judgePicture(report, {});
}

}  // namespace

FollowedSequence::FollowedSequence(const Settings& settings, FollowRoom& room, FollowPreviews previews)
    : settings_(settings), room_(room), previews_(std::move(previews)), unlikeNone_({}) {}

// --- Which files there are
// ----------------------------------------------------------------------------------------

bool FollowedSequence::update(FoundSequence found) {
    const bool isFirst = name_.path.isEmpty();
    if (isLaidOut_ && hasSameNames(found.files, found_.files)) return false;
    found_ = std::move(found);
    const std::vector<QByteArray> before = std::exchange(followed_, {});
    layOut();
    return isFirst || followed_ != before;
}

// What is known of files that are still there stays; the report of another file may be on its way.
void FollowedSequence::layOut() {
    const WantedFrames wanted = wantedFrames(found_, settings_.frames, settings_.chunk);
    name_ = wanted.sequence;
    if (usesCache(settings_)) cacheFolder_ = cacheFolder(settings_.cacheDirectory, name_);
    std::vector<FrameReport> frames = std::exchange(frames_, {});
    std::vector<State> states = std::exchange(states_, {});
    const QHash<QByteArray, std::size_t> places = std::exchange(places_, {});
    first_ = wanted.runFirst;
    last_ = wanted.runLast;
    frames_.reserve(wanted.frames.size());
    for (const WantedFrame& frame : wanted.frames) {
        const std::size_t place = frames_.size();
        const auto old = places.constFind(frame.name.path);
        const bool isKnown = old != places.constEnd();
        frames_.push_back(isKnown ? std::exchange(frames[*old], FrameReport()) : FrameReport());
        frames_.back().name = frame.name;
        states_.push_back(isKnown ? states[*old] : State());
        places_.insert(frame.name.path, place);
        const bool isFollowed = frame.source == WantedFrame::Source::file && place >= first_ && place < last_;
        if (isFollowed) followed_.push_back(frame.name.path);
        if (!isFollowed)
            forget(place);
        else if (states_[place].step == FollowStep::absent)
            arrive(place);
    }
    for (const FrameReport& gone : frames) giveRoomBack(gone.file);
    done_ = std::count_if(states_.begin(), states_.end(),
                          [](const State& state) { return state.step == FollowStep::done; });
    neighbours_.emplace(frames_, wanted.step);
    labelWidth_ = labelWidthOf(frames_);
    isLaidOut_ = true;
}

std::optional<std::size_t> FollowedSequence::placeOf(const QByteArray& path) const {
    const auto place = places_.constFind(path);
    if (place == places_.constEnd()) return std::nullopt;
    return *place;
}

void FollowedSequence::setStep(std::size_t place, FollowStep step) {
    FollowStep& current = states_[place].step;
    if (current == FollowStep::done) --done_;
    current = step;
    if (current == FollowStep::done) ++done_;
}

void FollowedSequence::arrive(std::size_t place) {
    states_[place].arrival = ++arrivals_;
    setStep(place, FollowStep::arrived);
}

// --- What becomes of them
// -----------------------------------------------------------------------------------------

bool FollowedSequence::isAsked(std::size_t place, Asked asked) const {
    const FollowStep step = states_[place].step;
    if (step == FollowStep::unfinished) return true;
    return step == FollowStep::done && (asked == Asked::all || frames_[place].verdict != Verdict::good);
}

bool FollowedSequence::askFiles(Clock::time_point end) {
    return ask(Asked::watched, end);
}

bool FollowedSequence::askAllFiles() {
    return ask(Asked::all, Clock::time_point::max());
}

bool FollowedSequence::ask(Asked asked, Clock::time_point end) {
    bool hasChanged = false;
    for (std::size_t left = frames_.size(); left > 0; --left) {
        if (nextAsked_ >= frames_.size()) nextAsked_ = 0;
        const std::size_t place = nextAsked_++;
        if (!isAsked(place, asked)) continue;
        if (askFile(place)) hasChanged = true;
        if (Clock::now() >= end) break;
    }
    return hasChanged;
}

// Where the system tells by path something else of a file than through its descriptor, or could not open it, it is
// looked at once more for that, not for ever. What a reader was lost on is not, before it changes.
bool FollowedSequence::askFile(std::size_t place) {
    const FileReport& file = frames_[place].file;
    const auto identity = identityAt(frames_[place].name.path);
    if (file.hasIdentity && identity == file.identity) return false;
    State& state = states_[place];
    const bool isFirstOfLost = !state.wasAsked && !file.hasIdentity && isLimited(file);
    const bool hasChanged = identity && identity != state.answer && !isFirstOfLost;
    state.wasAsked = true;
    state.answer = identity;
    if (hasChanged) arrive(place);
    return hasChanged;
}

void FollowedSequence::grow(std::int64_t now) {
    if (now < growsAt_) return;
    growsAt_ = std::numeric_limits<std::int64_t>::max();
    for (std::size_t place = first_; place < last_; ++place) {
        setStep(place, stepInTime(states_[place].step, frames_[place].file, settings_, now));
        growsAt_ = std::min(growsAt_, timeOfStep(states_[place].step, frames_[place].file, settings_));
    }
}

std::vector<FollowCheck> FollowedSequence::takeArrived() {
    std::vector<FollowCheck> checks;
    for (std::size_t place = first_; place < last_; ++place) {
        if (states_[place].step != FollowStep::arrived) continue;
        FileCheck check = lookAt(frames_[place].name, std::min(settings_.level, Level::structure), cacheFolder_);
        check.wantsPreview = previews_.take && !check.cacheFile.isEmpty();
        checks.push_back({std::move(check), states_[place].arrival});
        setStep(place, FollowStep::looking);
    }
    return checks;
}

std::vector<FollowCheck> FollowedSequence::takeWhole() {
    std::vector<FollowCheck> checks;
    for (std::size_t place = first_; place < last_; ++place) {
        if (states_[place].step != FollowStep::whole) continue;
        FileCheck check = lookAt(frames_[place].name, settings_.level, cacheFolder_);
        check.wantsPreview = static_cast<bool>(previews_.take);
        check.keepsInCache = !cacheFolder_.isEmpty() && isFaultless(place);
        checks.push_back({std::move(check), states_[place].arrival});
        setStep(place, FollowStep::looking);
    }
    return checks;
}

// A file that is gone although the directory has it comes anew with the next update.
void FollowedSequence::take(const FollowCheck& check, FileReport report, std::int64_t now) {
    const auto place = placeOf(check.file.path);
    if (!place || states_[*place].arrival != check.arrival) return;
    const bool isAll = check.file.level == settings_.level;
    const FollowStep step = isAll ? stepAfterPixels(report, settings_, now) : stepAfterLook(report, settings_, now);
    if (step == FollowStep::absent) {
        isLaidOut_ = false;
        return forget(*place);
    }
    if (check.file.level == Level::pixels && isLimited(report)) addKnown(report, frames_[*place].file);
    keep(*place, std::move(report));
    setStep(*place, step);
    growsAt_ = std::min(growsAt_, timeOfStep(step, frames_[*place].file, settings_));
    if (step == FollowStep::done) judgeAround(*place, now);
    if (states_[*place].isForgotten) frames_[*place].file.picture = nullptr;
}

void FollowedSequence::giveRoomBack(const FileReport& file) {
    room_.reports.giveBack(file.findings);
    room_.strange += strangeIn(file);
}

void FollowedSequence::forget(std::size_t place) {
    giveRoomBack(std::exchange(frames_[place].file, FileReport()));
    if (previews_.drop) previews_.drop(frames_[place].name);
    setStep(place, FollowStep::absent);
    states_[place] = State();
}

void FollowedSequence::keep(std::size_t place, FileReport report) {
    FileReport& file = frames_[place].file;
    giveRoomBack(file);
    const bool hadHeaders = report.headers != nullptr;
    room_.reports.take(report);
    const bool isCut = hadHeaders && !report.headers;
    if (previews_.drop) previews_.drop(frames_[place].name);
    if (previews_.take) previews_.take(frames_[place].name, report);
    file = std::move(report);
    if (!headers_) headers_ = file.headers;
    states_[place].isForgotten = isCut || strangeIn(file) > room_.strange;
    if (!states_[place].isForgotten) room_.strange -= strangeIn(file);
}

// --- Judging
// ---------------------------------------------------------------------------------------------------

bool FollowedSequence::isAroundDone(std::size_t place) const {
    const auto around = placesAround(frames_, *neighbours_, place);
    return std::all_of(around.begin(), around.end(),
                       [this](std::size_t other) { return states_[other].step == FollowStep::done; });
}

bool FollowedSequence::isFaultless(std::size_t place) const {
    FrameReport frame;
    frame.name = frames_[place].name;
    frame.file = frames_[place].file;
    judge(frame, settings_, unlikeNone_, {}, 0);
    return frame.verdict == Verdict::good || frame.verdict == Verdict::suspicious;
}

PictureJudgement FollowedSequence::judgePicture(std::size_t place, bool isCompared) const {
    const auto& report = frames_[place].file.picture;
    if (!report) return {};
    if (!isCompared) return judgeAlone(*report);
    const auto pictureAt = [this](std::optional<std::size_t> at) { return at ? pictureOf(frames_[*at]) : nullptr; };
    const auto before = neighbours_->before(frames_[place].name);
    const auto after = neighbours_->after(frames_[place].name);
    PictureNeighbours around;
    around.before = pictureAt(before);
    around.after = pictureAt(after);
    if (before) around.secondBefore = pictureAt(neighbours_->before(frames_[*before].name));
    if (after) around.secondAfter = pictureAt(neighbours_->after(frames_[*after].name));
    return kxCheck::judgePicture(*report, around);
}

void FollowedSequence::judgeOne(std::size_t place, std::int64_t now) {
    const bool isCompared = isAroundDone(place);
    FrameReport frame = frames_[place];
    Comparison comparison;
    if (isCompared) comparison.size = sizeJumpOf(frames_, *neighbours_, place);
    comparison.picture = judgePicture(place, isCompared);
    judge(frame, settings_, unlikeNone_, comparison, now);
    frames_[place].verdict = frame.verdict;
    judged_.push_back(std::move(frame));
}

// The frame itself, and those that were done before it and are compared with it.
void FollowedSequence::judgeAround(std::size_t place, std::int64_t now) {
    judgeOne(place, now);
    for (const std::size_t other : placesAround(frames_, *neighbours_, place)) {
        const State& state = states_[other];
        const bool isKnown = state.step == FollowStep::done && !state.isForgotten;
        if (isKnown && isAroundDone(other)) judgeOne(other, now);
    }
}

std::vector<FrameReport> FollowedSequence::takeJudged() {
    return std::exchange(judged_, {});
}

// --- At the end
// ------------------------------------------------------------------------------------------------

bool FollowedSequence::hasReport(const QByteArray& path) const {
    const auto place = placeOf(path);
    return place && states_[*place].step == FollowStep::done && !states_[*place].isForgotten;
}

bool FollowedSequence::isReportTrue(const QByteArray& path) const {
    if (!hasReport(path)) return false;
    const FileReport& file = frames_[*placeOf(path)].file;
    if (!file.hasIdentity) return isLimited(file);
    return !isUnreadable(file) && identityAt(path) == file.identity;
}

std::optional<FileReport> FollowedSequence::takeReport(const QByteArray& path) {
    if (!hasReport(path)) return std::nullopt;
    return std::move(frames_[*placeOf(path)].file);
}

void FollowedSequence::dropReport(const QByteArray& path) {
    if (const auto place = placeOf(path)) forget(*place);
}

}  // namespace kxCheck
