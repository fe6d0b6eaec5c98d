// SPDX-License-Identifier: BSD-3-Clause
// Pools of workers for tests.
#pragma once

#include "check/kxWorkerPool.h"
#include "tests/support/PlayedWorker.h"

#include <chrono>

inline kxCheck::PoolOptions withJobs(int jobs) {
    kxCheck::PoolOptions options;
    options.jobs = jobs;
    options.limits.memoryMiB = 1024;
    options.secondsPerFrame = 60;
    options.longSilence = std::chrono::minutes(5);  // a busy machine may leave a process waiting for long
    options.endGrace = std::chrono::minutes(1);
    return options;
}

inline void addGood(kxCheck::WorkerPool& pool, int count, kxCheck::Level level) {
    for (int i = 0; i < count; ++i) pool.add({"good " + QByteArray::number(i), level});
}
