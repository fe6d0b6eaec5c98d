// SPDX-License-Identifier: BSD-3-Clause
// What a page of thumbnails can't do without: check_thumbnails <cache of kxCheckFrames>
//
// Reads every entry of the cache with its thumbnail once, and prints how many there are.
#include "image/KX_DataTypes_image.h"

#include <QFile>

#include <cstdio>
#include <filesystem>
#include <memory>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: check_thumbnails <cache>\n", stderr);
        return 1;
    }
    const auto entry = std::make_unique<kxCHK::_SingleImageFile>();
    int count = 0;
    for (const auto& file : std::filesystem::recursive_directory_iterator(argv[1])) {
        if (!file.is_regular_file()) continue;
        if (!entry->loadFromFile(QFile::decodeName(file.path().c_str()), nullptr)) {
            std::fprintf(stderr, "check_thumbnails: %s can't be read\n", file.path().c_str());
            return 1;
        }
        ++count;
    }
    std::printf("%d\n", count);
    return 0;
}
