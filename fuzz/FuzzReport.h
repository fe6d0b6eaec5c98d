// SPDX-License-Identifier: BSD-3-Clause
// Reports of frames made of an input: whatever values a run takes from its workers.
#pragma once

#include "check/kxFrameReport.h"
#include "fuzz/FuzzInput.h"
#include "image/KX_DataTypes_image.h"

#include <QByteArray>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Makes the parts of a report. One read from the input in each statement, as kept inputs must mean the same
// whatever the compiler.
class FuzzReport {
public:
    explicit FuzzReport(FuzzInput& input) : input_(input) {}

    QByteArray text() {
        const std::string bytes = input_.takeText();
        return {bytes.data(), static_cast<int>(bytes.size())};
    }

    // Not finished by judging; the findings are those of the file.
    kxCheck::FrameReport frame() {
        kxCheck::FrameReport frame;
        frame.name.path = "/r/" + text() + ".exr";
        if (bit()) {
            frame.name.number = input_.take<std::int32_t>();
            frame.name.text = QByteArray::number(static_cast<qlonglong>(*frame.name.number));
            if (bit()) frame.name.tile = input_.take<uint8_t>() % 100;
        }
        frame.file = file();
        frame.findings = frame.file.findings;
        kxCheck::arrangeFindings(frame.findings);
        frame.verdict = kxCheck::verdictOf(frame.findings);
        frame.sizeJump = finite();
        frame.jump = finite();
        frame.level = kxCheck::levelOf(frame.findings, frame.sizeJump, frame.jump);
        frame.action = enumerator(kxCheck::Action::move);
        return frame;
    }

    kxCheck::FileReport file() {
        kxCheck::FileReport file;
        file.hasIdentity = bit();
        file.identity = {input_.take<uint8_t>(), 1, count(), 0};
        file.identity.modified = input_.take<std::int64_t>();
        if (bit()) addHeaders(file);
        file.notes.infoText = text().left(static_cast<int>(kxCheck::NoteTaker::mostBytes));
        file.notes.renderTime = static_cast<int>(input_.take<uint32_t>() >> 1U) - (bit() ? 1 : 0);
        file.decoded = bit();
        if (file.decoded && bit()) file.picture = picture(file.headers ? file.headers->size() : 0);
        if (bit()) file.preview = preview();
        file.hasZeros = bit();
        const int findings = input_.take<uint8_t>() % 16;
        for (int i = 0; i < findings; ++i) file.findings.push_back(finding());
        file.cacheFault = text();
        file.seconds = std::fmod(std::abs(finite()), 1e9);
        return file;
    }

private:
    bool bit() { return input_.takeBit(); }
    std::int64_t count() { return static_cast<std::int64_t>(input_.take<std::uint64_t>() >> (bit() ? 1U : 48U)); }
    double finite() {
        const auto value = input_.take<double>();
        return std::isfinite(value) ? value : 0;
    }
    template <class Enum>
    Enum enumerator(Enum last) {
        return static_cast<Enum>(input_.take<uint8_t>() % (static_cast<int>(last) + 1));
    }

    void addHeaders(kxCheck::FileReport& file) {
        kxCheck::Headers headers;
        const int parts = 1 + input_.take<uint8_t>() % 3;
        for (int i = 0; i < parts; ++i) headers.push_back(part());
        if (bit()) {
            for (int i = 0; i < parts; ++i) {
                const std::int64_t chunks = count();
                file.chunks.push_back({chunks, std::min(chunks, count())});
            }
        }
        file.headers = std::make_shared<const kxCheck::Headers>(std::move(headers));
    }

    kxExr::Window window() { return input_.take<kxExr::Window>(); }

    kxExr::Part part() {
        kxExr::Part part;
        part.name = text();
        part.storage = enumerator(kxExr::Storage::deepTiled);
        part.displayWindow = window();
        part.dataWindow = window();
        part.compression = enumerator(kxExr::Compression::htj2k32);
        part.lineOrder = enumerator(kxExr::LineOrder::random);
        part.pixelAspectRatio = input_.take<float>();
        if (kxExr::isTiled(part.storage)) {
            part.tiles.emplace();
            part.tiles->width = input_.take<uint32_t>();
            part.tiles->height = input_.take<uint32_t>();
        }
        const int channels = input_.take<uint8_t>() % 5;
        for (int i = 0; i < channels; ++i) {
            kxExr::Channel channel;
            channel.name = text();
            channel.type = enumerator(kxExr::PixelType::float32);
            channel.xSampling = input_.take<std::int32_t>();
            part.channels.push_back(channel);
        }
        return part;
    }

    kxCheck::Finding finding() {
        kxCheck::Finding finding = kxCheck::makeFinding(enumerator(kxCheck::Code::jump), text());
        if (bit()) finding.part = input_.take<uint16_t>();
        if (bit()) finding.rows = input_.take<kxCheck::Rows>();
        const int tiles = input_.take<uint8_t>() % 4;
        for (int i = 0; i < tiles; ++i) finding.tiles.push_back({input_.take<uint16_t>(), i, 0, 0});
        finding.channel = text();
        finding.count = count();
        return finding;
    }

    std::shared_ptr<const kxCheck::PictureReport> picture(std::size_t parts) {
        auto picture = std::make_shared<kxCheck::PictureReport>();
        if (bit()) picture->picture = facts();
        if (parts > 0 && bit()) {
            const int part = input_.take<uint8_t>() % static_cast<int>(parts);
            const QByteArray channel = text();
            const std::int64_t nan = count();
            picture->strange.push_back({part, channel, nan, count()});
        }
        picture->hash = {input_.take<std::uint64_t>(), parts};
        picture->isCached = bit();
        return picture;
    }

    kxCheck::Preview preview() {
        kxCheck::Preview preview;
        preview.jpeg = text();
        preview.width = input_.take<uint8_t>();
        preview.height = input_.take<uint8_t>();
        preview.small = text();
        return preview;
    }

    kxCheck::PictureFacts facts() {
        kxCheck::PictureFacts facts;
        for (auto& channel : facts.histogram) {
            const std::size_t bin = input_.take<uint8_t>() % channel.size();
            channel[bin] = input_.take<uint32_t>();
        }
        facts.hasAlpha = bit();
        facts.isTileMissing = bit();
        facts.hasDarkCorner = bit();
        facts.isAlphaMissing = bit();
        facts.isBlack = bit();
        facts.isFlat = bit();
        for (auto& range : facts.ranges) {
            if (!bit()) continue;
            const double a = finite();
            const double b = finite();
            range = kxCheck::SampleRange{std::min(a, b), std::max(a, b), finite()};
        }
        return facts;
    }

    FuzzInput& input_;
};
