// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/plainPicture.h"

#include "tests/support/ExrKinds.h"

#include <ImfChannelList.h>
#include <ImfHeader.h>
#include <ImfMultiPartInputFile.h>
#include <ImfPartType.h>
#include <ImfStdIO.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <utility>

namespace {

std::vector<double> valuesOf(const std::string& plane, Imf::PixelType type) {
    std::vector<double> values;
    const std::size_t size = type == Imf::HALF ? 2 : 4;
    for (std::size_t at = 0; at < plane.size(); at += size) {
        half asHalf;
        float asFloat = 0;
        std::uint32_t asNumber = 0;
        if (type == Imf::HALF) {
            std::memcpy(static_cast<void*>(&asHalf), &plane[at], 2);
            values.push_back(static_cast<double>(static_cast<float>(asHalf)));
        } else if (type == Imf::FLOAT) {
            std::memcpy(&asFloat, &plane[at], 4);
            values.push_back(static_cast<double>(asFloat));
        } else {
            std::memcpy(&asNumber, &plane[at], 4);
            values.push_back(static_cast<double>(asNumber));
        }
    }
    return values;
}

struct PlainChannel {
    Imf::Channel header;
    std::vector<double> samples;
};

struct PlainPart {
    Imath::Box2i display;
    Imath::Box2i data;
    std::map<std::string, PlainChannel> channels;
    std::vector<double> counts;  // of deep samples, pixel by pixel; empty: flat
};

PlainPart readPart(const Imf::Header& header, const std::string& bytes, int index) {
    const bool isDeep = header.hasType() && (header.type() == Imf::DEEPSCANLINE || header.type() == Imf::DEEPTILE);
    PlainPart part{header.displayWindow(), header.dataWindow(), {}, {}};
    const std::vector<std::string> planes =
        isDeep ? readerDeepPlanes(bytes, index) : readerPlanes(bytes, index, 0, 0);
    std::size_t plane = 0;
    if (isDeep) part.counts = valuesOf(planes[plane++], Imf::UINT);
    for (auto c = header.channels().begin(); c != header.channels().end(); ++c, ++plane)
        part.channels[c.name()] = {c.channel(), valuesOf(planes[plane], c.channel().type)};
    return part;
}

std::vector<PlainPart> readParts(const std::string& bytes) {
    Imf::StdISStream stream;
    stream.str(bytes);
    const Imf::MultiPartInputFile file(stream);
    std::vector<PlainPart> parts;
    for (int i = 0; i < file.parts(); ++i) parts.push_back(readPart(file.header(i), bytes, i));
    return parts;
}

bool holds(const Imath::Box2i& window, int x, int y) {
    return x >= window.min.x && x <= window.max.x && y >= window.min.y && y <= window.max.y;
}

double flatSample(const PlainPart& part, const PlainChannel& channel, int x, int y) {
    const int columns = (part.data.max.x - part.data.min.x + 1) / channel.header.xSampling;
    const int column = (x - part.data.min.x) / channel.header.xSampling;
    const int row = (y - part.data.min.y) / channel.header.ySampling;
    return channel.samples[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                           static_cast<std::size_t>(column)];
}

// r, g, b, a of a deep pixel: nearest samples first, each seen through those before it.
std::array<float, 4> flattened(const PlainPart& part, const std::array<const PlainChannel*, 4>& rgba, int x,
                               int y) {
    const std::size_t pixel = static_cast<std::size_t>(y - part.data.min.y) *
                                  static_cast<std::size_t>(part.data.max.x - part.data.min.x + 1) +
                              static_cast<std::size_t>(x - part.data.min.x);
    std::size_t first = 0;
    for (std::size_t p = 0; p < pixel; ++p) first += static_cast<std::size_t>(part.counts[p]);
    std::vector<std::size_t> samples(static_cast<std::size_t>(part.counts[pixel]));
    std::iota(samples.begin(), samples.end(), first);
    const auto depth = part.channels.find("Z");
    if (depth != part.channels.end())
        std::stable_sort(samples.begin(), samples.end(), [&](std::size_t a, std::size_t b) {
            const auto placeOf = [&](std::size_t sample) {
                const double z = depth->second.samples[sample];
                return std::pair(std::isnan(z), std::isnan(z) ? 0 : z);
            };
            return placeOf(a) < placeOf(b);
        });
    std::array<float, 4> seen{};
    float covered = 0;
    for (const std::size_t sample : samples) {
        if (!(covered < 1)) break;
        for (std::size_t c = 0; c < 4; ++c)
            if (rgba[c]) seen[c] += (1.0F - covered) * static_cast<float>(rgba[c]->samples[sample]);
        covered = rgba[3] ? seen[3] : 1.0F;
    }
    return seen;
}

unsigned char byteOf(float value, bool withGamma) {
    if (!(value > 0)) return 0;
    if (value >= 1) return 255;
    const float shown = withGamma ? powf(value, 0.45454543828964233F) : value;
    return static_cast<unsigned char>(static_cast<double>(shown * 255.0F) + 0.5);
}

std::array<unsigned char, 4> pixelOf(const PlainPart& part, const std::array<const PlainChannel*, 4>& rgba, int x,
                                     int y) {
    std::array<unsigned char, 4> pixel{};
    if (!holds(part.data, x, y)) return pixel;
    std::array<float, 4> values{};
    if (!part.counts.empty()) values = flattened(part, rgba, x, y);
    for (std::size_t c = 0; c < 4; ++c) {
        if (rgba[c] && part.counts.empty()) values[c] = static_cast<float>(flatSample(part, *rgba[c], x, y));
        pixel[c] = c == 3 && !rgba[c] ? 255 : byteOf(values[c], c < 3);
    }
    return pixel;
}

std::optional<PlainRange> rangeOf(const std::vector<double>& samples) {
    std::optional<PlainRange> range;
    double sum = 0;
    double count = 0;
    for (const double sample : samples) {
        if (!std::isfinite(sample)) continue;
        if (!range) range = PlainRange{sample, sample, 0};
        range->min = std::min(range->min, sample);
        range->max = std::max(range->max, sample);
        sum += sample;
        ++count;
    }
    if (range) range->mean = sum / count;
    return range;
}

std::array<const PlainChannel*, 4> channelsOf(const PlainPart& part) {
    const auto named = [&](const char* name) {
        const auto found = part.channels.find(name);
        return found == part.channels.end() ? nullptr : &found->second;
    };
    std::array<const PlainChannel*, 4> rgba{named("R"), named("G"), named("B"), named("A")};
    if (!rgba[0] && !rgba[1] && !rgba[2]) rgba[0] = rgba[1] = rgba[2] = named("Y");
    return rgba;
}

void paint(const PlainPart& part, const std::array<const PlainChannel*, 4>& rgba, PlainPicture& picture) {
    picture.width = part.display.max.x - part.display.min.x + 1;
    picture.height = part.display.max.y - part.display.min.y + 1;
    std::vector<std::array<unsigned char, 3>> colours;  // within the data window
    bool isBlack = true;
    for (int y = part.display.min.y; y <= part.display.max.y; ++y)
        for (int x = part.display.min.x; x <= part.display.max.x; ++x) {
            const std::array<unsigned char, 4> pixel = pixelOf(part, rgba, x, y);
            picture.rgba.insert(picture.rgba.end(), pixel.begin(), pixel.end());
            if (pixel[0] > 0 || pixel[1] > 0 || pixel[2] > 0) isBlack = false;
            if (holds(part.data, x, y)) colours.push_back({pixel[0], pixel[1], pixel[2]});
        }
    picture.isBlack = isBlack;
    picture.isFlat =
        !isBlack && colours.size() > 1 &&
        std::all_of(colours.begin(), colours.end(), [&](const auto& c) { return c == colours.front(); });
}

}  // namespace

PlainPicture plainPicture(const std::string& bytes) {
    const std::vector<PlainPart> parts = readParts(bytes);
    PlainPicture picture;
    for (std::size_t i = 0; i < parts.size(); ++i)
        for (const auto& [name, channel] : parts[i].channels) {
            std::pair<long long, long long> counts;
            for (const double sample : channel.samples) {
                counts.first += std::isnan(sample) ? 1 : 0;
                counts.second += std::isinf(sample) ? 1 : 0;
            }
            if (counts.first + counts.second > 0) picture.strange[{static_cast<int>(i), name}] = counts;
        }
    const std::array<const PlainChannel*, 4> rgba = channelsOf(parts.front());
    picture.isThere = rgba[0] || rgba[1] || rgba[2];
    if (!picture.isThere) return picture;
    picture.hasAlpha = rgba[3] != nullptr;
    for (std::size_t c = 0; c < 4; ++c)
        if (rgba[c]) picture.ranges[c] = rangeOf(rgba[c]->samples);
    paint(parts.front(), rgba, picture);
    return picture;
}
