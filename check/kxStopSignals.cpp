// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxStopSignals.h"

#include <cerrno>
#include <csignal>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

namespace kxCheck {

namespace {

constexpr int stopping[] = {SIGINT, SIGTERM};

volatile std::sig_atomic_t firstSignal = 0;
volatile std::sig_atomic_t firstTime = 0;
volatile std::sig_atomic_t wakeDescriptor = -1;

// Signals often come twice at once: to the process, and to its group.
constexpr int secondsOfPatience = 1;

// Whole seconds are enough, and fit into what a handler may write.
std::sig_atomic_t monotonicSeconds() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::sig_atomic_t>(time.tv_sec);
}

void noteSignal(int number) {
    const int error = errno;
    if (firstSignal == 0) {
        firstSignal = number;
        firstTime = monotonicSeconds();
    } else if (monotonicSeconds() - firstTime > secondsOfPatience) {
        std::signal(number, SIG_DFL);
        std::raise(number);
    }
    const ssize_t written = write(static_cast<int>(wakeDescriptor), "", 1);
    static_cast<void>(written);  // a full pipe is readable too
    errno = error;
}

void handle(int number) {
    struct sigaction before = {};
    if (sigaction(number, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) return;
    struct sigaction action = {};
    action.sa_handler = noteSignal;
    sigaction(number, &action, nullptr);
}

void stopHandling(int number) {
    struct sigaction current = {};
    if (sigaction(number, nullptr, &current) == 0 && current.sa_handler == noteSignal) std::signal(number, SIG_DFL);
}

}  // namespace

StopSignals::StopSignals() {
    if (pipe2(ends_, O_CLOEXEC | O_NONBLOCK) != 0) ends_[0] = ends_[1] = -1;
    wakeDescriptor = ends_[1];
    firstSignal = 0;
    for (const int number : stopping) handle(number);
}

StopSignals::~StopSignals() {
    for (const int number : stopping) stopHandling(number);
    for (const int end : ends_)
        if (end >= 0) close(end);
}

int StopSignals::received() const {
    return static_cast<int>(firstSignal);
}

}  // namespace kxCheck
