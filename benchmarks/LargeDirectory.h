// SPDX-License-Identifier: BSD-3-Clause
// A directory of 100000 entries of which 24999 are frames of one sequence, and the bare calls that reading it
// takes.
#pragma once

#include "tests/support/TempDir.h"

#include <cstring>
#include <fstream>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

constexpr int frameCount = 24999;
constexpr int otherCount = 100000 - frameCount;
constexpr char framePrefix[] = "beauty.";

// Made at first use, removed at the end of the program.
class LargeDirectory {
public:
    LargeDirectory() {
        for (int i = 1; i <= frameCount; ++i) makeFile(framePrefix + std::to_string(i) + ".exr");
        for (int i = 1; i <= otherCount; ++i) makeFile("diffuse." + std::to_string(i) + ".exr");
    }

    const std::string& path() const { return dir_.path(); }

private:
    void makeFile(const std::string& name) const { std::ofstream(dir_.file(name)); }

    TempDir dir_;
};

inline const std::string& directoryPath() {
    static const LargeDirectory directory;
    return directory.path();
}

template <class Visit>
void readEntries(const Visit& visit) {
    DIR* directory = opendir(directoryPath().c_str());
    while (const dirent* entry = readdir(directory)) visit(dirfd(directory), entry);
    closedir(directory);
}

// What discovery can't do without: every entry read, and size and time of each frame. The number of frames.
inline int askFrames() {
    int frames = 0;
    readEntries([&](int directory, const dirent* entry) {
        if (std::strncmp(entry->d_name, framePrefix, sizeof framePrefix - 1) != 0) return;
        struct stat status {};
        frames += fstatat(directory, entry->d_name, &status, 0) == 0;
    });
    return frames;
}
