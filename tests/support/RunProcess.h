// SPDX-License-Identifier: BSD-3-Clause
// Runs a program to its end and keeps all that it wrote.
#pragma once

#include <string>
#include <vector>

struct ProcessResult {
    int exitCode = -1;  // of a normal end, otherwise -1
    int signal = 0;     // that ended it, otherwise 0
    std::string out;
    std::string err;
    long peakMemory = 0;  // KiB that were resident at most
};

struct ProcessOptions {
    std::string workingDirectory;          // empty: the test's own
    std::vector<std::string> environment;  // "NAME=value", added to the test's own
    std::string preload;                   // a library to load before all others
    int stdoutFd = -1;                     // takes the place of the captured standard output
    unsigned userId = 0;                   // not 0: run as this user (needs root)
    int secondsToLive = 240;               // then it is killed (signal 9)
};

// `arguments[0]` is the program's path; bytes are passed as they are. Standard input is empty.
ProcessResult runProcess(const std::vector<std::string>& arguments, const ProcessOptions& options = {});
