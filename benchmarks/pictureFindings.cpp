// SPDX-License-Identifier: BSD-3-Clause
// How often findings about pictures are wrong, and how much of real damage they see:
//
//   pictureFindings [frames of each clean sequence, 1000] [trials of each damage, 200] [word]
//
// With a word, only those that have it in their name.
// Clean animated sequences are drawn, and every finding in them is counted: a false alarm, or a black frame that is
// meant. Then damage of each kind is put into the middle one of a few frames, and how often anything is found.
// Prints two tables.
#include "benchmarks/PictureScenes.h"
#include "check/kxDarkCorner.h"
#include "check/kxPictureFindings.h"
#include "image/KX_DataTypes_image.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

using kxCheck::Code;
using kxCheck::PictureFacts;
using kxCheck::PictureReport;
using Picture = kxP::_imgRGBABuffer8;

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr double pi = 3.14159265358979;

bool isEverywhere(const Picture& picture, _Rgba8 colour) {
    for (unsigned i = 0; i < picture.pixelsInMemory(); ++i) {
        const _Rgba8 pixel = picture.read(i);
        if (pixel.r != colour.r || pixel.g != colour.g || pixel.b != colour.b) return false;
    }
    return true;
}

PictureReport reportOf(Picture& picture) {
    kxCHK::_SingleImageData record;
    const unsigned short errors = kxCHK::doErrorSearch(picture, &record);
    PictureFacts facts;
    facts.histogram = kxCHK::histogramOf(picture);
    facts.isTileMissing = (errors & kxCHK::errorTileMissing) != 0;
    facts.hasDarkCorner = facts.isTileMissing || kxCheck::hasDarkCorner(picture);
    facts.isAlphaMissing = (errors & kxCHK::errorAlphaPixelMissing) != 0;
    facts.isBlack = isEverywhere(picture, {0, 0, 0, 0});
    facts.isFlat = !facts.isBlack && isEverywhere(picture, picture.read(0));
    PictureReport report;
    report.picture = facts;
    return report;
}

// --- The findings about the frames of a sequence

struct Column {
    const char* title;
    Code code;
    kxCheck::Severity severity;
};
constexpr std::array<Column, 6> columns = {
    {{"tile-missing, error", Code::tileMissing, kxCheck::Severity::error},
     {"tile-missing, warning", Code::tileMissing, kxCheck::Severity::warning},
     {"alpha-missing", Code::alphaMissing, kxCheck::Severity::warning},
     {"black", Code::black, kxCheck::Severity::warning},
     {"flat", Code::flat, kxCheck::Severity::warning},
     {"jump", Code::jump, kxCheck::Severity::warning}}};
using Counts = std::array<int, columns.size()>;

const PictureFacts* pictureAt(const std::vector<PictureReport>& reports, std::size_t place,
                              std::ptrdiff_t distance) {
    const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(place) + distance;
    if (at < 0 || at >= static_cast<std::ptrdiff_t>(reports.size())) return nullptr;
    return &*reports[static_cast<std::size_t>(at)].picture;
}

void countFindings(const std::vector<PictureReport>& reports, std::size_t place, Counts& counts) {
    const kxCheck::PictureNeighbours neighbours = {pictureAt(reports, place, -1), pictureAt(reports, place, 1),
                                                   pictureAt(reports, place, -2), pictureAt(reports, place, 2)};
    for (const kxCheck::Finding& finding : kxCheck::judgePicture(reports[place], neighbours).findings)
        for (std::size_t i = 0; i < columns.size(); ++i)
            if (finding.code == columns[i].code && finding.severity == columns[i].severity) ++counts[i];
}

// --- Clean sequences

struct CleanKind {
    const char* name;
    std::function<void(Picture&, int frame)> draw;
};

// Normally distributed, of deviation 1; the same for the same frame.
double randomOf(int frame) {
    std::mt19937 random(static_cast<unsigned>(frame) * 7919U + 1);
    return std::normal_distribution<double>()(random);
}

// Cuts after two to nine frames.
int shotOf(int frame) {
    std::mt19937 random(5);
    int shot = 0;
    for (int cut = 0; (cut += 2 + static_cast<int>(random() % 8)) <= frame;) ++shot;
    return shot;
}

// An L-shaped part of the scene with a window in it; everything else is transparent.
void cutOut(Picture& picture, int frame) {
    picture.valid = 1;
    const int left = 300 + frame % 400;
    const auto isInBox = [](int x, int y, int x0, int y0, int w, int h) {
        return x >= x0 && x < x0 + w && y >= y0 && y < y0 + h;
    };
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x) {
            const bool isInside = isInBox(x, y, left, 200, 900, 300) || isInBox(x, y, left, 500, 300, 400);
            if (!isInside || isInBox(x, y, left + 100, 260, 220, 150)) picture.write(x, y, _Rgba8{0, 0, 0, 0});
        }
}

