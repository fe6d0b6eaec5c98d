// SPDX-License-Identifier: BSD-3-Clause
// The tool as a process on a directory of the test's own.
#pragma once

#include "examples/SampleFrames.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// All that is printed before the first word about a sequence.
extern const std::string toolBanner;
extern const std::string toolUsage;

// The line of a plain frame (64 x 36, ZIP, four half channels) after its frame prefix, without line end.
extern const std::string plainFrame;
// What a frame without readable file gives after its prefix, without line end.
extern const std::string unreadable;

class ToolTest : public ::testing::Test {
protected:
    // Write a frame of this kind; a plain one by default.
    void frame(const std::string& name, const SamplePart& part = SamplePart());
    void frame(const std::string& name, const std::vector<SamplePart>& parts);
    void frames(const std::vector<std::string>& names);
    void bytes(const std::string& name, const std::string& content);

    // Runs the tool with these arguments.
    ProcessResult tool(const std::vector<std::string>& arguments, const ProcessOptions& options = {}) const;
    // Runs it with the file name `name` of the directory followed by `options`; expects exit code 0, an empty error
    // stream and the banner, and gives what comes after it.
    std::string verify(const std::string& name, const std::vector<std::string>& options = {}) const;
    // The same when nothing is found: gives the error stream, with the directory written as "DIR/".
    std::string errorsOf(const std::string& name, const std::vector<std::string>& options = {}) const;

    TempDir dir;
};

// "Found Sequence <range>\n", the lines, and the empty line at the end.
std::string foundSequence(const std::string& range, const std::vector<std::string>& lines);

// The path of the tool under test.
std::string toolPath();
