// SPDX-License-Identifier: BSD-3-Clause
// All that a worker does with a frame, the EXR library included. What the library itself does to the process is for
// scripts/fuzz to tell apart.
#include "check/kxFrameCheck.h"
#include "check/kxWorkerMessage.h"
#include "fuzz/FuzzInput.h"

#include <cstddef>

using namespace kxCheck;

namespace {

bool hasNothingToSay(const FileReport& report) {
    return report.findings.empty();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    static const MemoryFile file;
    file.fill(bytes, size);
    FileCheck check{file.path().c_str(), Level::pixels};
    check.wantsPreview = true;
    const FileReport report = checkFrame(check);
    require(hasNothingToSay(report) == report.decoded && (!report.decoded || report.picture));
    HeaderStore headers;
    require(ReportDecoder(headers).decode(ReportEncoder().encode(report)).has_value());
    const FileReport structure = checkFrame({check.path, Level::structure});
    require(hasNothingToSay(structure) || !hasNothingToSay(report));
    return 0;
}
