// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxSequenceArgument.h"

#include "check/kxEscape.h"
#include "shared/kxOpenDirectory.h"
#include "shared/kxSystemCall.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>
#include <utility>

#include <sys/stat.h>

namespace kxCheck {

namespace {

// A directory as it was listed.
struct Directory {
    int error = 0;
    QByteArray first;                       // the path under which it was seen first
    std::vector<kxDirectoryEntry> entries;  // by name
};

bool byName(const kxDirectoryEntry& a, const kxDirectoryEntry& b) {
    return a.name < b.name;
}

bool isExrName(const QByteArray& name) {
    return name.size() >= 4 && name.right(4).toLower() == ".exr";
}

const kxDirectoryEntry* entryOf(const Directory& directory, const QByteArray& name) {
    const auto entry = std::lower_bound(directory.entries.begin(), directory.entries.end(),
                                        kxDirectoryEntry{name, false, false}, byName);
    return entry != directory.entries.end() && entry->name == name ? &*entry : nullptr;
}

// What the system says of a path.
struct Kind {
    int error = 0;
    mode_t mode = 0;
};

Kind kindOf(const QByteArray& path) {
    struct stat status {};
    if (kxRetryInterrupted(-1, [&] { return stat(path.constData(), &status); }) != 0) return {errno, 0};
    return {0, status.st_mode};
}

// The files of the sequence by what stands between prefix and number.
using FilesByLead = std::map<QByteArray, std::vector<FrameFile>>;

FilesByLead filesOf(const FileSequence& sequence, const Directory& directory) {
    FilesByLead files;
    auto entry = std::lower_bound(directory.entries.begin(), directory.entries.end(),
                                  kxDirectoryEntry{sequence.prefix, false, false}, byName);
    for (; entry != directory.entries.end() && entry->name.startsWith(sequence.prefix); ++entry) {
        if (auto file = readFrameFile(entry->name, sequence)) files[file->lead].push_back(std::move(file->file));
    }
    return files;
}

// Where a name that can't be listed may still be opened, whoever opens it finds out.
std::vector<FrameFile> fileOfSingle(const QByteArray& name, const Directory& directory) {
    if (directory.error != EACCES && !entryOf(directory, name)) return {};
    return {FrameFile{std::nullopt, {}, std::nullopt, name}};
}

class Finder {
public:
    explicit Finder(NamesMean mean) : mean_(mean) {}

    void find(const QByteArray& argument) {
        const QByteArray path = QByteArray(argument).replace('\\', '/');
        const auto nameStart = path.lastIndexOf('/') + 1;
        const QByteArray directory = path.left(nameStart);
        const QByteArray name = path.mid(nameStart);
        const FileSequence exact = sequenceOfName(name);
        if (isTaken(directory, exact)) return;
        if (isDirectory(directory, name)) return addAllOf(name.isEmpty() ? directory : path + '/');
        addNamed(directory, name, exact);
    }

    FoundSequences result;

private:
    bool areSingle() const { return mean_ == NamesMean::singleFiles; }

    FileSequence sequenceOfName(const QByteArray& name) const {
        return areSingle() ? FileSequence{name, {}, kxFrames::TileMarker::none, true} : sequenceOfFile(name);
    }

    const Directory& directoryAt(const QByteArray& path) {
        const auto known = directories_.find(path);
        if (known != directories_.end()) return directories_.at(known->second.first);
        kxOpenDirectory opened(path);
        Directory directory{opened.error(), path, {}};
        if (directory.error == 0) {
            directory.first = firstPaths_.emplace(opened.identity(), path).first->second;
            if (directory.first == path) directory.entries = opened.entries();
            directory.error = opened.error();
            std::sort(directory.entries.begin(), directory.entries.end(), byName);
        }
        directories_.emplace(path, std::move(directory));
        return directories_.at(directories_.at(path).first);
    }

    // The list tells most of the names that end in ".exr": shells expand "*.exr" to thousands.
    bool isDirectory(const QByteArray& directory, const QByteArray& name) {
        if (name.isEmpty()) return true;
        if (isExrName(name)) {
            const kxDirectoryEntry* const entry = entryOf(directoryAt(directory), name);
            if (!entry || !entry->isUnclear) return entry && entry->isDirectory;
        }
        const Kind kind = kindOf(directory + name);
        return kind.error == 0 && S_ISDIR(kind.mode);
    }

