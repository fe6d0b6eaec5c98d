// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/SequenceDir.h"

#include <cstdlib>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

void SequenceDir::write(const std::vector<std::string>& names) const {
    for (const std::string& name : names) {
        if (!writeFileBytes(dir.file(name), "")) std::abort();
    }
}

std::string SequenceDir::find(const DiscoverySettings& settings, __KXlog* log) {
    record().findSequence(settings.gamma22, settings.superWhite, QString(), settings.start, settings.end,
                          settings.step, settings.offset, latin1(settings.frameList), settings.preFill, log);
    return describe(record());
}

std::string SequenceDir::find(const std::string& name, const DiscoverySettings& settings, __KXlog* log) {
    return split(name) ? find(settings, log) : "not split";
}

std::string describe(const _kxViewSequence& record) {
    std::string text = std::to_string(record.seqStart) + "-" + std::to_string(record.seqEnd) + "/" +
                       std::to_string(record.seqStep) + ":";
    for (int i = 0; i < record.imageCount; ++i) {
        const kxCHK::_SingleImageView& slot = record.images[i];
        const std::string frameText = bytesOf(slot.frameText.toQString());
        text += " " + std::to_string(slot.frameNumber);
        if (slot.fileFound || !frameText.empty()) text += (slot.fileFound ? "=" : "?") + frameText;
    }
    return text;
}

DiscoverySettings restrictedTo(int start, int end, int step, int offset) {
    DiscoverySettings settings;
    settings.start = start;
    settings.end = end;
    settings.step = step;
    settings.offset = offset;
    return settings;
}

DiscoverySettings listed(const std::string& frameList) {
    DiscoverySettings settings;
    settings.frameList = frameList;
    return settings;
}

DiscoverySettings preFilled(int start, int end, int step, int offset) {
    DiscoverySettings settings = restrictedTo(start, end, step, offset);
    settings.preFill = true;
    return settings;
}

std::vector<PlainEntry> entriesInOrder(const std::string& directory) {
    std::vector<PlainEntry> entries;
    DIR* stream = opendir(directory.c_str());
    if (!stream) return entries;
    while (const dirent* entry = readdir(stream)) {
        struct stat status {};
        if (fstatat(dirfd(stream), entry->d_name, &status, 0) != 0 || !S_ISREG(status.st_mode)) continue;
        entries.push_back({entry->d_name, status.st_mtim.tv_sec * 1000000000LL + status.st_mtim.tv_nsec,
                           static_cast<long long>(status.st_size)});
    }
    closedir(stream);
    return entries;
}
