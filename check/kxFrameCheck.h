// SPDX-License-Identifier: BSD-3-Clause
// What a worker does with one frame: looks into its file, and at its picture.
#pragma once

#include "check/kxFileReport.h"

namespace kxCheck {

// As checkFile does; and at level pixels, of a file that could be decoded whole, what its samples say. A picture
// that there is no memory for is a finding of `limit`.
FileReport checkFrame(const FileCheck& check);

}  // namespace kxCheck
