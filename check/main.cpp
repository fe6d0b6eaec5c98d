// SPDX-License-Identifier: BSD-3-Clause
// kxCheckFrames: says whether the frames of image sequences are good. docs/architecture.md shows the way of a run.
#include "check/kxCheckOptions.h"
#include "check/kxCheckProgram.h"
#include "check/kxFrameCheck.h"
#include "check/kxOutput.h"

#include <QByteArray>

#include <csignal>
#include <variant>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

// A stream that is missing becomes one that fails, so that no file is opened in its place and written to.
void completeStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        if (fcntl(stream, F_GETFD) < 0) (void)open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

// Whatever they were when the process was started: a reader that went ends the run quietly, and workers are reaped.
void takeUsualSignals() {
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGCHLD, SIG_DFL);
}

int print(const QByteArray& text) {
    Output output(STDOUT_FILENO, "standard output");
    if (output.write(text)) return exitGood;
    Output(STDERR_FILENO, "standard error").writeLine("kxCheckFrames: " + output.fault());
    return exitPartial;
}

int refuse(const QByteArray& line) {
    Output(STDERR_FILENO, "standard error").writeLine(line);
    return exitUsage;
}

}  // namespace

int main(int argc, char** argv) {
    completeStandardStreams();
    takeUsualSignals();
    const auto command = parseCommandLine(std::vector<QByteArray>(argv + (argc > 0 ? 1 : 0), argv + argc));
    if (const auto* wanted = std::get_if<WantedText>(&command)) return print(wanted->text);
    if (const auto* wrong = std::get_if<UsageError>(&command)) return refuse(wrong->line);
    return runCheck(std::get<Settings>(command), FrameChecker());
}
