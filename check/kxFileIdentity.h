// SPDX-License-Identifier: BSD-3-Clause
// Which file it is, from what the system says of it: one way for those who read a file and those who remove it.
#pragma once

#include "check/kxFileReport.h"

#include <algorithm>
#include <cstdint>

#include <sys/stat.h>

namespace kxCheck {

// Times that 64 bits of nanoseconds can't hold become the nearest ones that they can.
inline FileIdentity identityOf(const struct stat& status) {
    constexpr std::int64_t most = INT64_MAX / 1000000000 - 1;
    const std::int64_t seconds = std::clamp<std::int64_t>(status.st_mtim.tv_sec, -most, most);
    FileIdentity identity;
    identity.device = status.st_dev;
    identity.inode = status.st_ino;
    identity.size = status.st_size;
    identity.modified = seconds * 1000000000 + status.st_mtim.tv_nsec;
    return identity;
}

}  // namespace kxCheck
