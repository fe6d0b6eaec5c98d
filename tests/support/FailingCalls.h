// SPDX-License-Identifier: BSD-3-Clause
// Calls of the system and of zlib that fail, or do less than asked, when a test says so. For programs that are
// added with kx_let_calls_fail() in CMake: the linker leads the calls of everything in them through
// FailingCalls.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// One function of the system.
struct Call {
    int calls = 0;
    int goodFirst = 0;                 // calls that go through before the first failure
    int failures = 0;                  // that many of the next calls fail
    int errorNumber = 0;               // with this reason
    std::function<void()> before;      // happens right before the next call
    std::function<void()> afterwards;  // of linkat alone: right after the next one that went through

    // Counts the call; true when it must fail, errno is set then.
    bool fails();
    void failWith(int error, int times = 1, int after = 0);
};

struct System {
    Call opendir, readdir, fstatat, lstat, unlink;
    Call openat, read, write, fsync, close, renameat, fstat;
    Call renameat2, linkat, unlinkat;
    Call fork, socketpair;
    Call deflateInit, inflateInit;  // for want of memory

    bool hidesKinds = false;     // directory entries come without their kind
    bool directoriesGo = false;  // unlink takes directories too, as on some systems
    int unlinkedDirectories = 0;

    std::size_t largestTransfer = SIZE_MAX;  // bytes that one read or write moves
    std::vector<std::string> created;        // names given to openat
    int createFlags = 0;                     // of the last openat
};

// Everything works and counts from 0 after `theSystem = System()`.
extern System theSystem;
