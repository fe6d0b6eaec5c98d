// SPDX-License-Identifier: BSD-3-Clause
// The interface of the farm's log object. Callers own the log; nothing here keeps a pointer to it.
// It is called in the thread of the operation that it was handed to, and only while that runs.
#pragma once

#include <QString>

#include <cstdio>

// The file behind a log.
class _kxLogfile {
public:
    virtual ~_kxLogfile() = default;
    // Writes what is buffered to disk or terminal.
    virtual void flush() {
        if (stream) std::fflush(stream);
    }

    // Opened and closed by the log that writes to it; null for a log without a file.
    std::FILE* stream = nullptr;
};

// A log to derive from. The table of virtual operations is shared with other programs of the farm: log() is its
// 13th entry, and the twelve before it belong to them.
class __KXlog {
public:
    virtual void reserved1() {}
    virtual void reserved2() {}
    virtual void reserved3() {}
    virtual void reserved4() {}
    virtual void reserved5() {}
    virtual void reserved6() {}
    virtual void reserved7() {}
    virtual void reserved8() {}
    virtual void reserved9() {}
    virtual void reserved10() {}
    virtual void reserved11() {}
    virtual void reserved12() {}
    // Writes one line; `level` and `category` are the log's own codes.
    virtual void log(int /*level*/, int /*category*/, const QString& /*text*/) {}
    virtual ~__KXlog() = default;

    _kxLogfile logFile;
};
