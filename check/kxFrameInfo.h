// SPDX-License-Identifier: BSD-3-Clause
// What is known of a frame beside its verdict, as text for people: the information lines of the farm's own record.
// Pure function.
#pragma once

#include "check/kxFrameReport.h"

#include <QByteArray>

#include <vector>

namespace kxCheck {

// Lines without their end and without control characters, none of them empty: the frame's number if it has one,
// size and channels of the picture, size and time of the file, machine and render time as far as the headers name
// them. None of a frame without a file that could be opened.
[[nodiscard]] std::vector<QByteArray> infoLines(const FrameReport& frame);

}  // namespace kxCheck
