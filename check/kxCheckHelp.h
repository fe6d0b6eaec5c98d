// SPDX-License-Identifier: BSD-3-Clause
// What kxCheckFrames says about itself. Lines with their ends; any thread may call.
#pragma once

#include <QByteArray>

namespace kxCheck {

// Usage and options, in lines of at most 80 characters.
QByteArray helpText();
// The program's version, and those of the libraries at run time.
QByteArray versionText();

}  // namespace kxCheck
