// SPDX-License-Identifier: BSD-3-Clause
// The pixels of a JPEG file, for tests that look at what the programs made.
#pragma once

#include <QByteArray>

#include <cstddef>
#include <memory>
#include <vector>

#include <turbojpeg.h>

struct JpegPicture {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgb;  // rows from the top
};

// Without pixels when it is no JPEG file.
inline JpegPicture decodedJpeg(const QByteArray& jpeg) {
    JpegPicture picture;
    const std::unique_ptr<void, int (*)(tjhandle)> reader(tjInitDecompress(), tjDestroy);
    const auto* bytes = reinterpret_cast<const unsigned char*>(jpeg.constData());
    const auto size = static_cast<unsigned long>(jpeg.size());
    int subsampling = 0;
    int colours = 0;
    if (tjDecompressHeader3(reader.get(), bytes, size, &picture.width, &picture.height, &subsampling, &colours) !=
        0)
        return {};
    picture.rgb.resize(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) * 3);
    if (tjDecompress2(reader.get(), bytes, size, picture.rgb.data(), picture.width, 0, picture.height, TJPF_RGB,
                      0) != 0)
        return {};
    return picture;
}
