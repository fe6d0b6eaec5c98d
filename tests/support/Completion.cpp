// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/Completion.h"

#include "tests/support/Documents.h"
#include "tests/support/RunProcess.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

Words wordsOf(const std::string& text) {
    std::istringstream stream(text);
    Words words;
    for (std::string word; stream >> word;) words.insert(word);
    return words;
}

Words completedInBash(const std::string& program, const std::vector<std::string>& words,
                      const std::string& directory) {
    const std::string command = "source \"$0\" && COMP_WORDS=(" + program + " \"$@\") COMP_CWORD=$# && { _" +
                                program + "; printf '%s\\n' \"${COMPREPLY[@]}\"; }";
    std::vector<std::string> arguments{"/bin/bash", "--norc", "-c", command,
                                       (projectDir() / ("completions/" + program + ".bash")).string()};
    arguments.insert(arguments.end(), words.begin(), words.end());
    ProcessOptions options;
    options.workingDirectory = directory;
    const ProcessResult result = runProcess(arguments, options);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    return wordsOf(result.out);
}

bool isZshThere() {
    return std::filesystem::exists("/usr/bin/zsh");
}

std::vector<std::string> completedInZsh(const std::vector<std::string>& lines, const std::string& directory) {
    const TempDir dir;
    std::string typed;
    for (const std::string& line : lines) typed += line + "\n";
    EXPECT_TRUE(writeFileBytes(dir.file("typed"), typed));
    ProcessOptions options;
    options.workingDirectory = directory;
    const ProcessResult result =
        runProcess({"/bin/sh", "-c", "exec /usr/bin/zsh -f \"$0\" \"$1\" \"$2answers\" <\"$2typed\"",
                    (projectDir() / "tests/support/completeInZsh.zsh").string(),
                    (projectDir() / "completions").string(), dir.path()},
                   options);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return textsBetween("\n<", ">", readFileBytes(dir.file("answers")));
}
