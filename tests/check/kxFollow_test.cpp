// SPDX-License-Identifier: BSD-3-Clause
// Files whose content does not matter: the workers say of them what the test is about.
#include "check/kxFollow.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

using namespace kxCheck;

namespace {

constexpr int minAge = 60;

FileReport reportOf(const FileCheck& check) {
    FileReport report;
    const auto identity = identityAt(check.path);
    report.hasIdentity = identity.has_value();
    if (identity) report.identity = *identity;
    return report;
}

// A look that lasts until there is a file "go", or the test has failed.
FileReport checkWhenTold(const FileCheck& check) {
    const std::filesystem::path path(check.path.toStdString());
    for (int tries = 0; tries < 6000 && !std::filesystem::exists(path.parent_path() / "go"); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return reportOf(check);
}

FileReport checkHalfDone(const FileCheck& check) {
    FileReport report = reportOf(check);
    report.findings = {makeFinding(Code::unfinished, "text")};
    return report;
}

// Half done are files that say so.
FileReport checkContent(const FileCheck& check) {
    return readFileBytes(check.path.toStdString()) == "half" ? checkHalfDone(check) : reportOf(check);
}

class FollowTest : public ::testing::Test {
protected:
    FollowTest() {
        settings.arguments = {path("a.#.exr")};
        settings.frames = FrameNumbers{1};
        settings.level = Level::structure;
        settings.minAge = minAge;
        listener.asking = [this](const std::vector<QByteArray>&) {
            told += "ask ";
            return true;
        };
        listener.judged = [this](const FollowedSequence&, const FrameReport& frame) {
            told += frame.name.text.toStdString() + " ";
        };
        listener.progress = [](const RunProgress&) {};
    }
    [[nodiscard]] QByteArray path(const char* name) const { return QByteArray::fromStdString(dir.file(name)); }
    void run(const CheckFunction& check) {
        CheckPools pools(settings, check, -1);
        Follow(settings, NamesMean::numberedSequences, pools, listener).run();
    }

    TempDir dir;
    Settings settings;
    FollowListener listener;
    std::string told;  // what happened, in its order
};

}  // namespace

TEST_F(FollowTest, DirectoriesAreAskedWhileAFileHangs) {
    ASSERT_TRUE(writeFileBytes(dir.file("a.1.exr"), "x"));
    listener.asking = [this](const std::vector<QByteArray>&) {
        told += "ask ";
        if (told == "ask ask ask ") {
            EXPECT_TRUE(writeFileBytes(dir.file("go"), ""));
        }
        return true;
    };
    run(checkWhenTold);
    EXPECT_EQ(told.substr(0, 12), "ask ask ask ");
    EXPECT_NE(told.find("1 ask "), std::string::npos) << told;
}

TEST_F(FollowTest, FramesAreToldWhileAReaderHangsAtOneBeforeThem) {
    settings.frames = FrameNumbers{1, 2};
    for (const char* const name : {"a.1.exr", "a.2.exr"}) ASSERT_TRUE(writeFileBytes(dir.file(name), "x"));
    listener.judged = [this](const FollowedSequence&, const FrameReport& frame) {
        told += frame.name.text.toStdString() + " ";
        EXPECT_TRUE(writeFileBytes(dir.file("go"), ""));
    };
    run([](const FileCheck& check) {
        return check.path.endsWith("a.1.exr") ? checkWhenTold(check) : reportOf(check);
    });
    const std::size_t first = told.find("1 ");
    ASSERT_NE(first, std::string::npos) << told;
    EXPECT_LT(told.find("2 "), first) << told;
}

// It is done in time, without news.
TEST_F(FollowTest, WhatIsDoneLastIsFollowedByOneMoreAsking) {
    ASSERT_TRUE(writeFileBytes(dir.file("a.1.exr"), "x"));
    struct stat status {};
    ASSERT_EQ(stat(dir.file("a.1.exr").c_str(), &status), 0);
    timespec times[2] = {{0, UTIME_OMIT}, {status.st_mtim.tv_sec - minAge + 1, status.st_mtim.tv_nsec}};
    ASSERT_EQ(utimensat(AT_FDCWD, dir.file("a.1.exr").c_str(), times, 0), 0);
    run(checkHalfDone);
    EXPECT_NE(told.find("1 ask "), std::string::npos) << told;
}

TEST_F(FollowTest, AGoodFrameThatIsJustBeingRewrittenIsWaitedForAtTheEnd) {
    settings.frames = FrameNumbers{1, 2};
    ASSERT_TRUE(writeFileBytes(dir.file("a.1.exr"), "whole"));
    listener.judged = [this](const FollowedSequence&, const FrameReport& frame) {
        told += frame.name.text.toStdString() + " ";
        if (told != "ask 1 ") return;
        EXPECT_TRUE(writeFileBytes(dir.file("a.1.exr"), "half"));
        EXPECT_TRUE(writeFileBytes(dir.file("a.2.exr"), "whole"));
    };
    int askingsAfterLast = 0;
    listener.asking = [this, &askingsAfterLast](const std::vector<QByteArray>&) {
        told += "ask ";
        if (told.find("2 ") == std::string::npos || ++askingsAfterLast != 3) return true;
        EXPECT_TRUE(writeFileBytes(dir.file("a.1.exr"), "whole again"));
        told += "rewritten ";
        return true;
    };
    run(checkContent);
    EXPECT_NE(told.find("rewritten 1 "), std::string::npos) << told;
}

TEST_F(FollowTest, SequencesOfNamesThatAreGoneAreNotWaitedFor) {
    std::filesystem::create_directory(dir.file("r"));
    settings.arguments = {path("r")};
    settings.frames = FrameNumbers{1, 2};
    settings.timeout = 60;
    const auto beginFrame = [this](const char* number) {
        EXPECT_TRUE(writeFileBytes(dir.file(std::string("r/temporary_a.") + number + ".exr"), "half"));
    };
    const auto endFrame = [this](const std::string& number) {
        std::filesystem::rename(dir.file("r/temporary_a." + number + ".exr"), dir.file("r/a." + number + ".exr"));
    };
    beginFrame("1");
    int askings = 0;
    listener.asking = [&](const std::vector<QByteArray>&) {
        ++askings;
        if (askings == 2) endFrame("1");
        if (askings == 3) beginFrame("2");
        if (askings == 4) endFrame("2");
        return true;
    };
    RunProgress last{};
    listener.progress = [&last](const RunProgress& progress) { last = progress; };
    CheckPools pools(settings, reportOf, -1);
    Follow follow(settings, NamesMean::numberedSequences, pools, listener);
    follow.run();
    ASSERT_EQ(follow.sequences().size(), 1U);
    EXPECT_EQ(follow.sequences().front()->name().path, path("r/a.####.exr"));
    EXPECT_EQ(last.done, 2);
    EXPECT_EQ(last.all, 2);
}

TEST_F(FollowTest, EndsWhenTheListenerDoesNotGoOn) {
    listener.asking = [this](const std::vector<QByteArray>&) {
        told += "ask ";
        return told != "ask ask ";
    };
    run(reportOf);
    EXPECT_EQ(told, "ask ask ");
}
