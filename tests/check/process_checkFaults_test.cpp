// SPDX-License-Identifier: BSD-3-Clause
// What the system fails to do for one frame costs that frame's verdict: it is unknown, and its file stays.
#include "tests/support/CheckTest.h"

#include <cerrno>
#include <cstring>

namespace {

const std::string head = "a.####.exr  1-5  256x256  4 channels half  none\n";
const std::string total = "total 5: 4 good, 1 unknown (3), N s\nexit 3";

// Takes several reads at level pixels.
SamplePart largePart(const std::vector<std::string>& channels) {
    SamplePart part = samplePartOf(channels);
    part.displayWindow = part.dataWindow = {{0, 0}, {255, 255}};
    part.compression = Imf::NO_COMPRESSION;
    part.pixels = SamplePixels::gradient;
    return part;
}

// Five large frames, of which the third is cut: where it can be read beyond its header it is bad.
class CheckFaultsTest : public CheckTest {
protected:
    void SetUp() override {
        for (const char* number : {"1", "2", "3", "4", "5"})
            frame(std::string("a.000") + number + ".exr", largePart({"A", "B", "G", "R"}));
        cut("a.0003.exr", readFileBytes(dir.file("a.0003.exr")).size() - 20);
    }

    // Under a rule of callFaults.cpp, removing what is bad. Whether it struck can be asked then.
    std::string outcomeUnder(const std::string& rule, const std::vector<std::string>& options) {
        ProcessOptions process;
        process.preload = KX_WATCHED_CALLS;
        process.environment = {"KX_FAULTS=" + rule, "KX_FAULT_LOG=" + log.file("faults")};
        std::vector<std::string> arguments = options;
        arguments.insert(arguments.end(), {"-j", "1", "--delete", "a.####.exr"});
        EXPECT_TRUE(writeFileBytes(log.file("faults"), ""));
        return outcome(arguments, process);
    }
    [[nodiscard]] bool struck() const { return readFileBytes(log.file("faults"))[0] != '\0'; }
    [[nodiscard]] std::size_t filesLeft() const { return dir.entries().size(); }

    const TempDir log;
};

// "read a.0003.exr 5 2 0": all reads of the frame but the first two fail with error 5, in each worker.
std::string failing(const std::string& call, int error, int goodFirst) {
    return call + " a.0003.exr " + std::to_string(error) + " " + std::to_string(goodFirst) + " 0";
}

std::string unreadable(int error) {
    return head + "0003  unknown     unreadable: " + std::strerror(error) + "\n" + total;
}

}  // namespace

TEST_F(CheckFaultsTest, WhatCantBeReadIsNeverBadWhereverReadingFails) {
    const struct {
        std::string level;
        int fewestReads;
        std::size_t left;  // files, when the frame could be read
    } cases[] = {{"headers", 1, 5}, {"structure", 2, 4}, {"pixels", 5, 4}};
    for (const int error : {EIO, ESTALE})
        for (const auto& c : cases) {
            SCOPED_TRACE(c.level + ": " + std::strerror(error));
            SetUp();
            int reads = 0;
            std::string found = outcomeUnder(failing("read", error, reads), {"-l", c.level});
            while (struck() && reads < 100) {
                EXPECT_EQ(found, unreadable(error)) << reads;
                EXPECT_EQ(filesLeft(), 5U) << reads;
                found = outcomeUnder(failing("read", error, ++reads), {"-l", c.level});
            }
            EXPECT_GE(reads, c.fewestReads);
            EXPECT_EQ(filesLeft(), c.left);
        }
}

TEST_F(CheckFaultsTest, WhatCantBeOpenedIsNeverBad) {
    for (const int error : {EIO, ESTALE, EACCES, ENOMEM, EMFILE})
        for (const char* const call : {"open", "fstat"}) {
            EXPECT_EQ(outcomeUnder(failing(call, error, 0), {}), unreadable(error)) << call;
            EXPECT_TRUE(struck()) << call;
            EXPECT_EQ(filesLeft(), 5U);
        }
}

TEST_F(CheckFaultsTest, AReaderThatHangsCostsItsFrameTheTimeLimit) {
    const std::string line = "0003  unknown     limit: the time limit of 3 seconds was reached\n";
    for (const char* const level : {"headers", "pixels"}) {
        const std::string found = outcomeUnder("read a.0003.exr hang 0 0", {"-l", level, "--time-limit", "3"});
        EXPECT_EQ(found, head + line + total) << level;
        EXPECT_TRUE(struck());
        EXPECT_EQ(filesLeft(), 5U);
    }
}

// The header is one read.
TEST_F(CheckFaultsTest, AReaderThatHangsAtThePixelsTakesNothingFromTheHeaders) {
    frame("a.0003.exr", largePart({"A", "B", "G", "R", "Z"}));
    const std::string found =
        outcomeUnder("read a.0003.exr hang 1 0", {"--time-limit", "3", "--ignore", "size-jump"});
    EXPECT_TRUE(struck());
    EXPECT_EQ(found, head +
                         "0003  unknown     limit: the time limit of 3 seconds was reached; differs: has channel Z "
                         "that the others lack\n" +
                         total);
}
