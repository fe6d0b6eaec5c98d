// SPDX-License-Identifier: BSD-3-Clause
// The tool's steps one by one, each beside what it can't do without:
//
//   tool_inside <rounds> <first frame of a sequence> <first frame in a large directory>
//
// Prints "<name> <microseconds>" lines, medians of alternating rounds.
#include "benchmarks/Alternate.h"
#include "image/KX_DataTypes_imageList.h"
#include "tool/main.h"

#include <ImfMultiPartInputFile.h>
#include <ImfThreading.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int partsOf(const std::string& path) {
    return Imf::MultiPartInputFile(path.c_str(), Imf::globalThreadCount(), true).parts();
}

// What a run does to find its frames; a record that was searched before is searched anew.
void search(_kxViewSequence& sequence, const char* frame) {
    if (!sequence.imageDirFileFromString(QString::fromLatin1(frame))) return;
    sequence.sameSequence = false;
    sequence.findSequence(false, false, QString(), -1, -1, 1, 0, QString(), false, nullptr);
}

std::unique_ptr<_kxViewSequence> sequenceOf(const char* frame) {
    auto sequence = std::make_unique<_kxViewSequence>();
    search(*sequence, frame);
    return sequence;
}

std::vector<std::string> pathsOf(const char* frame) {
    const auto sequence = sequenceOf(frame);
    std::vector<std::string> paths;
    paths.reserve(static_cast<std::size_t>(sequence->imageCount));
    for (int i = 0; i < sequence->imageCount; ++i) {
        paths.push_back(sequence->getDirFileName(i).toLatin1().toStdString());
    }
    return paths;
}

template <class Visit>
Job jobPerFile(const char* name, const std::vector<std::string>& paths, Visit visit) {
    return {name, static_cast<double>(paths.size()), [&paths, visit] {
                for (const std::string& path : paths) visit(path);
            }};
}

// readdir, and fstatat of what begins like the frame.
int countFrames(const QString& directory, const std::string& prefix) {
    DIR* const entries = opendir(directory.toLatin1().constData());
    int frames = 0;
    while (const dirent* const entry = readdir(entries)) {
        struct stat status {};
        if (std::strncmp(entry->d_name, prefix.c_str(), prefix.size()) != 0) continue;
        if (fstatat(dirfd(entries), entry->d_name, &status, 0) == 0) ++frames;
    }
    closedir(entries);
    return frames;
}

std::vector<Job> jobsPerFile(const std::vector<std::string>& paths) {
    return {
        jobPerFile("reader", paths, [](const std::string& path) { partsOf(path); }),
        jobPerFile("testExr", paths,
                   [](const std::string& path) {
                       testExr(QString::fromLatin1(path.c_str()), false, false, false, false, false);
                       std::fflush(stdout);
                   }),
    };
}

// The record's own cost is not part of the search.
std::vector<Job> discoveryJobs(const char* frame, _kxViewSequence& sequence) {
    const auto floor = [&sequence] {
        const int frames = countFrames(sequence.dirName, sequence.fileName.toLatin1().toStdString());
        if (frames != sequence.fileCount) std::exit(1);
    };
    return {{"discovery", 1, [frame, &sequence] { search(sequence, frame); }}, {"discoveryFloor", 1, floor}};
}

std::vector<Job> recordJobs() {
    return {{"record", 1, [] { std::make_unique<_kxViewSequence>(); }}};
}

void printMedians(FILE* out, const std::vector<Job>& jobs, long rounds) {
    const std::vector<double> medians = medianTimes(jobs, rounds);
    for (std::size_t i = 0; i < jobs.size(); ++i) std::fprintf(out, "%s %.3f\n", jobs[i].name.c_str(), medians[i]);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("Usage: tool_inside <rounds> <first frame> <first frame in a large directory>\n", stderr);
        return 1;
    }
    // The tool's lines go nowhere.
    FILE* const results = fdopen(dup(STDOUT_FILENO), "w");
    if (!results || !std::freopen("/dev/null", "w", stdout)) return 1;
    const long rounds = std::strtol(argv[1], nullptr, 10);
    const std::vector<std::string> paths = pathsOf(argv[2]);
    std::unique_ptr<_kxViewSequence> sequence = sequenceOf(argv[3]);
    if (paths.empty() || sequence->fileCount < 1) return 1;
    printMedians(results, jobsPerFile(paths), rounds);
    printMedians(results, discoveryJobs(argv[3], *sequence), rounds);
    sequence.reset();
    printMedians(results, recordJobs(), rounds);
    std::fclose(results);
    return 0;
}
