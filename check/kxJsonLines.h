// SPDX-License-Identifier: BSD-3-Clause
// The outcome of a check for scripts: one JSON object a line, described by docs/kxCheckFrames.schema.json.
//
// Each function gives one line in UTF-8 without its end. Keys that do not apply are left out. Pure functions.
#pragma once

#include "check/kxFrameReport.h"
#include "check/kxSequenceName.h"
#include "check/kxSummary.h"

#include <QByteArray>

namespace kxCheck {

[[nodiscard]] QByteArray sequenceJson(const SequenceName& sequence);
[[nodiscard]] QByteArray frameJson(const FrameReport& frame);
// Of a removal that was not done after all.
[[nodiscard]] QByteArray keptJson(const FrameName& frame, const QByteArray& reason);
// `exitCode` is that of the sequence.
[[nodiscard]] QByteArray summaryJson(const Summary& summary, int exitCode);

}  // namespace kxCheck
