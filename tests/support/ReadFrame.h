// SPDX-License-Identifier: BSD-3-Clause
// Reads the pixels of an EXR frame into a float buffer. For the tests and benchmarks.
#pragma once

#include "shared/kxImageBuffer.h"

#include <memory>
#include <string>

// The channels R, G, B and A of a file's first part within its data window, with the buffer's header filled; a
// missing colour channel is 0, a missing A is 1. Throws what the EXR library throws, and std::runtime_error for
// more than 2^28 pixels (4 GiB) and where memory for the pixels is short.
std::unique_ptr<kxP::_imgRGBABufferf> readFrame(const std::string& path);
