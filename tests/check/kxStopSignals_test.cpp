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
    const StopSignals stop;
    EXPECT_EQ(stop.received(), 0);
    EXPECT_FALSE(isReadable(stop.descriptor()));
    raise(SIGTERM);
    raise(SIGINT);
    EXPECT_EQ(stop.received(), SIGTERM);
    EXPECT_TRUE(isReadable(stop.descriptor()));
    EXPECT_TRUE(isReadable(stop.descriptor())) << "it stays so";
}

TEST(StopSignals, EndTheProcessWhenTheyComeAgainLater) {
    const pid_t child = fork();
    if (child == 0) {
        const StopSignals stop;
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
        const StopSignals stop;
        raise(SIGINT);
        EXPECT_EQ(stop.received(), 0);
    }
    EXPECT_EQ(std::signal(SIGINT, SIG_DFL), SIG_IGN);
}

TEST(StopSignals, HaveTheirDefaultEffectAgainAfterwards) {
    { const StopSignals stop; }
    EXPECT_TRUE(isDefault(SIGINT));
    EXPECT_TRUE(isDefault(SIGTERM));
    const StopSignals again;
    EXPECT_EQ(again.received(), 0);
}
