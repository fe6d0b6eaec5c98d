// SPDX-License-Identifier: BSD-3-Clause
// The parts of a file and its findings as JSON values. Pure functions.
#pragma once

#include "check/kxFileReport.h"
#include "check/kxFinding.h"

#include <QJsonArray>
#include <QJsonObject>

namespace kxCheck {

[[nodiscard]] QJsonObject findingObject(const Finding& finding);
// One object a part; empty without headers. Counts of chunks stand where they are known.
[[nodiscard]] QJsonArray partObjects(const FileReport& file);

}  // namespace kxCheck
