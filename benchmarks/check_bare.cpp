// SPDX-License-Identifier: BSD-3-Clause
// What kxCheckFrames is compared with at each level: check_bare headers|structure|pixels <file>...
//
// Opens each file with the C core of the EXR library alone; asks for one chunk, which reads the chunk table; or
// reads, decompresses and unpacks all chunks into planes. One thread, no output.
#include "benchmarks/BareFile.h"

#include <cstring>

int main(int argc, char** argv) {
    require(argc > 2, "Usage: check_bare headers|structure|pixels <file>...");
    for (int i = 2; i < argc; ++i) {
        BareFile file(argv[i]);
        if (std::strcmp(argv[1], "structure") == 0) file.askForOneChunk();
        if (std::strcmp(argv[1], "pixels") == 0) file.decodeAll();
    }
    return 0;
}
