// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_DataTypes_image.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

#include <time.h>

using kxCHK::_SingleImageView;

namespace {

// Times are shown in local time: here it is UTC.
class ImageInfoLines : public testing::Test {
protected:
    static void SetUpTestSuite() {
        setenv("TZ", "UTC", 1);
        tzset();
    }

    std::string lines() { return bytesOf(view.imageInfoLines()); }
    std::string linesOfSize(long long size) {
        view.fileSize = size;
        return lines();
    }
    // The lines between the name block and the file size.
    std::string imageLines() {
        const std::string all = lines();
        const std::string rest = "-1 bytes\n1970-01-01 00:00:00\n\n";
        EXPECT_EQ(all.substr(0, 2), "\n\n");
        EXPECT_EQ(all.substr(all.size() - rest.size()), rest);
        return all.substr(2, all.size() - rest.size() - 2);
    }

    _SingleImageView view;
};

}  // namespace

TEST_F(ImageInfoLines, DescribeAFrameInFull) {
    kxP::_imgRGBABuffer8& thumbnail = view.ensureThumbnail();
    thumbnail.sourceWidth = 1920;
    thumbnail.sourceHeight = 1080;
    thumbnail.bitsPerChannel = 16;
    thumbnail.formatText = QStringLiteral("OpenEXR half, ZIP");
    thumbnail.flags = KX_IMG_GAMMA22 | KX_IMG_SUPERWHITE | KX_IMG_FROM_CACHE;
    view.frameText = "0042";
    view.fileSize = 1234567;
    view.fileTime = _kxTime(1600000000LL * 1000000000);
    view.infoText = "noise 3.5 %1";
    view.averageRenderTime = 125;
    EXPECT_EQ(lines(),
              "0042\n\n"
              "1920x1080  16bit\n"
              "OpenEXR half, ZIP\n"
              " gamma SuperWhite (kxCache)\n"
              "1.234.567 bytes\n"
              "2020-09-13 12:26:40\n"
              "noise 3.5 %1\n"
              "Average Render Time: 2.05 m.s\n");
}

TEST_F(ImageInfoLines, WithoutThumbnailHoldOnlyNameSizeTimeAndInfo) {
    EXPECT_EQ(lines(), "\n\n-1 bytes\n1970-01-01 00:00:00\n\n");
    view.frameText = "7";
    view.infoText = "late";
    view.averageRenderTime = 60;
    EXPECT_EQ(lines(), "7\n\n-1 bytes\n1970-01-01 00:00:00\nlate\nAverage Render Time: 1.00 m.s\n");
}

TEST_F(ImageInfoLines, NameTheDepthUnlessTheFormatSaysFloat) {
    const struct {
        signed char bits;
        const char* format;
        const char* expected;
    } cases[] = {
        {8, "PNG", "0x0  8bit\nPNG\n ()\n"},
        {32, "TIFF", "0x0  Float\nTIFF\n ()\n"},
        {-5, "", "0x0  -5bit\n\n ()\n"},
        {0, "", "0x0  0bit\n\n ()\n"},
        {32, "EXR Float", "0x0  EXR Float\n ()\n"},
        {16, "EXR Floating", "0x0  EXR Floating\n ()\n"},
        {16, "EXR float", "0x0  16bit\nEXR float\n ()\n"},
        {16, "%1 %2", "0x0  16bit\n%1 %2\n ()\n"},
    };
    for (const auto& row : cases) {
        view.ensureThumbnail().bitsPerChannel = row.bits;
        view.thumbnail->formatText = latin1(row.format);
        EXPECT_EQ(imageLines(), row.expected);
    }
}

TEST_F(ImageInfoLines, PrintSourceSizesSigned) {
    view.ensureThumbnail().sourceWidth = std::numeric_limits<int>::min();
    view.thumbnail->sourceHeight = std::numeric_limits<int>::max();
    EXPECT_EQ(imageLines(), "-2147483648x2147483647  0bit\n\n ()\n");
}

