// SPDX-License-Identifier: BSD-3-Clause
// Looks into one file: what its headers say, and what is wrong with it as a file, down to each chunk.
//
// A file's own damage never ends the call; the EXR library may still die on a hostile one at level pixels, or
// allocate as much as is there: whoever checks files of strangers runs this in a process of its own, with a limit.
// Calls in several threads at once don't disturb each other. Nothing is printed.
#pragma once

#include "check/kxChunkSink.h"
#include "check/kxFileReport.h"
#include "check/kxKnownHeaders.h"

namespace kxCheck {

// The file is read through one descriptor, once more when it changed meanwhile. `sink` is given every chunk that
// can be decoded at level pixels; null: nobody wants them. `known`, where there is one, spares headers that were
// read before, and learns those of this file.
//
// One of these findings stands alone and says that the rest is unknown: missing, unreadable, unsupported, changing,
// limit. Whether what is `truncated` is only unfinished yet is for those to say who know how old a file may be.
FileReport checkFile(const FileCheck& check, ChunkSink* sink = nullptr, KnownHeaders* known = nullptr);

}  // namespace kxCheck
