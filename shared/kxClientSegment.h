// SPDX-License-Identifier: BSD-3-Clause
// The local render client's message buffer in shared memory, see docs/client-shared-memory.md. A message put there
// is forwarded to the render-farm server.
//
// Prints nothing: what a front end shows comes as text, so that a stopped output never holds the segment's lock.
#pragma once

#include "shared/kxSharedMemory.h"

#include <QString>

// An object is used by one thread. Senders in other threads and processes use objects of their own; the segment's
// lock keeps them apart.
class kxClientSegment {
public:
    enum class Outcome { placed, bufferFull, failed };

    struct Answer {
        Outcome outcome = Outcome::failed;  // bufferFull: a client is there, but the message was dropped
        QString message;                    // what to show, whole lines with their ends; never empty
    };

    kxClientSegment();

    // Puts a "check job" message for the low byte of `job` into the buffer: attaches, checks and writes under the
    // lock, detaches. Waits for the lock as long as another process holds it; a client that is there needs a moment
    // to pick the message up.
    [[nodiscard]] Answer placeCheckJob(int job);

private:
    Answer placeInAttached(int job);
    Answer memoryFailure(const char* what) const;

    kxSharedMemory memory_;
};
