// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/PlayedPage.h"

#include "check/kxThumbnail.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

using namespace kxCheck;

namespace {

constexpr int turns = 60;  // pictures until they repeat

unsigned char level(double value) {
    return static_cast<unsigned char>(std::lround(255 * std::fmin(std::fmax(value, 0), 1)));
}

// Sky, hills, and a ball that comes along; `light` from 0 to 1.
Preview landscape(int turn, double light) {
    constexpr int width = 580;
    constexpr int height = 326;
    kxP::_imgRGBABuffer8 picture(width * height);
    picture.setWidth(width);
    picture.setHeight(height);
    unsigned char* at = picture.pixels;
    const double ballX = 0.1 + 0.8 * turn / turns;
    const double ballY = 0.62 - 0.12 * std::fabs(std::sin(turn * 0.3));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double u = (x + 0.5) / width;
            const double v = (y + 0.5) / height;
            const double hill = 0.6 + 0.07 * std::sin(u * 9 + turn * 0.02) + 0.03 * std::sin(u * 23);
            std::array<double, 3> colour = {0.45 + 0.3 * v, 0.6 + 0.2 * v, 0.9 - 0.1 * v};
            if (v > hill) colour = {0.25 + 0.2 * (v - hill), 0.42 - 0.3 * (v - hill), 0.2};
            const double dx = (u - ballX) * 16 / 9;
            const double dy = v - ballY;
            const double r = std::sqrt(dx * dx + dy * dy) / 0.13;
            if (r < 1) {
                const double shade =
                    1.1 - 0.8 * std::sqrt((dx + 0.04) * (dx + 0.04) + (dy + 0.05) * (dy + 0.05)) / 0.13;
                colour = {0.9 * shade, 0.35 * shade, 0.15 * shade};
            }
            for (const double part : colour) *at++ = level(part * light);
            *at++ = 255;
        }
    return makePreview(picture);
}

const Preview& previewOf(int turn, bool isDark) {
    static std::array<std::array<std::unique_ptr<Preview>, 2>, turns> previews;
    std::unique_ptr<Preview>& preview = previews.at(static_cast<std::size_t>(turn)).at(isDark ? 1 : 0);
    if (!preview) preview = std::make_unique<Preview>(landscape(turn, isDark ? 0.35 : 1));
    return *preview;
}

// What is wrong with frames of every hundred.
struct PlayedFinding {
    int place;
    Code code;
    const char* text;
};
constexpr PlayedFinding findings[] = {
    {17, Code::truncated, "rows 540 to 1079 of 1080 are missing"},
    {17, Code::sizeJump, "6300000 bytes, before and after it 12612304 and 12613821"},
    {31, Code::nan, "12 samples of channel R are no numbers"},
    {44, Code::chunk, "tile 3,2 of part 0 can't be decoded"},
    {59, Code::alphaMissing, "the alpha is 0 in 2 areas within the picture"},
    {60, Code::jump, "differs 5.1 times as much from its neighbours as they do from each other"},
    {72, Code::unreadable, "Input/output error"},
    {88, Code::missing, ""},
    {89, Code::missing, ""},
    {90, Code::missing, ""},
};

bool isDamagedHundred(int i, int frames) {
    return frames < 500 || i / 100 % 4 == 1;
}

std::vector<Finding> findingsOf(int i, int frames, PlayedDamage damage) {
    std::vector<Finding> found;
    if (damage == PlayedDamage::all)
        found.push_back(
            makeFinding(Code::chunk, "rows " + QByteArray::number(i) + " to 1079 of 1080 can't be decoded"));
    if (damage != PlayedDamage::some || !isDamagedHundred(i, frames)) return found;
    for (const PlayedFinding& finding : findings)
        if (finding.place == i % 100) found.push_back(makeFinding(finding.code, finding.text));
    return found;
}

bool isPictured(int i, int frames, PlayedDamage damage) {
    if (i < 0 || i >= frames) return false;
    const Verdict verdict = verdictOf(findingsOf(i, frames, damage));
    return damage == PlayedDamage::all || verdict == Verdict::good || verdict == Verdict::suspicious;
}

