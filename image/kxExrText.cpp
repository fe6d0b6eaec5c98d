// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxExrText.h"

#include "shared/kxFileSystem.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace kxExr {

namespace {

// Lines of at most this many characters are built in one piece of memory.
constexpr int usualLineSize = 160;

// Windows of damaged headers can span more than 32 bits; the size wraps.
int widthOf(const Window& window) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(window.width()));
}

int heightOf(const Window& window) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(window.height()));
}

// Only sizes are compared: a data window of the same size at another position is not cropped.
bool isCropped(const Part& part) {
    return widthOf(part.dataWindow) != widthOf(part.displayWindow) ||
           heightOf(part.dataWindow) != heightOf(part.displayWindow);
}

// DWAA and all that came later have no text of their own: scripts read these lines, so they stay as they were.
const char* compressionText(Compression compression) {
    constexpr const char* texts[] = {
        " uncompr. ", " RLE",         " Zip-1line",           " Zip-16line",
        " Wavelet",   " lossy float", " lossy 4-by-4 static", " lossy 4-by-4 variable"};
    static_assert(std::size(texts) == static_cast<std::size_t>(Compression::b44a) + 1,
                  "the table is in the order of the file format's numbers");
    const auto index = static_cast<std::size_t>(compression);
    return index < std::size(texts) ? texts[index] : " unknown compr.";
}

QString pixelTypeText(PixelType type) {
    switch (type) {
        case PixelType::uint:
            return QStringLiteral("int");
        case PixelType::half:
            return QStringLiteral("half");
        case PixelType::float32:
            return QStringLiteral("float");
        default:
            return QString();
    }
}

// Writes the names of one part after the other. Where the rules collide the text is taken as it comes: when the
// type changes within a layer, what is cut off before a shortened name is the ": " of the type and not the ", ".
class ChannelTextWriter {
public:
    void beginPart() {
        if (!text_.isEmpty()) text_ += QLatin1Char(' ');
        first_ = true;
    }

    void addChannel(const Channel& channel) {
        separate();
        addType(pixelTypeText(channel.type));
        addName(QString::fromLatin1(channel.name));
    }

    void endPart() { text_ += QLatin1Char(']'); }

    const QString& text() const { return text_; }

private:
    void separate() {
        if (first_) lastType_.clear();
        text_ += first_ ? QStringLiteral("[") : QStringLiteral(", ");
        first_ = false;
    }

    void addType(const QString& type) {
        if (type == lastType_) return;
        lastType_ = type;
        text_ += QLatin1Char('|') + type + QLatin1String(": ");
    }

    void addName(const QString& name) {
        QString layer;
        QString suffix;
        if (name.contains(QLatin1Char('.'))) {
            layer = suffix = name;
            splitAtLastOccurence(layer, suffix, QStringLiteral("."), QString(), QString());
        }
        // The last layer is not forgotten between parts.
        if (!suffix.isEmpty() && layer == lastLayer_) {
            text_.chop(2);
            text_ += shortened(suffix.mid(1));
        } else {
            text_ += name;
        }
        lastLayer_ = layer;
    }

    // Anywhere in the name and in any letter case: "diffuseRed" becomes "diffuseR".
    static QString shortened(QString channel) {
        constexpr const char* colours[][2] = {{"red", "R"}, {"green", "G"}, {"blue", "B"}, {"Alpha", "A"}};
        for (const auto& colour : colours) {
            channel.replace(QLatin1String(colour[0]), QLatin1String(colour[1]), Qt::CaseInsensitive);
        }
        return channel;
    }

    QString text_;
    QString lastType_;
    QString lastLayer_;
    bool first_ = true;
};

QString imageSizeText(const Window& window) {
    return QStringLiteral("  imagesize: %1x%2 ")
        .arg(QString::number(widthOf(window)), QString::number(heightOf(window)));
}

// The corners are those of the last part, the size that of the first.
QString dataWindowText(const Window& size, const Window& corners) {
    return QStringLiteral("(data: [%1;%2]-[%3;%4] %5x%6) ")
        .arg(QString::number(corners.minX), QString::number(corners.minY), QString::number(corners.maxX),
             QString::number(corners.maxY), QString::number(widthOf(size)), QString::number(heightOf(size)));
}

std::size_t channelsOfAllParts(const Headers& headers) {
    std::size_t count = 0;
    for (const Part& part : headers) count += part.channels.size();
    return count;
}

}  // namespace

QString summaryText(const Headers& headers) {
    const Part& first = headers.front();
    const bool cropped = isCropped(first);
    QString text;
    text.reserve(usualLineSize);
    text += imageSizeText(first.displayWindow);
    if (cropped) text += dataWindowText(first.dataWindow, headers.back().dataWindow);
    text += isTiled(first.storage) ? QStringLiteral("tiled    ") : QStringLiteral("scanline ");
    text += QLatin1String(compressionText(first.compression));
    text += QStringLiteral("  ");
    if (cropped) text += QStringLiteral("  cropped");
    if (isDeep(first.storage)) text += QStringLiteral("  deep");
    text += QStringLiteral("  %1 channels ").arg(QString::number(channelsOfAllParts(headers)));
    if (headers.size() != 1) text += QStringLiteral("  %1 parts").arg(headers.size());
    return text;
}

QString channelText(const Headers& headers) {
    ChannelTextWriter writer;
    for (const Part& part : headers) {
        writer.beginPart();
        for (const Channel& channel : part.channels) writer.addChannel(channel);
        writer.endPart();
    }
    return writer.text();
}

}  // namespace kxExr
