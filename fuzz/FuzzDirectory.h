// SPDX-License-Identifier: BSD-3-Clause
// A directory whose files are empty and change from input to input.
#pragma once

#include "tests/support/TempDir.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// libFuzzer ends without destructors: the empty directory stays, in $TMPDIR.
class FuzzDirectory {
public:
    // Names that cannot be files' are passed over.
    void add(const std::string& name) {
        if (name.find('/') != std::string::npos || name.find('\0') != std::string::npos) return;
        const int file = open(dir_.file(name).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (file < 0) return;
        close(file);
        names_.push_back(name);
    }

    void clear() {
        for (const std::string& name : names_) unlink(dir_.file(name).c_str());
        names_.clear();
    }

    // Ends with "/".
    const std::string& path() const { return dir_.path(); }
    const std::vector<std::string>& names() const { return names_; }

private:
    const TempDir dir_{std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/dev/shm"};
    std::vector<std::string> names_;
};
