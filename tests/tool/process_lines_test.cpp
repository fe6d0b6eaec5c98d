// SPDX-License-Identifier: BSD-3-Clause
// The line of a frame: sizes, storage, compression, channels, parts and the decision.
#include "tests/support/RealSamples.h"
#include "tests/support/ToolTest.h"

#include <algorithm>
#include <filesystem>
#include <map>

namespace {

using Imath::Box2i;

class LinesTest : public ToolTest {
protected:
    // What follows the frame prefix of the directory's only frame.
    std::string lineOf(const std::vector<SamplePart>& parts, const std::vector<std::string>& options = {}) {
        frame("shot.0007.exr", parts);
        const std::string text = verify("shot.0007.exr", options);
        const std::string before = "Found Sequence 7-7, 1\n0007: ";
        const std::string after = "\n\n";
        EXPECT_EQ(text.substr(0, before.size()), before);
        EXPECT_GE(text.size(), before.size() + after.size());
        EXPECT_EQ(text.substr(text.size() - after.size()), after);
        return text.substr(before.size(), text.size() - before.size() - after.size());
    }
    std::string lineOf(const SamplePart& part, const std::vector<std::string>& options = {}) {
        return lineOf(std::vector<SamplePart>{part}, options);
    }
    std::string channelsOf(const std::vector<SamplePart>& parts) {
        const std::string line = lineOf(parts, {"-showChannel"});
        return line.substr(line.find("  [") + 2);
    }
};

SamplePart compressed(Imf::Compression compression) {
    SamplePart part;
    part.compression = compression;
    return part;
}

SamplePart withWindows(const Box2i& display, const Box2i& data) {
    SamplePart part;
    part.displayWindow = display;
    part.dataWindow = data;
    return part;
}

SamplePart deepPart(bool tiled, Imf::Compression compression) {
    SamplePart part = compressed(compression);
    part.deep = true;
    part.tiled = tiled;
    return part;
}

SamplePart typedPart(const std::vector<SampleChannel>& channels) {
    SamplePart part;
    part.channels = channels;
    return part;
}

TEST_F(LinesTest, ShowsEveryCompression) {
    const struct {
        Imf::Compression compression;
        const char* text;
    } table[] = {
        {Imf::NO_COMPRESSION, " uncompr. "},
        {Imf::RLE_COMPRESSION, " RLE"},
        {Imf::ZIPS_COMPRESSION, " Zip-1line"},
        {Imf::ZIP_COMPRESSION, " Zip-16line"},
        {Imf::PIZ_COMPRESSION, " Wavelet"},
        {Imf::PXR24_COMPRESSION, " lossy float"},
        {Imf::B44_COMPRESSION, " lossy 4-by-4 static"},
        {Imf::B44A_COMPRESSION, " lossy 4-by-4 variable"},
        {Imf::DWAA_COMPRESSION, " unknown compr."},
        {Imf::DWAB_COMPRESSION, " unknown compr."},
    };
    for (const auto& row : table) {
        EXPECT_EQ(lineOf(compressed(row.compression)),
                  "  imagesize: 64x36 scanline " + std::string(row.text) + "    4 channels ");
    }
}

TEST_F(LinesTest, ShowsTheCompleteLineOfAFailingFrame) {
    SamplePart part = withWindows(Box2i({0, 0}, {1919, 1079}), Box2i({0, 0}, {1919, 1079}));
    frame("shot.1001.exr", part);
    EXPECT_EQ(verify("shot.1001.exr", {"-requireMultiLayer", "-del", "-showChannel"}),
              foundSequence("1001-1001, 1",
                            {"1001:   imagesize: 1920x1080 scanline  Zip-16line    4 channels    => DELETE  "
                             "[|half: A, B, G, R]"}));
}

TEST_F(LinesTest, TiledFramesSaySo) {
    SamplePart part;
    part.tiled = true;
    EXPECT_EQ(lineOf(part), "  imagesize: 64x36 tiled     Zip-16line    4 channels ");
}

TEST_F(LinesTest, DeepFramesSaySo) {
    EXPECT_EQ(lineOf(deepPart(false, Imf::ZIPS_COMPRESSION)),
              "  imagesize: 64x36 scanline  Zip-1line    deep  4 channels ");
    EXPECT_EQ(lineOf(deepPart(true, Imf::NO_COMPRESSION)),
              "  imagesize: 64x36 tiled     uncompr.     deep  4 channels ");
}

TEST_F(LinesTest, CroppedFramesShowTheDataWindow) {
    const Box2i display({0, 0}, {99, 99});
    const struct {
        Box2i data;
        const char* line;
    } table[] = {
        {Box2i({0, 0}, {49, 99}),
         "  imagesize: 100x100 (data: [0;0]-[49;99] 50x100) scanline  Zip-16line    cropped  4 channels "},
        {Box2i({10, 20}, {109, 29}),
         "  imagesize: 100x100 (data: [10;20]-[109;29] 100x10) scanline  Zip-16line    cropped  4 channels "},
        {Box2i({-5, -6}, {104, 105}),
         "  imagesize: 100x100 (data: [-5;-6]-[104;105] 110x112) scanline  Zip-16line    cropped  4 channels "},
        {Box2i({500, 500}, {500, 500}),
         "  imagesize: 100x100 (data: [500;500]-[500;500] 1x1) scanline  Zip-16line    cropped  4 channels "},
    };
    for (const auto& row : table) EXPECT_EQ(lineOf(withWindows(display, row.data)), row.line);
}

TEST_F(LinesTest, MovedDataWindowOfTheSameSizeIsNotCropped) {
    EXPECT_EQ(lineOf(withWindows(Box2i({0, 0}, {99, 99}), Box2i({10, 10}, {109, 109}))),
              "  imagesize: 100x100 scanline  Zip-16line    4 channels ");
}

TEST_F(LinesTest, CroppedDeepTiledFrameShowsAll) {
    SamplePart part = deepPart(true, Imf::RLE_COMPRESSION);
    part.dataWindow = Box2i({0, 0}, {31, 35});
    EXPECT_EQ(lineOf(part),
              "  imagesize: 64x36 (data: [0;0]-[31;35] 32x36) tiled     RLE    cropped  deep  4 channels ");
}

TEST_F(LinesTest, PartsAreCountedAndTheirChannelsSummed) {
    const SamplePart one = samplePartOf({"Z"});
    EXPECT_EQ(lineOf({SamplePart(), one}), "  imagesize: 64x36 scanline  Zip-16line    5 channels   2 parts");
    EXPECT_EQ(lineOf({one, one, one}), "  imagesize: 64x36 scanline  Zip-16line    3 channels   3 parts");
}

TEST_F(LinesTest, StorageAndCompressionAreThoseOfTheFirstPart) {
    SamplePart tiled = compressed(Imf::PIZ_COMPRESSION);
    tiled.tiled = true;
    const SamplePart deep = deepPart(false, Imf::RLE_COMPRESSION);
    EXPECT_EQ(lineOf({tiled, deep}), "  imagesize: 64x36 tiled     Wavelet    8 channels   2 parts");
    EXPECT_EQ(lineOf({deep, tiled}), "  imagesize: 64x36 scanline  RLE    deep  8 channels   2 parts");
}

TEST_F(LinesTest, DataCornersAreTheLastPartsAndTheSizeTheFirsts) {
    SamplePart first;
    first.dataWindow = Box2i({1, 2}, {10, 12});
    SamplePart last;
    last.dataWindow = Box2i({3, 4}, {53, 34});
    EXPECT_EQ(lineOf({first, last}),
              "  imagesize: 64x36 (data: [3;4]-[53;34] 10x11) scanline  Zip-16line    cropped  8 channels   2 "
              "parts");
    // Only the first part decides whether the frame is cropped.
    EXPECT_EQ(lineOf({SamplePart(), last}), "  imagesize: 64x36 scanline  Zip-16line    8 channels   2 parts");
}

TEST_F(LinesTest, MultiLayerNeedsFiveChannels) {
    const std::vector<std::string> mode{"-requireMultiLayer"};
    EXPECT_EQ(lineOf(SamplePart(), mode), plainFrame + "   => DELETE (delete disabled)");
    EXPECT_EQ(lineOf(samplePartOf({"R", "G", "B", "A", "Z"}), mode),
              "  imagesize: 64x36 scanline  Zip-16line    5 channels ");
    EXPECT_EQ(lineOf(samplePartOf({"Y"}), mode),
              "  imagesize: 64x36 scanline  Zip-16line    1 channels    => DELETE (delete disabled)");
}

TEST_F(LinesTest, SeveralPartsPassMultiLayerAndMultipart) {
    const std::vector<SamplePart> parts{samplePartOf({"R"}), samplePartOf({"G"})};
    const std::string line = "  imagesize: 64x36 scanline  Zip-16line    2 channels   2 parts";
    EXPECT_EQ(lineOf(parts, {"-requireMultiLayer"}), line);
    EXPECT_EQ(lineOf(parts, {"-requireMultiLayer", "-requireMultipart"}), line);
    EXPECT_EQ(lineOf(parts, {"-noMultipart"}), line + "   => DELETE (delete disabled)");
    EXPECT_EQ(lineOf(parts, {"-noMultipart", "-requireMultipart"}), line + "   => DELETE (delete disabled)");
}

TEST_F(LinesTest, SinglePartFailsMultipartWhateverItsChannels) {
    const SamplePart many = samplePartOf({"R", "G", "B", "A", "a.R", "b.R"});
    const std::string line = "  imagesize: 64x36 scanline  Zip-16line    6 channels ";
    EXPECT_EQ(lineOf(many, {"-requireMultipart"}), line + "   => DELETE (delete disabled)");
    EXPECT_EQ(lineOf(many, {"-noMultipart"}), line);
}

TEST_F(LinesTest, ChannelTextGroupsPartsTypesAndLayers) {
    const struct {
        std::vector<SamplePart> parts;
        const char* text;
    } table[] = {
        {{samplePartOf({"A", "B", "G", "R"})}, "[|half: A, B, G, R]"},
        {{samplePartOf({"diffuse.R", "diffuse.G", "diffuse.B"})}, "[|half: diffuse.BGR]"},
        {{samplePartOf({"a.G", "a.R", "b.R", "c"})}, "[|half: a.GR, b.R, c]"},
        {{samplePartOf({"spec.green", "spec.red"})}, "[|half: spec.greenR]"},
        {{samplePartOf({"x.ALPHA", "x.Blue", "x.gReEn", "x.red", "x.z"})}, "[|half: x.ALPHABGRz]"},
        {{samplePartOf({"x.a", "x.redgreen.alpha", "x.redgreen.hatred"})}, "[|half: x.a, x.redgreen.alphahatR]"},
        {{samplePartOf({"p.a", "p.alphAredBLUEgreen"})}, "[|half: p.aARBG]"},
        {{samplePartOf({"left.diffuse.B", "left.diffuse.G", "left.spec.B"})},
         "[|half: left.diffuse.BG, left.spec.B]"},
        // A channel without layer ends the layer.
        {{samplePartOf({"d.B", "dZ", "e.B"})}, "[|half: d.B, dZ, e.B]"},
        // The type change within a layer costs the blank and the colon of the type.
        {{typedPart({{"diffuse.G", Imf::HALF}, {"diffuse.R", Imf::FLOAT}})}, "[|half: diffuse.G, |floatR]"},
        {{typedPart({{"A", Imf::HALF}, {"Z", Imf::FLOAT}, {"id", Imf::UINT}, {"z", Imf::UINT}})},
         "[|half: A, |float: Z, |int: id, z]"},
        // An empty layer counts as the one before the first channel.
        {{samplePartOf({".R"})}, "[|halfR]"},
        {{samplePartOf({".G", ".R"})}, "[|halfGR]"},
        {{samplePartOf({"a."})}, "[|half: a.]"},
        {{samplePartOf({"a.", "a.R"})}, "[|half: a.R]"},
        {{samplePartOf({"A"}), samplePartOf({"B"})}, "[|half: A] [|half: B]"},
        // The type starts anew in each part, the layer does not.
        {{samplePartOf({"d.B"}), samplePartOf({"d.G"})}, "[|half: d.B] [|halfG]"},
        {{samplePartOf({"d.B"}), samplePartOf({"c"}), samplePartOf({"d.G"})},
         "[|half: d.B] [|half: c] [|half: d.G]"},
    };
    for (const auto& row : table) EXPECT_EQ(channelsOf(row.parts), row.text);
}

TEST_F(LinesTest, ChannelNamesAreBytes) {
    EXPECT_EQ(channelsOf({samplePartOf({"\xc3\xa9t\xe9.%s%1"})}), "[|half: \xc3\xa9t\xe9.%s%1]");
}

TEST_F(LinesTest, ManyChannelsAreAllShown) {
    std::vector<std::string> names;
    std::string text = "[|half: ";
    for (int i = 1000; i < 2000; ++i) {
        names.push_back("c" + std::to_string(i));
        text += (i == 1000 ? "c" : ", c") + std::to_string(i);
    }
    SamplePart part = samplePartOf(names);
    part.dataWindow = part.displayWindow = Box2i({0, 0}, {0, 0});
    EXPECT_EQ(lineOf(part, {"-showChannel"}),
              "  imagesize: 1x1 scanline  Zip-16line    1000 channels   " + text + "]");
}

TEST_F(LinesTest, UnreadableFilesGiveTheErrorLine) {
    frame("good.0001.exr");
    const std::string good = readFileBytes(dir.file("good.0001.exr"));
    for (const std::string& content :
         {std::string(), std::string("x"), std::string("no EXR file at all"), good.substr(0, 8),
          good.substr(0, 100), std::string(4096, '\0'), std::string(4096, '\xff')}) {
        bytes("shot.0001.exr", content);
        EXPECT_EQ(verify("shot.0001.exr", {"-showChannel", "-requireMultipart", "-del"}),
                  foundSequence("1-1, 1", {"0001: " + unreadable}));
        EXPECT_TRUE(entryExists(dir.file("shot.0001.exr")));
    }
}

// Compared by hand with what the EXR library's own header printer says of these files.
TEST_F(LinesTest, RealFramesGiveTheirLines) {
    const std::string samples = realSamplesDir();
    if (samples.empty()) GTEST_SKIP() << "the folder of real sample files is not here";
    const struct {
        const char* name;
        const char* line;
    } table[] = {
        {"Beachball/multipart.0001.exr",
         "0001:   imagesize: 2048x1556 (data: [1070;245]-[1455;1013] 877x876) scanline  Zip-1line    cropped  20 "
         "channels   10 parts  [|half: A, B, G, R] [|half: Z] [|half: forward.uv] [|half: whitebarmask.mask] "
         "[|half: A, B, G, R] [|half: Z] [|half: forward.uv] [|half: disparityL.xy] [|half: disparityR.xy] "
         "[|half: whitebarmask.mask]"},
        {"Beachball/singlepart.0001.exr",
         "0001:   imagesize: 2048x1556 (data: [654;245]-[1564;1120] 911x876) scanline  Zip-1line    cropped  20 "
         "channels   [|half: A, B, G, R, Z, disparityL.xy, disparityR.xy, forward.left.uv, forward.right.uv, "
         "left.ABGRZ, whitebarmask.left.mask, whitebarmask.right.mask]"},
        {"DisplayWindow/t01.exr", "  01:   imagesize: 400x300 scanline  Wavelet    3 channels   [|half: B, G, R]"},
        {"Tiles/GoldenGate.exr", "   1:   imagesize: 1262x860 tiled     Wavelet    3 channels   [|half: B, G, R]"},
        {"v2/Trunks.exr",
         "   1:   imagesize: 1024x576 (data: [0;141]-[1023;575] 1024x435) scanline  Zip-1line    cropped  deep  5 "
         "channels   [|half: A, B, G, R, |float: Z]"},
    };
    for (const auto& row : table) {
        const ProcessResult result = tool({samples + row.name, "-showChannel", "-seq", "1", "1", "1", "0"});
        EXPECT_EQ(result.out, toolBanner + foundSequence("1-1, 1", {row.line}));
    }
}

// The limit of memory that the tool sets itself leaves enough for every sound file, and for all of them in one run.
TEST_F(LinesTest, EveryRealFrameIsRead) {
    const std::string samples = realSamplesDir();
    if (samples.empty()) GTEST_SKIP() << "the folder of real sample files is not here";
    std::map<std::string, std::string> sampleOfFrame;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(samples)) {
        const std::filesystem::path& sample = entry.path();
        if (sample.extension() != ".exr" || sample.parent_path().filename() == "Damaged") continue;
        const std::string number = std::to_string(1001 + sampleOfFrame.size());
        bytes("sound." + number + ".exr", readFileBytes(sample.string()));
        sampleOfFrame[number] = sample.string();
    }
    ASSERT_GT(sampleOfFrame.size(), 0U);
    const std::string text = verify("sound.1001.exr", {"-showChannel"});
    for (const auto& [number, sample] : sampleOfFrame)
        EXPECT_NE(text.find("\n" + number + ":   imagesize: "), std::string::npos) << sample;
}

// Files on which earlier readers crashed or ran out of memory, as the frames of one sequence.
TEST_F(LinesTest, DamagedFilesGiveOneLineEach) {
    const std::string samples = realSamplesDir();
    if (samples.empty()) GTEST_SKIP() << "the folder of real sample files is not here";
    int count = 0;
    std::map<int, std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator(samples + "Damaged")) {
        contents[++count] = readFileBytes(entry.path().string());
        bytes("damaged." + std::to_string(count) + ".exr", contents[count]);
    }
    ASSERT_GT(count, 0);
    const std::string text = verify("damaged.1.exr", {"-del", "-requireMultiLayer", "-showChannel"});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), count + 2);
    for (const auto& [number, content] : contents) {
        const std::string prefix =
            "\n" + std::string(4 - std::to_string(number).size(), ' ') + std::to_string(number);
        const bool unreadableLine = text.find(prefix + ": " + unreadable + "\n") != std::string::npos;
        const bool failingLine = text.find(prefix + ":   imagesize") != std::string::npos;
        EXPECT_NE(unreadableLine, failingLine) << number;
        if (!unreadableLine) continue;
        EXPECT_EQ(readFileBytes(dir.file("damaged." + std::to_string(number) + ".exr")), content);
    }
}

}  // namespace
