// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCheckOptions.h"

#include "check/kxCheckHelp.h"
#include "check/kxEscape.h"
#include "check/kxFrameList.h"

#include <QCommandLineParser>
#include <QList>
#include <QStringList>

#include <algorithm>
#include <iterator>
#include <utility>

namespace kxCheck {

namespace {

QByteArray quoted(const QByteArray& text) {
    return '\'' + text + '\'';
}

QByteArray listed(const QByteArray& words) {
    return QByteArray(words).replace(" ", ", ");
}

// --- What an option does to the settings -------------------------------------------------------------------------

template <bool Settings::*flag>
QByteArray setFlag(Settings& settings, const QByteArray& /*value*/, const OptionRow& /*row*/) {
    settings.*flag = true;
    return {};
}

template <bool kxExr::Modes::*mode>
QByteArray setMode(Settings& settings, const QByteArray& /*value*/, const OptionRow& /*row*/) {
    settings.modes.*mode = true;
    return {};
}

// The words of the row stand in the order of the enumerators.
template <auto member>
QByteArray setWord(Settings& settings, const QByteArray& value, const OptionRow& row) {
    const auto index = QByteArray(row.words).split(' ').indexOf(value);
    if (index < 0) return quoted(value) + " is unknown; known are " + listed(row.words);
    using Enumerator = std::decay_t<decltype(settings.*member)>;
    settings.*member = static_cast<Enumerator>(index);
    return {};
}

template <auto member, int least, int most>
QByteArray setNumber(Settings& settings, const QByteArray& value, const OptionRow& /*row*/) {
    const bool isDigits = std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; });
    bool isNumber = false;
    const int number = value.toInt(&isNumber);
    if (!isDigits || !isNumber || number < least || number > most)
        return quoted(value) + " is no number from " + QByteArray::number(least) + " to " +
               QByteArray::number(most);
    settings.*member = number;
    return {};
}

template <QByteArray Settings::*member>
QByteArray setFile(Settings& settings, const QByteArray& value, const OptionRow& row) {
    if (value.isEmpty()) return QByteArray("the value is empty; write --") + row.name + '=' + row.value;
    settings.*member = value;
    return {};
}

QByteArray setFrames(Settings& settings, const QByteArray& value, const OptionRow& /*row*/) {
    auto frames = parseFrameList(value);
    if (auto* const fault = std::get_if<QByteArray>(&frames)) return *fault;
    settings.frames = std::get<FrameNumbers>(std::move(frames));
    return {};
}

QByteArray setChunk(Settings& settings, const QByteArray& value, const OptionRow& /*row*/) {
    constexpr int mostChunks = 1000000;
    const auto numbers = value.split('/');
    const auto numberAt = [&numbers](int i) {
        const QByteArray& text = numbers.at(i);
        const bool isDigits = std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
        return isDigits ? text.toInt() : 0;
    };
    const ChunkOfFrames chunk = numbers.size() == 2 ? ChunkOfFrames{numberAt(0), numberAt(1)} : ChunkOfFrames{0, 0};
    if (chunk.index < 1 || chunk.index > chunk.count || chunk.count > mostChunks)
        return quoted(value) + " is no I/N with I from 1 to N; the third of eight runs is 3/8";
    settings.chunk = chunk;
    return {};
}

QByteArray addExpectation(Settings& settings, const QByteArray& value, const OptionRow& /*row*/) {
    auto expectation = parseExpectation(value);
    if (auto* const fault = std::get_if<QByteArray>(&expectation)) return *fault;
    settings.expectations.push_back(std::get<Expectation>(std::move(expectation)));
    return {};
}

// The codes that say something about a frame's quality.
QByteArray errorsAndWarnings() {
    QByteArray names;
    for (int i = 0; i <= static_cast<int>(Code::jump); ++i) {
        const CodeRow& row = rowOf(static_cast<Code>(i));
        if (row.severity != Severity::none) names += QByteArray(names.isEmpty() ? "" : ", ") + row.name;
    }
    return names;
}

