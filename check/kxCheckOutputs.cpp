// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCheckOutputs.h"

#include "check/kxFrameInfo.h"
#include "check/kxJsonLines.h"

#include <QCryptographicHash>

#include <cstdlib>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace kxCheck {

namespace {

constexpr const char* standardName = "standard output";

bool isWanted(When when, int descriptor) {
    return when == When::always || (when == When::automatic && isatty(descriptor) != 0);
}

// By the convention of NO_COLOR: set, and not empty.
bool areColorsRefused() {
    const char* const value = std::getenv("NO_COLOR");
    return value && *value;
}

bool hasColors(When when) {
    return isWanted(when, STDOUT_FILENO) && (when == When::always || !areColorsRefused());
}

}  // namespace

CheckOutputs::CheckOutputs(const Settings& settings)
    : settings_(settings),
      standard_(STDOUT_FILENO, standardName),
      error_(STDERR_FILENO, "standard error"),
      json_(nullptr),
      bar_(error_, isWanted(settings.progress, STDERR_FILENO)) {
    style_.hasColors = hasColors(settings.color);
    if (settings.jsonFile == "-") json_ = &standard_;
}

void CheckOutputs::open() {
    if (!settings_.jsonFile.isEmpty() && !json_) json_ = &file_.emplace(settings_.jsonFile);
    if (!settings_.reportFile.isEmpty()) page_.emplace(settings_.reportFile, settings_.level);
}

void CheckOutputs::beginSequence(const SequenceName& sequence, const Headers* headers, int labelWidth) {
    if (hasLines()) beginLines(sequence, headers, labelWidth);
    beginJson(sequence);
    if (page_) page_->beginSequence(sequence, headers);
}

void CheckOutputs::checkedFrame(const FrameReport& frame) {
    if (page_) page_->frame(frame);
}

void CheckOutputs::takePreview(const FrameName& frame, FileReport& report) {
    if (page_) page_->takePreview(frame, report);
}

void CheckOutputs::dropPreview(const FrameName& frame) {
    if (page_) page_->dropPreview(frame);
}

void CheckOutputs::arrivedFrame(const SequenceName& sequence, const Headers* headers, int labelWidth,
                                const FrameReport& frame) {
    if (hasLines()) {
        beginLines(sequence, headers, labelWidth);
        linesOf(frame);
    }
    beginJson(sequence);
    jsonOf(frame);
}

void CheckOutputs::frame(const FrameReport& frame) {
    if (hasLines()) linesOf(frame);
    jsonOf(frame);
}

void CheckOutputs::total(const Summary& summary) {
    if (hasLines()) line(totalLine(summary));
    if (settings_.listed) line(summary.frames(*settings_.listed));
}

void CheckOutputs::held(const RemovalCount& count) {
    const QByteArray text = heldLine(count.removable, count.checked);
    if (hasLines())
        line(text);
    else
        writeProblem(text);
    if (page_) page_->held(count);
}

void CheckOutputs::kept(const FrameReport& frame, const QByteArray& reason) {
    const QByteArray text = keptLine(frame.name, reason, style_);
    if (hasLines()) line(text);
    if (settings_.listed) writeProblem(text);
    json(keptJson(frame.name, reason));
    if (page_) page_->kept(frame, reason);
}

void CheckOutputs::endSequence(const Summary& summary, int exitCode, bool isInterrupted) {
    json(summaryJson(summary, exitCode));
    if (page_) page_->endSequence(summary, isInterrupted);
    bar_.clear();
    shownSequence_.clear();
    jsonSequence_.clear();
}

void CheckOutputs::problem(const QByteArray& text) {
    writeProblem(text);
    problems_.push_back(text);
}

void CheckOutputs::close(bool isInterrupted, std::int64_t time) {
    bar_.clear();
    if (file_) file_->close();
    if (page_) page_->finish(problems_, isInterrupted, time);
}

QByteArray CheckOutputs::fault() const {
    if (standard_.hasFailed()) return standard_.fault();
    if (json_ && json_->hasFailed()) return json_->fault();
    return page_ ? page_->fault() : QByteArray();
}

bool CheckOutputs::isReaderGone() const {
    pollfd polled = {STDOUT_FILENO, 0, 0};
    return poll(&polled, 1, 0) > 0 && (polled.revents & (POLLERR | POLLHUP)) != 0;  // of a pipe, of a socket
}

void CheckOutputs::writeProblem(const QByteArray& text) {
    bar_.clear();
    error_.writeLine(text);
}

void CheckOutputs::line(const QByteArray& text) {
    bar_.clear();
    standard_.writeLine(text);
}

// Lines of sequences that are followed together alternate; each row of them has the sequence above it.
void CheckOutputs::beginLines(const SequenceName& sequence, const Headers* headers, int labelWidth) {
    style_.labelWidth = labelWidth;
    const bool isShown = shownSequence_ == sequence.path && (isShownWithHeaders_ || !headers);
    if (settings_.follow && isShown) return;
    shownSequence_ = sequence.path;
    isShownWithHeaders_ = headers;
    line(sequenceLine(sequence, headers));
}

void CheckOutputs::linesOf(const FrameReport& frame) {
    if (!isToBeSaid(frame)) return;
    line(frameLine(frame, style_));
    if (settings_.info) info(frame);
}

// A frame that became good is told when it was not before.
bool CheckOutputs::isToBeSaid(const FrameReport& frame) {
    const bool isOfInterest = settings_.verbose || frame.verdict != Verdict::good;
    if (!settings_.follow) return isOfInterest;
    QByteArray& said = said_[frame.name.path];
    const QByteArray text = frameLine(frame, {});
    if (text == said || (said.isEmpty() && !isOfInterest)) return false;
    said = text;
    return true;
}

void CheckOutputs::info(const FrameReport& frame) {
    for (const QByteArray& text : infoLines(frame)) line("    " + text);
}

void CheckOutputs::json(const QByteArray& text) {
    if (!json_) return;
    if (json_ == &standard_) bar_.clear();
    json_->writeLine(text);
}

// Of sequences that are followed together, as with lines.
void CheckOutputs::beginJson(const SequenceName& sequence) {
    if (!json_) return;
    const QByteArray text = sequenceJson(sequence);
    if (text != jsonSequence_) json(text);
    jsonSequence_ = text;
}

void CheckOutputs::jsonOf(const FrameReport& frame) {
    if (!json_) return;
    const QByteArray text = frameJson(frame);
    if (settings_.follow) {
        const QByteArray hash = QCryptographicHash::hash(text, QCryptographicHash::Sha1);
        if (std::exchange(told_[frame.name.path], hash) == hash) return;
    }
    json(text);
}

}  // namespace kxCheck
