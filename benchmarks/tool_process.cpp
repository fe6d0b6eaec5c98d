// SPDX-License-Identifier: BSD-3-Clause
// Programs from outside: tool_process <rounds> <command> <argument> [<command> <argument> ...]
//
// Starts each command with its one argument in turn. Prints, per command, the median microseconds from its start to
// its first line that begins with a frame ("0001: "), and its peak memory in KiB. A command that ends without such
// a line ends the measurement with exit code 1.
#include "benchmarks/Alternate.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Command {
    char* program;
    char* argument;
    std::vector<double> times{};  // microseconds
    long peakKiB = 0;
};

bool startsWithFrame(const char* line) {
    const char* end = line;
    while (*end == ' ') ++end;
    while (std::isdigit(static_cast<unsigned char>(*end))) ++end;
    return end > line && std::strncmp(end, ": ", 2) == 0;
}

bool readToFirstFrame(FILE* lines) {
    char line[1024];
    while (std::fgets(line, sizeof line, lines)) {
        if (startsWithFrame(line)) return true;
    }
    return false;
}

void readToEnd(FILE* lines) {
    char bytes[4096];
    while (std::fread(bytes, 1, sizeof bytes, lines) > 0) {
    }
}

pid_t start(const Command& command, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    char* const arguments[] = {command.program, command.argument, nullptr};
    pid_t child = -1;
    if (posix_spawn(&child, command.program, &actions, nullptr, arguments, environ) != 0) child = -1;
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

bool measure(Command& command) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    bool found = false;
    FILE* lines = nullptr;
    pid_t child = -1;
    command.times.push_back(microsecondsOf([&] {
        child = start(command, ends[1]);
        close(ends[1]);
        lines = fdopen(ends[0], "r");
        found = child > 0 && lines && readToFirstFrame(lines);
    }));
    if (lines) readToEnd(lines);
    if (lines) std::fclose(lines);
    struct rusage usage {};
    int status = 0;
    if (child > 0) wait4(child, &status, 0, &usage);
    command.peakKiB = std::max(command.peakKiB, usage.ru_maxrss);
    return found && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4 || argc % 2 != 0) {
        std::fputs("Usage: tool_process <rounds> <command> <argument> ...\n", stderr);
        return 1;
    }
    std::vector<Command> commands;
    for (int i = 2; i < argc; i += 2) commands.push_back({argv[i], argv[i + 1]});
    const long rounds = std::strtol(argv[1], nullptr, 10);
    for (long round = 0; round < rounds; ++round) {
        for (Command& command : commands) {
            if (measure(command)) continue;
            std::fprintf(stderr, "tool_process: no frame from '%s %s'\n", command.program, command.argument);
            return 1;
        }
    }
    for (const Command& command : commands) {
        std::printf("%.0f %ld\n", medianOf(command.times), command.peakKiB);
    }
    return 0;
}
