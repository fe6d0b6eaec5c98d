// SPDX-License-Identifier: BSD-3-Clause
// What looking into a file said, as the farm's own record of a frame.
//
// Any thread may call it on a view of its own.
#pragma once

#include "check/kxFileReport.h"
#include "image/KX_DataTypes_image.h"

namespace kxCheck {

// Sets, and resets where nothing is known: time and size of the file, machine, render time, histogram, error flags
// and level; with headers also the header of the thumbnail, which is created: size of the display window, bits and
// types of the first part's channels, compression, whether its pixels have display gamma, and whether they were
// spared by a cache. Pixels and size of a thumbnail that is there stay as they are, as do number and text of the
// frame and both analyse values; the level follows those.
void fillRecord(kxCHK::_SingleImageView& view, const FileReport& file);

}  // namespace kxCheck
