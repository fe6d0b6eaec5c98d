// SPDX-License-Identifier: BSD-3-Clause
// What is asked of kxCheckFrames: the command line, lists of frames, and the sequences that names and patterns
// mean. The input is lines: arguments up to an empty line, then the names of the directory's files.
#include "check/kxCheckOptions.h"
#include "check/kxEscape.h"
#include "check/kxFileSequence.h"
#include "check/kxWantedFrames.h"
#include "fuzz/FuzzDirectory.h"
#include "fuzz/FuzzInput.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <vector>

using namespace kxCheck;

namespace {

constexpr int mostFiles = 64;

QByteArray text(const std::string& bytes) {
    return {bytes.data(), static_cast<int>(bytes.size())};
}

// One line that moves no cursor.
void requireLine(const QByteArray& line) {
    require(!line.isEmpty() && escaped(line) == line && !line.contains('\n'));
}

void requireAscending(const FrameNumbers& frames) {
    require(frames.size() <= mostFrames);
    require(std::adjacent_find(frames.begin(), frames.end(), std::greater_equal<>()) == frames.end());
}

// A list that was written from frames names the same ones.
void requireList(const QByteArray& list) {
    const auto parsed = parseFrameList(list);
    if (const auto* const frames = std::get_if<FrameNumbers>(&parsed)) {
        requireAscending(*frames);
        require(!frames->empty());
        require(parseFrameList(formatFrameList(*frames)) == parsed);
    } else {
        requireLine(escaped(std::get<QByteArray>(parsed)));
    }
}

void requireSettings(const Settings& settings) {
    require(!settings.arguments.empty() && settings.arguments.front() != "");
    require(settings.chunk.index >= 1 && settings.chunk.index <= settings.chunk.count);
    require(settings.jobs.value_or(1) >= 1 && settings.memoryLimit.value_or(1) >= 1 && settings.timeLimit >= 1);
    require(settings.minAge >= 0 && settings.timeout >= 1 && (!settings.follow || settings.frames));
    require(settings.removal != Removal::none || !settings.removeMost);
    if (settings.frames) requireAscending(*settings.frames);
    for (const Code code : settings.failOn) require(settings.ignored.count(code) == 0);
    for (const Expectation& expectation : settings.expectations) require(!expectation.values.empty());
}

// A name belongs to the sequence that it names, and is made of the same pieces again.
void requireName(const QByteArray& name) {
    if (name.isEmpty() || name.contains('/') || name.contains('\0')) return;
    const FileSequence sequence = sequenceOfFile(name);
    require(!shownName(sequence).isEmpty());
    if (sequence.isSingle) {
        require(frameFileName(sequence, {}, {}) == name);
    } else {
        const auto file = readFrameFile(name, sequence);
        require(file && file->file.name == name);
        if (!file->file.tile) require(frameFileName(sequence, {}, file->file.text) == name);
    }
    for (const FileSequence& pattern : sequencesOfPattern(name)) require(!pattern.isSingle);
}

// Every file once, none that is not in the directory, and runs that take turns. Of long sequences only their
// length: looking at each frame takes a second, in which thousands of others can be tried.
void requireFrames(const FoundSequence& found, const Settings& settings, const FuzzDirectory& directory) {
    constexpr std::size_t longSequence = 500;
    const std::size_t count = wantedFrames(found, settings.frames, {1, 1}).frames.size();
    require(count <= mostFrames);
    if (count > longSequence) return;
    std::size_t covered = 0;
    for (int index = 1; index <= 3; ++index) {
        const WantedFrames wanted = wantedFrames(found, settings.frames, {index, 3});
        require(wanted.frames.size() == count && wanted.step >= 1);
        require(wanted.runFirst == covered && wanted.runLast >= covered && wanted.runLast <= wanted.frames.size());
        covered = wanted.runLast;
        if (index < 3) continue;
        require(covered == wanted.frames.size());
        std::set<QByteArray> paths;
        for (const WantedFrame& frame : wanted.frames) {
            require(paths.insert(frame.name.path).second);
            const std::string name = frame.name.path.mid(found.directory.size()).toStdString();
            const bool isThere = std::count(directory.names().begin(), directory.names().end(), name) > 0;
            require(isThere == (frame.source != WantedFrame::Source::none));
        }
    }
}

void find(const std::vector<QByteArray>& names, const Settings& settings, const FuzzDirectory& directory) {
    std::vector<QByteArray> paths;
    for (const QByteArray& name : names) {
        const bool leadsAway = name.contains('/') || name.contains('\\') || name == "..";
        if (!leadsAway) paths.push_back(text(directory.path()) + name);
    }
    const FoundSequences found =
        findSequences(paths, settings.single ? NamesMean::singleFiles : NamesMean::sequences);
    for (const QByteArray& line : found.problems) requireLine(line);
    for (const FoundSequence& sequence : found.sequences) {
        require(escaped(shownPath(sequence)) != "");
        requireFrames(sequence, settings, directory);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    static FuzzDirectory directory;
    FuzzInput input(bytes, size);
    std::vector<QByteArray> arguments;
    while (!input.empty()) {
        arguments.push_back(text(input.takeUntil('\n')));
        if (arguments.back().isEmpty()) break;
    }
    for (int i = 0; i < mostFiles && !input.empty(); ++i) directory.add(input.takeUntil('\n'));
    for (const QByteArray& argument : arguments) {
        requireList(argument);
        requireName(argument);
    }
    const auto parsed = parseCommandLine(arguments);
    if (const auto* const settings = std::get_if<Settings>(&parsed)) {
        requireSettings(*settings);
        find(settings->arguments, *settings, directory);
    } else if (const auto* const fault = std::get_if<UsageError>(&parsed)) {
        requireLine(fault->line);
    }
    directory.clear();
    return 0;
}
