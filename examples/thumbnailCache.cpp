// SPDX-License-Identifier: BSD-3-Clause
// The image modules in one go: a frame's pixels become a thumbnail, the thumbnail is searched for render errors,
// the result is kept in a cache file, and a second view of the same frame is filled from there.
//
//   thumbnailCache frame.0001.exr frame.0001.kxCache
#include "image/KX_DataTypes_image.h"
#include "image/KX_image.h"
#include "shared/kxFileSystem.h"

#include <ImfArray.h>
#include <ImfRgbaFile.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <stdexcept>

using FrameBuffer = kxP::_imgRGBABufferf;
using kxCHK::_SingleImageView;

// The pixels of the data window, with what the header of the buffer tells about the frame.
static std::unique_ptr<FrameBuffer> readFrame(const QString& path) {
    Imf::RgbaInputFile file(path.toLatin1().constData());
    const Imath::Box2i window = file.dataWindow();
    const long long columns = 1LL + window.max.x - window.min.x;
    const long long rows = 1LL + window.max.y - window.min.y;
    if (rows < 1 || columns > (1LL << 28) / rows) throw std::runtime_error("the frame is too large");
    const int width = static_cast<int>(columns);
    const int height = static_cast<int>(rows);
    Imf::Array2D<Imf::Rgba> pixels(height, width);
    file.setFrameBuffer(Imf::ComputeBasePointer(&pixels[0][0], window), 1, static_cast<std::size_t>(width));
    file.readPixels(window.min.y, window.max.y);

    auto image = std::make_unique<FrameBuffer>(static_cast<unsigned>(columns * rows));
    if (image->capacity == 0) throw std::runtime_error("not enough memory for the frame");
    image->setWidth(width);
    image->setHeight(height);
    for (int i = 0; i < width * height; ++i) {
        const Imf::Rgba& pixel = pixels[i / width][i % width];
        image->write(i, {pixel.r, pixel.g, pixel.b, pixel.a});
    }
    image->valid = 1;
    image->sourceWidth = image->width;
    image->sourceHeight = image->height;
    image->bitsPerChannel = 16;
    image->formatText = QStringLiteral("OpenEXR half");
    return image;
}

// Fills the view with what the disk tells of the frame, its thumbnail and what the search found in that.
static void check(const QString& path, _SingleImageView& view) {
    long long size = -1;
    view.fileFound = kxFileExists(path, &view.fileTime, &size);
    view.fileSize = size;
    view.frameText = kxGetFileName(path, PDs.at(0).unicode()).section(QLatin1Char('.'), -2, -2);
    const auto frame = readFrame(path);
    // A frame smaller than the box in both axes would be copied as bytes, not converted: the box is no larger.
    const bool fits = kximgRGBABuffer8_Scale4(*frame, view.ensureThumbnail(), std::min(500, frame->width),
                                              std::min(380, frame->height), false);
    if (!fits) throw std::runtime_error("no room for the thumbnail");
    kximgRGBABuffer8_doGamma22(*view.thumbnail);
    const QString errors = kxCHK::imageAnalyseError2Str(kxCHK::doErrorSearch(*view.thumbnail, &view));
    std::printf("Errors: \"%s\", level \"%s\"\n", errors.toLatin1().constData(),
                view.analyseErrorLevelAsColorString().toLatin1().constData());
}

static void storeAndReload(_SingleImageView& view, const QString& cachePath) {
    kxCHK::_SingleImageFile entry;
    entry.ImportFrom(view);
    const QString problem = entry.saveToFile(cachePath);
    if (!problem.isEmpty()) throw std::runtime_error(problem.toLatin1().toStdString());
    // Another run of the front end: it knows the file's time and size, the rest comes from the cache.
    _SingleImageView reloaded;
    reloaded.frameText = view.frameText;
    reloaded.fileTime = view.fileTime;
    reloaded.fileSize = view.fileSize;
    if (!entry.loadFromFile(cachePath, nullptr)) throw std::runtime_error("the cache file can't be read");
    entry.exportTo(reloaded);
    std::printf("%s%s\n", reloaded.imageInfoLines().toLatin1().constData(),
                reloaded.checkPending ? "To be checked again." : "Up to date.");
}

int main(int argc, char** argv) try {
    if (argc != 3) throw std::runtime_error("usage: thumbnailCache <frame.exr> <cache file>");
    _SingleImageView view;
    check(QString::fromLatin1(argv[1]), view);
    storeAndReload(view, QString::fromLatin1(argv[2]));
    return 0;
} catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
}