// Linear light of a shown value.
double linearOf(double shown) {
    return std::pow(shown / 255, 2.2);
}

std::vector<CleanKind> cleanKinds(const std::vector<Scene>& scenes) {
    const auto shot = [&scenes](int scene, int x = 0) {
        Shot made;
        made.scene = &scenes[static_cast<std::size_t>(scene) % scenes.size()];
        made.x = x;
        return made;
    };
    const auto exposed = [shot](int scene, double exposure, int x = 0) {
        Shot made = shot(scene, x);
        made.exposure = exposure;
        return made;
    };
    const auto grained = [shot](int scene, int x, double exposure, double grain, int frame) {
        Shot made = shot(scene, x);
        made.exposure = exposure;
        made.grain = grain;
        made.seed = static_cast<unsigned>(frame);
        return made;
    };
    const auto lit = [shot, &scenes](double factor) {
        Shot made = shot(3);
        made.exposure = 0.7;
        made.light = &scenes[4];
        made.lightFactor = 0.3 * std::max(0.0, factor);
        return made;
    };
    return {
        {"pan, 7 pixels a frame", [=](Picture& p, int f) { draw(p, shot(0, 7 * f)); }},
        {"pan, 160 pixels a frame, grain", [=](Picture& p, int f) { draw(p, grained(1, 160 * f, 1, 0.5, f)); }},
        {"a cut every 24 frames", [=](Picture& p, int f) { draw(p, shot(f / 24, 3 * f + f / 24 * 500)); }},
        {"a cut after 2 to 9 frames", [=](Picture& p, int f) { draw(p, shot(shotOf(f), f + 700 * shotOf(f))); }},
        {"fades in and out of 24 frames",
         [=](Picture& p, int f) { draw(p, exposed(2, std::max(0.002, 0.5 - 0.5 * std::cos(f * pi / 24)), f)); }},
        {"light flickers by 2 %, at random",
         [=](Picture& p, int f) { draw(p, exposed(3, 1 + 0.02 * randomOf(f))); }},
        {"light flickers by 5 %, at random",
         [=](Picture& p, int f) { draw(p, exposed(3, 1 + 0.05 * randomOf(f))); }},
        {"one of two lights flickers by 20 %, at random",
         [=](Picture& p, int f) { draw(p, lit(1 + 0.2 * randomOf(f))); }},
        {"one of two lights flickers by 20 %, smoothly",
         [=](Picture& p, int f) { draw(p, lit(1 + 0.2 * std::sin(f * 1.1) + 0.1 * std::sin(f * 2.3 + 1))); }},
        {"grain", [=](Picture& p, int f) { draw(p, grained(5, 0, 1, 1, f)); }},
        {"heavy grain, dark", [=](Picture& p, int f) { draw(p, grained(5, 0, 0.05, 4, f)); }},
        {"a small bright thing, 80 pixels a frame",
         [=](Picture& p, int f) {
             draw(p, shot(6));
             fill(p, f * 80 % (width + 200) - 100, 300 + f % 200, 90, 90, {255, 250, 240, 255});
         }},
        {"a still shot", [=](Picture& p, int) { draw(p, shot(7)); }},
        {"titles on black that fade in and out",
         [](Picture& p, int f) {
             const int at = f % 125;
             drawTitles(p, 120, std::clamp(std::min(at, 124 - at) / 12.0, 0.01, 1.0));
         }},
        {"titles on black that roll", [](Picture& p, int f) { drawTitles(p, 1000 - f % 900 * 2, 1); }},
        {"a cut-out with straight edges",
         [=](Picture& p, int f) {
             draw(p, shot(8));
             cutOut(p, f);
         }},
        {"a window in a wall, 0.3 pixels a frame",
         [](Picture& p, int f) {
             fillGrey(p, 0.5);
             openWindow(p, 300 + 0.3 * f, 200 + 0.17 * f, 620 + 0.3 * f, 440 + 0.17 * f);
         }},
        {"a window in the alpha, 1.3 pixels a frame",
         [=](Picture& p, int f) {
             draw(p, shot(8));
             p.valid = 1;
             openWindow(p, 100 + 1.3 * f, 200 + 0.6 * f, 420 + 1.3 * f, 440 + 0.6 * f);
         }},
        {"a window in a wall, 60 pixels a frame",
         [](Picture& p, int f) {
             fillGrey(p, 0.5);
             const double left = 20 + std::fmod(60.37 * f, 1500);
             openWindow(p, left, 200.5, left + 300.2, 440.3);
         }},
        {"a zoom to a window in a wall",
         [](Picture& p, int f) {
             fillGrey(p, 0.5);
             const double zoom = 1 + 0.002 * (f % 1000);
             openWindow(p, 960 - 120 * zoom, 540 - 90 * zoom, 960 + 120 * zoom, 540 + 90 * zoom);
         }},
        {"a window, heavy grain",
         [=](Picture& p, int f) {
             draw(p, grained(5, 0, 1, 3, f));
             openWindow(p, 700, 400, 1000, 600);
         }},
        {"a window in a wall at 128, light flickers by 2 %",
         [](Picture& p, int f) {
             fillGrey(p, linearOf(128) * (1 + 0.02 * randomOf(f)));
             openWindow(p, 700, 400, 1000, 600);
         }},
        {"a thing before a grey backdrop, light flickers by 0.3 %",
         [](Picture& p, int f) {
             fillGrey(p, linearOf(127.5) * (1 + 0.003 * randomOf(f)));
             fill(p, 200 + f, 300, 400, 500, {200, 60, 20, 255});
         }},
        {"a thing before a grey backdrop, light flickers by 1 %",
         [](Picture& p, int f) {
             fillGrey(p, linearOf(127.5) * (1 + 0.01 * randomOf(f)));
             fill(p, 200 + f, 300, 400, 500, {200, 60, 20, 255});
         }},
        {"a thing before a dark backdrop, light flickers by 2 %",
         [](Picture& p, int f) {
             fillGrey(p, linearOf(40) * (1 + 0.02 * randomOf(f)));
             fill(p, 200 + f, 300, 400, 500, {200, 60, 20, 255});
         }},
    };
}

