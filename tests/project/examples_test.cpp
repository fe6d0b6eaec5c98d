// SPDX-License-Identifier: BSD-3-Clause
// The examples of the image modules as processes.
#include "tests/support/ToolTest.h"

#include <string>
#include <vector>

namespace {

class HeadersAsJsonTest : public ToolTest {
protected:
    ProcessResult example(const std::vector<std::string>& arguments) const {
        std::vector<std::string> all{KX_HEADERS_AS_JSON};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return runProcess(all);
    }
};

}  // namespace

TEST_F(HeadersAsJsonTest, PrintsTheFramesOfASequenceInTheirOrder) {
    frames({"beauty.10.exr", "other.1.exr", "beauty.9.png"});
    SamplePart depth = samplePartOf({"Z"});
    depth.tiled = true;
    depth.dataWindow = {{5, 5}, {14, 9}};
    depth.compression = Imf::NO_COMPRESSION;
    frame("beauty.9.exr", {SamplePart(), depth});
    bytes("beauty.11.exr", "not a frame");
    const ProcessResult result = example({dir.file("beauty.####.exr")});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exitCode, 0);
    const std::string plain =
        "{\"channels\":[\"A\",\"B\",\"G\",\"R\"],\"compression\":\"zip\",\"size\":[64,36],\"storage\":"
        "\"scanline\"}";
    EXPECT_EQ(result.out,
              "{\"frame\":9,\"parts\":[" + plain +
                  ",{\"channels\":[\"Z\"],\"compression\":\"none\",\"size\":[10,5],\"storage\":\"tiled\"}]}\n"
                  "{\"frame\":10,\"parts\":[" +
                  plain +
                  "]}\n"
                  "{\"frame\":11,\"parts\":[]}\n");
}

TEST_F(HeadersAsJsonTest, WantsOnePathOfAFrame) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"noSlash"}, {"/a.1.exr", "/b.1.exr"}}) {
        const ProcessResult result = example(arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "usage: headersAsJson <directory>/<frame>\n");
    }
}
