// A named shared-memory segment with an inter-process lock, made by another process.
#pragma once

#include "shared/kxString.h"

#include <memory>

class QSharedMemory;

// Attaches to an existing segment; never creates one. The name is a key of QtCore's shared memory. The lock is
// undone by the kernel when its holder dies. Destruction unlocks and detaches.
class kxSharedMemory {
public:
    explicit kxSharedMemory(const _kxString8_allSize<250>& name);
    ~kxSharedMemory();
    kxSharedMemory(const kxSharedMemory&) = delete;
    kxSharedMemory& operator=(const kxSharedMemory&) = delete;

    bool attach();
    // Bytes of the segment; 0 when not attached.
    int size() const;
    // The segment's first byte; null when not attached.
    void* data();
    bool lock();
    bool unlock();
    bool detach();
    // The text of the last failure.
    QString errorString() const;

private:
    std::unique_ptr<QSharedMemory> segment_;
};

// Sleeps at least `milliseconds`, signals notwithstanding; 0 and less return at once.
void kxSleep(int milliseconds);
