// SPDX-License-Identifier: BSD-3-Clause
// The library kxWatchedCalls is preloaded into a program and sees its calls of the file system by what they do,
// whichever entry of the C library they take: fopen, open64 and openat all open a file. It counts calls and makes
// them slower (callCounts.cpp) and lets them fail (callFaults.cpp), as its environment asks for.
#pragma once

#include <string>

#include <dlfcn.h>

enum class FileCall { Opendir, Readdir, Open, Read, Stat, Lstat, Fstat, Unlink, Close };

// Counts the call, and waits where calls are to be slow. Any thread, until the very end of the process.
void countCall(FileCall call);
// Adds what a read has given, -1 where it failed. Any thread.
void countReadBytes(long count);

// True where some calls are to fail; otherwise nobody needs the paths of all.
[[nodiscard]] bool anyFaults();
// True with errno set when this call must fail. What must happen to the file before the call has happened then.
[[nodiscard]] bool callFails(FileCall call, const std::string& path);

// The C library's own function, which is not watched.
template <class Function>
Function original(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}
