// SPDX-License-Identifier: BSD-3-Clause
// Prints the extension of a frame's path.
#include "image/KX_DataTypes_imageList.h"

#include <cstdio>
#include <memory>

int main(int argc, char** argv) {
    const auto sequence = std::make_unique<_kxViewSequence>();
    if (argc != 2 || !sequence->imageDirFileFromString(QString::fromLatin1(argv[1]))) return 1;
    std::puts(sequence->extension.toLatin1().constData());
    return 0;
}
