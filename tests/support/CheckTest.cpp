// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/CheckTest.h"

#include "tests/support/Patterns.h"

#include <ctime>
#include <filesystem>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

// Files of one age bear one time, also when a second ends between them: orders by date depend on it.
void setAge(const std::string& path, std::time_t seconds) {
    static const std::time_t now = std::time(nullptr);
    const timespec time = {now - seconds, 0};
    const timespec times[] = {time, time};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

std::string frameName(const std::string& prefix, int number) {
    std::string text = std::to_string(number);
    text.insert(0, text.size() < 4 ? 4 - text.size() : 0, '0');
    return prefix + text + ".exr";
}

std::string lowered(const std::string& text, const std::string& start) {
    std::string lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        lines += start + text.substr(at, end - at) + "\n";
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

// A sound part as it is, or changed so that something is found in it.
SamplePart maybeChanged(SamplePart part, std::mt19937& random, int number) {
    const Imath::Box2i few{{3, 4}, {9, 6}};
    const Imath::Box2i block{{24, 16}, {31, 23}};
    switch (random() % 14) {
        case 0:
            part.patches = {{"R", few, std::numeric_limits<float>::quiet_NaN()}};
            break;
        case 1:
            part.patches = {{"", few, std::numeric_limits<float>::infinity()}};
            break;
        case 2:
            part.patches = {{"", block, 0}};
            break;
        case 3:
            part.pixels = SamplePixels::black;
            break;
        case 4:
            part.patches = {{"", {{0, 0}, {63, 35}}, 0.5F}};
            break;
        case 5:
            part.gain = 0.2F;
            break;
        case 6:
            part.phase = number - 1;
            break;
        case 7:
            part.channels.push_back({"Z"});
            break;
        case 8:
            part.channels = {{"Z", Imf::FLOAT}};
            break;
        default:
            break;
    }
    return part;
}

}  // namespace

SamplePart CheckTest::soundPart(int number) {
    SamplePart part;
    part.pixels = SamplePixels::gradient;
    part.phase = number;
    return part;
}

void CheckTest::frame(const std::string& name, const SamplePart& part) {
    writeSampleFile(dir.file(name), {part});
    makeOld(name);
}

void CheckTest::frames(const std::string& prefix, int first, int last) {
    for (int number = first; number <= last; ++number) frame(frameName(prefix, number), soundPart(number));
}

void CheckTest::randomSequence(const std::string& prefix, int count, std::mt19937& random) {
    for (int number = 1; number <= count; ++number) {
        const std::string name = frameName(prefix, number);
        frame(name, maybeChanged(soundPart(number), random, number));
        const std::size_t size = readFileBytes(dir.file(name)).size();
        if (number > 1 && random() % 14 == 0) cut(name, random() % size);
        if (number > 1 && random() % 20 == 0) std::filesystem::remove(dir.file(name));
        if (std::filesystem::exists(dir.file(name)) && random() % 14 == 0) makeYoung(name);
    }
}

void CheckTest::bytes(const std::string& name, const std::string& content) {
    ASSERT_TRUE(writeFileBytes(dir.file(name), content)) << name;
    makeOld(name);
}

void CheckTest::cut(const std::string& name, std::size_t size) {
    bytes(name, readFileBytes(dir.file(name)).substr(0, size));
}

void CheckTest::makeOld(const std::string& name) const {
    setAge(dir.file(name), 3600);
}

// A time to come, so that it stays young on a machine that is busy.
void CheckTest::makeYoung(const std::string& name) const {
    setAge(dir.file(name), -1000);
}

void CheckTest::mixedSequence() {
    frames("beauty.", 1001, 1010);
    std::filesystem::remove(dir.file("beauty.1003.exr"));
    cut("beauty.1004.exr", readFileBytes(dir.file("beauty.1004.exr")).size() - 20);
    SamplePart unlike = soundPart(1005);
    unlike.channels.push_back({"Z"});
    frame("beauty.1005.exr", unlike);
    bytes("beauty.1006.exr", std::string(760, 'x'));
    std::filesystem::remove(dir.file("beauty.1008.exr"));
    std::filesystem::create_symlink("nowhere", dir.file("beauty.1008.exr"));
}

ProcessResult CheckTest::check(const std::vector<std::string>& arguments, const ProcessOptions& options) const {
    std::vector<std::string> all{checkPath()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    ProcessOptions here = options;
    if (here.workingDirectory.empty()) here.workingDirectory = dir.path();
    ProcessResult result = runProcess(all, here);
    for (std::string* text : {&result.out, &result.err})
        for (std::size_t at = text->find(dir.path()); at != std::string::npos; at = text->find(dir.path()))
            text->replace(at, dir.path().size(), "DIR/");
    return result;
}

std::string CheckTest::outcome(const std::vector<std::string>& arguments, const ProcessOptions& options) const {
    return described(check(arguments, options));
}

std::string CheckTest::described(const ProcessResult& result) {
    const std::string end =
        result.signal != 0 ? "signal " + std::to_string(result.signal) : "exit " + std::to_string(result.exitCode);
    return withoutSeconds(result.out) + lowered(result.err, "2> ") + end;
}

std::string checkPath() {
    return KX_CHECK_FRAMES;
}

std::string withoutSeconds(const std::string& text) {
    return withReplaced(text, "([,:]) [0-9]+ s\n", "\\1 N s\n");
}
