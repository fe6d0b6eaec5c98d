// The least start of a program with the tool's libraries: tool_bare <file>
// creates a QCoreApplication, opens one file with the same reader and prints a line.
#include <ImfMultiPartInputFile.h>
#include <ImfThreading.h>

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    if (argc != 2) {
        std::fputs("Usage: tool_bare <file>\n", stderr);
        return 1;
    }
    const Imf::MultiPartInputFile reader(argv[1], Imf::globalThreadCount(), true);
    std::printf("1: %d parts\n", reader.parts());
    return 0;
}
