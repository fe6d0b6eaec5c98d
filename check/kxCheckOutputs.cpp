// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCheckOutputs.h"

#include "check/kxJsonLines.h"

#include <cstdlib>

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
}

void CheckOutputs::beginSequence(const SequenceName& sequence, const Headers* headers, int labelWidth) {
    style_.labelWidth = labelWidth;
    if (hasLines()) line(sequenceLine(sequence, headers));
    json(sequenceJson(sequence));
}

void CheckOutputs::frame(const FrameReport& frame) {
    if (hasLines() && (settings_.verbose || frame.verdict != Verdict::good)) line(frameLine(frame, style_));
    if (json_) json(frameJson(frame));
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
        problem(text);
}

void CheckOutputs::kept(const FrameReport& frame, const QByteArray& reason) {
    const QByteArray text = keptLine(frame.name, reason, style_);
    if (hasLines()) line(text);
    if (settings_.listed) problem(text);
    json(keptJson(frame.name, reason));
}

void CheckOutputs::endSequence(const Summary& summary, int exitCode) {
    json(summaryJson(summary, exitCode));
    bar_.clear();
}

void CheckOutputs::problem(const QByteArray& text) {
    bar_.clear();
    error_.writeLine(text);
}

void CheckOutputs::close() {
    bar_.clear();
    if (file_) file_->close();
}

QByteArray CheckOutputs::fault() const {
    if (standard_.hasFailed()) return standard_.fault();
    return json_ ? json_->fault() : QByteArray();
}

void CheckOutputs::line(const QByteArray& text) {
    bar_.clear();
    standard_.writeLine(text);
}

void CheckOutputs::json(const QByteArray& text) {
    if (json_) json_->writeLine(text);
}

}  // namespace kxCheck
