// The image modules in one go: a frame's pixels become a thumbnail, the thumbnail is searched for render errors,
// the result is kept in a cache file, and a second view of the same frame is filled from there.
//
//   thumbnailCache frame.0001.exr frame.0001.kxCache
#include "examples/ReadFrame.h"
#include "image/KX_DataTypes_image.h"
#include "image/KX_image.h"
#include "shared/kxFileSystem.h"

#include <algorithm>
#include <cstdio>
#include <exception>

namespace {

// The box that a thumbnail fits into; 500 x 380 is the capacity of 190000 pixels.
constexpr int boxWidth = 500;
constexpr int boxHeight = 380;

void print(const QString& text) {
    std::fputs(text.toLatin1().constData(), stdout);
}

bool makeThumbnail(const kxP::_imgRGBABufferf& frame, kxP::_imgRGBABuffer8& thumbnail) {
    // A source smaller than the box in both axes would be copied as bytes, not converted: the box is no larger.
    const int width = std::min(boxWidth, frame.width);
    const int height = std::min(boxHeight, frame.height);
    if (!kximgRGBABuffer8_Scale4(frame, thumbnail, width, height, false)) return false;
    kximgRGBABuffer8_doGamma22(thumbnail);
    return true;
}

// A view of the frame with a checked thumbnail.
bool checkFrame(const QString& path, kxCHK::_SingleImageView& view) {
    view.frameText = kxGetFileName(path, PDs.at(0).unicode()).section(QLatin1Char('.'), -2, -2);
    long long size = -1;
    view.fileFound = kxFileExists(path, &view.fileTime, &size);
    view.fileSize = size;
    const auto frame = readFrame(path.toLatin1().toStdString());
    if (!makeThumbnail(*frame, view.ensureThumbnail())) return false;
    const unsigned short errors = kxCHK::doErrorSearch(*view.thumbnail, &view);
    print(QStringLiteral("Errors: \"%1\", level \"%2\"\n")
              .arg(kxCHK::imageAnalyseError2Str(errors), view.analyseErrorLevelAsColorString()));
    return true;
}

int storeAndReload(kxCHK::_SingleImageView& view, const QString& cachePath) {
    kxCHK::_SingleImageFile entry;
    entry.ImportFrom(view);
    const QString problem = entry.saveToFile(cachePath);
    if (!problem.isEmpty()) {
        std::fprintf(stderr, "Can't save: %s\n", problem.toLatin1().constData());
        return 1;
    }
    // Another run of the front end: it knows the file's time and size, the rest comes from the cache.
    kxCHK::_SingleImageView reloaded;
    reloaded.frameText = view.frameText;
    reloaded.fileTime = view.fileTime;
    reloaded.fileSize = view.fileSize;
    int code = 0;
    if (!entry.loadFromFile(cachePath, &code)) {
        std::fprintf(stderr, "Can't load: code %d\n", code);
        return 1;
    }
    entry.exportTo(reloaded);
    print(reloaded.imageInfoLines());
    print(reloaded.checkPending ? QStringLiteral("To be checked again.\n") : QStringLiteral("Up to date.\n"));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("thumbnailCache <frame.exr> <cache file>\n", stderr);
        return 1;
    }
    try {
        kxCHK::_SingleImageView view;
        if (!checkFrame(QString::fromLatin1(argv[1]), view)) return 1;
        return storeAndReload(view, QString::fromLatin1(argv[2]));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
