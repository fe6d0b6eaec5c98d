// SPDX-License-Identifier: BSD-3-Clause
// Writes the inputs that fuzzing starts from: makeCorpora <directory>. There is one folder for each target.
#include "check/kxWorkerMessage.h"
#include "examples/SampleFrames.h"
#include "image/KX_DataTypes_image.h"
#include "tests/support/ExrDamage.h"
#include "tests/support/ExrKinds.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

// A folder of numbered inputs.
class Corpus {
public:
    explicit Corpus(const fs::path& directory) : directory_(directory) { fs::create_directories(directory); }

    fs::path next() { return directory_ / std::to_string(count_++); }

    void add(const std::string& bytes) {
        std::ofstream file(next(), std::ios::binary);
        file.exceptions(std::ios::failbit | std::ios::badbit);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

private:
    fs::path directory_;
    int count_ = 0;
};

std::string bytesOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

template <class Number>
std::string bytesOf(Number number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

SamplePart smallPart() {
    SamplePart part;
    part.displayWindow = part.dataWindow = {{0, 0}, {3, 3}};
    return part;
}

void writeFrames(Corpus corpus) {
    for (int compression = 0; compression < Imf::NUM_COMPRESSION_METHODS; ++compression) {
        SamplePart part = smallPart();
        part.compression = static_cast<Imf::Compression>(compression);
        writeSampleFile(corpus.next().string(), {part});
    }
    SamplePart layers = smallPart();
    layers.channels = {{"a.G"}, {"a.R", Imf::FLOAT}, {"b.red"}, {"c", Imf::UINT}};
    layers.dataWindow = {{1, 1}, {2, 2}};
    SamplePart tiled = smallPart();
    tiled.tiled = true;
    SamplePart deep = smallPart();
    deep.deep = true;
    deep.compression = Imf::ZIPS_COMPRESSION;
    SamplePart deepTiled = deep;
    deepTiled.tiled = true;
    for (const SamplePart& part : {layers, tiled, deep, deepTiled}) writeSampleFile(corpus.next().string(), {part});
    writeSampleFile(corpus.next().string(), {smallPart(), layers});
    writeSampleFile(corpus.next().string(), {deep, tiled, layers, deepTiled});
}

void writeSequences(Corpus corpus) {
    corpus.add("shot.0001.exr\n-1 -1 1 0 0\n\nshot.0001.exr\nshot.0002.exr\nshot.0005.exr\nother.1.exr\n");
    corpus.add("shot.####.exr\n1 10 2 0 3\n\nSHOT.0001.EXR\nshot.01.exr\nshot.3.exr\nshot.-3.exr\n");
    corpus.add("shot*.exr\n-1 -1 1 0 1\n1-10, 15,20-22\nshot.0001.exr\nshot_0015.exr\nshot22.exr\n");
    corpus.add("a_tile03_.0042.exr\n-1 -1 1 0 0\n\na_tile00_.0042.exr\na_tile01_.0042.exr\na_tile29_.0043.exr\n");
    corpus.add("a_tile03_0042.exr\n-1 -1 1 0 2\n\na_tile03_0042.exr\na_tile04_0044.exr\n");
    corpus.add("comp.exr\n-1 -1 1 0 2\n\ncomp.exr\n");
    corpus.add(
        "s.9.exr\n-2147483648 2147483647 3 1 "
        "0\n-5,3-,-\ns.9223372036854775807.exr\ns.-9223372036854775808.exr\ns.0.exr\n");
    corpus.add("*\n-1 -1 1 0 3\n\n1\n2\n3000000\n\xe9.1\n");
}

// The record's bytes, and the stream that the file is.
void writeCacheFiles(Corpus corpus, const fs::path& scratch) {
    kxCHK::_SingleImageFile file;
    file.data.infoText = "Blade 7";
    file.image.setWidth(40);
    file.image.setHeight(30);
    file.image.formatText = QStringLiteral("OpenEXR Float");
    for (int i = 0; i < 1200; ++i) file.image.write(i, _Rgba8{static_cast<unsigned char>(i), 20, 30, 255});
    const std::string fileName = scratch.string();
    if (!file.saveToFile(QString::fromLatin1(fileName.c_str())).isEmpty()) throw std::runtime_error(fileName);
    corpus.add(std::string(1, '\0') + bytesOf(scratch));
    corpus.add("\1" + std::string(reinterpret_cast<const char*>(&file), sizeof file));
    file.data.recordId = 3586;
    file.image.width = 2000000000;
    corpus.add("\1" + std::string(reinterpret_cast<const char*>(&file), sizeof file));
    fs::remove(scratch);
}

// Every call once, on small images.
void writeDrawings(Corpus corpus) {
    const std::string sizes{"\0\0\x28\0\x1e\1\0\0\x14\0\x0a\2\0\0\x14\0\x0a\0", 18};
    for (int call = 0; call < 32; ++call) {
        std::string bytes = sizes + static_cast<char>(call);
        for (int i = 0; i < 24; ++i) bytes += static_cast<char>(i % 2 ? 3 + 7 * i : 0);
        corpus.add(bytes);
    }
}

void writeSegments(Corpus corpus) {
    for (const int count : {0, 1, 29, 30, 255}) {
        corpus.add(bytesOf(257) + bytesOf(std::uint16_t{0}) + bytesOf(517U) + bytesOf(0x10c05U) +
                   bytesOf(static_cast<unsigned char>(count)) + "filling");
    }
    corpus.add(bytesOf(1) + bytesOf(std::uint16_t{1}) + bytesOf(517U));
    corpus.add(bytesOf(1) + bytesOf(std::uint16_t{0}) + bytesOf(517U) + bytesOf(0x0c05U));
}

std::string message(const QByteArray& content) {
    QByteArray stream;
    kxCheck::appendMessage(stream, content);
    return stream.toStdString();
}

kxCheck::FileReport someReport() {
    kxCheck::FileReport report;
    report.hasIdentity = true;
    kxExr::Part part;
    part.name = "left";
    part.tiles.emplace();
    part.channels = {{"A"}, {"diffuse.R"}};
    report.headers = std::make_shared<const kxCheck::Headers>(kxCheck::Headers{part, kxExr::Part()});
    report.chunks = {{9, 9}, {1, 0}};
    report.decoded = true;
    auto picture = std::make_shared<kxCheck::PictureReport>();
    picture->picture.emplace();
    picture->picture->ranges[0].emplace();
    picture->strange = {{0, "diffuse.R", 1, 2}};
    report.picture = picture;
    report.preview.jpeg = report.preview.small = "jpeg";
    kxCheck::Finding finding = kxCheck::makeFinding(kxCheck::Code::chunk, "tile 1,2 can't be decoded");
    finding.part = 0;
    finding.tiles = {{1, 2, 0, 0}};
    report.findings = {finding, kxCheck::makeFinding(kxCheck::Code::truncated, "rows 1 to 2 are missing")};
    report.findings.back().rows.emplace();
    return report;
}

// Bytes for what is made of random values: every third one is a length, a count or a bit that stands for much.
std::string valueBytes(int seed, std::size_t size) {
    std::string bytes;
    unsigned state = static_cast<unsigned>(seed) * 2654435761U + 1;
    for (std::size_t i = 0; i < size; ++i) {
        state = state * 1103515245U + 12345U;
        bytes += static_cast<char>(i % 3 == 0 ? state >> 16U & 7U : state >> 16U);
    }
    return bytes;
}

void writeMessages(Corpus messages, Corpus processes) {
    kxCheck::ReportEncoder encoder;
    const std::string reports = message(encoder.encode(someReport())) + message(encoder.encode(someReport())) +
                                message(encoder.encode(kxCheck::FileReport()));
    const QByteArray checks = kxCheck::encodeChecks(
        {{"/r/a.1.exr", kxCheck::Level::headers}, {"/r/a.2.exr", kxCheck::Level::pixels, "/c/1", true, true}});
    messages.add('\0' + reports);
    messages.add("\1" + checks.toStdString());
    for (int seed = 0; seed < 8; ++seed) messages.add("\2" + valueBytes(seed, 500));
    for (const char level : {'\0', '\1'}) processes.add(std::string(1, '\0') + level + reports);
    processes.add("\1" + message(checks) + message(checks) + message("no checks"));
}

void writeCommandLines(Corpus corpus) {
    const std::string files = "\n\nshot.0001.exr\nshot.0002.exr\nshot.0005.exr\nShot.0005.exr\nother.EXR\n";
    corpus.add("shot.0001.exr" + files);
    corpus.add("--frames=1-5x2,9\n--chunk\n2/3\nshot.####.exr" + files);
    corpus.add("-lheaders\n-j8\n--expect=size=1920x1080,2x2\n--expect\nchannels=R,G\nshot.%04d.exr" + files);
    corpus.add("--fail-on=nan,inf\n--ignore=flat\n--sort=-date\n--list=bad,good\n--\nshot.$F4.exr\n*.exr" + files);
    corpus.add("--single\n--json=-\n--report=a\n--delete\n--min-age=0\nother.EXR\nshot.@@@@.exr\n." + files);
    corpus.add("--follow\n--frames=-5--1,1-24999\n--timeout=9\n--move-to=d\na_tile03_.0042.exr\n" +
               std::string("\na_tile00_.0042.exr\na_tile29_.0043.exr\na_tile01_0042.exr\n"));
    corpus.add(
        "--expect=pixel-aspect=1.33\n--expect=type=half\n--cache=c\ns.*.exr\n\ns.-0003.exr\ns_-1.exr\n"
        "s.9223372036854775807.exr\ns.999999999999999.exr\n");
}

void writeOutputs(Corpus corpus) {
    for (int seed = 0; seed < 12; ++seed) corpus.add(valueBytes(seed, 600));
    std::string texts = "\2";
    for (const char* text :
         {"</title><b>&amp;", "\"onload=\"x", "a\nbad", "\x1b[2J\xc2\x9b", "\xff\xed\xa0\x80", "]]>"})
        for (int i = 0; i < 12; ++i) texts += static_cast<char>(std::strlen(text)) + std::string(text);
    corpus.add(texts);
}

void writeEntries(Corpus corpus) {
    corpus.add(std::string("\0no stream", 10));
    for (int seed = 0; seed < 4; ++seed) corpus.add("\1" + valueBytes(seed, 60));
    for (int seed = 0; seed < 12; ++seed) corpus.add("\2" + valueBytes(seed, 500));
}

// Every storage with every compression, levels, sampling and several parts, as small as shows them all.
std::vector<std::string> smallKinds() {
    std::vector<std::string> files;
    for (Kind kind : exrKinds()) {
        for (KindPart& part : kind.parts) {
            part.dataWindow = {{0, 0}, {17, 35}};
            part.displayWindow = {{0, 0}, {19, 19}};
        }
        files.push_back(exrBytes(kind));
    }
    return files;
}

void addFiles(Corpus& corpus, const std::vector<ExrDamage>& damages) {
    for (const ExrDamage& damage : damages) corpus.add(damage.file);
}

void writeFiles(Corpus layouts, Corpus pixels) {
    for (const std::string& file : smallKinds()) {
        layouts.add(file);
        pixels.add(file);
        const auto chunks = damagedChunks(file);
        addFiles(layouts, {chunks.front(), chunks.back()});
        const auto data = damagedData(file);
        if (!data.empty()) addFiles(pixels, {chunks.back(), data.front()});
    }
    addFiles(layouts, damagedHeaders(smallKinds().front()));
    addFiles(layouts, damagedHeaders(smallKinds().back()));
    addFiles(layouts, foreignFiles());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: makeCorpora <directory>\n", stderr);
        return 1;
    }
    try {
        const fs::path root = argv[1];
        writeFrames(Corpus(root / "exrCheck"));
        writeSequences(Corpus(root / "sequence"));
        writeCacheFiles(Corpus(root / "cacheFile"), root / "scratch");
        writeDrawings(Corpus(root / "drawing"));
        writeSegments(Corpus(root / "checkJob"));
        writeFiles(Corpus(root / "layout"), Corpus(root / "pixels"));
        writeMessages(Corpus(root / "workerMessage"), Corpus(root / "workerProcess"));
        writeCommandLines(Corpus(root / "checkOptions"));
        writeOutputs(Corpus(root / "checkOutput"));
        writeEntries(Corpus(root / "checkCache"));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "Unable to write the corpora: %s\n", error.what());
        return 1;
    }
    return 0;
}
