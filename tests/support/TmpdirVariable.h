// SPDX-License-Identifier: BSD-3-Clause
// Names the directory for temporary files, as long as the object is there.
#pragma once

#include <cstdlib>
#include <string>

class TmpdirVariable {
public:
    explicit TmpdirVariable(const std::string& path) {
        if (const char* const before = std::getenv("TMPDIR")) before_ = before;
        setenv("TMPDIR", path.c_str(), 1);
    }
    ~TmpdirVariable() {
        if (before_.empty())
            unsetenv("TMPDIR");
        else
            setenv("TMPDIR", before_.c_str(), 1);
    }
    TmpdirVariable(const TmpdirVariable&) = delete;
    TmpdirVariable& operator=(const TmpdirVariable&) = delete;

private:
    std::string before_;
};
