// SPDX-License-Identifier: BSD-3-Clause
// Which files of a directory make up a sequence, by their names alone, in exact letter case.
//
// Names are bytes. Pure functions over values; any thread may call them.
#pragma once

#include "image/kxFramePath.h"

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <vector>

namespace kxCheck {

// How the files of a sequence are called: prefix, tile marker, frame number, suffix.
struct FileSequence {
    QByteArray prefix;  // of a single file its whole name
    QByteArray suffix;
    kxFrames::TileMarker tile = kxFrames::TileMarker::none;
    bool isSingle = false;  // one file, without frame number
};

bool operator==(const FileSequence& a, const FileSequence& b);
// In byte order of prefix and suffix.
bool operator<(const FileSequence& a, const FileSequence& b);

// One file of a sequence.
struct FrameFile {
    std::optional<std::int64_t> number;  // none: of more than longestFrameText characters, or of a single file
    QByteArray text;                     // the number as in the name, with its sign; empty of a single file
    std::optional<int> tile;
    QByteArray name;
};

// By number and tile, then by the length of the text; those without a number come last.
bool operator<(const FrameFile& a, const FrameFile& b);

// The file name with "####" for the frame number, and "##" for that of the tile; of a single file its own.
QByteArray shownName(const FileSequence& sequence);
// The file name of one frame; of a single file its own.
QByteArray frameFileName(const FileSequence& sequence, std::optional<int> tile, const QByteArray& text);

// The sequence that a file of this name belongs to: its last group of digits before the last "." is the number,
// with a "-" that stands behind ".", "_" or nothing as its sign. A name without one is a single file's.
//   beauty.0042.exr  beauty.-0042.exr  beauty_tile03_.0042.exr
//   beauty.   .exr   beauty.     .exr  beauty      .exr  tiled
FileSequence sequenceOfFile(const QByteArray& name);

// The sequence that a name with the frame number written "*", "#", "%04d", "$F4" or "@@" means, however many digits
// that asks for; in the order in which they are to be tried (what looks like a tile marker may be none). Empty when
// the name has no such sign, or nothing behind it: frames have an extension.
std::vector<FileSequence> sequencesOfPattern(const QByteArray& name);

// What a name is in a sequence with this prefix and suffix; nothing for other names and single files.
struct NameInSequence {
    QByteArray lead;  // ".", "_" or "-" between prefix and number; always empty in tiles
    FrameFile file;
};
std::optional<NameInSequence> readFrameFile(const QByteArray& name, const FileSequence& sequence);

}  // namespace kxCheck
