// SPDX-License-Identifier: BSD-3-Clause
// A worker: a process forked from the run that checks frames one after the other and reports each as it is done.
//
// Files are hostile, and the EXR library is not trusted with them: what goes wrong in a worker stays there. It has
// a limit of memory, leaves no core file, holds no descriptor but its socket (standard streams are /dev/null), and
// ends with the process that started it, whatever ends that one. A terminal's interrupts are the run's business:
// SIGINT, SIGQUIT, SIGTERM and SIGHUP do not end it. As far as the kernel and the build go, it opens files for
// reading only, has at most 32 of them open, and starts no threads, processes, programs or connections: a check
// function that tries is told that there is no such call.
//
// In builds with a sanitizer memory is not limited and the error stream stays; there and under valgrind a worker
// may do what its run may do.
//
// Start workers from a process with one thread only.
#pragma once

#include "check/kxFileReport.h"

#include <QByteArray>

#include <chrono>
#include <cstdint>
#include <functional>

#include <sys/types.h>

namespace kxCheck {

// Looks into one file. Called in the worker; what it throws ends the worker, which costs that frame.
using CheckFunction = std::function<FileReport(const FileCheck&)>;

struct Worker {
    pid_t process = -1;
    int socket = -1;  // non-blocking stream of messages; at its end the worker goes
};

struct WorkerLimits {
    std::int64_t memoryMiB = 0;         // beyond what the process has mapped when it is started; 0: no limit
    QByteArray writableDirectory = {};  // where it may make and replace files, the only place; empty: nowhere
};

// 0, or the system's error number when there is no process or no descriptor to be had; `worker` is set on success.
// The caller closes the socket and reaps the process.
[[nodiscard]] int startWorker(const CheckFunction& check, const WorkerLimits& limits, Worker& worker);

// Why a worker ended, from its wait status, as an end of "the reader ...": "was killed by signal 11 (SEGV)".
QByteArray workerEndText(int waitStatus, const WorkerLimits& limits);

// True when the process is gone, with its status, or was never ours to wait for (status 0). It is reaped then.
[[nodiscard]] bool isWorkerGone(pid_t process, int& waitStatus);
// The same, for as long as `most`.
[[nodiscard]] bool isWorkerGoneWithin(pid_t process, int& waitStatus, std::chrono::milliseconds most);

}  // namespace kxCheck
