// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCheckRun.h"

#include "check/kxJudge.h"
#include "check/kxRemovalPlan.h"
#include "check/kxResources.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace kxCheck {

namespace {

PoolOptions poolOptions(const Settings& settings, Level level, int stopDescriptor, HeaderStore& headers) {
    PoolOptions options;
    options.headers = &headers;
    options.jobs = settings.jobs.value_or(defaultJobs(level));
    options.limits.memoryMiB = settings.memoryLimit ? *settings.memoryLimit : defaultMemoryLimit(options.jobs);
    options.secondsPerFrame = settings.timeLimit;
    options.stopDescriptor = stopDescriptor;
    return options;
}

// A frame before its file was looked into.
FrameReport unopened(const WantedFrame& wanted) {
    if (wanted.source == WantedFrame::Source::none) return missingFrame(wanted.name);
    FrameReport frame;
    frame.name = wanted.name;
    if (wanted.source == WantedFrame::Source::longNumber)
        frame.file.findings = {
            makeFinding(Code::unreadable,
                        "its frame number has more than " + QByteArray::number(longestFrameText) + " characters")};
    return frame;
}

std::vector<FrameReport> unopenedFrames(const WantedFrames& wanted) {
    std::vector<FrameReport> frames;
    frames.reserve(wanted.frames.size());
    for (const WantedFrame& frame : wanted.frames) frames.push_back(unopened(frame));
    return frames;
}

std::vector<bool> openedFrames(const WantedFrames& wanted) {
    std::vector<bool> opened;
    opened.reserve(wanted.frames.size());
    for (const WantedFrame& frame : wanted.frames) opened.push_back(frame.source == WantedFrame::Source::file);
    return opened;
}

// What a worker was lost on once is not tried again.
bool isLimited(const FileReport& file) {
    const auto& findings = file.findings;
    return std::any_of(findings.begin(), findings.end(), [](const Finding& f) { return f.code == Code::limit; });
}

// A reader that was lost, or lacked room, takes nothing away from what the first pass knows of the same file.
void addKnown(FileReport& second, FileReport first) {
    if (second.hasIdentity && (!first.hasIdentity || second.identity != first.identity)) return;
    second.hasIdentity = first.hasIdentity;
    second.identity = first.identity;
    if (!second.headers) second.headers = std::move(first.headers);
    for (Finding& finding : first.findings)
        if (finding.severity != Severity::none) second.findings.push_back(std::move(finding));
}

std::int64_t now() {
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
}

// What is needed of a frame that was reported: to remove it, and as a neighbour.
void giveUpDetails(FrameReport& frame) {
    FileReport file;
    file.hasIdentity = frame.file.hasIdentity;
    file.identity = frame.file.identity;
    frame.file = std::move(file);
    frame.findings = {};
}

}  // namespace

WorkerPool& CheckPools::forLevel(Level level) {
    std::optional<WorkerPool>& pool = level == Level::pixels ? pixels_ : files_;
    if (!pool) pool.emplace(poolOptions(settings_, level, stopDescriptor_, headers_), check_);
    return *pool;
}

SequenceRun::SequenceRun(const Settings& settings, const WantedFrames& wanted, CheckPools& pools,
                         ProgressFunction progress)
    : settings_(settings),
      pools_(pools),
      progress_(std::move(progress)),
      frames_(unopenedFrames(wanted)),
      isOpened_(openedFrames(wanted)),
      first_(wanted.runFirst),
      last_(wanted.runLast),
      place_(first_),
      givenUp_(first_),
      neighbours_(frames_, wanted.step),
      isSecond_(frames_.size()) {}

const FrameReport* SequenceRun::next() {
    if (!likeness_ && place_ < last_) begin();
    for (; givenUp_ < place_; ++givenUp_) giveUp(frames_[givenUp_]);
    if (place_ >= last_) return nullptr;
    if (isSecond_[place_] && !readSecondReport()) return nullptr;
    judgeFrame(frames_[place_]);
    return &frames_[place_++];
}

std::vector<FrameReport> SequenceRun::takeFrames() {
    using Distance = std::vector<FrameReport>::difference_type;
    const auto begin = std::make_move_iterator(frames_.begin());
    return {begin + static_cast<Distance>(first_), begin + static_cast<Distance>(place_)};
}

void SequenceRun::judgeFrame(FrameReport& frame) {
    judge(frame, settings_, *likeness_, sizeJumpOf(frames_, neighbours_, place_), now());
    frame.action = plannedAction(frame, settings_);
}

void SequenceRun::giveUp(FrameReport& frame) {
    room_.giveBack(frame.file.findings);
    frame.file.findings = {};
    if (isOrderOfChecking(settings_)) return giveUpDetails(frame);
    room_.take(frame.findings);
    arrangeFindings(frame.findings);
}

// --- The passes
// ---------------------------------------------------------------------------------------------------

void SequenceRun::begin() {
    const std::vector<std::size_t> places = placesToOpen(0, frames_.size());
    readFirstPass(places);
    std::vector<std::shared_ptr<const Headers>> all;
    all.reserve(frames_.size());
    for (const FrameReport& frame : frames_) all.push_back(frame.file.headers);
    likeness_.emplace(all);
    const auto readable = std::find_if(all.begin(), all.end(), [](const auto& headers) { return headers; });
    if (readable != all.end()) headers_ = *readable;
    if (settings_.level == Level::pixels && places.size() > 1) beginSecondPass();
}

std::vector<std::size_t> SequenceRun::placesToOpen(std::size_t first, std::size_t last) const {
    std::vector<std::size_t> places;
    for (std::size_t place = first; place < last; ++place)
        if (isOpened_[place]) places.push_back(place);
    return places;
}

// Frames beside the run are looked at for their headers only. When the run is stopped here, it ends before the
// first frame that was not read.
void SequenceRun::readFirstPass(const std::vector<std::size_t>& places) {
    const bool isOnly = settings_.level != Level::pixels || places.size() == 1;
    const Level level = isOnly ? settings_.level : Level::headers;
    WorkerPool& pool = pools_.forLevel(level);
    for (const std::size_t place : places) {
        const bool isInRun = place >= first_ && place < last_;
        pool.add({frames_[place].name.path, isInRun ? level : Level::headers});
    }
    RunProgress progress{level, 0, static_cast<std::int64_t>(places.size())};
    progress_(progress);
    for (const std::size_t place : places) {
        std::optional<FileReport> report = pool.next();
        if (!report) {
            wasStopped_ = true;
            last_ = isOnly ? std::clamp(place, first_, last_) : first_;
            return;
        }
        room_.take(*report);
        frames_[place].file = std::move(*report);
        ++progress.done;
        progress_(progress);
    }
}

void SequenceRun::beginSecondPass() {
    secondPass_.level = settings_.level;
    for (const std::size_t place : placesToOpen(first_, last_)) {
        if (isLimited(frames_[place].file)) continue;
        isSecond_[place] = true;
        ++secondPass_.all;
        pools_.forLevel(settings_.level).add({frames_[place].name.path, settings_.level});
    }
    progress_(secondPass_);
}

bool SequenceRun::readSecondReport() {
    std::optional<FileReport> report = pools_.forLevel(settings_.level).next();
    if (!report) {
        wasStopped_ = true;
        last_ = place_;
        return false;
    }
    room_.giveBack(frames_[place_].file.findings);
    if (isLimited(*report)) addKnown(*report, std::move(frames_[place_].file));
    room_.take(*report);
    frames_[place_].file = std::move(*report);
    ++secondPass_.done;
    progress_(secondPass_);
    return true;
}

}  // namespace kxCheck
