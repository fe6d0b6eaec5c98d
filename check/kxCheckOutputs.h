// SPDX-License-Identifier: BSD-3-Clause
// Where the outcome of a run goes: standard output for people, a frame list instead, JSON lines beside or instead,
// and standard error.
//
// What happens is told in its order; which of the outputs it goes to, and in which form, is decided here alone. One
// thread at a time.
#pragma once

#include "check/kxCheckSettings.h"
#include "check/kxFrameLines.h"
#include "check/kxFrameReport.h"
#include "check/kxOutput.h"
#include "check/kxProgressBar.h"
#include "check/kxRemovalPlan.h"
#include "check/kxSequenceName.h"
#include "check/kxSummary.h"

#include <QByteArray>

#include <optional>

namespace kxCheck {

class CheckOutputs {
public:
    explicit CheckOutputs(const Settings& settings);

    // Opens, and empties, the JSON file if there is one; see fault(). Before anything but problem().
    void open();
    // Of one sequence, in this order. Lines are with the system when a call is over.
    void beginSequence(const SequenceName& sequence, const Headers* headers, int labelWidth);
    void frame(const FrameReport& frame);
    void total(const Summary& summary);
    void held(const RemovalCount& count);
    void kept(const FrameReport& frame, const QByteArray& reason);
    void endSequence(const Summary& summary, int exitCode);

    void progress(const RunProgress& progress) { bar_.show(progress); }
    // A line for standard error, without control characters.
    void problem(const QByteArray& line);

    // Closes the JSON file; then whether all was written is known.
    void close();
    // Of standard output or of the JSON file, for standard error; empty as long as all was written.
    [[nodiscard]] QByteArray fault() const;

private:
    [[nodiscard]] bool hasLines() const { return !settings_.listed && settings_.jsonFile != "-"; }
    void line(const QByteArray& text);
    void json(const QByteArray& text);

    const Settings& settings_;
    Output standard_;
    Output error_;
    std::optional<Output> file_;
    Output* json_;  // null: none
    ProgressBar bar_;
    LineStyle style_;
};

}  // namespace kxCheck
