// SPDX-License-Identifier: BSD-3-Clause
// Programs from outside: tool_process <rounds> <command>...
//
// Starts the commands in turn; the words of each are separated by blanks. Prints, per command, the median
// microseconds from its start to its first line that begins with a frame ("0001: ", "0001  "), and the peak memory
// in KiB of it and its processes. A command that ends without such a line ends the measurement with exit code 1;
// its own exit code does not matter.
#include "benchmarks/Alternate.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Command {
    std::string text;
    std::vector<std::string> words;
    std::vector<double> times{};  // microseconds
    long peakKiB = 0;
};

Command commandOf(const char* text) {
    Command command{text, {}};
    std::istringstream words(text);
    for (std::string word; words >> word;) command.words.push_back(word);
    return command;
}

bool startsWithFrame(const char* line) {
    const char* end = line;
    while (*end == ' ') ++end;
    while (std::isdigit(static_cast<unsigned char>(*end))) ++end;
    return end > line && (std::strncmp(end, ": ", 2) == 0 || std::strncmp(end, "  ", 2) == 0);
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

pid_t start(Command& command, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    std::vector<char*> arguments;
    for (std::string& word : command.words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = -1;
    if (posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) child = -1;
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

// The command and those of its processes that it leaves behind; true when it ended by itself.
bool waitForAll(pid_t child, long& peakKiB) {
    bool isGood = false;
    struct rusage usage {};
    int status = 0;
    for (pid_t ended = 0; (ended = wait4(-1, &status, 0, &usage)) > 0;) {
        if (ended == child) isGood = WIFEXITED(status);
        peakKiB = std::max(peakKiB, usage.ru_maxrss);
    }
    return isGood;
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
    return waitForAll(child, command.peakKiB) && found;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("Usage: tool_process <rounds> <command>...\n", stderr);
        return 1;
    }
    std::vector<Command> commands;
    for (int i = 2; i < argc; ++i) commands.push_back(commandOf(argv[i]));
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const long rounds = std::strtol(argv[1], nullptr, 10);
    for (long round = 0; round < rounds; ++round) {
        for (Command& command : commands) {
            if (measure(command)) continue;
            std::fprintf(stderr, "tool_process: no frame from '%s'\n", command.text.c_str());
            return 1;
        }
    }
    for (const Command& command : commands) {
        std::printf("%.0f %ld\n", medianOf(command.times), command.peakKiB);
    }
    return 0;
}
