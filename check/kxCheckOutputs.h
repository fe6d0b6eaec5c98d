// SPDX-License-Identifier: BSD-3-Clause
// Where the outcome of a run goes: standard output for people, a frame list instead, JSON lines beside or instead,
// a page, and standard error.
//
// What happens is told in its order; which of the outputs it goes to, and in which form, is decided here alone. One
// thread at a time.
#pragma once

#include "check/kxCheckSettings.h"
#include "check/kxFrameLines.h"
#include "check/kxFrameReport.h"
#include "check/kxOutput.h"
#include "check/kxPageWriter.h"
#include "check/kxProgressBar.h"
#include "check/kxRemovalPlan.h"
#include "check/kxSequenceName.h"
#include "check/kxSummary.h"

#include <QByteArray>
#include <QHash>

#include <cstdint>
#include <optional>
#include <vector>

namespace kxCheck {

class CheckOutputs {
public:
    explicit CheckOutputs(const Settings& settings);

    // Opens, and empties, the JSON file and tries the page's, if there are any; see fault(). Before anything but
    // problem().
    void open();
    // A frame of a run that follows was judged: a line as soon as there is something to be said of it, and again
    // when that changes, below the line of its sequence, which comes again once headers are known. The same with
    // objects of JSON, of each frame. What was said is repeated neither by beginSequence() nor by frame().
    void arrivedFrame(const SequenceName& sequence, const Headers* headers, int labelWidth,
                      const FrameReport& frame);
    // Of one sequence, in this order. Lines are with the system when a call is over.
    void beginSequence(const SequenceName& sequence, const Headers* headers, int labelWidth);
    // Each frame as it was checked, for what shows them in their own order; also in the order of the lines.
    void checkedFrame(const FrameReport& frame);
    void frame(const FrameReport& frame);
    void total(const Summary& summary);
    void held(const RemovalCount& count);
    void kept(const FrameReport& frame, const QByteArray& reason);
    void endSequence(const Summary& summary, int exitCode, bool isInterrupted);

    [[nodiscard]] bool hasPage() const { return page_.has_value(); }
    // Takes the pictures for the page out of a report. Before the frame is told, also before its sequence.
    void takePreview(const FrameName& frame, FileReport& report);
    // Those of the frame are not shown, unless it is looked at again.
    void dropPreview(const FrameName& frame);

    void progress(const RunProgress& progress) { bar_.show(progress); }
    // A line for standard error, without control characters. The page repeats it.
    void problem(const QByteArray& line);
    // The same, but the page does not repeat it.
    void note(const QByteArray& line) { writeProblem(line); }

    // Closes the JSON file and writes the page, of that time (nanoseconds since the Unix epoch); then whether all
    // was written is known.
    void close(bool isInterrupted, std::int64_t time);
    // Of standard output, the JSON file or the page, for standard error; empty as long as all was written.
    [[nodiscard]] QByteArray fault() const;
    // Whether a line or object could not be written.
    [[nodiscard]] bool hasFailed() const { return standard_.hasFailed() || (json_ && json_->hasFailed()); }
    // Whether nobody will ever read what is written to standard output.
    [[nodiscard]] bool isReaderGone() const;

private:
    [[nodiscard]] bool hasLines() const { return !settings_.listed && settings_.jsonFile != "-"; }
    void writeProblem(const QByteArray& text);
    void line(const QByteArray& text);
    void beginLines(const SequenceName& sequence, const Headers* headers, int labelWidth);
    void linesOf(const FrameReport& frame);
    [[nodiscard]] bool isToBeSaid(const FrameReport& frame);
    void info(const FrameReport& frame);
    void json(const QByteArray& text);
    void beginJson(const SequenceName& sequence);
    void jsonOf(const FrameReport& frame);

    const Settings& settings_;
    Output standard_;
    Output error_;
    std::optional<Output> file_;
    Output* json_;  // null: none
    std::optional<PageWriter> page_;
    std::vector<QByteArray> problems_;
    ProgressBar bar_;
    LineStyle style_;
    // Of a run that follows.
    QByteArray shownSequence_;            // to which the last line belongs
    bool isShownWithHeaders_ = false;     // its line says what they hold
    QHash<QByteArray, QByteArray> said_;  // by path: what was said last of the frame
    QByteArray jsonSequence_;             // the object to which the last one of a frame belongs
    QHash<QByteArray, QByteArray> told_;  // by path: a hash of the frame's last object
};

}  // namespace kxCheck
