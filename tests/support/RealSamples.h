// SPDX-License-Identifier: BSD-3-Clause
// Real files of many programs, which are not part of the project.
#pragma once

#include <string>

// The folder of real sample files, ending with "/": the one that the environment's KX_EXR_SAMPLES names, or
// ../shared/exr-samples beside the checkout; empty when it is missing.
std::string realSamplesDir();
