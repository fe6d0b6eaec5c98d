// SPDX-License-Identifier: BSD-3-Clause
// Runs the tool where the system fails it.
#pragma once

#include "tests/support/ToolTest.h"

#include <map>
#include <string>
#include <vector>

// A fault of a file-system call, see callFaults.cpp.
struct Fault {
    std::string call;
    std::string name;
    std::string fault;
    int skip = 0;
    int times = 0;
};

// What of a file no run may change: its bytes, kind, permissions and times. Reading changes none of them.
using Snapshot = std::map<std::string, std::string>;
// All entries of a directory; nothing below it, no link followed.
Snapshot snapshotOf(const std::string& directory);

// Four frames: 1 and 4 are multi-layer, 2 and 3 fail that mode.
class FaultTest : public ToolTest {
protected:
    void SetUp() override;

    // The directory's first frame with -requireMultiLayer -del.
    std::vector<std::string> deletingArguments() const;
    // Runs the tool with these arguments, with deletingArguments() by default, under faults. Every fault named must
    // have struck. Gives the output after the banner; expects exit code 0 and no errors.
    std::string runUnder(const std::vector<Fault>& faults) const;
    ProcessResult runUnder(const std::vector<Fault>& faults, const std::vector<std::string>& arguments) const;
    // Writes all frames and runs the tool with deletingArguments() under a fault of the second one: its line must
    // be "0002: " and lines[0], after it must come the other `lines` and the rest of an undisturbed run, and these
    // files must be left.
    void expectSecondFrame(const Fault& fault, const std::vector<std::string>& lines,
                           const std::vector<std::string>& left);
    // Runs bash on `script`, in which "$@" is the tool with deletingArguments(), $dir the directory without its
    // final "/".
    ProcessResult runScript(const std::string& script) const;
    // The same in a mount namespace of its own, so that $dir can be mounted upon.
    ProcessResult runScriptWithMounts(const std::string& script) const;
    // False where this user or system allows no mounts.
    static bool canMount();

    const std::string layers = "  imagesize: 64x36 scanline  Zip-16line    5 channels ";
    const std::string deleted = plainFrame + "   => DELETE";
    // Of an undisturbed run with deletingArguments().
    const std::string undisturbed =
        foundSequence("1-4, 1", {"0001: " + layers, "0002: " + deleted, "0003: " + deleted, "0004: " + layers});
    const std::vector<std::string> all{"shot.0001.exr", "shot.0002.exr", "shot.0003.exr", "shot.0004.exr"};
    const std::vector<std::string> passing{"shot.0001.exr", "shot.0004.exr"};
    const std::string second = "shot.0002.exr";
    const std::vector<std::string> passingAndSecond{"shot.0001.exr", "shot.0002.exr", "shot.0004.exr"};
};
