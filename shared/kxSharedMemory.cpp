// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxSharedMemory.h"

#include "shared/kxSystemCall.h"

#include <QSharedMemory>

#include <algorithm>
#include <climits>
#include <ctime>

kxSharedMemory::kxSharedMemory(const _kxString8_allSize<250>& name)
    : segment_(std::make_unique<QSharedMemory>(name.toQString())) {}

kxSharedMemory::~kxSharedMemory() {
    detach();
}

bool kxSharedMemory::attach() {
    return segment_->attach();
}

int kxSharedMemory::size() const {
    return static_cast<int>(std::min<qsizetype>(segment_->size(), INT_MAX));
}

void* kxSharedMemory::data() {
    return segment_->data();
}

bool kxSharedMemory::lock() {
    return segment_->lock();
}

bool kxSharedMemory::unlock() {
    return segment_->unlock();
}

bool kxSharedMemory::detach() {
    // Detaching takes the lock itself, and warns on standard error when this process holds it already.
    segment_->unlock();
    return segment_->detach();
}

QString kxSharedMemory::errorString() const {
    return segment_->errorString();
}

void kxSleep(int milliseconds) {
    if (milliseconds <= 0) return;
    timespec remaining{milliseconds / 1000, milliseconds % 1000 * 1000000L};
    // An interrupted sleep goes on with what remains of it.
    static_cast<void>(kxRetryInterrupted(-1, [&remaining] { return nanosleep(&remaining, &remaining); }));
}