void printHeader(const char* title) {
    std::printf("| %s |", title);
    for (const Column& column : columns) std::printf(" %s |", column.title);
    std::printf("\n|---|");
    for (std::size_t i = 0; i < columns.size(); ++i) std::printf("---:|");
    std::printf("\n");
}

void tryClean(const std::vector<Scene>& scenes, int frames, const std::string& word) {
    printHeader("clean sequence");
    Picture picture(static_cast<unsigned>(width * height));
    for (const CleanKind& kind : cleanKinds(scenes)) {
        if (std::string(kind.name).find(word) == std::string::npos) continue;
        std::vector<PictureReport> reports;
        for (int frame = 0; frame < frames; ++frame) {
            setSize(picture, width, height);
            kind.draw(picture, frame);
            reports.push_back(reportOf(picture));
        }
        Counts counts{};
        for (std::size_t place = 0; place < reports.size(); ++place) countFindings(reports, place, counts);
        std::printf("| %s |", kind.name);
        for (const int count : counts) std::printf(" %d |", count);
        std::printf("\n");
        std::fflush(stdout);
    }
}

// --- Damage

struct Damage {
    std::string name;
    std::function<void(Shot&, std::mt19937&)> shoot = nullptr;     // before the frame is drawn
    std::function<void(Picture&, std::mt19937&)> spoil = nullptr;  // after that
    bool isSwapped = false;                                        // with the frame behind it
    bool hasAlpha = false;
    int scale = 1;  // 2: at 3840 x 2160
};

int below(std::mt19937& random, int end) {
    return static_cast<int>(random() % static_cast<unsigned>(end));
}

std::vector<Damage> buckets() {
    std::vector<Damage> damages;
    for (const int scale : {1, 2})
        for (const bool hasAlpha : {false, true})
            for (const int size : {16, 32, 64, 128}) {
                Damage damage;
                damage.name = "bucket of " + std::to_string(size) + ", " + std::to_string(width * scale) + " x " +
                              std::to_string(height * scale) + (hasAlpha ? ", with alpha" : "");
                damage.spoil = [size](Picture& p, std::mt19937& random) {
                    const int x = below(random, p.width / size) * size;
                    fill(p, x, below(random, p.height / size) * size, size, size, {0, 0, 0, 0});
                };
                damage.hasAlpha = hasAlpha;
                damage.scale = scale;
                damages.push_back(damage);
            }
    return damages;
}

