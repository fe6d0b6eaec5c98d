// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxStopSignals.h"

#include <gtest/gtest.h>

#include <csignal>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

using kxCheck::StopSignals;

namespace {

bool isReadable(int descriptor) {
    pollfd polled = {descriptor, POLLIN, 0};
    return poll(&polled, 1, 0) == 1;
}

bool isDefault(int number) {
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_DFL;
}

}  // namespace

TEST(StopSignals, TellTheFirstOne) {
    const StopSignals signals;
    EXPECT_EQ(signals.received(), 0);
    EXPECT_FALSE(isReadable(signals.descriptor()));
    raise(SIGTERM);
    raise(SIGINT);
    EXPECT_EQ(signals.received(), SIGTERM);
    EXPECT_TRUE(isReadable(signals.descriptor()));
    EXPECT_TRUE(isReadable(signals.descriptor())) << "it stays so";
}

TEST(StopSignals, EndTheProcessWhenTheyComeAgainLater) {
    const pid_t child = fork();
    if (child == 0) {
        const StopSignals signals;
        raise(SIGINT);
        raise(SIGINT);
        sleep(3);
        raise(SIGINT);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGINT);
}

TEST(StopSignals, LeaveIgnoredOnesIgnored) {
    std::signal(SIGINT, SIG_IGN);
    {
        const StopSignals signals;
        raise(SIGINT);
        EXPECT_EQ(signals.received(), 0);
    }
    EXPECT_EQ(std::signal(SIGINT, SIG_DFL), SIG_IGN);
}

TEST(StopSignals, HaveTheirDefaultEffectAgainAfterwards) {
    { const StopSignals signals; }
    EXPECT_TRUE(isDefault(SIGINT));
    EXPECT_TRUE(isDefault(SIGTERM));
    const StopSignals again;
    EXPECT_EQ(again.received(), 0);
}
