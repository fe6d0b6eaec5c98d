// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCheckRun.h"

#include "check/kxCacheFolder.h"
#include "check/kxFileAge.h"
#include "check/kxFrameLook.h"
#include "check/kxJudge.h"
#include "check/kxRemovalPlan.h"
#include "check/kxResources.h"
#include "check/kxSizeJump.h"

#include <algorithm>
#include <utility>

namespace kxCheck {

namespace {

PoolOptions poolOptions(const Settings& settings, Level level, int stopDescriptor, HeaderStore& headers) {
    PoolOptions options;
    options.headers = &headers;
    options.jobs = settings.jobs.value_or(defaultJobs(level));
    options.limits.memoryMiB = settings.memoryLimit ? *settings.memoryLimit : defaultMemoryLimit(options.jobs);
    if (level == Level::pixels && usesCache(settings)) options.limits.writableDirectory = settings.cacheDirectory;
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

// Of a frame that was judged: its strange samples are findings now, and files with thousands of channels have many.
void dropStrange(FileReport& file) {
    if (!file.picture || file.picture->strange.empty()) return;
    auto picture = std::make_shared<PictureReport>(*file.picture);
    picture->strange = {};
    file.picture = std::move(picture);
}

// Of a frame that was reported: to remove it, and as a neighbour, it needs no details.
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
                         ProgressFunction progress, PreviewFunction takePreview, KnownFunction takeKnown)
    : settings_(settings),
      pools_(pools),
      progress_(std::move(progress)),
      takePreview_(std::move(takePreview)),
      takeKnown_(std::move(takeKnown)),
      cacheFolder_(usesCache(settings) ? cacheFolder(settings.cacheDirectory, wanted.sequence) : QByteArray()),
      frames_(unopenedFrames(wanted)),
      isOpened_(openedFrames(wanted)),
      first_(wanted.runFirst),
      last_(wanted.runLast),
      judged_(first_),
      place_(first_),
      givenUp_(first_),
      neighbours_(frames_, wanted.step),
      pictures_(frames_, neighbours_, first_, last_),
      isComplete_(frames_.size()),
      isRepeated_(frames_.size()) {}

const FrameReport* SequenceRun::next() {
    if (!likeness_ && place_ < last_) begin();
    for (; givenUp_ < place_; ++givenUp_) giveUp(frames_[givenUp_]);
    while (place_ < last_ && !isDecided(place_)) {
        if (canBeJudged(judged_))
            judgeNext();
        else if (!readSecondReport())
            stop();
    }
    if (place_ >= last_) {
        readRest();
        return nullptr;
    }
    complete(place_);
    return &frames_[place_++];
}

std::vector<FrameReport> SequenceRun::takeFrames() {
    using Distance = std::vector<FrameReport>::difference_type;
    const auto begin = std::make_move_iterator(frames_.begin());
    return {begin + static_cast<Distance>(first_), begin + static_cast<Distance>(place_)};
}

// --- Judging
// ---------------------------------------------------------------------------------------------------

bool SequenceRun::isRead(std::size_t place) const {
    return read_ == decoded_.size() || decoded_[read_] > place;
}

bool SequenceRun::canBeJudged(std::size_t place) const {
    if (!isRead(place)) return false;
    const auto after = neighbours_.after(frames_[place].name);
    if (!after || !pictures_.needsAfter(place)) return true;
    if (!isRead(*after)) return false;
    const auto secondAfter = neighbours_.after(frames_[*after].name);
    return !secondAfter || isRead(*secondAfter) || !pictures_.needsSecondAfter(place);
}

bool SequenceRun::isDecided(std::size_t place) const {
    if (place >= judged_) return false;
    return !isRepeated_[place] || repeated_.answer() != RepeatedFrames::Answer::open;
}

void SequenceRun::judgeNext() {
    judge(frames_[judged_], settings_, *likeness_,
          {sizeJumpOf(frames_, neighbours_, judged_), pictures_.judge(judged_)}, timeForAges());
    pictures_.giveUp(judged_);
    dropStrange(frames_[judged_].file);
    ++judged_;
}

// What was still open about a frame that was judged.
void SequenceRun::complete(std::size_t place) {
    FrameReport& frame = frames_[place];
    if (isRepeated_[place] && repeated_.answer() == RepeatedFrames::Answer::reported)
        addFinding(frame, repeatedFinding(frames_[*neighbours_.before(frame.name)].name), settings_);
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
    if (hasSecondPass()) beginSecondPass();
}

// A single frame is like all others: it need not be known before.
bool SequenceRun::hasSecondPass() const {
    return settings_.level == Level::pixels && (usesCache(settings_) || placesToOpen(0, frames_.size()).size() > 1);
}

// As far as the first pass says.
bool SequenceRun::isFaultless(std::size_t place) const {
    FrameReport frame;
    frame.name = frames_[place].name;
    frame.file = frames_[place].file;
    judge(frame, settings_, *likeness_, {sizeJumpOf(frames_, neighbours_, place), {}}, timeForAges());
    return frame.verdict == Verdict::good || frame.verdict == Verdict::suspicious;
}

std::vector<std::size_t> SequenceRun::placesToOpen(std::size_t first, std::size_t last) const {
    std::vector<std::size_t> places;
    for (std::size_t place = first; place < last; ++place)
        if (isOpened_[place]) places.push_back(place);
    return places;
}

// Only the headers are looked at of frames beside the run that nothing in it is compared with. When the run is
// stopped here, it ends before the first frame that was not read.
void SequenceRun::readFirstPass(const std::vector<std::size_t>& places) {
    const bool isOnly = !hasSecondPass();
    const Level levelBefore = usesCache(settings_) ? Level::structure : Level::headers;
    const Level level = isOnly ? settings_.level : levelBefore;
    const std::vector<bool> isCompared = comparedPlaces();
    WorkerPool& pool = pools_.forLevel(level);
    std::map<std::size_t, FileReport> known = knownReports(places);
    for (const std::size_t place : places) {
        if (known.count(place) > 0) continue;
        const bool isInRun = place >= first_ && place < last_;
        const bool isWhole = isOnly ? isInRun : isCompared[place];
        pool.add(checkOf(place, isWhole ? level : Level::headers));
    }
    RunProgress progress{level, 0, static_cast<std::int64_t>(places.size())};
    progress_(progress);
    for (const std::size_t place : places) {
        const auto there = known.find(place);
        const bool isKnown = there != known.end();
        std::optional<FileReport> report = isKnown ? std::move(there->second) : pool.next();
        if (!report) {
            wasStopped_ = true;
            last_ = isOnly ? std::clamp(place, first_, last_) : first_;
            return;
        }
        room_.take(*report);
        if (isLimited(*report)) report->picture = nullptr;  // of which no headers are left
        isComplete_[place] = isKnown || (report->picture && report->picture->isCached);
        keep(place, std::move(*report));
        ++progress.done;
        progress_(progress);
    }
}

// Of those that were followed, by place.
std::map<std::size_t, FileReport> SequenceRun::knownReports(const std::vector<std::size_t>& places) const {
    std::map<std::size_t, FileReport> known;
    if (!takeKnown_) return known;
    for (const std::size_t place : places)
        if (auto report = takeKnown_(frames_[place].name)) known.emplace(place, *std::move(report));
    return known;
}

void SequenceRun::beginSecondPass() {
    decoded_ = placesToDecode();
    const std::size_t files = placesToOpen(first_, last_).size();
    const auto comparable =
        std::count_if(decoded_.begin(), decoded_.end(), [this](std::size_t place) { return isComparable(place); });
    repeated_ = RepeatedFrames(static_cast<std::int64_t>(files), comparable);
    secondPass_ = {settings_.level, 0, static_cast<std::int64_t>(decoded_.size())};
    for (const std::size_t place : decoded_) {
        if (isComplete_[place]) continue;
        FileCheck check = checkOf(place, settings_.level);
        check.keepsInCache = usesCache(settings_) && isFaultless(place);
        pools_.forLevel(settings_.level).add(std::move(check));
    }
    progress_(secondPass_);
}

// Those of the run and what they are compared with, in it or next to it.
std::vector<bool> SequenceRun::comparedPlaces() const {
    std::vector<bool> isCompared(frames_.size());
    for (const std::size_t place : placesToOpen(first_, last_)) {
        if (isLimited(frames_[place].file)) continue;
        isCompared[place] = true;
        for (const std::size_t around : placesAround(frames_, neighbours_, place)) isCompared[around] = true;
    }
    return isCompared;
}

std::vector<std::size_t> SequenceRun::placesToDecode() const {
    const std::vector<bool> isCompared = comparedPlaces();
    std::vector<std::size_t> places = placesToOpen(0, frames_.size());
    places.erase(
        std::remove_if(places.begin(), places.end(),
                       [&](std::size_t place) { return !isCompared[place] || isLimited(frames_[place].file); }),
        places.end());
    return places;
}

// Whether both the frame, of the run, and the one before it are decoded.
bool SequenceRun::isComparable(std::size_t place) const {
    if (place < first_ || place >= last_) return false;
    const auto before = neighbours_.before(frames_[place].name);
    return before && std::binary_search(decoded_.begin(), decoded_.end(), *before);
}

bool SequenceRun::readSecondReport() {
    const std::size_t place = decoded_[read_];
    if (!isComplete_[place]) {
        std::optional<FileReport> report = pools_.forLevel(settings_.level).next();
        if (!report) return false;
        room_.giveBack(frames_[place].file.findings);
        if (isLimited(*report)) addKnown(*report, std::move(frames_[place].file));
        room_.take(*report);
        keep(place, std::move(*report));
    }
    ++read_;
    if (place < first_ || place >= last_) frames_[place].file.picture = nullptr;
    if (isComparable(place)) {
        const bool isRepeated = pictures_.isRepeated(place);
        repeated_.add(isRepeated);
        isRepeated_[place] = isRepeated && settings_.ignored.count(Code::repeated) == 0;
    }
    ++secondPass_.done;
    progress_(secondPass_);
    return true;
}

FileCheck SequenceRun::checkOf(std::size_t place, Level level) const {
    FileCheck check = lookAt(frames_[place].name, level, cacheFolder_);
    const bool mayHavePreview = level == Level::pixels || !check.cacheFile.isEmpty();
    check.wantsPreview = takePreview_ && mayHavePreview && place >= first_ && place < last_;
    return check;
}

void SequenceRun::keep(std::size_t place, FileReport report) {
    if (takePreview_) takePreview_(frames_[place].name, report);
    pictures_.put(place, report.picture);
    frames_[place].file = std::move(report);
}

// The workers are shared with the next run, which must not get reports of this one.
void SequenceRun::readRest() {
    while (read_ < decoded_.size())
        if (!readSecondReport()) return;
}

void SequenceRun::stop() {
    wasStopped_ = true;
    last_ = judged_;
    repeated_.end(static_cast<std::int64_t>(placesToOpen(first_, last_).size()));
}

}  // namespace kxCheck
