// SPDX-License-Identifier: BSD-3-Clause
// kxVerifyExrModes: finds the image sequence of one file name, checks every frame's EXR headers against the
// modes asked for and, with -del, deletes the frames that fail. docs/architecture.md shows the way of a run.
//
// Everything printed is bytes: names go out as they stand on disk, and no text that holds a name is ever a
// format.

// This file brings its own operator+(const QString&, const char*), which reads Latin-1; Qt's reads UTF-8.
#ifndef QT_NO_CAST_FROM_ASCII
#define QT_NO_CAST_FROM_ASCII
#endif

#include "tool/main.h"

#include "image/KX_DataTypes_imageList.h"
#include "shared/kxClientSegment.h"
#include "shared/kxFileSystem.h"
#include "shared/kxMemoryLimit.h"
#include "shared/kxSharedMemory.h"
#include "shared/kxVersion.h"

#include <ImfChannelList.h>
#include <ImfHeader.h>
#include <ImfMultiPartInputFile.h>
#include <ImfPartType.h>
#include <ImfThreading.h>
#if __has_include(<ImfContextInit.h>)
#include <ImfContextInit.h>
#endif

#include <QCoreApplication>
#include <QLoggingCategory>
#include <csignal>
#include <cstdio>
#include <memory>
#include <utility>

void KXMessageOutput_none(QtMsgType /*type*/, const char* /*message*/) {}

QString operator+(const QString& text, const char* suffix) {
    return text + QString::fromLatin1(suffix);
}

QString operator+(QString&& text, const char* suffix) {
    text += QString::fromLatin1(suffix);
    return std::move(text);
}

namespace {

void print(const QString& text, FILE* stream = stdout) {
    std::fputs(text.toLatin1().constData(), stream);
}

// Completes the line of a frame that has no readable file.
void printUnableToLoad() {
    std::puts("     Error: Unable to load file");
}

// --- The EXR check --------------------------------------------------------------------------------------------

// Single-part files count as multi-layer from this many channels on: R, G, B, A and one more.
constexpr int multiLayerChannels = 5;

// What the headers of one file say.
struct ExrSummary {
    Imath::Box2i displayWindow;   // of the first part
    Imath::Box2i dataWindow;      // of the first part
    Imath::Box2i lastDataWindow;  // of the last part
    Imf::Compression compression = Imf::NO_COMPRESSION;
    bool tiled = false;
    bool deep = false;
    int partCount = 0;
    int channelsOfFirstPart = 0;
    int totalChannels = 0;
    QString channelText;

    bool cropped() const;
};

// Pixels from the first to the last, both included. Windows of damaged headers can span more than 32 bits;
// the result wraps.
int extent(int first, int last) {
    return static_cast<int>(static_cast<unsigned>(last) - static_cast<unsigned>(first) + 1U);
}

int widthOf(const Imath::Box2i& window) {
    return extent(window.min.x, window.max.x);
}

int heightOf(const Imath::Box2i& window) {
    return extent(window.min.y, window.max.y);
}

// Only sizes are compared: a data window of the same size at another position is not cropped.
bool ExrSummary::cropped() const {
    return widthOf(dataWindow) != widthOf(displayWindow) || heightOf(dataWindow) != heightOf(displayWindow);
}

const char* compressionText(Imf::Compression compression) {
    constexpr const char* texts[] = {
        " uncompr. ", " RLE",         " Zip-1line",           " Zip-16line",
        " Wavelet",   " lossy float", " lossy 4-by-4 static", " lossy 4-by-4 variable"};
    static_assert(Imf::NO_COMPRESSION == 0 && Imf::RLE_COMPRESSION == 1 && Imf::ZIPS_COMPRESSION == 2 &&
                      Imf::ZIP_COMPRESSION == 3 && Imf::PIZ_COMPRESSION == 4 && Imf::PXR24_COMPRESSION == 5 &&
                      Imf::B44_COMPRESSION == 6 && Imf::B44A_COMPRESSION == 7,
                  "the table is in the order of the file format's numbers");
    const auto index = static_cast<size_t>(compression);
    return index < std::size(texts) ? texts[index] : " unknown compr.";
}

QString pixelTypeText(Imf::PixelType type) {
    switch (type) {
        case Imf::UINT:
            return QStringLiteral("int");
        case Imf::HALF:
            return QStringLiteral("half");
        case Imf::FLOAT:
            return QStringLiteral("float");
        default:
            return QString();
    }
}

// Collects the channel names of all parts: "[|half: A, B, diffuse.BGR|float: Z] [...]", the channels of a
// layer after its first shortened. Scripts parse this text, and it is taken as it comes where the rules
// collide: when the type changes within a layer, what is cut off before a shortened name is the ": " of the
// type and not the ", ".
class ChannelTextWriter {
public:
    void beginPart() {
        if (!text_.isEmpty()) text_ += QLatin1Char(' ');
        first_ = true;
    }

