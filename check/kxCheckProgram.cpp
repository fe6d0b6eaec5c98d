// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCheckProgram.h"

#include "check/kxCacheFolder.h"
#include "check/kxCheckOutputs.h"
#include "check/kxCheckRun.h"
#include "check/kxEscape.h"
#include "check/kxFileAge.h"
#include "check/kxFollow.h"
#include "check/kxFrameGuard.h"
#include "check/kxFrameOrder.h"
#include "check/kxNumberText.h"
#include "check/kxRemovalPlan.h"
#include "check/kxRemover.h"
#include "check/kxSequenceArgument.h"
#include "check/kxStopSignals.h"
#include "check/kxWantedFrames.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

namespace kxCheck {

namespace {

constexpr int signalExit = 128;

// Of two sequences: bad frames outweigh what could not be checked.
int worse(int a, int b) {
    if (a == exitBad || b == exitBad) return exitBad;
    return a == exitGood ? b : a;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A directory's files without frame number are among the others that a list of frames leaves alone.
NamesMean meaningOfNames(const Settings& settings) {
    if (settings.single) return NamesMean::singleFiles;
    return settings.frames ? NamesMean::numberedSequences : NamesMean::sequences;
}

Remover removerFor(const QByteArray& directory, const Settings& settings) {
    if (settings.removal == Removal::move) return {directory, settings.minAge, settings.moveTo};
    return {directory, settings.minAge};
}

// Of the directory that bad frames are moved to.
QByteArray faultOfTarget(const Settings& settings) {
    const QByteArray reason = Remover(settings.moveTo, settings.minAge).fault();
    return reason.isEmpty() ? reason : settings.moveTo + ": " + reason;
}

// Of a run that follows and was cut short: what has not come, is not whole, or would be read again, was not
// checked.
void keepDone(WantedFrames& wanted, const FollowedSequence& followed) {
    auto& frames = wanted.frames;
    frames.erase(std::remove_if(frames.begin(), frames.end(),
                                [&](const WantedFrame& frame) { return !followed.hasReport(frame.name.path); }),
                 frames.end());
    wanted.runFirst = 0;
    wanted.runLast = frames.size();
}

// What is known of a frame at the end. A file that was replaced meanwhile is looked at again, as far as there is
// time.
std::optional<FileReport> knownReport(FollowedSequence& followed, const QByteArray& path, bool isCutShort) {
    if (isCutShort || followed.isReportTrue(path)) return followed.takeReport(path);
    followed.dropReport(path);
    return std::nullopt;
}

class Program {
public:
    Program(const Settings& settings, const CheckFunction& check)
        : settings_(settings), outputs_(settings), pools_(settings, check, stop_.descriptor()) {}

    int run();

private:
    bool canBegin(const std::vector<FoundSequence>& sequences);
    QByteArray openOutputs(const std::vector<FoundSequence>& sequences);
    void openCache();
    void sayCacheFault(const FrameReport& frame);
    void sayProblems(const std::vector<QByteArray>& problems);
    int followSequences();
    FollowListener listener();
    void sayWhatIsWaitedFor(const std::vector<QByteArray>& problems);
    void checkSequence(const FoundSequence& found, FollowedSequence* followed = nullptr);
    bool sayWhatIsLeftOut(const FoundSequence& found, const WantedFrames& wanted);
    PreviewFunction previewFunction();
    void report(SequenceRun& run, const WantedFrames& wanted, Summary& summary);
    void reportSorted(const std::vector<FrameReport>& frames);
    void remove(const FoundSequence& found, const std::vector<FrameReport>& frames);
    QByteArray removeFrame(const Remover& remover, const FrameReport& frame);
    int finish();
    void say(const QByteArray& text) { outputs_.problem("kxCheckFrames: " + escaped(text)); }

    Settings settings_;
    StopSignals stop_;
    CheckOutputs outputs_;
    CheckPools pools_;
    int exitCode_ = exitGood;
    bool isCacheFaultSaid_ = false;
    bool isWaitSaid_ = false;
    bool isFollowingVain_ = false;  // it ended because what is told can't be written
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

int Program::run() {
    static_cast<void>(timeForAges());  // ages are those of now, whatever becomes of the clock
    const FoundSequences found = findSequences(settings_.arguments, meaningOfNames(settings_));
    if (!settings_.follow) sayProblems(found.problems);
    if (!canBegin(found.sequences)) return exitPartial;
    openCache();
    if (settings_.follow) return followSequences();
    for (const FoundSequence& sequence : found.sequences)
        if (stop_.received() == 0) checkSequence(sequence);
    return finish();
}

void Program::sayProblems(const std::vector<QByteArray>& problems) {
    for (const QByteArray& problem : problems) outputs_.problem(problem);
    if (!problems.empty()) exitCode_ = exitPartial;
}

// A run of hours is not begun whose outcome can't be written, or whose bad frames have nowhere to go.
bool Program::canBegin(const std::vector<FoundSequence>& sequences) {
    QByteArray fault = openOutputs(sequences);
    for (const FoundSequence& sequence : sequences) {
        if (!fault.isEmpty() || settings_.removal == Removal::none || sequence.files.empty()) continue;
        fault = removerFor(sequence.directory, settings_).fault();
    }
    if (fault.isEmpty() && settings_.follow && settings_.removal == Removal::move)
        fault = faultOfTarget(settings_);  // also where no frame has come yet
    if (!fault.isEmpty()) say(fault);
    return fault.isEmpty();
}

// Why they can't be written; empty when they can.
QByteArray Program::openOutputs(const std::vector<FoundSequence>& sequences) {
    for (const QByteArray& file : {settings_.jsonFile, settings_.reportFile}) {
        if (file.isEmpty() || file == "-") continue;
        const QByteArray frame = frameAt(file, sequences);
        if (!frame.isEmpty()) return file + ": this is the frame " + frame + ", and is not overwritten";
    }
    outputs_.open();
    return outputs_.fault();
}

// All goes on without a cache that can't be used: it saves time, no more.
void Program::openCache() {
    if (settings_.cacheDirectory.isEmpty() || settings_.level != Level::pixels) return;
    const QByteArray fault = prepareCache(settings_.cacheDirectory);
    if (fault.isEmpty()) return;
    say("no cache in " + settings_.cacheDirectory + ": " + fault);
    settings_.cacheDirectory.clear();
}

// Once: on a full disk it is the same for all.
void Program::sayCacheFault(const FrameReport& frame) {
    if (isCacheFaultSaid_ || frame.file.cacheFault.isEmpty()) return;
    isCacheFaultSaid_ = true;
    say(frame.name.path + " is not kept in " + settings_.cacheDirectory + ": " + frame.file.cacheFault);
}

int Program::finish() {
    outputs_.close(stop_.received() != 0 || isFollowingVain_, systemTime());
    const QByteArray fault = outputs_.fault();
    if (!fault.isEmpty()) {
        say(fault);
        exitCode_ = worse(exitCode_, exitPartial);
    }
    return stop_.received() != 0 ? signalExit + stop_.received() : exitCode_;
}

// --- Following
// ----------------------------------------------------------------------------------------------------

// What is judged when all have come, or no more are waited for, is judged as without following.
int Program::followSequences() {
    Follow follow(settings_, meaningOfNames(settings_), pools_, listener());
    follow.run();
    sayProblems(follow.problems());
    for (FollowedSequence* const sequence : follow.sequences()) checkSequence(sequence->found(), sequence);
    return finish();
}

FollowListener Program::listener() {
    FollowListener listener;
    listener.asking = [this](const std::vector<QByteArray>& problems) {
        if (outputs_.isReaderGone()) std::raise(SIGPIPE);  // as writing to it would, which may be hours away
        sayWhatIsWaitedFor(problems);
        isFollowingVain_ = outputs_.hasFailed();
        return !isFollowingVain_;
    };
    listener.judged = [this](const FollowedSequence& sequence, const FrameReport& frame) {
        sayCacheFault(frame);
        if (isOrderOfChecking(settings_))
            outputs_.arrivedFrame(sequence.name(), sequence.headers(), sequence.labelWidth(), frame);
    };
    listener.progress = [this](const RunProgress& progress) { outputs_.progress(progress); };
    if (outputs_.hasPage())
        listener.previews = {previewFunction(), [this](const FrameName& frame) { outputs_.dropPreview(frame); }};
    return listener;
}

// Once: a name that was mistyped is waited for too.
void Program::sayWhatIsWaitedFor(const std::vector<QByteArray>& problems) {
    if (isWaitSaid_ || problems.empty()) return;
    isWaitSaid_ = true;
    for (const QByteArray& problem : problems) outputs_.note(problem + "; waiting for it");
}

// --- One sequence
// -------------------------------------------------------------------------------------------------

void Program::checkSequence(const FoundSequence& found, FollowedSequence* followed) {
    const auto start = followed ? start_ : std::chrono::steady_clock::now();
    WantedFrames wanted = wantedFrames(found, settings_.frames, settings_.chunk);
    Summary summary;
    summary.isPartial = sayWhatIsLeftOut(found, wanted) || isFollowingVain_;
    const bool isCutShort = followed && (stop_.received() != 0 || isFollowingVain_);
    if (isCutShort) keepDone(wanted, *followed);
    KnownFunction takeKnown;
    if (followed)
        takeKnown = [=](const FrameName& frame) { return knownReport(*followed, frame.path, isCutShort); };
    SequenceRun run(
        settings_, wanted, pools_, [this](const RunProgress& progress) { outputs_.progress(progress); },
        previewFunction(), takeKnown);
    report(run, wanted, summary);

    const std::vector<FrameReport> frames = run.takeFrames();
    if (!isOrderOfChecking(settings_)) reportSorted(frames);
    const RemovalCount removals = countRemovals(frames);
    summary.isHeld = removals.isMost() && !settings_.removeMost;
    summary.seconds = secondsSince(start);
    outputs_.total(summary);
    if (summary.isHeld)
        outputs_.held(removals);
    else
        remove(found, frames);
    const int exitCode = exitCodeOf(summary, settings_.strict);
    exitCode_ = worse(exitCode_, exitCode);
    outputs_.endSequence(summary, stop_.received() != 0 ? signalExit + stop_.received() : exitCode,
                         isCutShort || run.wasStopped());
}

// True when there is something that will not be checked.
bool Program::sayWhatIsLeftOut(const FoundSequence& found, const WantedFrames& wanted) {
    const QByteArray path = shownPath(found) + ": ";
    if (wanted.frames.empty())
        say(path + (found.files.empty() ? "there is no such frame"
                                        : "it has no frame number and is none of the frames of --frames"));
    if (wanted.gapsUnknown)
        say(path + "first to last frame are more than " + numberText(mostFrames) +
            ", so gaps are no missing frames; --frames says which must be there");
    if (wanted.leftOut > 0)
        say(path + numberText(wanted.leftOut) + " frames are beyond the " + numberText(mostFrames) +
            " of a sequence and are not checked; --frames says which are wanted");
    return wanted.frames.empty() || wanted.gapsUnknown || wanted.leftOut > 0;
}

PreviewFunction Program::previewFunction() {
    if (!outputs_.hasPage()) return {};
    return [this](const FrameName& frame, FileReport& report) { outputs_.takePreview(frame, report); };
}

// The sequence's line stands before that of its first frame, and needs headers that are known with it.
void Program::report(SequenceRun& run, const WantedFrames& wanted, Summary& summary) {
    const FrameReport* frame = run.next();
    outputs_.beginSequence(wanted.sequence, run.headers(), labelWidthOf(run.frames()));
    for (; frame; frame = run.next()) {
        summary.add(*frame);
        outputs_.checkedFrame(*frame);
        sayCacheFault(*frame);
        if (isOrderOfChecking(settings_)) outputs_.frame(*frame);
    }
}

void Program::reportSorted(const std::vector<FrameReport>& frames) {
    for (const std::size_t place : frameOrder(frames, settings_.sortKey, settings_.sortDescending))
        outputs_.frame(frames[place]);
}

void Program::remove(const FoundSequence& found, const std::vector<FrameReport>& frames) {
    if (settings_.removal == Removal::none) return;
    const Remover remover = removerFor(found.directory, settings_);
    for (const FrameReport& frame : frames) {
        if (frame.action == Action::none) continue;
        const QByteArray reason = removeFrame(remover, frame);
        if (!reason.isEmpty()) outputs_.kept(frame, reason);
    }
}

// Why it was kept; empty when it is gone.
QByteArray Program::removeFrame(const Remover& remover, const FrameReport& frame) {
    if (stop_.received() != 0) return "the run was interrupted";
    if (!outputs_.fault().isEmpty()) return "the outcome could not be written";
    const QByteArray& path = frame.name.path;
    return remover.remove(path.mid(path.lastIndexOf('/') + 1), frame.file.identity, timeForAges());
}

}  // namespace

int runCheck(const Settings& settings, const CheckFunction& check) {
    return Program(settings, check).run();
}

}  // namespace kxCheck
