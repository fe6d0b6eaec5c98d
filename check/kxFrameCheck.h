// SPDX-License-Identifier: BSD-3-Clause
// What a worker does with one frame: looks into its file, and at its picture.
#pragma once

#include "check/kxFileReport.h"
#include "check/kxKnownHeaders.h"

namespace kxCheck {

// As checkFile does; and at level pixels, of a file that could be decoded whole, what its samples say. A picture
// that there is no memory for is a finding of `limit`.
//
// With a cache file a sound file is not decoded whose entry there says what its samples do; at level structure none
// is decoded, and nothing is written: a file without entry is then as one that is checked without cache. `known` is
// as for checkFile.
FileReport checkFrame(const FileCheck& check, KnownHeaders* known = nullptr);

// One frame after another, with the headers of those before it in mind. One thread at a time.
class FrameChecker {
public:
    FileReport operator()(const FileCheck& check) { return checkFrame(check, &known_); }

private:
    KnownHeaders known_;
};

}  // namespace kxCheck
