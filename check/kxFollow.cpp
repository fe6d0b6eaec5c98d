// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFollow.h"

#include "check/kxFileAge.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <optional>

namespace kxCheck {

namespace {

constexpr std::chrono::milliseconds timeForFiles(250);
// How long one kind of workers is listened to where both have something to do, or may have.
constexpr std::chrono::milliseconds timeOfTurn(20);

}  // namespace

Follow::Follow(const Settings& settings, NamesMean mean, CheckPools& pools, FollowListener listener)
    : settings_(settings),
      mean_(mean),
      pools_(pools),
      listener_(std::move(listener)),
      pace_(std::chrono::seconds(settings.timeout), Clock::now()) {}

// A frame that is done last is followed by one more asking, so that what changed meanwhile is seen.
void Follow::run() {
    bool goesOn = true;
    while (goesOn && listener_.asking(problems_)) {
        const bool wasAllDone = isAllDone();
        const bool hadNews = ask();
        look();
        decode();
        goesOn = !isOver(wasAllDone && !hadNews) && waitForReports();
    }
}

bool Follow::isAllDone() const {
    const auto isDone = [](const FollowedSequence* sequence) { return sequence->done() == sequence->frames(); };
    return problems_.empty() && std::all_of(counted_.begin(), counted_.end(), isDone);
}

bool Follow::isOver(bool isQuiet) const {
    if (!looked_.empty() || !decoded_.empty()) return false;
    return (isQuiet && isAllDone()) || pace_.isPatienceOver(Clock::now());
}

void Follow::showProgress() {
    RunProgress progress{settings_.level, 0, 0};
    for (const FollowedSequence* const sequence : counted_) {
        progress.done += sequence->done();
        progress.all += sequence->frames();
    }
    listener_.progress(progress);
}

// --- Asking
// ----------------------------------------------------------------------------------------------------

bool Follow::ask() {
    const auto begin = Clock::now();
    const bool areFilesNew = listDirectories();
    const bool haveChanged = askFiles();
    const bool hadNews = areFilesNew || haveChanged;
    const auto end = Clock::now();
    if (hadNews) pace_.sign(end);
    pace_.asked(begin, end, hadNews);
    return hadNews;
}

// True when files came or went.
bool Follow::listDirectories() {
    FoundSequences found = findSequences(settings_.arguments, mean_);
    problems_ = std::move(found.problems);
    counted_.clear();
    std::set<Key> there;
    bool isNews = false;
    for (FoundSequence& sequence : found.sequences) {
        const Key key{sequence.directory, sequence.name};
        const auto place = sequences_.try_emplace(key, settings_, room_, listener_.previews).first;
        if (place->second.update(std::move(sequence))) isNews = true;
        counted_.push_back(&place->second);
        there.insert(key);
    }
    if (!found.isComplete)
        countOthers(there);
    else if (dropOthers(there))
        isNews = true;
    return isNews;
}

void Follow::countOthers(const std::set<Key>& found) {
    for (auto& [key, sequence] : sequences_)
        if (found.count(key) == 0) counted_.push_back(&sequence);
}

// Sequences that a whole list does not have any more are waited for no longer: their names were those that frames
// have while they are written, or how a pattern was read as long as there was nothing to read it by. True when one
// lost files.
bool Follow::dropOthers(const std::set<Key>& found) {
    bool isNews = false;
    for (auto entry = sequences_.begin(); entry != sequences_.end();) {
        FollowedSequence& sequence = entry->second;
        const bool isGone = found.count(entry->first) == 0;
        if (isGone && sequence.update({entry->first.first, entry->first.second, {}})) isNews = true;
        entry = isGone && !isInWork(sequence) ? sequences_.erase(entry) : std::next(entry);
    }
    return isNews;
}

bool Follow::isInWork(const FollowedSequence& sequence) const {
    const auto isItsOwn = [&sequence](const auto& work) { return work.second.sequence == &sequence; };
    return std::any_of(looked_.begin(), looked_.end(), isItsOwn) ||
           std::any_of(decoded_.begin(), decoded_.end(), isItsOwn);
}

// Where all seems to be done, about all of them: a good frame that is just being rewritten is waited for too.
bool Follow::askFiles() {
    if (sequences_.empty()) return false;
    const bool isEnd = isNothingLeft();
    const auto end = Clock::now() + timeForFiles / static_cast<int>(sequences_.size());
    bool hasChanged = false;
    for (auto& [key, sequence] : sequences_)
        if (isEnd ? sequence.askAllFiles() : sequence.askFiles(end)) hasChanged = true;
    return hasChanged;
}

// --- Checking
// --------------------------------------------------------------------------------------------------

void Follow::take(const Work& work, FileReport report) {
    work.sequence->take(work.check, std::move(report), timeForAges());
    for (const FrameReport& frame : work.sequence->takeJudged()) {
        pace_.sign(Clock::now());
        listener_.judged(*work.sequence, frame);
    }
    if (isNothingLeft()) pace_.hasten(Clock::now());
    showProgress();
}

void Follow::look() {
    for (auto& [key, sequence] : sequences_) {
        sequence.grow(timeForAges());
        for (FollowCheck& check : sequence.takeArrived()) {
            const WorkerPool::Number number = pools_.forLevel(levelOfLook()).add(check.file);
            looked_.emplace(number, Work{&sequence, std::move(check)});
        }
    }
}

void Follow::decode() {
    for (auto& [key, sequence] : sequences_)
        for (FollowCheck& check : sequence.takeWhole()) {
            const WorkerPool::Number number = pools_.forLevel(settings_.level).add(check.file);
            decoded_.emplace(number, Work{&sequence, std::move(check)});
        }
}

// Until the directories are to be asked again. A file that hangs keeps neither those from being asked nor others
// from being decoded and told. False when the run was stopped.
bool Follow::waitForReports() {
    bool goesOn = true;
    while (goesOn && Clock::now() < pace_.nextAsking()) {
        look();  // into what only time was needed for
        if (!looked_.empty()) goesOn = fetch(looked_, levelOfLook());
        decode();
        const bool isTurn = looked_.empty() || !decoded_.empty();
        if (goesOn && isTurn) goesOn = fetch(decoded_, settings_.level);
    }
    return goesOn;
}

// Waits for news, also where there is no work, and takes what comes with them: not for long, as others may have to
// be decoded then. False when the run was stopped.
bool Follow::fetch(Works& works, Level level) {
    WorkerPool& pool = pools_.forLevel(level);
    auto end = endOfTurn();
    std::optional<FrameQueue::Numbered> done = pool.anyUntil(end);
    end = std::min<Clock::time_point>(end, Clock::now() + timeOfTurn);
    while (done) {
        const auto work = works.extract(done->number);
        take(work.mapped(), std::move(done->report));
        if (works.empty() || Clock::now() >= end) break;
        done = pool.anyUntil(end);
    }
    return !pool.stopped();
}

Follow::Clock::time_point Follow::endOfTurn() const {
    const auto begin = Clock::now();
    auto end = pace_.nextAsking();
    if (!looked_.empty() && !decoded_.empty()) end = std::min<Clock::time_point>(end, begin + timeOfTurn);
    const std::int64_t now = timeForAges();
    for (const FollowedSequence* const sequence : counted_) {
        const std::chrono::nanoseconds left = end - begin;
        if (sequence->growsAt() < now + left.count())
            end = begin + std::chrono::nanoseconds(sequence->growsAt() - now);
    }
    return end;
}

}  // namespace kxCheck
