// Reads the pixels of an EXR frame into a float buffer. For the examples, tests and benchmarks.
#pragma once

#include "shared/kxImageBuffer.h"

#include <memory>
#include <string>

// The channels R, G, B and A of a file's first part within its data window, with the buffer's header filled; a
// missing colour channel is 0, a missing A is 1. Throws what the EXR library throws, also for more than 2^28
// pixels.
std::unique_ptr<kxP::_imgRGBABufferf> readFrame(const std::string& path);
