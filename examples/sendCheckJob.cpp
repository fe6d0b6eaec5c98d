// SPDX-License-Identifier: BSD-3-Clause
// Asks the render-farm server, through the local client, to check a job: sendCheckJob <job>
// docs/client-shared-memory.md shows how to try it without a client.
#include "tool/main.h"

#include <cstdio>

int main(int argc, char** argv) {
    bool isNumber = false;
    int job = argc == 2 ? QString::fromLatin1(argv[1]).toInt(&isNumber) : 0;
    if (!isNumber) {
        std::fputs("usage: sendCheckJob <job number>\n", stderr);
        return 1;
    }
    sendClientCheckJob(job);
    return 0;
}
