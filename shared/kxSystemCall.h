// SPDX-License-Identifier: BSD-3-Clause
// How calls to the system are made: repeated while a signal interrupts them, their failures told in English.
//
// Both functions may run in several threads at once.
#pragma once

#include <QString>

#include <cerrno>

// What `call` returns; repeated as long as it returns `failed` because of a signal, as happens on network file
// systems. errno is 0 when the call failed without a reason (readdir at the end of a directory). Every call that
// can be interrupted is made through it, but for close: an interrupted close has closed.
//
//   const int file = kxRetryInterrupted(-1, [&] { return open(path, O_RDONLY); });
template <class Result, class Call>
[[nodiscard]] Result kxRetryInterrupted(Result failed, Call call) {
    for (;;) {
        errno = 0;
        const Result result = call();
        if (result != failed || errno != EINTR) return result;
    }
}

// The system's reason for an errno value, in English whatever the locale of the process: "Permission denied" for
// EACCES.
[[nodiscard]] QString kxSystemErrorText(int errorNumber);
