// SPDX-License-Identifier: BSD-3-Clause
// Keeps what a run writes away from the frames that it checks.
#pragma once

#include "check/kxSequenceArgument.h"

#include <QByteArray>

#include <vector>

namespace kxCheck {

// Which frame a file that is to be written would take the place of: the path of the first file of these sequences
// that is the same file, by whatever name, link or hard link. Empty when it is none of them, and when there is no
// such file yet.
//
// Of a file that is there, each directory of the sequences is listed once more, and the system is asked about the
// links in it; about other files only where the list says that they may be the one. Any thread may call it.
[[nodiscard]] QByteArray frameAt(const QByteArray& path, const std::vector<FoundSequence>& sequences);

}  // namespace kxCheck
