// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/plainPictures.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

using Bins = std::array<unsigned, 32>;

const PlainPicture* decodedAt(const std::vector<PlainPicture>& frames, const PlainPicture& of, int distance) {
    for (const PlainPicture& frame : frames)
        if (frame.number == of.number + distance && frame.tile == of.tile && frame.hasFile && frame.isDecoded)
            return &frame;
    return nullptr;
}

const PlainPicture* pictureAt(const std::vector<PlainPicture>& frames, const PlainPicture& of, int distance) {
    const PlainPicture* const frame = decodedAt(frames, of, distance);
    return frame && frame->hasPicture ? frame : nullptr;
}

bool isRepeated(const std::vector<PlainPicture>& frames, const PlainPicture& frame, int step) {
    const PlainPicture* const before = decodedAt(frames, frame, -step);
    return frame.hasFile && frame.isDecoded && before && before->samples == frame.samples;
}

bool areRepeatedReported(const std::vector<PlainPicture>& frames, std::size_t first, std::size_t last, int step) {
    int files = 0;
    int repeated = 0;
    for (std::size_t i = first; i < last; ++i) {
        if (frames[i].hasFile) ++files;
        if (isRepeated(frames, frames[i], step)) ++repeated;
    }
    return files >= 8 && repeated <= files / 4.0;
}

double distance(const PlainPicture& a, const PlainPicture& b) {
    return (plainTransport(a.histogram[0], b.histogram[0]) + plainTransport(a.histogram[1], b.histogram[1]) +
            plainTransport(a.histogram[2], b.histogram[2])) /
           3;
}

double jumpOf(const PlainPicture& frame, const PlainPicture* before, const PlainPicture* after) {
    if (!before || !after) return 0;
    return std::min(distance(*before, frame), distance(frame, *after)) / (distance(*before, *after) + 0.1);
}

// How much lies below the upper border of bin `border`, as a share of all.
double shareBelow(const Bins& bins, std::size_t border) {
    double below = 0;
    double all = 0;
    for (std::size_t i = 0; i < bins.size(); ++i) {
        if (i <= border) below += bins[i];
        all += bins[i];
    }
    return below / all;
}

double sureDistance(const PlainPicture& a, const PlainPicture& b) {
    double sum = 0;
    for (std::size_t c = 0; c < 3; ++c) {
        double most = 0;
        for (std::size_t border = 0; border < 32; ++border)
            most =
                std::max(most, std::abs(shareBelow(a.histogram[c], border) - shareBelow(b.histogram[c], border)));
        sum += plainTransport(a.histogram[c], b.histogram[c]) - most;
    }
    return sum / 3;
}

bool standsOut(const PlainPicture& frame, const std::vector<const PlainPicture*>& around) {
    double spread = 0;
    for (const PlainPicture* a : around)
        for (const PlainPicture* b : around)
            if (a && b) spread = std::max(spread, distance(*a, *b));
    return std::min(sureDistance(*around[0], frame), sureDistance(frame, *around[1])) > 6 * spread + 0.4;
}

bool isColor(const std::string& channel) {
    const std::string last = channel.substr(channel.rfind('.') + 1);
    return last == "R" || last == "G" || last == "B" || last == "A" || last == "Y";
}

}  // namespace

double plainTransport(const Bins& from, const Bins& to) {
    double fromAll = 0;
    double toAll = 0;
    for (std::size_t i = 0; i < from.size(); ++i) {
        fromAll += from[i];
        toAll += to[i];
    }
    std::array<double, 32> stock{};
    std::array<double, 32> need{};
    for (std::size_t i = 0; i < from.size(); ++i) {
        stock[i] = from[i] / fromAll;
        need[i] = to[i] / toAll;
    }
    double cost = 0;
    for (int i = 0; i < 32; ++i) {
        for (int k = 0; k < 32; ++k) {
            double& here = stock[static_cast<std::size_t>(i)];
            double& there = need[static_cast<std::size_t>(k)];
            const double carried = std::min(here, there);
            here -= carried;
            there -= carried;
            cost += carried * std::abs(i - k);
        }
    }
    return cost;
}

std::vector<PlainVerdict> plainPictureVerdicts(const std::vector<PlainPicture>& frames, std::size_t first,
                                               std::size_t last, int step) {
    std::vector<PlainVerdict> verdicts;
    for (std::size_t i = first; i < last; ++i) {
        const PlainPicture& frame = frames[i];
        PlainVerdict verdict;
        auto& codes = verdict.codes;
        if (frame.hasFile && frame.isDecoded) {
            const PlainPicture* const before = pictureAt(frames, frame, -step);
            const PlainPicture* const after = pictureAt(frames, frame, step);
            if (frame.hasPicture) {
                verdict.jump = jumpOf(frame, before, after);
                const auto mayLack = [](const PlainPicture* other) {
                    return other && (other->isTileMissing || other->hasDarkCorner);
                };
                const bool isBefore = mayLack(before);
                const bool isAfter = mayLack(after);
                const bool isSurelyOwn = (before || after) && !isBefore && !isAfter;
                const PlainPicture* const further = pictureAt(frames, frame, isBefore ? -2 * step : 2 * step);
                const bool areThree = (isBefore && isAfter) || ((isBefore || isAfter) && mayLack(further));
                if (frame.isTileMissing && !areThree)
                    codes.emplace_back(isSurelyOwn ? "tile-missing!" : "tile-missing");
                if (frame.isAlphaMissing) codes.emplace_back("alpha-missing");
            }
            if (frame.nan > 0) codes.emplace_back("nan");
            if (frame.infinite > 0 && isColor(frame.channel)) codes.emplace_back("inf");
            if (frame.hasPicture && frame.isBlack) codes.emplace_back("black");
            if (frame.hasPicture && frame.isFlat && !frame.isBlack) codes.emplace_back("flat");
            if (isRepeated(frames, frame, step) && areRepeatedReported(frames, first, last, step))
                codes.emplace_back("repeated");
            // What is two steps away counts where the frame between is there to be compared with.
            if (verdict.jump > 2 && standsOut(frame, {before, after, pictureAt(frames, frame, -2 * step),
                                                      pictureAt(frames, frame, 2 * step)}))
                codes.emplace_back("jump");
        }
        verdicts.push_back(verdict);
    }
    return verdicts;
}