template <std::set<Code> Settings::*member>
QByteArray addCodes(Settings& settings, const QByteArray& value, const OptionRow& /*row*/) {
    const auto names = value.split(',');
    for (const QByteArray& name : names) {
        const auto code = codeFromName(name);
        if (!code || rowOf(*code).severity == Severity::none)
            return quoted(name) + " is no error or warning; known are " + errorsAndWarnings();
        (settings.*member).insert(*code);
    }
    return {};
}

QByteArray addVerdicts(Settings& settings, const QByteArray& value, const OptionRow& row) {
    if (!settings.listed) settings.listed.emplace();
    const auto names = value.split(',');
    for (const QByteArray& name : names) {
        const auto verdict = verdictFromName(name);
        if (!verdict) return quoted(name) + " is no verdict; known are " + listed(row.words);
        settings.listed->insert(*verdict);
    }
    return {};
}

// A list of frames taken for the value would cost the first of them.
QByteArray frameFault(const QByteArray& value, const char* right) {
    if (!value.toLower().endsWith(".exr")) return {};
    return quoted(value) + " has the name of a frame, which would be overwritten; write " + right;
}

QByteArray setJsonFile(Settings& settings, const QByteArray& value, const OptionRow& row) {
    const QByteArray fault = frameFault(value, "--json=FILE or --json=-");
    return fault.isEmpty() ? setFile<&Settings::jsonFile>(settings, value, row) : fault;
}

QByteArray setReportFile(Settings& settings, const QByteArray& value, const OptionRow& row) {
    if (value == "-") return "a page is not written to standard output; write --report=FILE";
    const QByteArray fault = frameFault(value, "--report=FILE");
    return fault.isEmpty() ? setFile<&Settings::reportFile>(settings, value, row) : fault;
}

QByteArray setSort(Settings& settings, const QByteArray& value, const OptionRow& row) {
    settings.sortDescending = value.startsWith('-');
    return setWord<&Settings::sortKey>(settings, settings.sortDescending ? value.mid(1) : value, row);
}

QByteArray setDelete(Settings& settings, const QByteArray& /*value*/, const OptionRow& /*row*/) {
    settings.removal = Removal::remove;
    return {};
}

QByteArray setMove(Settings& settings, const QByteArray& value, const OptionRow& row) {
    settings.removal = Removal::move;
    return setFile<&Settings::moveTo>(settings, value, row);
}

constexpr const char* whens = "auto always never";
constexpr int longestTime = 1000000000;   // seconds
constexpr int mostMemory = 1024 * 16384;  // MiB