TEST_F(ImageInfoLines, CutAFormatTextOfMoreThan150Characters) {
    for (const int length : {149, 150, 151, 250}) {
        view.ensureThumbnail().formatText = QString(length, QLatin1Char('f'));
        const std::string shown =
            length > 150 ? std::string(150, 'f') + "..." : std::string(std::size_t(length), 'f');
        EXPECT_EQ(imageLines(), "0x0  0bit\n" + shown + "\n ()\n") << length;
    }
}

TEST_F(ImageInfoLines, LookForFloatInTheWholeFormatText) {
    view.ensureThumbnail().formatText = QString(200, QLatin1Char('f')) + QStringLiteral("Float");
    EXPECT_EQ(imageLines(), "0x0  " + std::string(150, 'f') + "...\n ()\n");
}

TEST_F(ImageInfoLines, NameTheFlagsWithOneCacheState) {
    const std::pair<unsigned char, const char*> cases[] = {
        {0, " ()"},
        {1, " gamma ()"},
        {2, " SuperWhite ()"},
        {3, " gamma SuperWhite ()"},
        {4, " (kxCache)"},
        {8, " (kxCache rewritten)"},
        {12, " (kxCache)"},
        {11, " gamma SuperWhite (kxCache rewritten)"},
        {15, " gamma SuperWhite (kxCache)"},
        {16, " ()"},
        {0xF0, " ()"},
    };
    for (const auto& [flags, expected] : cases) {
        view.ensureThumbnail().flags = flags;
        EXPECT_EQ(imageLines(), std::string("0x0  0bit\n\n") + expected + "\n") << +flags;
    }
}

TEST_F(ImageInfoLines, GroupTheFileSize) {
    const std::pair<long long, const char*> cases[] = {
        {-1, "-1 bytes"},
        {-5000, "-5000 bytes"},
        {std::numeric_limits<long long>::min(), "-9223372036854775808 bytes"},
        {0, "0 bytes"},
        {999, "999 bytes"},
        {1000, "1000 bytes"},
        {1001, "1.001 bytes"},
        {1999, "1.999 bytes"},
        {999999, "999.999 bytes"},
        {1000000, "1000.000 bytes"},
        {1000500, "1000.500 bytes"},
        {1000999, "1000.999 bytes"},
        {1001000, "1.001.000 bytes"},
        {1234567, "1.234.567 bytes"},
        {1000999999, "1000.999.999 bytes"},
        {1001000000, "1.001.000.000 bytes"},
        {1073741824, "1.073.741.824 bytes"},
        {1073741825, "1.024 MiB"},
        {4199999999, "4.005 MiB"},
        {4200000000, "4+ GB"},
        {4200000001, "4.005 MiB"},
        {1LL << 40, "1.048.576 MiB"},
        {std::numeric_limits<long long>::max(), "8.796.093.022.207 MiB"},
    };
    for (const auto& [size, expected] : cases) {
        EXPECT_EQ(linesOfSize(size), std::string("\n\n") + expected + "\n1970-01-01 00:00:00\n\n") << size;
    }
}

TEST_F(ImageInfoLines, ShowAKnownRenderTime) {
    const std::pair<int, const char*> cases[] = {
        {-1, ""},
        {0, ""},
        {1, "Average Render Time: 0.01 m.s\n"},
        {59, "Average Render Time: 0.59 m.s\n"},
        {60, "Average Render Time: 1.00 m.s\n"},
        {125, "Average Render Time: 2.05 m.s\n"},
        {3600, "Average Render Time: 60.00 m.s\n"},
        {std::numeric_limits<int>::min(), ""},
        {std::numeric_limits<int>::max(), "Average Render Time: 35791394.07 m.s\n"},
    };
    for (const auto& [seconds, expected] : cases) {
        view.averageRenderTime = seconds;
        EXPECT_EQ(lines(), std::string("\n\n-1 bytes\n1970-01-01 00:00:00\n\n") + expected) << seconds;
    }
}
