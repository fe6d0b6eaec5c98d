// SPDX-License-Identifier: BSD-3-Clause
// A named shared-memory segment with an inter-process lock, made by another process.
#pragma once

#include "shared/kxString.h"

#include <memory>

class QSharedMemory;

// Attaches to an existing segment; never creates one. The name is a key of QtCore's shared memory: sender and maker
// find each other when both see the same directory for temporary files. The kernel undoes the lock of a holder that
// dies, so a killed process never blocks the others; one that is stopped while it holds the lock does.
//
// An object is used by one thread. Destruction unlocks and detaches.
class kxSharedMemory {
public:
    explicit kxSharedMemory(const _kxString8_allSize<250>& name);
    ~kxSharedMemory();
    kxSharedMemory(const kxSharedMemory&) = delete;
    kxSharedMemory& operator=(const kxSharedMemory&) = delete;

    // False when no process has made the segment, or it may not be read and written.
    [[nodiscard]] bool attach();
    // Bytes of the segment; 0 when not attached.
    int size() const;
    // The segment's first byte; null when not attached.
    void* data();
    // Waits until no other process or object holds the lock. Call it on an attached segment, and not twice.
    [[nodiscard]] bool lock();
    // False when this object does not hold the lock.
    bool unlock();
    // Unlocks first when the lock is held. False when not attached.
    bool detach();
    // The text of the last failure.
    QString errorString() const;

private:
    std::unique_ptr<QSharedMemory> segment_;
};

// Sleeps at least `milliseconds`, signals notwithstanding; 0 and less return at once.
void kxSleep(int milliseconds);