    void addNamed(const QByteArray& path, const QByteArray& name, const FileSequence& exact) {
        const Directory& directory = directoryAt(path);
        const bool isLiteral = areSingle() || entryOf(directory, name);
        const auto patterns = isLiteral ? std::vector<FileSequence>() : sequencesOfPattern(name);
        const bool isFileAtLeast = exact.isSingle && patterns.empty();
        if (directory.error != 0 && !(isFileAtLeast && directory.error == EACCES))
            return addProblem(path.isEmpty() ? QByteArray(".") : path, directory.error);
        if (isFileAtLeast && !name.contains('.') && !entryOf(directory, name)) {
            const int error = kindOf(path + name).error;
            if (error != 0 || directory.error == 0) return addProblem(path + name, error != 0 ? error : ENOENT);
        }

        if (isFileAtLeast)
            add(path, exact, fileOfSingle(name, directory));
        else if (patterns.empty())
            add(path, exact, filesOf(exact, directory)[QByteArray()]);
        else
            addPattern(path, patterns, directory);
    }

    // The first reading of the pattern that files are found for, otherwise the first.
    void addPattern(const QByteArray& path, const std::vector<FileSequence>& readings, const Directory& directory) {
        for (const FileSequence& reading : readings) {
            FilesByLead files = filesOf(reading, directory);
            for (auto& [lead, found] : files)
                add(path, {reading.prefix + lead, reading.suffix, reading.tile, false}, std::move(found));
            if (!files.empty()) return;
        }
        add(path, readings.front(), {});
    }

    // Every name belongs to the one sequence that it names by itself.
    void addAllOf(const QByteArray& path) {
        const Directory& directory = directoryAt(path);
        if (directory.error != 0) return addProblem(path, directory.error);
        std::map<FileSequence, std::vector<FrameFile>> sequences;
        for (const kxDirectoryEntry& entry : directory.entries) {
            if (entry.isDirectory || entry.name.startsWith('.') || !isExrName(entry.name)) continue;
            const FileSequence sequence = sequenceOfName(entry.name);
            if (sequence.isSingle && mean_ == NamesMean::numberedSequences) continue;
            const auto file = readFrameFile(entry.name, sequence);
            sequences[sequence].push_back(file ? file->file
                                               : FrameFile{std::nullopt, {}, std::nullopt, entry.name});
        }
        for (auto& [sequence, files] : sequences) add(path, sequence, std::move(files));
        if (sequences.empty()) addLine(path + nothingFound());
    }

    // True when an argument with this directory, spelled so, meant the sequence before.
    bool isTaken(const QByteArray& directory, const FileSequence& sequence) const {
        return taken_.count({directory, sequence}) > 0;
    }

    void add(const QByteArray& path, const FileSequence& sequence, std::vector<FrameFile> files) {
        taken_.insert({path, sequence});
        if (!added_.insert({directoryAt(path).first, sequence}).second) return;
        std::sort(files.begin(), files.end());
        result.sequences.push_back({path, sequence, std::move(files)});
    }

    const char* nothingFound() const {
        return mean_ == NamesMean::numberedSequences ? ": no file in it has a frame number and ends in .exr"
                                                     : ": no file in it ends in .exr";
    }

    void addProblem(const QByteArray& path, int error) {
        result.isComplete = false;
        addLine(path + ": " + kxSystemErrorText(error).toLatin1());
    }

    void addLine(const QByteArray& text) {
        const QByteArray line = "kxCheckFrames: " + escaped(text);
        if (problems_.insert(line).second) result.problems.push_back(line);
    }

    using Key = std::pair<QByteArray, FileSequence>;

    NamesMean mean_;
    std::map<QByteArray, Directory> directories_;  // by path
    std::map<kxDirectoryIdentity, QByteArray> firstPaths_;
    std::set<Key> taken_;  // with the directory as it was spelled
    std::set<Key> added_;  // with the directory as it was spelled first
    std::set<QByteArray> problems_;
};

}  // namespace

FoundSequences findSequences(const std::vector<QByteArray>& arguments, NamesMean mean) {
    Finder finder(mean);
    for (const QByteArray& argument : arguments) finder.find(argument);
    return std::move(finder.result);
}

QByteArray shownPath(const FoundSequence& sequence) {
    return sequence.directory + shownName(sequence.name);
}

}  // namespace kxCheck
