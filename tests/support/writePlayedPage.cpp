// SPDX-License-Identifier: BSD-3-Clause
// Writes the page of a played sequence, to be looked at in a browser: writePlayedPage FRAMES none|some|all FILE
#include "tests/support/PlayedPage.h"

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const std::string word = argv[2];
    const PlayedDamage damage = word == "none"  ? PlayedDamage::none
                                : word == "all" ? PlayedDamage::all
                                                : PlayedDamage::some;
    const QByteArray fault = writePlayedPage(argv[3], static_cast<int>(std::strtol(argv[1], nullptr, 10)), damage);
    if (!fault.isEmpty()) std::fprintf(stderr, "%s\n", fault.constData());
    return fault.isEmpty() ? 0 : 1;
}
