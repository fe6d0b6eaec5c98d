// SPDX-License-Identifier: BSD-3-Clause
// Where a worker may change files: nowhere, or below one directory. A rule of the kernel (Landlock).
#pragma once

#include <QByteArray>

namespace kxCheck {

// From now on, and for good, the calling thread makes, writes, renames and removes files below `directory` only;
// nowhere with an empty one, and where there is no such directory. Programs can't be run. Reading is as before, and
// so is what was opened before.
//
// False, with nothing changed, where the kernel has no such rules (before 5.13, or left out) or refuses them.
[[nodiscard]] bool limitWriting(const QByteArray& directory);

}  // namespace kxCheck
