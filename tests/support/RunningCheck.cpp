// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/RunningCheck.h"

#include "shared/kxSystemCall.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// In the child.
[[noreturn]] void become(const std::vector<std::string>& arguments, const std::string& directory, int output) {
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    if (chdir(directory.c_str()) != 0) _exit(126);
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    execv(words[0], words.data());
    _exit(127);
}

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

}  // namespace

RunningCheck::RunningCheck(const std::vector<std::string>& arguments, const std::string& directory,
                           bool isHeldBack) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        ADD_FAILURE() << "no sockets";
        return;
    }
    // The system takes its least for this: a few writes of a line each, which a pipe would not count.
    const int least = 1;
    if (isHeldBack) setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
    process_ = fork();
    if (process_ == 0) become(arguments, directory, ends[1]);
    close(ends[1]);
    socket_ = ends[0];
}

RunningCheck::~RunningCheck() {
    if (process_ > 0) {
        kill();
        finish();
    }
    if (socket_ >= 0) close(socket_);
}

bool RunningCheck::readByte() {
    char byte = 0;
    if (kxRetryInterrupted<ssize_t>(-1, [&] { return read(socket_, &byte, 1); }) != 1) return false;
    output_ += byte;
    return true;
}

bool RunningCheck::readLines(std::size_t count) {
    while (lineCount(output_) < count)
        if (!readByte()) return false;
    return true;
}

bool RunningCheck::readToLine(const std::string& start) {
    for (;;) {
        const std::size_t lineBegin = output_.size();
        if (!readLines(lineCount(output_) + 1)) return false;
        if (output_.compare(lineBegin, start.size(), start) == 0) return true;
    }
}

std::string RunningCheck::outputSoFar() const {
    std::string waiting(std::size_t{1} << 16, '\0');
    const ssize_t count = recv(socket_, waiting.data(), waiting.size(), MSG_PEEK | MSG_DONTWAIT);
    return count > 0 ? output_ + waiting.substr(0, static_cast<std::size_t>(count)) : output_;
}

void RunningCheck::kill() const {
    ::kill(process_, SIGKILL);
}

int RunningCheck::finish() {
    while (readByte()) {
    }
    int status = 0;
    const pid_t ended = kxRetryInterrupted(-1, [&] { return waitpid(process_, &status, 0); });
    EXPECT_EQ(ended, process_);
    process_ = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
