// SPDX-License-Identifier: BSD-3-Clause
// Runs a command, and ends every process that came of it when the command ends, also those that went into the
// background and belong to nobody any more:
//
//   endWithAll <command> [arguments]...
//
// The same happens when it is told to end (SIGTERM, SIGINT) and when the process that started it ends. The exit
// code is the command's, 128 and the signal's number after a signal.
#include <cctype>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// In "17 (name) S 1 ..." the parent is behind name and state; 0 when the process is gone.
pid_t parentOf(const std::string& process) {
    std::ifstream file("/proc/" + process + "/stat");
    std::string stat;
    std::getline(file, stat, '\0');
    const std::size_t behindName = stat.rfind(')');
    return behindName == std::string::npos ? 0 : std::stoi(stat.substr(behindName + 4));
}

// 0 when there is none.
pid_t anyChild() {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (std::isdigit(static_cast<unsigned char>(name[0])) && parentOf(name) == getpid()) return std::stoi(name);
    }
    return 0;
}

// The children of each one that ends become this process's own.
void endAll() {
    while (const pid_t child = anyChild()) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

// Those that nobody else waits for would stay as dead processes, and who asks for their group would find it alive.
// True with the exit code when the command was among those that ended.
bool commandEnded(pid_t command, int& exitCode) {
    bool ended = false;
    int status = 0;
    for (pid_t child; (child = waitpid(-1, &status, WNOHANG)) > 0;) {
        if (child != command) continue;
        ended = true;
        exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return ended;
}

int waitForEnd(pid_t command, const sigset_t& signals) {
    for (int exitCode = 0;;) {
        int signal = 0;
        sigwait(&signals, &signal);
        if (signal != SIGCHLD) return 128 + signal;
        if (commandEnded(command, exitCode)) return exitCode;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    const pid_t parent = getppid();
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) return 2;  // it ended before it could be told of
    sigset_t signals;
    sigset_t before;
    sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGTERM, SIGINT}) sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, &before);
    const pid_t command = fork();
    if (command < 0) return 2;
    if (command == 0) {
        sigprocmask(SIG_SETMASK, &before, nullptr);
        execvp(argv[1], argv + 1);
        std::perror(argv[1]);
        _exit(127);
    }
    const int exitCode = waitForEnd(command, signals);
    endAll();
    return exitCode;
}
