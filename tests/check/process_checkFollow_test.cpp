// SPDX-License-Identifier: BSD-3-Clause
// Frames that arrive while they are checked. Each next step of the render waits for what the program says about the
// one before, so that the order of the lines does not depend on the machine's load.
#include "tests/support/CheckTest.h"
#include "tests/support/Patterns.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const std::string sequence = "  64x36  4 channels half  zip\n";
const std::string foreign(760, 'x');

// Without what differs from run to run.
std::string steadyJson(const std::string& json) {
    return withReplaced(json, ",\"seconds\":[0-9.e-]+", "");
}

// The objects that hold: those of each frame last, in the order of their paths, and the others of the end.
std::string lastObjects(const std::string& json) {
    std::map<std::string, std::string> frames;
    std::string others;
    for (const Match& line : allMatches(steadyJson(json), "[^\n]+\n")) {
        const Match path = firstMatch(line[0], R"re("path":"([^"]*)".*"type":"frame")re");
        if (path.empty())
            others += line[0];
        else
            frames[path[1]] = line[0];
    }
    std::string all;
    for (const auto& [path, line] : frames) all += line;
    return all + others;
}

// The kinds of objects, with path, action and verdict.
std::string outlineOf(const std::string& json) {
    std::string outline;
    for (const Match& line : allMatches(json, "[^\n]+\n")) {
        for (const char* const pattern :
             {R"re("type":"(sequence|frame|action|summary)")re", R"re("path":"([^"]*)")re",
              R"re("action":"([^"]*)")re", R"re("verdict":"([^"]*)")re"}) {
            const Match match = firstMatch(line[0], pattern);
            if (!match.empty()) outline += " " + match[1];
        }
        outline += "\n";
    }
    return outline;
}

class CheckFollowTest : public CheckTest {
protected:
    void SetUp() override {
        for (const char* name : {"made", "r"}) std::filesystem::create_directory(dir.file(name));
        frames("made/a.", 1, 8);
    }

    // What the farm does: a frame of "made" is there at once, an hour old; or as long as its bytes are written.
    void arrive(const std::string& number, const std::string& target = "r/a.") const {
        std::filesystem::copy_file(dir.file("made/a." + number + ".exr"), dir.file("copy"),
                                   std::filesystem::copy_options::overwrite_existing);
        makeOld("copy");
        std::filesystem::rename(dir.file("copy"), dir.file(target + number + ".exr"));
    }
    void arriveBad(const std::string& number) {
        bytes("copy", foreign);
        std::filesystem::rename(dir.file("copy"), dir.file("r/a." + number + ".exr"));
    }
    [[nodiscard]] std::string made(const std::string& number) const {
        return readFileBytes(dir.file("made/a." + number + ".exr"));
    }
    [[nodiscard]] std::string half(const std::string& number) const {
        return made(number).substr(0, made(number).size() - 20);
    }
    void write(const std::string& number, const std::string& content) const {
        ASSERT_TRUE(writeFileBytes(dir.file("r/a." + number + ".exr"), content));
    }
    void remove(const std::string& number) const { std::filesystem::remove(dir.file("r/a." + number + ".exr")); }

    // Waits until the program has written this to standard output, which it does in the end or the test fails.
    void await(const std::string& text) const {
        await(text, [this] { return said(); });
    }
    // The same of what is made of it.
    void await(const std::string& text, const std::function<std::string()>& made) const {
        for (int tries = 0; tries < 6000 && made().find(text) == std::string::npos; ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_NE(made().find(text), std::string::npos) << text << " is missing in:\n" << said();
    }
    [[nodiscard]] std::string said() const { return readFileBytes(dir.file("out")); }

    // The outcome of a run that follows while `render` goes on beside it. The process is in the file "pid".
    std::string follow(std::vector<std::string> arguments, const std::function<void()>& render) {
        const std::string script = "echo $$ > pid; exec \"$@\"";
        arguments.insert(arguments.begin(), {"/bin/bash", "-c", script, "bash", checkPath(), "--follow"});
        ProcessOptions options;
        options.workingDirectory = dir.path();
        options.stdoutFd = open(dir.file("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        std::thread farm(render);
        ProcessResult result = runProcess(arguments, options);
        farm.join();
        close(options.stdoutFd);
        result.out = said();
        return described(result);
    }
    std::string follow(const std::vector<std::string>& arguments) {
        return follow(arguments, [] {});
    }
    void interrupt(int signal) const { kill(std::stoi(readFileBytes(dir.file("pid"))), signal); }
};

}  // namespace

TEST_F(CheckFollowTest, LinesComeInTheOrderOfArrivalAndTheTotalInThatOfTheFrames) {
    const std::string outcome = follow({"-v", "-f", "1-4", "r/a.####.exr"}, [this] {
        arrive("0003");
        await("0003  good\n");
        arriveBad("0004");
        await("0004  bad");
        arriveBad("0001");
        await("0001  bad");
        arrive("0002");
    });
    EXPECT_EQ(outcome, "r/a.####.exr  1-4" + sequence +
                           "0003  good\n0004  bad         not-exr: this is no EXR file\n"
                           "0001  bad         not-exr: this is no EXR file\n0002  good\n"
                           "total 4: 2 good, 2 bad (1,4), N s\nexit 1");
}

TEST_F(CheckFollowTest, NeitherDirectoryNorFramesNeedToBeThere) {
    const std::string outcome = follow({"-f", "1-2", "-l", "structure", "later"}, [this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        std::filesystem::create_directory(dir.file("made/later"));
        arrive("0001", "made/later/b.");
        std::filesystem::rename(dir.file("made/later"), dir.file("later"));
        arrive("0002", "later/b.");
    });
    const std::string end = "later/b.####.exr  1-2" + sequence + "total 2: 2 good, N s\n";
    EXPECT_EQ(outcome.substr(0, end.size()), end);
    EXPECT_EQ(outcome.substr(outcome.size() - 6), "exit 0");
}

TEST_F(CheckFollowTest, AYoungFileIsWaitedForUntilItIsWhole) {
    const struct {
        std::string level;
        std::string begun;
    } cases[] = {
        {"headers", ""},
        {"headers", made("0001").substr(0, 200)},
        {"structure", half("0001")},
        {"pixels", made("0001").substr(0, made("0001").size() / 2) + std::string(made("0001").size() / 2, '\0')},
        {"pixels", half("0001")}};
    for (const auto& c : cases) {
        for (const char* const number : {"0001", "0002"}) remove(number);
        write("0001", c.begun);
        const std::string outcome =
            follow({"-v", "-f", "1-2", "--min-age", "100000", "-l", c.level, "r/a.####.exr"}, [&] {
                arrive("0002");
                await("0002  good\n");
                write("0001", made("0001"));
            });
        EXPECT_EQ(outcome, "r/a.####.exr  1-2" + sequence + "0002  good\n0001  good\ntotal 2: 2 good, N s\nexit 0")
            << c.level << " " << c.begun.size();
    }
}

TEST_F(CheckFollowTest, AFileThatIsLeftHalfDoneIsJudgedWhenItIsOld) {
    write("0001", half("0001"));
    arrive("0002");
    EXPECT_EQ(follow({"-f", "1-2", "--min-age", "1", "r/a.####.exr"}),
              "r/a.####.exr  1-2" + sequence +
                  "0001  bad         truncated: rows 32 to 35 of 36 are missing\n"
                  "total 2: 1 good, 1 bad (1), N s\nexit 1");
}

TEST_F(CheckFollowTest, ABadFrameIsLookedAtAgainWhenItsFileChanges) {
    const std::string outcome = follow({"-f", "1-2", "r/a.####.exr"}, [this] {
        arriveBad("0001");
        await("0001  bad         not-exr");
        bytes("r/a.0001.exr", "");
        await("0001  bad         empty");
        arrive("0001");
        await("0001  good\n");
        arrive("0002");
    });
    EXPECT_EQ(outcome,
              "r/a.####.exr  1-2\n"
              "0001  bad         not-exr: this is no EXR file\n0001  bad         empty: the file is empty\n"
              "r/a.####.exr  1-2" +
                  sequence + "0001  good\ntotal 2: 2 good, N s\nexit 0");
}

TEST_F(CheckFollowTest, ALinkIsLookedAtAgainWhenItsTargetArrives) {
    std::filesystem::create_symlink("target", dir.file("r/a.0001.exr"));
    const std::string outcome = follow({"-f", "1-2", "r/a.####.exr"}, [this] {
        await("0001  unknown     unreadable");
        arrive("0001", "r/copy.");
        std::filesystem::rename(dir.file("r/copy.0001.exr"), dir.file("r/target"));
        await("0001  good\n");
        arrive("0002");
    });
    const std::string end = "0001  good\ntotal 2: 2 good, N s\nexit 0";
    EXPECT_EQ(outcome.substr(outcome.size() - std::min(outcome.size(), end.size())), end) << outcome;
}

TEST_F(CheckFollowTest, AGoodFrameThatWasReplacedIsLookedAtAgainAtTheEnd) {
    const std::string outcome = follow({"-v", "-f", "1-2", "r/a.####.exr"}, [this] {
        arrive("0001");
        await("0001  good\n");
        bytes("r/a.0001.exr", half("0001"));
        arrive("0002");
    });
    EXPECT_EQ(outcome, "r/a.####.exr  1-2" + sequence +
                           "0001  good\n0002  good\n"
                           "0001  bad         truncated: rows 32 to 35 of 36 are missing\n"
                           "total 2: 1 good, 1 bad (1), N s\nexit 1");
}

TEST_F(CheckFollowTest, TheDirectoryToMoveToIsNeededFromTheStart) {
    EXPECT_EQ(outcome({"--follow", "-f", "1-2", "--move-to", "nowhere", "r/a.####.exr"}),
              "2> kxCheckFrames: nowhere: No such file or directory\nexit 3");
}

TEST_F(CheckFollowTest, AFrameThatVanishesIsWaitedForAnew) {
    const std::string outcome = follow({"-v", "-f", "1-2", "r/a.####.exr"}, [this] {
        arrive("0001");
        await("0001  good\n");
        remove("0001");
        arrive("0002");
        await("0002  good\n");
        arriveBad("0001");
    });
    EXPECT_EQ(outcome, "r/a.####.exr  1-2" + sequence +
                           "0001  good\n0002  good\n0001  bad         not-exr: this is no EXR file\n"
                           "total 2: 1 good, 1 bad (1), N s\nexit 1");
}

TEST_F(CheckFollowTest, WithoutNewsItEndsWithWhatIsThere) {
    arrive("0001");
    write("0002", half("0002"));
    EXPECT_EQ(follow({"-f", "1-4", "--min-age", "100000", "--timeout", "1", "r/a.####.exr"}),
              "r/a.####.exr  1-4" + sequence +
                  "0002  bad         unfinished: rows 32 to 35 of 36 are missing\n0003  missing\n0004  missing\n"
                  "total 4: 1 good, 1 bad (2), 2 missing (3-4), N s\nexit 1");
    EXPECT_EQ(follow({"-f", "1-4", "--timeout", "1", "none/a.####.exr"}),
              "2> kxCheckFrames: none/: No such file or directory; waiting for it\n"
              "2> kxCheckFrames: none/: No such file or directory\nexit 3");
}

TEST_F(CheckFollowTest, WhatTheNeighboursDecideComesWhenTheyAreDone) {
    SamplePart dark = soundPart();
    dark.pixels = SamplePixels::black;
    frame("made/a.0003.exr", dark);
    const std::string jump = "0003  suspicious  black: every pixel is black; jump: ";
    const std::string outcome = follow({"-f", "1-6", "--ignore", "size-jump", "r/a.####.exr"}, [&] {
        for (const char* const number : {"0001", "0002", "0003"}) arrive(number);
        await("0003  suspicious  black: every pixel is black\n");
        for (const char* const number : {"0004", "0005"}) arrive(number);
        await(jump);
        arrive("0006");
    });
    EXPECT_EQ(outcome.substr(0, outcome.find(jump)),
              "r/a.####.exr  1-6" + sequence + "0003  suspicious  black: every pixel is black\n");
    EXPECT_NE(outcome.find("\ntotal 6: 5 good, 1 suspicious (3), N s\nexit 0"), std::string::npos) << outcome;
}

TEST_F(CheckFollowTest, WhatTheSequenceDecidesComesAtTheEnd) {
    SamplePart unlike = soundPart(2);
    unlike.channels.push_back({"Z"});
    frame("made/a.0002.exr", unlike);
    const std::string outcome =
        follow({"-v", "-f", "1-4", "-l", "headers", "--ignore", "size-jump", "r/a.####.exr"}, [this] {
            for (const char* const number : {"0003", "0002", "0001", "0004"}) {
                arrive(number);
                await(number + std::string("  good\n"));
            }
        });
    EXPECT_EQ(outcome, "r/a.####.exr  1-4" + sequence +
                           "0003  good\n0002  good\n0001  good\n0004  good\n"
                           "0002  bad         differs: has channel Z that the others lack\n"
                           "total 4: 3 good, 1 bad (2), N s\nexit 1");
}

// Whatever is wrong with them.
TEST_F(CheckFollowTest, TheOutcomeIsThatOfARunWithoutFollowing) {
    mixedSequence();
    for (const char* const level : {"headers", "structure", "pixels"}) {
        const std::vector<std::string> options = {"-f",     "1001,1002,1004-1010", "-l", level,
                                                  "--list", "bad,unknown"};
        std::vector<std::string> arguments = options;
        arguments.insert(arguments.end(), {"--json", "plain.json", "beauty.####.exr"});
        const std::string plain = outcome(arguments);
        arguments = options;
        arguments.insert(arguments.end(), {"--json", "followed.json", "beauty.####.exr"});
        EXPECT_EQ(follow(arguments), plain) << level;
        const std::string json = lastObjects(readFileBytes(dir.file("plain.json")));
        EXPECT_EQ(lastObjects(readFileBytes(dir.file("followed.json"))), json) << level;
        EXPECT_EQ(std::count(json.begin(), json.end(), '\n'), 11) << json;
    }
}

TEST_F(CheckFollowTest, JsonObjectsComeWhenTheySayAnythingNew) {
    const auto told = [](const std::string& path, const std::string& verdict) {
        return " frame r/" + path + ".exr " + verdict + "\n";
    };
    const auto awaitObject = [&](const std::string& path, const std::string& verdict) {
        await(told(path, verdict), [this] { return outlineOf(said()); });
    };
    const std::vector<std::string> arguments = {"-f",       "1-2",    "-l", "structure",    "--timeout",   "100",
                                                "--delete", "--json", "-",  "r/a.####.exr", "r/b.####.exr"};
    const std::string outcome = follow(arguments, [&] {
        arriveBad("0001");
        awaitObject("a.0001", "bad");
        arrive("0001", "r/b.");
        awaitObject("b.0001", "good");
        arrive("0001");
        awaitObject("a.0001", "good");
        arriveBad("0002");
        awaitObject("a.0002", "bad");
        arrive("0002", "r/b.");
    });
    const std::string a = " sequence r/a.####.exr\n";
    const std::string b = " sequence r/b.####.exr\n";
    EXPECT_EQ(outlineOf(outcome), a + told("a.0001", "bad") + b + told("b.0001", "good") + a +
                                      told("a.0001", "good") + told("a.0002", "bad") + b + told("b.0002", "good") +
                                      a + told("a.0002", "delete bad") + " summary\n" + b + " summary\n");
    EXPECT_FALSE(entryExists(dir.file("r/a.0002.exr")));
}

TEST_F(CheckFollowTest, OtherOrdersThanByFrameWaitForTheEnd) {
    const auto bySize = [this] {
        arriveBad("0002");
        arrive("0001");
    };
    EXPECT_EQ(follow({"-v", "-f", "1-2", "--sort", "size", "--json", "j", "r/a.####.exr"}, bySize),
              "r/a.####.exr  1-2" + sequence + "0001  good\n0002  bad         not-exr: this is no EXR file\n" +
                  "total 2: 1 good, 1 bad (2), N s\nexit 1");
    EXPECT_EQ(outlineOf(readFileBytes(dir.file("j"))),
              " sequence r/a.####.exr\n frame r/a.0001.exr good\n frame r/a.0002.exr bad\n summary\n");
}

TEST_F(CheckFollowTest, OfAChunkItsOwnFramesAreWaitedFor) {
    const std::string outcome = follow({"-v", "-f", "1-6", "--chunk", "2/3", "r/a.####.exr"}, [this] {
        arrive("0005");
        arrive("0004");
        await("0004  good\n");
        arrive("0003");
    });
    EXPECT_EQ(outcome, "r/a.####.exr  1-6" + sequence + "0004  good\n0003  good\ntotal 2: 2 good, N s\nexit 0");
}

TEST_F(CheckFollowTest, SequencesAreFollowedAtTheSameTime) {
    const std::string outcome = follow({"-v", "-f", "1-2", "r/a.####.exr", "r/b.####.exr"}, [this] {
        arrive("0001");
        await("0001  good\n");
        arrive("0001", "r/b.");
        await("r/b.####.exr  1-2" + sequence + "0001  good\n");
        arrive("0002", "r/b.");
        await("0001  good\n0002  good\n");
        arrive("0002");
    });
    const std::string a = "r/a.####.exr  1-2" + sequence;
    const std::string b = "r/b.####.exr  1-2" + sequence;
    EXPECT_EQ(outcome, a + "0001  good\n" + b + "0001  good\n0002  good\n" + a +
                           "0002  good\ntotal 2: 2 good, N s\n" + b + "total 2: 2 good, N s\nexit 0");
}

TEST_F(CheckFollowTest, TilesAreWaitedForAsFarAsFramesHaveThem) {
    const std::string outcome = follow({"-v", "-f", "1-2", "-l", "structure", "r/a_tile##_.####.exr"}, [this] {
        for (const char* const tile : {"00", "01"}) {
            arrive("0001", "r/a_tile" + std::string(tile) + "_.");
            await("0001 tile " + std::to_string(tile[1] - '0') + "  good\n");
        }
        arrive("0002", "r/a_tile01_.");
        await("0002 tile 1  good\n");
        arrive("0002", "r/a_tile00_.");
    });
    EXPECT_NE(outcome.find("\n0002 tile 0  good\ntotal 4: 4 good, N s\nexit 0"), std::string::npos) << outcome;
}

TEST_F(CheckFollowTest, KeepsInACacheWhatArrivesAndTakesNothingChangedFromIt) {
    const std::vector<std::string> arguments = {"-f", "1-3", "--cache", "kept", "--json", "-", "r/a.####.exr"};
    const auto cached = [](const std::string& json) {
        return allMatches(lastObjects(json), "\"cached\":true").size();
    };
    const std::string first = follow(arguments, [this] {
        for (const char* const number : {"0001", "0002", "0003"}) write(number, made(number));
    });
    EXPECT_EQ(first.substr(first.size() - 6), "exit 0");
    EXPECT_EQ(cached(first), 0U) << first;
    EXPECT_EQ(cached(follow(arguments)), 3U);
    bytes("r/a.0002.exr", foreign);
    const std::string changed = follow(arguments);
    EXPECT_EQ(cached(changed), 2U) << changed;
    EXPECT_EQ(changed.substr(changed.size() - 6), "exit 1");
}

TEST_F(CheckFollowTest, BadFramesGoAtTheEnd) {
    arrive("0001");
    arrive("0002");
    const std::string outcome = follow({"-f", "1-4", "--delete", "r/a.####.exr"}, [this] {
        arriveBad("0003");
        await("0003  bad         not-exr: this is no EXR file\n");
        EXPECT_TRUE(entryExists(dir.file("r/a.0003.exr")));
        arrive("0004");
    });
    EXPECT_EQ(outcome, "r/a.####.exr  1-4" + sequence +
                           "0003  bad         not-exr: this is no EXR file\n"
                           "0003  bad         not-exr: this is no EXR file  => delete\n"
                           "total 4: 3 good, 1 bad (3), N s\nexit 1");
    EXPECT_FALSE(entryExists(dir.file("r/a.0003.exr")));
}

TEST_F(CheckFollowTest, AnInterruptEndsItWithTheSummaryOfWhatIsDone) {
    const struct {
        int signal;
        int exitCode;
    } cases[] = {{SIGINT, 130}, {SIGTERM, 143}};
    for (const auto& c : cases) {
        const auto render = [&] {
            write("0002", half("0002"));
            arriveBad("0003");
            await("0003  bad");
            arrive("0001");
            await("0001  good\n");
            interrupt(c.signal);
        };
        const std::string outcome = follow(
            {"-v", "-f", "1-9", "--min-age", "100000", "--json", "j", "--report", "p", "r/a.####.exr"}, render);
        EXPECT_EQ(outcome, "r/a.####.exr  1-9" + sequence +
                               "0003  bad         not-exr: this is no EXR file\n0001  good\n"
                               "total 2: 1 good, 1 bad (3), N s\nexit " +
                               std::to_string(c.exitCode));
        EXPECT_NE(readFileBytes(dir.file("j")).find("\"exitCode\":" + std::to_string(c.exitCode)),
                  std::string::npos);
        EXPECT_NE(readFileBytes(dir.file("p")).find("interrupted: 2 of 9 frames checked"), std::string::npos);
        for (const char* const number : {"0001", "0002", "0003"}) remove(number);
    }
}

TEST_F(CheckFollowTest, AnOutputThatNobodyReadsEndsIt) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    ProcessOptions options;
    options.stdoutFd = ends[1];
    EXPECT_EQ(outcome({"--follow", "-f", "1-9", "r/a.####.exr"}, options), "signal " + std::to_string(SIGPIPE));
    close(ends[1]);
}

TEST_F(CheckFollowTest, ASocketThatNobodyReadsEndsItToo) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    close(ends[0]);
    ProcessOptions options;
    options.stdoutFd = ends[1];
    const std::vector<std::string> arguments = {"--follow", "-f", "1-9", "--timeout", "60", "r/a.####.exr"};
    EXPECT_EQ(outcome(arguments, options), "signal " + std::to_string(SIGPIPE));
    close(ends[1]);
}

// As without following, a run that can't tell its outcome fails; it does not wait for frames first.
TEST_F(CheckFollowTest, AnOutputThatCantBeWrittenEndsIt) {
    arrive("0001");
    ProcessOptions options;
    options.stdoutFd = open("/dev/full", O_WRONLY | O_CLOEXEC);
    if (options.stdoutFd < 0) GTEST_SKIP() << "no /dev/full";
    EXPECT_EQ(outcome({"--follow", "-v", "-f", "1-9", "--report", "p", "r/a.####.exr"}, options),
              "2> kxCheckFrames: standard output: No space left on device\nexit 3");
    EXPECT_NE(readFileBytes(dir.file("p")).find("Interrupted: 1 checked frame is good"), std::string::npos);
    close(options.stdoutFd);
}

// Not with the machine, hours ago.
TEST_F(CheckFollowTest, TheBarKnowsWhenItsFirstPassBegan) {
    arrive("0001");
    arrive("0002");
    const ProcessResult result =
        check({"--follow", "-f", "1-2", "-l", "structure", "--progress", "always", "r/a.####.exr"});
    EXPECT_NE(result.err.find("left"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find(" h "), std::string::npos) << result.err;
}

TEST_F(CheckFollowTest, APageShowsThePicturesOfTheLastFiles) {
    const std::string outcome = follow({"-f", "1-2", "--report", "page", "r/a.####.exr"}, [this] {
        SamplePart dark = soundPart();
        dark.pixels = SamplePixels::black;
        frame("copy", dark);
        std::filesystem::rename(dir.file("copy"), dir.file("r/a.0001.exr"));
        await("0001  suspicious  black");
        arrive("0001");
        await("0001  good\n");
        arrive("0002");
    });
    EXPECT_EQ(outcome.substr(outcome.size() - 6), "exit 0") << outcome;
    const std::string page = readFileBytes(dir.file("page"));
    arrive("0001");
    arrive("0002");
    EXPECT_EQ(check({"-f", "1-2", "--report", "plain", "r/a.####.exr"}).exitCode, 0);
    const auto pictures = [](const std::string& html) {
        return allMatches(html, "data:image/jpeg;base64,[A-Za-z0-9+/=]+");
    };
    EXPECT_FALSE(pictures(page).empty());
    EXPECT_EQ(pictures(page), pictures(readFileBytes(dir.file("plain"))));
}
