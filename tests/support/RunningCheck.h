// SPDX-License-Identifier: BSD-3-Clause
// A program that runs beside the test, which reads its lines one by one.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

class RunningCheck {
public:
    // `arguments[0]` is the program's path. One that is held back gets no further than some lines ahead of what was
    // read, as far as the system allows that; standard error is thrown away.
    RunningCheck(const std::vector<std::string>& arguments, const std::string& directory, bool isHeldBack = false);
    // Kills it.
    ~RunningCheck();
    RunningCheck(const RunningCheck&) = delete;
    RunningCheck& operator=(const RunningCheck&) = delete;

    // Reads on until so many lines have come, or one that begins with this text; false when the output ended
    // before.
    bool readLines(std::size_t count);
    bool readToLine(const std::string& start);
    // What was read.
    [[nodiscard]] const std::string& output() const { return output_; }
    // And what the program has written beyond that.
    [[nodiscard]] std::string outputSoFar() const;

    void kill() const;
    // Reads the rest and waits for the end: the exit code, or 128 and the signal.
    int finish();

private:
    bool readByte();

    pid_t process_ = -1;
    int socket_ = -1;
    std::string output_;
};
