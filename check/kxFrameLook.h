// SPDX-License-Identifier: BSD-3-Clause
// How the file of a frame is looked at first and a second time, and what of the first look stays.
//
// Pure functions over values; any thread may call them.
#pragma once

#include "check/kxCheckSettings.h"
#include "check/kxFileReport.h"
#include "check/kxFrameReport.h"

#include <QByteArray>

namespace kxCheck {

// What a cache holds spares pixels only.
[[nodiscard]] bool usesCache(const Settings& settings);

// A look at that level, which keeps nothing in a cache and wants no preview. Above level headers the frame's entry
// is looked for in `cacheFolder`, unless that is empty.
[[nodiscard]] FileCheck lookAt(const FrameName& frame, Level level, const QByteArray& cacheFolder);

// What a worker was lost on once is not tried again.
[[nodiscard]] bool isLimited(const FileReport& file);

// To the report of a second look that was limited: a reader that was lost, or lacked room, takes nothing away from
// what the first look knows of the same file.
void addKnown(FileReport& second, FileReport first);

}  // namespace kxCheck
