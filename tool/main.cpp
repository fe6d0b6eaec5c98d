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
#include "image/kxExrHeaders.h"
#include "image/kxExrModes.h"
#include "image/kxExrText.h"
#include "image/kxFrameSource.h"
#include "shared/kxClientSegment.h"
#include "shared/kxFileSystem.h"
#include "shared/kxMemoryLimit.h"
#include "shared/kxSharedMemory.h"
#include "shared/kxVersion.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

namespace {

void print(const QString& text, FILE* stream = stdout) {
    std::fputs(text.toLatin1().constData(), stream);
}

// What is asked of every frame.
struct Verification {
    kxExr::Modes modes;
    bool del = false;          // deletes frames that fail the modes
    bool showChannel = false;  // prints the channel names
};

// What the command line asks for.
struct Settings {
    QString fileName;
    kxFrames::DiscoverySettings frames;  // all of them unless -seq restricts them
    Verification verification;
};

// Text that is not a number reads as 0.
int numberFrom(const char* argument) {
    return QString::fromLatin1(argument).toInt(nullptr, 10);
}

void restrictFrames(Settings& settings, char** values) {
    settings.frames.start = numberFrom(values[0]);
    settings.frames.end = numberFrom(values[1]);
    settings.frames.step = numberFrom(values[2]);
    settings.frames.offset = numberFrom(values[3]);
}

struct Option {
    const char* name;
    Qt::CaseSensitivity sensitivity;
    int valueCount;  // arguments that the option takes
    void (*apply)(Settings& settings, char** values);
};

// -requireMultiLayer alone must be spelled as it stands.
constexpr Option options[] = {
    {"-requireMultiLayer", Qt::CaseSensitive, 0,
     [](Settings& s, char**) { s.verification.modes.requireMultiLayer = true; }},
    {"-requireMultipart", Qt::CaseInsensitive, 0,
     [](Settings& s, char**) { s.verification.modes.requireMultipart = true; }},
    {"-noMultipart", Qt::CaseInsensitive, 0, [](Settings& s, char**) { s.verification.modes.noMultipart = true; }},
    {"-showChannel", Qt::CaseInsensitive, 0, [](Settings& s, char**) { s.verification.showChannel = true; }},
    {"-del", Qt::CaseInsensitive, 0, [](Settings& s, char**) { s.verification.del = true; }},
    {"-seq", Qt::CaseInsensitive, 4, restrictFrames},
    {"-threadID", Qt::CaseInsensitive, 1, [](Settings&, char**) {}},
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

// Unknown arguments, and options that lack their values, are passed over.
void parseOptions(int argc, char** argv, int firstOption, Settings& settings) {
    for (int i = firstOption; i < argc; ++i) {
        const QString argument = QString::fromLatin1(argv[i]);
        for (const Option& option : options) {
            if (i + option.valueCount >= argc) continue;
            if (argument.compare(QLatin1String(option.name), option.sensitivity) != 0) continue;
            option.apply(settings, argv + i + 1);
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

// Completes the line of a frame that has no readable file.
void printUnableToLoad() {
    std::puts("     Error: Unable to load file");
}

// The line of a frame; std::bad_alloc where that is larger than the memory.
QByteArray frameLine(const kxExr::Headers& headers, const Verification& wanted, bool fails) {
    QString line = kxExr::summaryText(headers);
    if (fails) line += QStringLiteral("   => DELETE");
    if (fails && !wanted.del) line += QStringLiteral(" (delete disabled)");
    if (wanted.showChannel) line += QStringLiteral("  ") + kxExr::channelText(headers);
    line += QLatin1Char('\n');
    return line.toLatin1();
}

struct FrameCheck {
    QByteArray line;  // empty when the file can't be read
    bool fails = false;
};

FrameCheck checkFrame(const QString& file, const Verification& wanted) {
    try {
        const std::optional<kxExr::Headers> headers = kxExr::readHeaders(file);
        if (!headers) return {};
        const bool fails = kxExr::modeFailure(wanted.modes, *headers) != kxExr::ModeFailure::none;
        return {frameLine(*headers, wanted, fails), fails};
    } catch (const std::exception&) {  // hostile headers can make a line larger than the memory
        return {};
    }
}

// The line of the file is out before: a run that is killed has said which files it deleted.
void deleteFrame(const QString& file) {
    std::fflush(stdout);
    const QString error = kxDeleteFile(file);
    if (!error.isEmpty()) print(QStringLiteral("     Error: ") + error + "\n");
}

// Completes the frame's line, and deletes the frame when it fails the modes and `del` is set.
void verifyFrame(const QString& file, const Verification& wanted) {
    const FrameCheck check = checkFrame(file, wanted);
    if (check.line.isEmpty()) {
        printUnableToLoad();
        return;
    }
    std::fputs(check.line.constData(), stdout);
    if (check.fails && wanted.del) deleteFrame(file);
}

void findFrames(const kxFrames::DiscoverySettings& settings, _kxViewSequence& sequence) {
    kxFrames::DiskFrameSource disk;
    sequence.findSequence(settings, disk);
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
void verifyFrames(const _kxViewSequence& sequence, const Verification& wanted) {
    for (int i = 0; i < sequence.imageCount; ++i) {
        const kxCHK::_SingleImageView& view = sequence.images[sequence.sortOrder[i]];
        print(QStringLiteral("%1: ").arg(view.frameText.toQString(), 4));
        if (sequence.hasFile(i)) {
            verifyFrame(sequence.getDirFileName(i), wanted);
        } else {
            printUnableToLoad();
        }
        std::fflush(stdout);
    }
    std::putchar('\n');
    std::fflush(stdout);
    std::fflush(stderr);
}

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
    findFrames(settings.frames, *sequence);
    if (sequence->fileCount < 1) {
        // All three at once: a "%1" in a name is not a place to fill.
        print(QStringLiteral("\nNo file found '%1%2#%3'\n\n")
                  .arg(sequence->dirName, sequence->fileName, sequence->extension),
              stderr);
        return 0;
    }
    printFoundSequence(*sequence);
    verifyFrames(*sequence, settings.verification);
    return 0;
}

// Reading the headers of a sound sequence takes less than a tenth of it.
constexpr long long mostAddressSpace = 1LL << 30;

// Only the tool's own messages go to standard error. From 6.8 on Qt warns there of every locale that is not UTF-8
// when the application object is made; the locale means nothing here, because names are bytes. QT_LOGGING_RULES in
// the environment still brings the warnings back.
void silenceQtWarnings() {
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false"));
}

}  // namespace

void KXMessageOutput_none(QtMsgType /*type*/, const char* /*message*/) {}

QString operator+(const QString& text, const char* suffix) {
    return text + QString::fromLatin1(suffix);
}

QString operator+(QString&& text, const char* suffix) {
    text += QString::fromLatin1(suffix);
    return std::move(text);
}

void testExr(const QString& file, const bool& requireMultiLayer, const bool& requireMultipart,
             const bool& noMultipart, const bool& del, const bool& showChannel) {
    verifyFrame(file, {{requireMultiLayer, requireMultipart, noMultipart}, del, showChannel});
}

void sendClientCheckJob(int& job) {
    kxClientSegment client;
    const kxClientSegment::Answer answer = client.placeCheckJob(job);
    print(answer.message);
    // Time for the client to pick the message up before the caller goes on.
    if (answer.outcome != kxClientSegment::Outcome::failed) kxSleep(2000);
}

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
