// SPDX-License-Identifier: BSD-3-Clause
#include "check/private/kxCallFilter.h"

#if defined(KX_HAS_SECCOMP) && (defined(__x86_64__) || defined(__aarch64__))
#include <cerrno>
#include <memory>

#include <fcntl.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <unistd.h>

namespace kxCheck {

namespace {

// Some of them have no number on some processors.
constexpr int allowedCalls[] = {
    // what is open, and what is known of files
    SCMP_SYS(read),
    SCMP_SYS(readv),
    SCMP_SYS(pread64),
    SCMP_SYS(preadv),
    SCMP_SYS(lseek),
    SCMP_SYS(fadvise64),
    SCMP_SYS(write),
    SCMP_SYS(writev),
    SCMP_SYS(close),
    SCMP_SYS(stat),
    SCMP_SYS(fstat),
    SCMP_SYS(lstat),
    SCMP_SYS(newfstatat),
    SCMP_SYS(statx),
    SCMP_SYS(access),
    SCMP_SYS(faccessat),
    SCMP_SYS(faccessat2),
    SCMP_SYS(readlink),
    SCMP_SYS(readlinkat),
    SCMP_SYS(getcwd),
    // memory
    SCMP_SYS(munmap),
    SCMP_SYS(mremap),
    SCMP_SYS(brk),
    SCMP_SYS(madvise),
    // time and waiting
    SCMP_SYS(clock_gettime),
    SCMP_SYS(clock_getres),
    SCMP_SYS(gettimeofday),
    SCMP_SYS(time),
    SCMP_SYS(nanosleep),
    SCMP_SYS(clock_nanosleep),
    SCMP_SYS(poll),
    SCMP_SYS(ppoll),
    SCMP_SYS(pause),
    SCMP_SYS(futex),
    SCMP_SYS(sched_yield),
    SCMP_SYS(restart_syscall),
    // itself: signals, its end, its numbers
    SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn),
    SCMP_SYS(sigaltstack),
    SCMP_SYS(exit),
    SCMP_SYS(exit_group),
    SCMP_SYS(set_robust_list),
    SCMP_SYS(rseq),
    SCMP_SYS(membarrier),
    SCMP_SYS(getpid),
    SCMP_SYS(gettid),
    SCMP_SYS(getppid),
    SCMP_SYS(getuid),
    SCMP_SYS(geteuid),
    SCMP_SYS(getgid),
    SCMP_SYS(getegid),
    SCMP_SYS(getrandom),
    SCMP_SYS(getrlimit),
    SCMP_SYS(getrusage),
    SCMP_SYS(getcpu),
    SCMP_SYS(sched_getaffinity),
    SCMP_SYS(sysinfo),
    SCMP_SYS(uname),
};

// For entries of a cache, which are written beside their place, flushed and renamed.
constexpr int changingCalls[] = {
    SCMP_SYS(mkdir),     SCMP_SYS(mkdirat), SCMP_SYS(rename),   SCMP_SYS(renameat),
    SCMP_SYS(renameat2), SCMP_SYS(unlink),  SCMP_SYS(unlinkat), SCMP_SYS(fsync),
};

// A call that is allowed with some arguments only.
struct CallWith {
    int call;
    scmp_arg_cmp argument;
};

scmp_arg_cmp without(unsigned number, scmp_datum_t bits) {
    return {number, SCMP_CMP_MASKED_EQ, bits, 0};
}

scmp_arg_cmp equalTo(unsigned number, scmp_datum_t value) {
    return {number, SCMP_CMP_EQ, value, 0};
}

class Filter {
public:
    // A call that is not allowed is one that the kernel does not have: the C library then takes the older one that
    // does the same, and a C library of the future finds none of its new calls. What arguments a call points to can
    // not be looked at, so openat2 is such a call.
    Filter() : context_(seccomp_init(SCMP_ACT_ERRNO(ENOSYS)), seccomp_release) {
        // A filter of this length is searched in steps, not from its beginning. The precautions against other
        // processes of the machine would slow down decoding, and the worker has nothing to hide from itself.
        isGood_ = context_ && seccomp_attr_set(context_.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2) == 0;
        if (isGood_) static_cast<void>(seccomp_attr_set(context_.get(), SCMP_FLTATR_CTL_SSB, 1));
    }

    void allow(int call) {
        if (exists(call)) isGood_ = isGood_ && seccomp_rule_add(context_.get(), SCMP_ACT_ALLOW, call, 0) == 0;
    }
    void allow(const CallWith& row) {
        if (!exists(row.call)) return;
        isGood_ =
            isGood_ && seccomp_rule_add_array(context_.get(), SCMP_ACT_ALLOW, row.call, 1, &row.argument) == 0;
    }
    [[nodiscard]] bool load() const { return isGood_ && seccomp_load(context_.get()) == 0; }

private:
    static bool exists(int call) { return call >= 0; }

    std::unique_ptr<void, void (*)(scmp_filter_ctx)> context_;
    bool isGood_ = false;
};

// No file is ever emptied: not every kernel's Landlock stops that.
void allowOpening(Filter& filter, FileChanges changes) {
    const scmp_datum_t refused = changes == FileChanges::refused ? O_ACCMODE | O_CREAT | O_TRUNC : O_TRUNC;
    filter.allow({SCMP_SYS(open), without(1, refused)});
    filter.allow({SCMP_SYS(openat), without(2, refused)});
}

void allowWithSomeArguments(Filter& filter) {
    filter.allow({SCMP_SYS(mmap), without(2, PROT_EXEC)});
    filter.allow({SCMP_SYS(mprotect), without(2, PROT_EXEC)});
    constexpr scmp_datum_t commands[] = {F_GETFD, F_SETFD, F_GETFL};
    for (const scmp_datum_t command : commands) filter.allow({SCMP_SYS(fcntl), equalTo(1, command)});
    filter.allow({SCMP_SYS(prlimit64), equalTo(2, 0)});  // asks, and sets nothing
    // Whoever aborts sends itself a signal.
    filter.allow({SCMP_SYS(tgkill), equalTo(0, static_cast<scmp_datum_t>(getpid()))});
}

}  // namespace

bool limitSystemCalls(FileChanges changes) {
    Filter filter;
    for (const int call : allowedCalls) filter.allow(call);
    allowWithSomeArguments(filter);
    allowOpening(filter, changes);
    if (changes != FileChanges::refused)
        for (const int call : changingCalls) filter.allow(call);
    return filter.load();
}

bool canLimitSystemCalls() {
    return true;
}

}  // namespace kxCheck

#else

bool kxCheck::limitSystemCalls(FileChanges /*changes*/) {
    return false;
}

bool kxCheck::canLimitSystemCalls() {
    return false;
}

#endif