std::shared_ptr<const PictureReport> pictureOf(int i, bool isDark) {
    auto picture = std::make_shared<PictureReport>();
    PictureFacts facts;
    for (std::size_t bin = 0; bin < kxCHK::histogramBins; ++bin)
        for (std::size_t channel = 0; channel < 4; ++channel) {
            const double x = (static_cast<double>(bin) - 6 - 6.0 * static_cast<double>(channel)) / (isDark ? 3 : 6);
            facts.histogram[channel][bin] = static_cast<unsigned>(90000 * std::exp(-x * x));
        }
    const double mean = (0.35 + 0.05 * std::sin(i * 0.05) + 0.01 * std::sin(i * 1.7)) * (isDark ? 0.4 : 1);
    for (std::size_t channel = 0; channel < 3; ++channel)
        facts.ranges[channel] = SampleRange{0, 4, mean * (1 - 0.1 * static_cast<double>(channel))};
    picture->picture = facts;
    return picture;
}

}  // namespace

FrameReport playedFrame(int i, int frames, PlayedDamage damage) {
    FrameReport frame;
    frame.name.number = 1001 + i;
    frame.name.text = QByteArray::number(1001 + i);
    frame.name.path = "/renders/sh010/beauty." + frame.name.text + ".exr";
    frame.findings = findingsOf(i, frames, damage);
    arrangeFindings(frame.findings);
    frame.verdict = verdictOf(frame.findings);
    const auto has = [&frame](Code code) { return !frame.findings.empty() && frame.findings.front().code == code; };
    frame.hasSizeJump = frame.hasJump =
        isPictured(i - 1, frames, damage) && isPictured(i, frames, damage) && isPictured(i + 1, frames, damage);
    frame.jump = has(Code::jump) ? 5.1 : 0.2 + 0.15 * std::sin(i * 0.9);
    frame.sizeJump = has(Code::truncated) ? 6.8 : 0.1;
    frame.level = levelOf(frame.findings, frame.sizeJump, frame.jump);
    if (frame.verdict == Verdict::missing || frame.verdict == Verdict::unknown) return frame;
    frame.file.hasIdentity = true;
    frame.file.identity.size = has(Code::truncated) ? 6300000 : 12600000 + std::lround(90000 * std::sin(i * 0.13));
    frame.file.identity.modified = 1709251199123456789;
    frame.file.notes = {"render" + QByteArray::number(i % 7), 754 + i % 60};
    frame.file.decoded = frame.verdict != Verdict::bad;
    if (frame.file.decoded || damage == PlayedDamage::all) frame.file.picture = pictureOf(i, has(Code::jump));
    if (frame.file.picture || has(Code::truncated)) frame.file.preview = previewOf(i % turns, has(Code::jump));
    return frame;
}

void playSequence(PageWriter& page, int frames, PlayedDamage damage, const QByteArray& path) {
    SequenceName sequence;
    sequence.path = path;
    if (frames > 1) sequence.range = FrameRange{1001, 1000 + frames, 1};
    sequence.frames = frames;
    kxExr::Part part;
    part.displayWindow = part.dataWindow = {0, 0, 1919, 1079};
    part.compression = kxExr::Compression::zip;
    for (const char* const name : {"A", "B", "G", "R"}) part.channels.push_back({name});
    const Headers headers = {part};
    page.beginSequence(sequence, &headers);
    Summary summary;
    for (int i = 0; i < frames; ++i) {
        FrameReport frame = playedFrame(i, frames, damage);
        page.takePreview(frame.name, frame.file);
        summary.add(frame);
        page.frame(frame);
    }
    summary.seconds = frames * 0.05;
    page.endSequence(summary, false);
}

QByteArray writePlayedPage(const QByteArray& file, int frames, PlayedDamage damage) {
    PageWriter page(file, Level::pixels);
    playSequence(page, frames, damage);
    page.finish({}, false, 1764000000000000000);
    return page.fault();
}