constexpr OptionRow rows[] = {
    {"level", 'l', "LEVEL", "headers structure pixels",
     "how far to look: headers (headers, modes, likeness), structure (and whether every chunk is in the file) or "
     "pixels (and everything decoded, and its picture looked at); default pixels",
     setWord<&Settings::level>},
    {"frames", 'f', "LIST", nullptr,
     "the frames that must be there, like 1001-1100 or 1-99x2,150; others are left alone; default: those found, "
     "first "
     "to last, by their step",
     setFrames},
    {"chunk", 0, "I/N", nullptr, "only the I-th (from 1) of N runs of these frames", setChunk},
    {"single", 0, nullptr, nullptr, "the name is one file, its digits are no frame number",
     setFlag<&Settings::single>},
    {"jobs", 'j', "N", nullptr, "frames checked at once; default: the processors for pixels, 16 below",
     setNumber<&Settings::jobs, 1, 1024>},
    {"cache", 0, "DIR", nullptr,
     "keep what the pixels of frames without errors said in this directory, and decode those frames only once; it "
     "is made when its parent is there",
     setFile<&Settings::cacheDirectory>},
    {"require-multi-layer", 0, nullptr, nullptr, "a frame of one part and fewer than five channels is bad",
     setMode<&kxExr::Modes::requireMultiLayer>},
    {"require-multipart", 0, nullptr, nullptr, "a frame of one part is bad",
     setMode<&kxExr::Modes::requireMultipart>},
    {"no-multipart", 0, nullptr, nullptr, "a frame of several parts is bad", setMode<&kxExr::Modes::noMultipart>},
    {"expect", 0, "KEY=VALUE[,VALUE...]", nullptr,
     "what every frame must have, like size=1920x1080 or compression=zip,zips; keys: size, data-window, "
     "compression, "
     "storage, type, parts, pixel-aspect, channels; may be repeated",
     addExpectation},
    {"fail-on", 0, "CODE[,CODE...]", nullptr, "these warnings are errors", addCodes<&Settings::failOn>},
    {"ignore", 0, "CODE[,CODE...]", nullptr, "these errors and warnings count for nothing",
     addCodes<&Settings::ignored>},
    {"strict", 0, nullptr, nullptr, "a suspicious frame counts as bad in the exit code",
     setFlag<&Settings::strict>},
    {"verbose", 'v', nullptr, nullptr, "a line for every frame, not only for those that are not good",
     setFlag<&Settings::verbose>},
    {"info", 0, nullptr, nullptr,
     "under each line of a frame what is known of it: picture, file, machine, render time",
     setFlag<&Settings::info>},
    {"sort", 0, "KEY", "frame machine date size difference",
     "order of the lines: frame, machine (that made it), date (newest first), size (smallest first) or difference "
     "(from the neighbours, largest first); -KEY turns it round; default frame",
     setSort},
    {"list", 0, "VERDICT[,VERDICT...]", "good suspicious bad missing unknown",
     "print only the frames with these verdicts (good, suspicious, bad, missing, unknown), one line a sequence, as "
     "--frames takes it",
     addVerdicts},
    {"json", 0, "FILE", nullptr, "write JSON lines; - is standard output, then without the lines for people",
     setJsonFile},
    {"report", 0, "FILE", nullptr, "write a page of HTML with pictures, to be looked at in a browser",
     setReportFile},
    {"delete", 0, nullptr, nullptr, "delete bad frames", setDelete},
    {"move-to", 0, "DIR", nullptr, "move bad frames to this directory of the same file system", setMove},
    {"remove-most", 0, nullptr, nullptr, "delete or move also more than half of the frames",
     setFlag<&Settings::removeMost>},
    {"min-age", 0, "SECONDS", nullptr,
     "files changed more recently are not removed, and unfinished instead of truncated; default 60",
     setNumber<&Settings::minAge, 0, longestTime>},
    {"follow", 0, nullptr, nullptr,
     "go on as frames arrive, until every one of --frames has a verdict or nothing came for the time of --timeout",
     setFlag<&Settings::follow>},
    {"timeout", 0, "SECONDS", nullptr, "without news, after which --follow ends; default 3600",
     setNumber<&Settings::timeout, 1, longestTime>},
    {"time-limit", 0, "SECONDS", nullptr, "for one frame; default 300",
     setNumber<&Settings::timeLimit, 1, longestTime>},
    {"memory-limit", 0, "MIB", nullptr,
     "for one frame; default: the smaller of 4096 and three quarters of the free memory by the jobs",
     setNumber<&Settings::memoryLimit, 1, mostMemory>},
    {"progress", 0, "WHEN", whens, "a bar on standard error: auto (on a terminal), always or never; default auto",
     setWord<&Settings::progress>},
    {"color", 0, "WHEN", whens, "colours: auto (on a terminal), always or never; default auto",
     setWord<&Settings::color>},
    {"help", 'h', nullptr, nullptr, "print this text", nullptr},
    {"version", 0, nullptr, nullptr, "print the versions of program and libraries", nullptr},
};

// --- The arguments -----------------------------------------------------------------------------------------------

QString latin1(const char* text) {
    return QString::fromLatin1(text);
}

void addOptions(QCommandLineParser& parser) {
    for (const OptionRow& row : rows) {
        QStringList names{latin1(row.name)};
        if (row.letter) names.prepend(QString(QLatin1Char(row.letter)));
        parser.addOption(QCommandLineOption(names, QString(), latin1(row.value)));
    }
}

