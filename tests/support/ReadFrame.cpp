// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/ReadFrame.h"

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>

#include <cstddef>
#include <stdexcept>

std::unique_ptr<kxP::_imgRGBABufferf> readFrame(const std::string& path) {
    Imf::InputFile file(path.c_str());
    const Imath::Box2i window = file.header().dataWindow();
    const long long width = 1LL + window.max.x - window.min.x;
    const long long height = 1LL + window.max.y - window.min.y;
    if (height < 1 || width > (1LL << 28) / height) throw std::runtime_error("the frame is too large");

    auto image = std::make_unique<kxP::_imgRGBABufferf>(static_cast<unsigned>(width * height));
    if (image->capacity == 0) throw std::runtime_error("not enough memory for the frame");
    image->setWidth(static_cast<int>(width));
    image->setHeight(static_cast<int>(height));
    const Imf::Channel* const red = file.header().channels().findChannel("R");
    const bool isFloat = red && red->type == Imf::FLOAT;
    image->valid = 1;
    image->sourceWidth = image->width;
    image->sourceHeight = image->height;
    image->bitsPerChannel = isFloat ? 32 : 16;
    image->formatText = isFloat ? QStringLiteral("OpenEXR Float") : QStringLiteral("OpenEXR half");

    Imf::FrameBuffer channels;
    const char* const names[] = {"R", "G", "B", "A"};
    for (std::size_t i = 0; i < 4; ++i) {
        channels.insert(names[i], Imf::Slice::Make(Imf::FLOAT, image->pixels + i * sizeof(float), window,
                                                   sizeof(_Rgbaf), 0, 1, 1, i == 3 ? 1.0 : 0.0));
    }
    file.setFrameBuffer(channels);
    file.readPixels(window.min.y, window.max.y);
    return image;
}
