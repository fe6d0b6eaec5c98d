// SPDX-License-Identifier: BSD-3-Clause
// Entries of a check's cache: what anyone may have put there, and what was written. The first byte of an input says
// what the rest is: a stream as it stands; changes of a sound entry, whose check sum is made right again, so that
// wrong values are reached; or a report that becomes an entry.
#include "check/kxCachedFacts.h"
#include "check/kxJsonLines.h"
#include "check/kxPictureCache.h"
#include "check/kxWorkerMessage.h"
#include "fuzz/FuzzReport.h"
#include "tests/support/TempDir.h"

#include <zlib.h>

#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

using namespace kxCheck;

namespace {

constexpr std::size_t headerSize = 1188;
constexpr std::size_t fileSize = headerSize + 760000;
constexpr std::size_t checkSumOffset = cachedFactsOffset + offsetof(CachedFacts, checkSum);

const std::string& entryPath() {
    static const TempDir directory{std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/dev/shm"};
    static const std::string path = directory.file("entry");
    return path;
}

// A sound file with a picture, and with NaN samples in one of its channels.
const FileReport& soundFile() {
    static const FileReport sound = [] {
        FileReport file;
        file.hasIdentity = true;
        file.identity = {1, 2, 1000, 1709251199123456789};
        kxExr::Part part;
        part.channels = {{"B"}, {"G"}, {"R"}};
        file.headers = std::make_shared<const Headers>(Headers{part, part});
        file.decoded = true;
        PictureReport picture;
        picture.picture.emplace();
        picture.picture->ranges[0] = SampleRange{-1, 2, 0.5};
        picture.strange = {{1, "R", 3, 4}};
        file.picture = std::make_shared<const PictureReport>(picture);
        return file;
    }();
    return sound;
}

void store(const FileReport& report) {
    kxCHK::_SingleImageView view;
    require(storeInCache(entryPath().c_str(), report, view).isEmpty());
}

QByteArray everythingOf(const FileReport& report) {
    FrameReport frame;
    frame.file = report;
    return frameJson(frame) + ReportEncoder().encode(report);
}

// The report, of the same file before it was looked at, with what the entry says; nothing when that is nothing.
std::optional<FileReport> cached(FileReport report, bool wantsPreview) {
    report.decoded = false;
    report.picture = nullptr;
    report.preview = {};
    const auto entry = CachedFrame::load(entryPath().c_str(), wantsPreview);
    if (!entry || !entry->addTo(report)) return std::nullopt;
    return report;
}

// Nothing, or what a worker may report.
void requireNothingWild(bool wantsPreview) {
    const auto report = cached(soundFile(), wantsPreview);
    if (!report) return;
    HeaderStore headers;
    require(report->decoded && report->picture && report->picture->isCached);
    require(ReportDecoder(headers).decode(ReportEncoder().encode(*report)).has_value());
}

void write(const std::string& stream) {
    require(writeFileBytes(entryPath(), stream));
}

std::string packed(const std::string& content) {
    uLongf length = compressBound(content.size());
    std::string stream(length, '\0');
    require(compress2(reinterpret_cast<Bytef*>(stream.data()), &length,
                      reinterpret_cast<const Bytef*>(content.data()), content.size(), 1) == Z_OK);
    stream.resize(length);
    return stream;
}

std::string unpacked(const std::string& stream) {
    std::string content(fileSize, '\0');
    uLongf length = fileSize;
    require(uncompress(reinterpret_cast<Bytef*>(content.data()), &length,
                       reinterpret_cast<const Bytef*>(stream.data()), stream.size()) == Z_OK);
    return content;
}

void makeCheckSumRight(std::string& content) {
    constexpr std::size_t time[] = {4, 8};
    constexpr std::size_t histogram[] = {84, 512};
    std::memset(&content[checkSumOffset], 0, 4);
    uLong sum = 0;
    const auto add = [&](std::size_t offset, std::size_t size) {
        sum = crc32(sum, reinterpret_cast<const Bytef*>(content.data()) + offset, static_cast<uInt>(size));
    };
    add(cachedFactsOffset, sizeof(CachedFacts));
    add(time[0], time[1]);
    add(histogram[0], histogram[1]);
    const auto stored = static_cast<std::uint32_t>(sum);
    std::memcpy(&content[checkSumOffset], &stored, sizeof stored);
}

void loadStream(FuzzInput input) {
    write({reinterpret_cast<const char*>(input.bytes()), input.size()});
    requireNothingWild(input.size() % 2 == 0);
}

// Pairs of a place, from the facts on or anywhere, and what stands there.
void loadChanged(FuzzInput input) {
    static const std::string sound = (store(soundFile()), unpacked(readFileBytes(entryPath())));
    const bool wantsPreview = input.takeBit();
    std::string content = sound;
    while (!input.empty()) {
        const auto place = input.take<std::uint16_t>();
        const std::size_t offset =
            place % 2 == 0 ? place / 2U % headerSize : cachedFactsOffset + place / 2U % sizeof(CachedFacts);
        content[offset] = static_cast<char>(input.take<uint8_t>());
    }
    makeCheckSumRight(content);
    write(packed(content));
    requireNothingWild(wantsPreview);
}

// What was written is read back for the same file, and for no other.
void storeReport(FuzzInput input) {
    FileReport report = FuzzReport(input).file();
    report.hasIdentity = report.decoded = true;
    report.findings.clear();
    if (!report.picture || !report.headers) return;
    unlink(entryPath().c_str());
    store(report);
    const auto found = cached(report, false);
    require(found.has_value() == entryExists(entryPath()));
    if (!found) return;
    auto expected = *report.picture;
    expected.isCached = true;
    report.preview = {};
    report.picture = std::make_shared<const PictureReport>(expected);
    require(everythingOf(*found) == everythingOf(report));
    ++report.identity.modified;
    require(!cached(report, false));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    FuzzInput input(bytes, size);
    constexpr void (*ways[])(FuzzInput) = {loadStream, loadChanged, storeReport};
    ways[input.take<uint8_t>() % 3](input);
    return 0;
}
