// SPDX-License-Identifier: BSD-3-Clause
// kxCheckFrames as a process on a directory of the test's own.
#pragma once

#include "examples/SampleFrames.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

class CheckTest : public ::testing::Test {
protected:
    // A picture that nothing is wrong with; others look much alike.
    static SamplePart soundPart(int number = 0);
    // Write a file that was changed an hour ago: a sound frame, or these bytes.
    void frame(const std::string& name, const SamplePart& part = soundPart());
    void frames(const std::string& prefix, int first, int last);
    void bytes(const std::string& name, const std::string& content);
    // Cuts the file to so many bytes; it stays as old as the others.
    void cut(const std::string& name, std::size_t size);
    void makeOld(const std::string& name) const;
    void makeYoung(const std::string& name) const;

    // beauty.1001 to 1010: 1003 is missing, 1004 cut within its chunks, 1005 has a channel more than the others,
    // 1006 is no EXR file, 1008 a link that leads nowhere; the others are good.
    void mixedSequence();

    // Frames 1 to `count`, with everything in them that can be found in pictures, headers and files; some are
    // missing.
    void randomSequence(const std::string& prefix, int count, std::mt19937& random);

    // Runs the program in the directory.
    ProcessResult check(const std::vector<std::string>& arguments, const ProcessOptions& options = {}) const;
    // The same, the outcome as one text: standard output, then "2> " and a line of standard error for each, then
    // "exit N" or "signal N". Seconds are written "N s", the directory "DIR/".
    std::string outcome(const std::vector<std::string>& arguments, const ProcessOptions& options = {}) const;
    static std::string described(const ProcessResult& result);

    TempDir dir;
};

// The path of the program under test.
std::string checkPath();
// The time at the end of every total as "N s".
std::string withoutSeconds(const std::string& text);
