// SPDX-License-Identifier: BSD-3-Clause
// The test client (testClient.cpp) as a second process, and the segment that it keeps.
#pragma once

#include <string>

#include <sys/types.h>

class ClientProcess {
public:
    // `tempDir` is the process's $TMPDIR: QtCore derives the system's key of the segment from a file there, so that
    // clients with different directories keep different segments of the same name.
    explicit ClientProcess(const std::string& tempDir);
    // Ends the process, and with it the segment that it made.
    ~ClientProcess();
    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;

    void tell(const std::string& line) const;
    // The lines up to "ok" or "error ...", each with its line end; "timeout\n" when they stay away for 30 seconds.
    std::string answer() const;
    std::string ask(const std::string& line) const;

    // Overwrites the start of the segment, and gives all of it. Neither takes the segment's lock.
    std::string load(const std::string& bytes) const;
    std::string save() const;

    // SIGKILL; returns when the process is gone.
    void kill();

private:
    std::string tempDir_;
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
};

// Some containers and sandboxes have no System V shared memory or semaphores.
bool hasSystemVSharedMemory();
