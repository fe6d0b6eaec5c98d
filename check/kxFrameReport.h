// SPDX-License-Identifier: BSD-3-Clause
// All that is known about one frame of a sequence: which it is, what its file says, and what follows from both.
//
// A reader fills `file`; judging adds the findings that follow from the other frames and from what was asked for,
// and decides verdict and level; what is printed, removed and counted is read from here. Values only; each thread
// may use its own.
#pragma once

#include "check/kxFileReport.h"
#include "check/kxFinding.h"

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <vector>

namespace kxCheck {

// Which frame it is.
struct FrameName {
    std::optional<std::int64_t> number;  // none: a single file, or a number that is too long
    QByteArray text;                     // the number as in the file's name, "0042"; empty without one
    std::optional<int> tile;             // of a sequence with tile markers, from 0
    QByteArray path;                     // bytes, as given to the system; also of a missing frame
};

// In the order of the summary.
enum class Verdict { good, suspicious, bad, missing, unknown };
constexpr std::size_t verdictCount = 5;

// "good", "suspicious", "bad", "missing", "unknown".
const char* verdictName(Verdict verdict);
// The verdict of that name, in exact spelling.
std::optional<Verdict> verdictFromName(const QByteArray& name);

// What is about to be done with a frame's file.
enum class Action { none, remove, move };

// "delete", "move"; null for none.
const char* actionName(Action action);

struct FrameReport {
    FrameName name;
    FileReport file;                // of a missing frame as it is made
    std::vector<Finding> findings;  // all, judged: those that decide the verdict first; at most mostFindings
    Verdict verdict = Verdict::good;
    int level = 0;        // how conspicuous, 0 to 3
    double sizeJump = 0;  // analyseValue2: how unlike both neighbours the file's size is; 0 without two neighbours
    double jump = 0;      // analyseValue1: the same of the picture
    bool hasSizeJump = false;  // it is no 0 for want of neighbours
    bool hasJump = false;
    Action action = Action::none;
};

// Missing before unknown, unknown before bad, bad before suspicious; good without findings.
[[nodiscard]] Verdict verdictOf(const std::vector<Finding>& findings);

// 3: bad or missing. 2: missing alpha, or a jump of more than 4. 1: another warning, or unknown. 0: good. A value
// that has no finding, because that was ignored, raises nothing.
[[nodiscard]] int levelOf(const std::vector<Finding>& findings, double sizeJump, double jump);

// Puts the findings in the order of a report: those without severity, errors, warnings, each in the order of the
// codes, otherwise as they were. Of more than mostFindings, one of each code stays at least, and the last one then
// stands for the rest ("7 more findings", also its count). May be applied again after findings were added or taken
// out.
void arrangeFindings(std::vector<Finding>& findings);

// Such a last one, for `count` others (at least 1) of which one has this code; it has the code's usual severity.
[[nodiscard]] Finding findingForOthers(Code code, std::int64_t count);
[[nodiscard]] bool standsForOthers(const Finding& finding);

}  // namespace kxCheck
