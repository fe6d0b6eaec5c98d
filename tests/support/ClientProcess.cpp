// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/ClientProcess.h"

#include "tests/support/TempDir.h"

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void orDie(bool good, const char* what) {
    if (good) return;
    std::perror(what);
    std::abort();
}

// Starts the test client with these ends of two pipes as its standard streams.
pid_t spawnClient(const std::string& tempDir, int inputEnd, int outputEnd) {
    std::string variable = "TMPDIR=" + tempDir;
    std::vector<char*> environment{variable.data()};
    for (char** entry = environ; *entry; ++entry) {
        if (std::string(*entry).rfind("TMPDIR=", 0) != 0) environment.push_back(*entry);
    }
    environment.push_back(nullptr);
    std::string path = KX_TEST_CLIENT;
    char* const argv[] = {path.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, inputEnd, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, outputEnd, STDOUT_FILENO);
    pid_t pid = -1;
    orDie(posix_spawn(&pid, argv[0], &actions, nullptr, argv, environment.data()) == 0, KX_TEST_CLIENT);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

}  // namespace

ClientProcess::ClientProcess(const std::string& tempDir) : tempDir_(tempDir) {
    int toClient[2];
    int fromClient[2];
    orDie(pipe2(toClient, O_CLOEXEC) == 0 && pipe2(fromClient, O_CLOEXEC) == 0, "pipe");
    pid_ = spawnClient(tempDir, toClient[0], fromClient[1]);
    close(toClient[0]);
    close(fromClient[1]);
    input_ = toClient[1];
    output_ = fromClient[0];
}

ClientProcess::~ClientProcess() {
    close(input_);
    if (pid_ > 0) waitpid(pid_, nullptr, 0);
    close(output_);
}

void ClientProcess::tell(const std::string& line) const {
    const std::string bytes = line + "\n";
    orDie(write(input_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "write");
}

std::string ClientProcess::answer() const {
    std::string text;
    std::size_t lineStart = 0;
    pollfd output{output_, POLLIN, 0};
    char c = 0;
    while (poll(&output, 1, 30000) > 0 && read(output_, &c, 1) == 1) {
        text += c;
        if (c != '\n') continue;
        const std::string line = text.substr(lineStart);
        if (line == "ok\n" || line.rfind("error ", 0) == 0) return text;
        lineStart = text.size();
    }
    return text + "timeout\n";
}

std::string ClientProcess::ask(const std::string& line) const {
    tell(line);
    return answer();
}

std::string ClientProcess::load(const std::string& bytes) const {
    const std::string path = tempDir_ + "load";
    if (!writeFileBytes(path, bytes)) return "error " + path + "\n";
    return ask("load " + path);
}

std::string ClientProcess::save() const {
    const std::string path = tempDir_ + "save";
    return ask("save " + path) == "ok\n" ? readFileBytes(path) : std::string();
}

void ClientProcess::kill() {
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

bool hasSystemVSharedMemory() {
    const int memory = shmget(IPC_PRIVATE, 1, 0600);
    const int semaphore = semget(IPC_PRIVATE, 1, 0600);
    if (memory >= 0) shmctl(memory, IPC_RMID, nullptr);
    if (semaphore >= 0) semctl(semaphore, 0, IPC_RMID);
    return memory >= 0 && semaphore >= 0;
}
