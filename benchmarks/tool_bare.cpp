// SPDX-License-Identifier: BSD-3-Clause
// The least that a program with the tool's libraries does: tool_bare <file> ...
// creates a QCoreApplication, opens each file with the same reader and prints a line.
#include <ImfMultiPartInputFile.h>
#include <ImfThreading.h>
#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    for (int i = 1; i < argc; ++i) {
        const Imf::MultiPartInputFile reader(argv[i], Imf::globalThreadCount(), true);
        std::printf("%d: %d parts\n", i, reader.parts());
    }
    return 0;
}