std::vector<Damage> damageKinds(const std::vector<Scene>& scenes) {
    std::vector<Damage> damages = buckets();
    Damage hole;
    hole.name = "a pixel of the alpha lost";
    hole.hasAlpha = true;
    hole.spoil = [](Picture& p, std::mt19937& random) {
        const int x = 1 + below(random, p.width - 2);
        const int y = 1 + below(random, p.height - 2);
        _Rgba8 pixel{};
        p.read(pixel, x, y);
        pixel.a = 100;
        p.write(x, y, pixel);
    };
    damages.push_back(hole);
    for (const int percent : {5, 10, 20, 35, 50})
        damages.push_back(
            {"exposure off by " + std::to_string(percent) + " %", [percent](Shot& s, std::mt19937& random) {
                 s.exposure *= 1 + (random() % 2 == 0 ? 0.01 : -0.01) * percent;
                 s.lightFactor *= s.exposure / 0.6;
             }});
    damages.push_back({"one of two lights missing", [](Shot& s, std::mt19937&) { s.lightFactor = 0; }});
    damages.push_back({"a frame of another take, 40 pixels away", [](Shot& s, std::mt19937&) { s.x += 40; }});
    damages.push_back({"a frame of another shot", [&scenes](Shot& s, std::mt19937& random) {
                           s.scene = &scenes[random() % scenes.size()];
                           s.x += 900;
                       }});
    damages.push_back({"noise", [](Shot& s, std::mt19937&) { s.grain = 6; }});
    Damage black;
    black.name = "black";
    black.spoil = [](Picture& p, std::mt19937&) { fill(p, 0, 0, p.width, p.height, {0, 0, 0, 255}); };
    damages.push_back(black);
    Damage swapped;
    swapped.name = "two frames of a pan swapped";
    swapped.isSwapped = true;
    damages.push_back(swapped);
    return damages;
}

constexpr int framesAround = 2;

// A pan with grain under two lights, the frame in the middle damaged.
std::vector<PictureReport> damagedFrames(const Damage& damage, const std::vector<Scene>& scenes, int trial,
                                         Picture& picture) {
    std::mt19937 random(static_cast<unsigned>(trial) + 1000U);
    std::vector<PictureReport> reports;
    for (int frame = -framesAround; frame <= framesAround + 1; ++frame) {
        const auto place = static_cast<std::size_t>(trial);
        const bool isDamaged = frame == 0;
        const int shown = damage.isSwapped && (frame == 0 || frame == 1) ? 1 - frame : frame;
        Shot shot;
        shot.scene = &scenes[place % scenes.size()];
        shot.light = &scenes[(place + 3) % scenes.size()];
        shot.exposure = 0.6;
        shot.lightFactor = 0.4;
        shot.grain = 0.5;
        shot.seed = static_cast<unsigned>(trial * 10 + frame + framesAround);
        shot.x = trial * 97 + 7 * shown;
        shot.y = trial * 31;
        if (isDamaged && damage.shoot) damage.shoot(shot, random);
        setSize(picture, width * damage.scale, height * damage.scale);
        draw(picture, shot);
        picture.valid = damage.hasAlpha ? 1 : 0;
        if (isDamaged && damage.spoil) damage.spoil(picture, random);
        reports.push_back(reportOf(picture));
    }
    return reports;
}

void tryDamage(const std::vector<Scene>& scenes, int trials, const std::string& word) {
    std::printf("\n");
    printHeader("damage, found in percent");
    Picture picture(static_cast<unsigned>(4 * width * height));
    for (const Damage& damage : damageKinds(scenes)) {
        if (damage.name.find(word) == std::string::npos) continue;
        Counts found{};
        for (int trial = 0; trial < trials; ++trial) {
            const std::vector<PictureReport> reports = damagedFrames(damage, scenes, trial, picture);
            Counts counts{};
            countFindings(reports, framesAround, counts);
            for (std::size_t i = 0; i < counts.size(); ++i) found[i] += counts[i] > 0 ? 1 : 0;
        }
        std::printf("| %s |", damage.name.c_str());
        for (const int count : found) std::printf(" %.0f |", 100.0 * count / trials);
        std::printf("\n");
        std::fflush(stdout);
    }
}

int numberAt(int argc, char** argv, int place, int otherwise) {
    return place < argc ? static_cast<int>(std::strtol(argv[place], nullptr, 10)) : otherwise;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<Scene> scenes;
    for (unsigned seed = 1; seed <= 9; ++seed) scenes.emplace_back(seed);
    const std::string word = argc > 3 ? argv[3] : "";
    tryClean(scenes, numberAt(argc, argv, 1, 1000), word);
    tryDamage(scenes, std::max(1, numberAt(argc, argv, 2, 200)), word);
}
