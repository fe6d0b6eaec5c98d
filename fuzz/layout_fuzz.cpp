// SPDX-License-Identifier: BSD-3-Clause
// A file's headers and chunk tables: the reader finds in any bytes what a plain reading does.
#include "check/kxFileReader.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/structureDifference.h"

#include <openexr.h>

#include <cstddef>
#include <cstdio>
#include <string>

using namespace kxCheck;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    static const MemoryFile file;
    file.fill(bytes, size);
    const QByteArray path = file.path().c_str();
    const FileReport report = checkFile({path, Level::structure});
    const std::string content(reinterpret_cast<const char*>(bytes), size);
    const std::string difference = differenceFromPlain(report, plainStructure(content, EXR_COMPRESSION_LAST_TYPE));
    if (!difference.empty()) std::fprintf(stderr, "difference: %s\n", difference.c_str());
    require(difference.empty());
    const FileReport headers = checkFile({path, Level::headers});
    require(headers.findings.empty() || headers.findings.front().text == report.findings.front().text);
    return 0;
}
