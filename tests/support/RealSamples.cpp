// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/RealSamples.h"

#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

std::string realSamplesDir() {
    const char* const named = std::getenv("KX_EXR_SAMPLES");
    const fs::path dir = named ? fs::path(named) : fs::path(KX_SOURCE_DIR).parent_path() / "shared" / "exr-samples";
    return fs::is_directory(dir) ? dir.string() + "/" : std::string();
}
