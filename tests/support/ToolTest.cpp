// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/ToolTest.h"

#include <cstddef>

const std::string toolBanner =
    "----------------------------------------------------------------\n"
    "kxVerifyExrModes  1.0.0\n"
    " Copyright (c) 2026 the kxVerifyExrModes developers\n"
    "----------------------------------------------------------------\n";

const std::string toolUsage =
    "This tool will read the header of EXR files and can delete files based on required modes\n"
    "\n"
    "Usage:\n"
    "\n"
    "  kxVerifyExrModes  filename.001.ext [options]\n"
    "\n"
    "  -seq <start> <end> <step> <offset>: restrict sequence\n"
    "  -del: delete files that do no match your choices \n"
    "  -requireMultiLayer: Exr files require to have multiple layers (1 main RGBA+ more "
    "channels/elements/aovs) \n"
    "  -requireMultipart:  Exr files require to have multiple parts (Exr 2.0 feature) \n"
    "  -noMultipart:  Exr files should not contain multiple parts (Exr 2.0 feature) \n"
    "  -showChannel: prints all channel names, grouped into exr parts\n";

const std::string plainFrame = "  imagesize: 64x36 scanline  Zip-16line    4 channels ";
const std::string unreadable = "     Error: Unable to load file";

void ToolTest::frame(const std::string& name, const SamplePart& part) {
    writeSampleFile(dir.file(name), {part});
}

void ToolTest::frame(const std::string& name, const std::vector<SamplePart>& parts) {
    writeSampleFile(dir.file(name), parts);
}

void ToolTest::frames(const std::vector<std::string>& names) {
    for (const std::string& name : names) frame(name);
}

void ToolTest::bytes(const std::string& name, const std::string& content) {
    ASSERT_TRUE(writeFileBytes(dir.file(name), content)) << name;
}

ProcessResult ToolTest::tool(const std::vector<std::string>& arguments, const ProcessOptions& options) const {
    std::vector<std::string> all{toolPath()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runProcess(all, options);
}

std::string ToolTest::verify(const std::string& name, const std::vector<std::string>& options) const {
    std::vector<std::string> arguments{dir.file(name)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ProcessResult result = tool(arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.substr(0, toolBanner.size()), toolBanner);
    return result.out.size() < toolBanner.size() ? result.out : result.out.substr(toolBanner.size());
}

std::string ToolTest::errorsOf(const std::string& name, const std::vector<std::string>& options) const {
    std::vector<std::string> arguments{dir.file(name)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ProcessResult result = tool(arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, toolBanner);
    std::string errors = result.err;
    const std::size_t at = errors.find(dir.path());
    if (at != std::string::npos) errors.replace(at, dir.path().size(), "DIR/");
    return errors;
}

std::string foundSequence(const std::string& range, const std::vector<std::string>& lines) {
    std::string text = "Found Sequence " + range + "\n";
    for (const std::string& line : lines) text += line + "\n";
    return text + "\n";
}

std::string toolPath() {
    return KX_TOOL;
}