    void addChannel(const QString& name, Imf::PixelType type) {
        separate();
        addType(pixelTypeText(type));
        addName(name);
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
        text_ += QLatin1Char('|') + type + ": ";
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

// The number of channels; their names go to `writer` unless it is null.
int readChannels(const Imf::ChannelList& channels, ChannelTextWriter* writer) {
    int count = 0;
    if (writer) writer->beginPart();
    for (auto channel = channels.begin(); channel != channels.end(); ++channel) {
        if (writer) writer->addChannel(QString::fromLatin1(channel.name()), channel.channel().type);
        ++count;
    }
    if (writer) writer->endPart();
    return count;
}

void readFirstHeader(const Imf::Header& header, ExrSummary& summary) {
    summary.displayWindow = header.displayWindow();
    summary.dataWindow = header.dataWindow();
    summary.compression = header.compression();
    summary.tiled = header.hasTileDescription();
    summary.deep = header.hasType() && Imf::isDeepData(header.type());
}

#if __has_include(<ImfContextInit.h>)
void discardError(exr_const_context_t /*context*/, exr_result_t /*code*/, const char* /*message*/) {}

// From 3.3 on the EXR library prints each error before it throws it, unless it is told what else to do. The other
// settings are those of the constructor without settings.
Imf::MultiPartInputFile openExr(const QByteArray& path) {
    const auto settings =
        Imf::ContextInitializer().silentHeaderParse(true).strictHeaderValidation(false).setErrorHandler(
            discardError);
    return Imf::MultiPartInputFile(path.constData(), settings, Imf::globalThreadCount());
}
#else
Imf::MultiPartInputFile openExr(const QByteArray& path) {
    return Imf::MultiPartInputFile(path.constData(), Imf::globalThreadCount(), true);
}
#endif

// Throws what the EXR library throws. The file is closed when the summary is there.
ExrSummary readHeaders(const QString& file, bool withChannelText) {
    const Imf::MultiPartInputFile reader = openExr(file.toLatin1());
    ExrSummary summary;
    ChannelTextWriter writer;
    summary.partCount = reader.parts();
    readFirstHeader(reader.header(0), summary);
    for (int part = 0; part < summary.partCount; ++part) {
        const Imf::Header& header = reader.header(part);
        const int count = readChannels(header.channels(), withChannelText ? &writer : nullptr);
        if (part == 0) summary.channelsOfFirstPart = count;
        summary.totalChannels += count;
        summary.lastDataWindow = header.dataWindow();
    }
    summary.channelText = writer.text();
    return summary;
}

// The corners are those of the last part, the size that of the first.
QString dataWindowText(const ExrSummary& summary) {
    const Imath::Box2i& corners = summary.lastDataWindow;
    return QStringLiteral("(data: [%1;%2]-[%3;%4] %5x%6) ")
        .arg(QString::number(corners.min.x), QString::number(corners.min.y), QString::number(corners.max.x),
             QString::number(corners.max.y), QString::number(widthOf(summary.dataWindow)),
             QString::number(heightOf(summary.dataWindow)));
}

// Lines of at most this many characters are built in one piece of memory.
constexpr int usualLineSize = 160;

QString summaryLine(const ExrSummary& summary) {
    QString line;
    line.reserve(usualLineSize);
    line +=
        QStringLiteral("  imagesize: %1x%2 ")
            .arg(QString::number(widthOf(summary.displayWindow)), QString::number(heightOf(summary.displayWindow)));
    if (summary.cropped()) line += dataWindowText(summary);
    line += summary.tiled ? QStringLiteral("tiled    ") : QStringLiteral("scanline ");
    line += QLatin1String(compressionText(summary.compression));
    line += QStringLiteral("  ");
    if (summary.cropped()) line += QStringLiteral("  cropped");
    if (summary.deep) line += QStringLiteral("  deep");
    line += QStringLiteral("  %1 channels ").arg(QString::number(summary.totalChannels));
    if (summary.partCount != 1) line += QStringLiteral("  %1 parts").arg(summary.partCount);
    return line;
}

// A file of several parts never fails for its layers.
bool failsModes(const ExrSummary& summary, bool requireMultiLayer, bool requireMultipart, bool noMultipart) {
    if (summary.partCount != 1) return noMultipart;
    return (summary.channelsOfFirstPart < multiLayerChannels && requireMultiLayer) || requireMultipart;
}

QByteArray frameLine(const ExrSummary& summary, bool fail, bool del, bool showChannel) {
    QString line = summaryLine(summary);
    if (fail) line += QStringLiteral("   => DELETE");
    if (fail && !del) line += QStringLiteral(" (delete disabled)");
    if (showChannel) line += QStringLiteral("  ") + summary.channelText;
    line += QLatin1Char('\n');
    return line.toLatin1();
}

}  // namespace

void testExr(const QString& file, const bool& requireMultiLayer, const bool& requireMultipart,
             const bool& noMultipart, const bool& del, const bool& showChannel) {
    QByteArray line;
    bool fail = false;
    try {
        const ExrSummary summary = readHeaders(file, showChannel);
        fail = failsModes(summary, requireMultiLayer, requireMultipart, noMultipart);
        line = frameLine(summary, fail, del, showChannel);  // hostile headers can make it larger than the memory
    } catch (...) {
        printUnableToLoad();
        return;
    }
    std::fputs(line.constData(), stdout);

    if (!fail || !del) return;
    std::fflush(stdout);  // a run that is killed has said which files it deleted
    const QString error = kxDeleteFile(file);
    if (!error.isEmpty()) print(QStringLiteral("     Error: ") + error + "\n");
}

void sendClientCheckJob(int& job) {
    kxClientSegment client;
    const kxClientSegment::Answer answer = client.placeCheckJob(job);
    print(answer.message);
    // Time for the client to pick the message up before the caller goes on.
    if (answer.outcome != kxClientSegment::Outcome::failed) kxSleep(2000);
}

// --- The run --------------------------------------------------------------------------------------------------

namespace {

// What the command line asks for.
struct Settings {
    QString fileName;
    bool requireMultiLayer = false;
    bool requireMultipart = false;
    bool noMultipart = false;
    bool del = false;
    bool showChannel = false;
    bool optSeqGiven = false;
    int optSeqStart = -1;
    int optSeqEnd = -1;
    int optSeqStep = -1;
    int optSeqOffset = -1;
};

struct Option {
    const char* name;
    Qt::CaseSensitivity sensitivity;
    int valueCount;        // arguments that the option takes
    bool Settings::*flag;  // what it sets, or null
};

// -requireMultiLayer alone must be spelled as it stands.
constexpr Option options[] = {
    {"-requireMultiLayer", Qt::CaseSensitive, 0, &Settings::requireMultiLayer},
    {"-requireMultipart", Qt::CaseInsensitive, 0, &Settings::requireMultipart},
    {"-noMultipart", Qt::CaseInsensitive, 0, &Settings::noMultipart},
    {"-showChannel", Qt::CaseInsensitive, 0, &Settings::showChannel},
    {"-del", Qt::CaseInsensitive, 0, &Settings::del},
    {"-seq", Qt::CaseInsensitive, 4, &Settings::optSeqGiven},
    {"-threadID", Qt::CaseInsensitive, 1, nullptr},
};

void printBanner() {
    const char rule[] = "----------------------------------------------------------------";
    static_assert(sizeof(rule) == 64 + 1, "the rule is 64 characters long");
    std::puts(rule);
    std::printf("kxVerifyExrModes ");
    std::printf("%s", kxVersionString);
    std::putchar('\n');
    std::printf("%s", kxCopyrightNotice);
    std::putchar('\n');
    std::puts(rule);
}

void printUsage() {
    constexpr const char* lines[] = {
        "This tool will read the header of EXR files and can delete files based on required modes",
        "\nUsage:\n",
        "  kxVerifyExrModes  filename.001.ext [options]",
        "",
        "  -seq <start> <end> <step> <offset>: restrict sequence",
        "  -del: delete files that do no match your choices ",
        ("  -requireMultiLayer: Exr files require to have multiple layers (1 main RGBA+ more "
         "channels/elements/aovs) "),
        "  -requireMultipart:  Exr files require to have multiple parts (Exr 2.0 feature) ",
        "  -noMultipart:  Exr files should not contain multiple parts (Exr 2.0 feature) ",
        "  -showChannel: prints all channel names, grouped into exr parts",
    };
    for (const char* line : lines) std::puts(line);
}

// Text that is not a number reads as 0.
int numberFrom(const char* argument) {
    return QString::fromLatin1(argument).toInt(nullptr, 10);
}

void applyOption(const Option& option, char** values, Settings& settings) {
    if (option.flag) settings.*option.flag = true;
    if (option.flag != &Settings::optSeqGiven) return;
    settings.optSeqStart = numberFrom(values[0]);
    settings.optSeqEnd = numberFrom(values[1]);
    settings.optSeqStep = numberFrom(values[2]);
    settings.optSeqOffset = numberFrom(values[3]);
}

// Unknown arguments, and options that lack their values, are passed over.
void parseOptions(int argc, char** argv, int firstOption, Settings& settings) {
    for (int i = firstOption; i < argc; ++i) {
        const QString argument = QString::fromLatin1(argv[i]);
        for (const Option& option : options) {
            if (i + option.valueCount >= argc) continue;
            if (argument.compare(QLatin1String(option.name), option.sensitivity) != 0) continue;
            applyOption(option, argv + i + 1, settings);
            i += option.valueCount;
            break;
        }
    }
}

// "[-kxRoot <dir>] file [options]"; the root is not used. False when the file name is missing.
bool parseArguments(int argc, char** argv, Settings& settings) {
    const bool withRoot = QString::fromLatin1(argv[1]).compare(QLatin1String("-kxRoot"), Qt::CaseInsensitive) == 0;
    const int fileIndex = withRoot ? 3 : 1;
    if (fileIndex >= argc) return false;
    settings.fileName = QString::fromLatin1(argv[fileIndex]);
    parseOptions(argc, argv, fileIndex + 1, settings);
    return true;
}

void findFrames(const Settings& settings, _kxViewSequence& sequence) {
    const bool restricted = settings.optSeqGiven;
    sequence.findSequence(false, false, QString(), restricted ? settings.optSeqStart : -1,
                          restricted ? settings.optSeqEnd : -1, restricted ? settings.optSeqStep : 1,
                          restricted ? settings.optSeqOffset : 0, QString(), false, nullptr);
    sequence.cellWidth = 166;
    sequence.cellHeight = 126;
}

void printFoundSequence(const _kxViewSequence& sequence) {
    print(QStringLiteral("Found Sequence %1-%2, %3\n")
              .arg(sequence.seqStart)
              .arg(sequence.seqEnd)
              .arg(sequence.seqStep));
    std::fflush(stdout);
    std::fflush(stderr);
}

// One line per slot, visible when it is done.
void verifyFrames(const Settings& settings, const _kxViewSequence& sequence) {
    for (int i = 0; i < sequence.imageCount; ++i) {
        const kxCHK::_SingleImageView& view = sequence.images[sequence.sortOrder[i]];
        print(QStringLiteral("%1: ").arg(view.frameText.toQString(), 4));
        if (sequence.hasFile(i)) {
            testExr(sequence.getDirFileName(i), settings.requireMultiLayer, settings.requireMultipart,
                    settings.noMultipart, settings.del, settings.showChannel);
        } else {
            printUnableToLoad();
        }
        std::fflush(stdout);
    }
    std::putchar('\n');
    std::fflush(stdout);
    std::fflush(stderr);
}

// Reading the headers of a sound sequence takes less than a tenth of it.
constexpr long long mostAddressSpace = 1LL << 30;

// The process's exit code: 1 only when the file name can't be split.
int run(const Settings& settings) {
    const auto sequence = std::make_unique<_kxViewSequence>();
    if (!sequence->imageDirFileFromString(settings.fileName)) {
        std::fputs("\nUnable to split input filename into sequence name.\n\n", stderr);
        return 1;
    }
    if (!kxDirectoryExists(sequence->dirName)) {
        print(QStringLiteral("\nCannot find/access directory '%1'\n\n").arg(sequence->dirName), stderr);
        return 0;
    }
    findFrames(settings, *sequence);
    if (sequence->fileCount < 1) {
        // All three at once: a "%1" in a name is not a place to fill.
        print(QStringLiteral("\nNo file found '%1%2#%3'\n\n")
                  .arg(sequence->dirName, sequence->fileName, sequence->extension),
              stderr);
        return 0;
    }
    printFoundSequence(*sequence);
    verifyFrames(settings, *sequence);
    return 0;
}

// Only the tool's own messages go to standard error. From 6.8 on Qt warns there of every locale that is not UTF-8
// when the application object is made; the locale means nothing here, because names are bytes. QT_LOGGING_RULES in
// the environment still brings the warnings back.
void silenceQtWarnings() {
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false"));
}

}  // namespace

int main(int argc, char** argv) {
    // A closed output ends the run, also where the caller ignores the signal.
    std::signal(SIGPIPE, SIG_DFL);
    printBanner();
    if (argc < 2) {
        printUsage();
        return 0;
    }
    silenceQtWarnings();
    const QCoreApplication application(argc, argv);
    Settings settings;
    if (!parseArguments(argc, argv, settings)) {
        printUsage();
        return 0;
    }
    kxLimitAddressSpace(mostAddressSpace);
    return run(settings);
}
