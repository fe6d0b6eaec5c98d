// SPDX-License-Identifier: BSD-3-Clause
#include "check/private/kxWriteLimit.h"

#if __has_include(<linux/landlock.h>)
#include "shared/kxReplacementFile.h"

#include <cstdint>

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kxCheck {

namespace {

// What an entry of a cache needs.
constexpr std::uint64_t replacing = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_MAKE_REG |
                                    LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE;
constexpr std::uint64_t changing = replacing | LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
                                   LANDLOCK_ACCESS_FS_MAKE_CHAR | LANDLOCK_ACCESS_FS_MAKE_SOCK |
                                   LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_BLOCK |
                                   LANDLOCK_ACCESS_FS_MAKE_SYM;
// Known to kernels since 6.2, and to younger headers than those of 6.1.
constexpr std::uint64_t truncating = 1U << 14U;
constexpr long firstThatTruncates = 3;

int numberOf(long result) {
    return static_cast<int>(result);
}

// -1 where there are no such rules.
int makeRules() {
    const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1) return -1;
    landlock_ruleset_attr rules{};
    rules.handled_access_fs = changing | (version >= firstThatTruncates ? truncating : 0);
    return numberOf(syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0));
}

void allowBelow(int rules, const QByteArray& directory) {
    kxDescriptor below;
    below.number = open(directory.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    landlock_path_beneath_attr rule{};
    rule.allowed_access = replacing;
    rule.parent_fd = below.number;
    if (below.number >= 0) syscall(SYS_landlock_add_rule, rules, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
}

}  // namespace

bool limitWriting(const QByteArray& directory) {
    kxDescriptor rules;
    rules.number = makeRules();
    if (rules.number < 0 || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return false;
    if (!directory.isEmpty()) allowBelow(rules.number, directory);
    return syscall(SYS_landlock_restrict_self, rules.number, 0) == 0;
}

}  // namespace kxCheck

#else

bool kxCheck::limitWriting(const QByteArray& /*directory*/) {
    return false;
}

#endif
