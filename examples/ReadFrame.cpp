#include "examples/ReadFrame.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>

#include <stdexcept>

namespace {

constexpr size_t bytesPerPixel = sizeof(_Rgbaf);
constexpr long long largestFrame = 1LL << 28;

Imf::FrameBuffer frameBufferOver(kxP::_imgRGBABufferf& image, const Imath::Box2i& window) {
    Imf::FrameBuffer frame;
    const char* const names[] = {"R", "G", "B", "A"};
    const size_t rowBytes = bytesPerPixel * static_cast<size_t>(image.width);
    for (size_t i = 0; i < 4; ++i) {
        const double fill = i == 3 ? 1.0 : 0.0;
        frame.insert(names[i], Imf::Slice::Make(Imf::FLOAT, image.pixels + i * sizeof(float), window, bytesPerPixel,
                                                rowBytes, 1, 1, fill));
    }
    return frame;
}

void describe(kxP::_imgRGBABufferf& image, const Imf::Header& header) {
    const Imf::Channel* const red = header.channels().findChannel("R");
    const bool isFloat = red && red->type == Imf::FLOAT;
    image.valid = 1;
    image.sourceWidth = image.width;
    image.sourceHeight = image.height;
    image.bitsPerChannel = isFloat ? 32 : 16;
    image.formatText = isFloat ? QStringLiteral("OpenEXR Float") : QStringLiteral("OpenEXR half");
}

}  // namespace

std::unique_ptr<kxP::_imgRGBABufferf> readFrame(const std::string& path) {
    Imf::InputFile file(path.c_str());
    const Imath::Box2i window = file.header().dataWindow();
    const long long width = static_cast<long long>(window.max.x) - window.min.x + 1;
    const long long height = static_cast<long long>(window.max.y) - window.min.y + 1;
    if (width > largestFrame / height) throw std::runtime_error("the frame is too large");

    auto image = std::make_unique<kxP::_imgRGBABufferf>(static_cast<unsigned>(width * height));
    if (image->capacity == 0) throw std::runtime_error("not enough memory for the frame");
    image->setWidth(static_cast<int>(width));
    image->setHeight(static_cast<int>(height));
    describe(*image, file.header());
    file.setFrameBuffer(frameBufferOver(*image, window));
    file.readPixels(window.min.y, window.max.y);
    return image;
}
