// SPDX-License-Identifier: BSD-3-Clause
// Whether the file of a frame is whole and can be decoded, by exit code.
#include "check/kxFrameCheck.h"

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    kxCheck::FileCheck check;
    check.path = argv[1];
    const kxCheck::FileReport report = kxCheck::checkFrame(check);
    return report.decoded && report.findings.empty() ? 0 : 1;
}