// What kept the parser from understanding the arguments.
QByteArray parserFault(const QCommandLineParser& parser) {
    const QStringList unknown = parser.unknownOptionNames();
    if (!unknown.isEmpty()) {
        const QByteArray name = unknown.first().toLatin1();
        return "unknown option " + quoted((name.size() == 1 ? "-" : "--") + name) + "; --help lists the options";
    }
    QByteArray fault = parser.errorText().toLatin1();  // "Missing value after '--level'."
    if (fault.endsWith('.')) fault.chop(1);
    return fault.left(1).toLower() + fault.mid(1) + "; --help shows how the options are written";
}

// Empty, or the fault of the first option that has one.
QByteArray applyOptions(const QCommandLineParser& parser, Settings& settings) {
    for (const OptionRow& row : rows) {
        const QString name = latin1(row.name);
        if (!row.apply || !parser.isSet(name)) continue;
        const QStringList values = row.value ? parser.values(name) : QStringList{QString()};
        for (const QString& value : values) {
            const QByteArray fault = row.apply(settings, value.toLatin1(), row);
            if (!fault.isEmpty()) return QByteArray("--") + row.name + ": " + fault;
        }
    }
    return {};
}

struct Conflict {
    const char* a;
    const char* b;
    const char* right;
};

constexpr Conflict conflicts[] = {
    {"single", "frames", "the one file has no frame number"},
    {"delete", "move-to", "use one of them"},
    {"require-multipart", "no-multipart", "no frame can be both"},
};

QByteArray conflictOf(const QCommandLineParser& parser, const Settings& settings) {
    for (const Conflict& conflict : conflicts)
        if (parser.isSet(latin1(conflict.a)) && parser.isSet(latin1(conflict.b)))
            return QByteArray("--") + conflict.a + " excludes --" + conflict.b + "; " + conflict.right;
    if (settings.listed && settings.jsonFile == "-")
        return "--list excludes --json -; both are for standard output, write the JSON lines to a file";
    if (!settings.reportFile.isEmpty() && settings.reportFile == settings.jsonFile)
        return "--json and --report name the same file; one of them would be lost";
    if (settings.removeMost && settings.removal == Removal::none)
        return "--remove-most needs --delete or --move-to; alone it removes nothing";
    if (settings.follow && !settings.frames)
        return "--follow needs --frames; only a list says when all frames have come";
    if (parser.isSet(latin1("timeout")) && !settings.follow)
        return "--timeout needs --follow; without it nothing is waited for";
    for (const Code code : settings.failOn)
        if (settings.ignored.count(code) > 0)
            return quoted(rowOf(code).name) + " is in --fail-on and in --ignore; name it in one of them";
    return {};
}

QByteArray takeNames(const QCommandLineParser& parser, Settings& settings) {
    const QStringList names = parser.positionalArguments();
    for (const QString& name : names) settings.arguments.push_back(name.toLatin1());
    if (names.isEmpty())
        return "no frame or directory is named; write kxCheckFrames [options] <frame or directory>...";
    if (names.contains(QString())) return "'' is no frame or directory; the current directory is .";
    return {};
}

}  // namespace

OptionRows optionRows() {
    return {std::begin(rows), std::end(rows)};
}

std::variant<Settings, WantedText, UsageError> parseCommandLine(const std::vector<QByteArray>& arguments) {
    QStringList texts{latin1("kxCheckFrames")};
    for (const QByteArray& argument : arguments) texts.append(latin1(argument.constData()));
    QCommandLineParser parser;
    addOptions(parser);

    Settings settings;
    const bool isUnderstood = parser.parse(texts);
    if (isUnderstood && parser.isSet(latin1("help"))) return WantedText{helpText()};
    if (isUnderstood && parser.isSet(latin1("version"))) return WantedText{versionText()};
    QByteArray fault = isUnderstood ? applyOptions(parser, settings) : parserFault(parser);
    if (fault.isEmpty()) fault = conflictOf(parser, settings);
    if (fault.isEmpty()) fault = takeNames(parser, settings);
    if (!fault.isEmpty()) return UsageError{"kxCheckFrames: " + escaped(fault)};
    return settings;
}

}  // namespace kxCheck
