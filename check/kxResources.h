// SPDX-License-Identifier: BSD-3-Clause
// What this process may use of the machine: the defaults of a run follow from it.
#pragma once

#include "check/kxFinding.h"

#include <QByteArray>

#include <cstdint>

namespace kxCheck {

// Processors that this process may run on, at least 1.
[[nodiscard]] int usableProcessors();

// Bytes that can be used without swapping: what the system says is available, or what the tightest of the process's
// memory groups has left, if that is less. `root` is the directory of proc/ and sys/. Without an answer the
// greatest number.
[[nodiscard]] std::int64_t freeMemory(const QByteArray& root = "/");

// Frames to check at once: decoding needs processors, the other levels wait for the share.
[[nodiscard]] int defaultJobs(Level level);

// MiB for each of `jobs` workers: three quarters of the free memory among them, between 16 and 4096.
[[nodiscard]] std::int64_t defaultMemoryLimit(int jobs, std::int64_t freeBytes = freeMemory());

}  // namespace kxCheck
