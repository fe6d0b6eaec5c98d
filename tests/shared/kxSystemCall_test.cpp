// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxSystemCall.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

// A call that returns `failed` a number of times, each time with this reason, and then 7.
struct FailingCall {
    int failures;
    int reason;
    int calls = 0;

    int operator()() {
        if (calls++ >= failures) return 7;
        if (reason != 0) errno = reason;
        return -1;
    }
};

TEST(RetryInterrupted, RepeatsWhatASignalInterruptedAndNothingElse) {
    const struct {
        FailingCall call;
        int result;
        int calls;
    } cases[] = {
        {{0, EINTR}, 7, 1}, {{1, EINTR}, 7, 2},   {{1000, EINTR}, 7, 1001},
        {{1, EIO}, -1, 1},  {{1, EAGAIN}, -1, 1}, {{1, 0}, -1, 1},
    };
    for (const auto& c : cases) {
        FailingCall call = c.call;
        EXPECT_EQ(kxRetryInterrupted(-1, [&call] { return call(); }), c.result) << c.call.reason;
        EXPECT_EQ(call.calls, c.calls) << c.call.reason;
    }
}

TEST(RetryInterrupted, LeavesTheReasonOfTheLastCallInErrno) {
    FailingCall failing{1, EIO};
    EXPECT_EQ(kxRetryInterrupted(-1, [&failing] { return failing(); }), -1);
    EXPECT_EQ(errno, EIO);
}

// As readdir at the end of a directory: an old reason must not look like this call's.
TEST(RetryInterrupted, CallThatFailsWithoutAReasonLeavesErrno0) {
    FailingCall ending{1, 0};
    errno = EINTR;
    EXPECT_EQ(kxRetryInterrupted(-1, [&ending] { return ending(); }), -1);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(ending.calls, 1);
}

TEST(RetryInterrupted, FailureMayBeANullPointer) {
    int calls = 0;
    const char* const result = kxRetryInterrupted<const char*>(nullptr, [&calls]() -> const char* {
        errno = EINTR;
        return ++calls < 3 ? nullptr : "done";
    });
    EXPECT_STREQ(result, "done");
    EXPECT_EQ(calls, 3);
}

TEST(SystemErrorText, IsTheSystemsInEnglish) {
    EXPECT_EQ(bytesOf(kxSystemErrorText(EACCES)), "Permission denied");
    EXPECT_EQ(bytesOf(kxSystemErrorText(ENOENT)), "No such file or directory");
    EXPECT_EQ(bytesOf(kxSystemErrorText(99999)), "Unknown error 99999");
}

}  // namespace
