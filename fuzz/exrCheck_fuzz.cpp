// SPDX-License-Identifier: BSD-3-Clause
// The whole check of a file's bytes, in every mode but deletion.
#include "fuzz/FuzzInput.h"
#include "tool/main.h"

#include <cstddef>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    static const bool discarded = (discardOutput(), true);
    static const MemoryFile file;
    require(discarded);
    file.fill(bytes, size);
    const QString path = QString::fromLatin1(file.path().c_str());
    testExr(path, true, true, true, false, true);
    testExr(path, false, false, false, false, false);
    return 0;
}
