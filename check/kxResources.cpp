// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxResources.h"

#include <QList>

#include <algorithm>
#include <fstream>
#include <limits>
#include <vector>

#include <sched.h>
#include <unistd.h>

namespace kxCheck {

namespace {

constexpr std::int64_t unlimited = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t mib = 1 << 20;
constexpr int jobsWhereTheShareIsWaitedFor = 16;
constexpr std::int64_t leastMemoryMiB = 16;  // with less no file can be read, and the limit reserves nothing
constexpr std::int64_t mostMemoryMiB = 4096;

// Not with QFile, which asks for the size of these files in vain.
QByteArray contentOf(const QByteArray& path) {
    std::ifstream file(path.constData(), std::ios::binary);
    QByteArray content;
    while (file) {
        char piece[4096];
        file.read(piece, sizeof piece);
        content.append(piece, static_cast<int>(file.gcount()));
    }
    return content;
}

// The number in a file that holds nothing else; unlimited for "max", without such a file, or where it is what older
// groups have for no limit.
std::int64_t numberIn(const QByteArray& path) {
    constexpr qlonglong least = qlonglong{1} << 62;
    bool isNumber = false;
    const qlonglong number = contentOf(path).trimmed().toLongLong(&isNumber);
    return isNumber && number < least ? number : unlimited;
}

std::int64_t availableOfSystem(const QByteArray& root) {
    const QList<QByteArray> lines = contentOf(root + "proc/meminfo").split('\n');
    for (const QByteArray& line : lines) {
        if (!line.startsWith("MemAvailable:")) continue;
        return line.mid(13).replace("kB", "").trimmed().toLongLong() * 1024;
    }
    return unlimited;
}

// What a group keeps of files it has read counts as used, and is given up when memory is wanted.
std::int64_t fileCacheOf(const QByteArray& group) {
    std::int64_t bytes = 0;
    const QList<QByteArray> lines = contentOf(group + "memory.stat").split('\n');
    for (const QByteArray& line : lines) {
        const QList<QByteArray> words = line.split(' ');
        if (words.size() == 2 && (words[0] == "active_file" || words[0] == "inactive_file"))
            bytes += words[1].toLongLong();
    }
    return bytes;
}

std::int64_t leftOf(const QByteArray& group, const char* limitFile, const char* usedFile) {
    const std::int64_t limit = numberIn(group + limitFile);
    if (limit == unlimited) return unlimited;
    const std::int64_t used = numberIn(group + usedFile);
    if (used == unlimited) return unlimited;
    return limit - std::max<std::int64_t>(used - fileCacheOf(group), 0);
}

// The least that is left in a group and those around it, as far as they can be seen: in a container the group's own
// path often can't, but the root of what is mounted is the container's group.
std::int64_t leftOfGroups(const QByteArray& mount, QByteArray group, const char* limitFile, const char* usedFile) {
    std::int64_t left = leftOf(mount + "/", limitFile, usedFile);
    while (group.size() > 1) {
        left = std::min(left, leftOf(mount + group + "/", limitFile, usedFile));
        group.truncate(group.lastIndexOf('/'));
    }
    return left;
}

// Lines are "0::/user.slice" of the one hierarchy of today, or "9:memory:/docker/1f" of the memory's own.
std::int64_t leftOfLine(const QByteArray& root, const QByteArray& line) {
    const QList<QByteArray> fields = line.split(':');
    if (fields.size() < 3) return unlimited;
    if (fields[1].isEmpty()) return leftOfGroups(root + "sys/fs/cgroup", fields[2], "memory.max", "memory.current");
    if (!fields[1].split(',').contains("memory")) return unlimited;
    return leftOfGroups(root + "sys/fs/cgroup/memory", fields[2], "memory.limit_in_bytes", "memory.usage_in_bytes");
}

}  // namespace

int usableProcessors() {
    // The kernel refuses a set that is smaller than its own, and says so only by refusing.
    for (std::size_t processors = 1024; processors <= (std::size_t{1} << 20U); processors *= 2) {
        std::vector<cpu_set_t> set(processors / CPU_SETSIZE);
        const std::size_t bytes = set.size() * sizeof(cpu_set_t);
        if (sched_getaffinity(0, bytes, set.data()) == 0) return std::max(CPU_COUNT_S(bytes, set.data()), 1);
    }
    return static_cast<int>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L));
}

std::int64_t freeMemory(const QByteArray& root) {
    std::int64_t free = availableOfSystem(root);
    const QList<QByteArray> groups = contentOf(root + "proc/self/cgroup").split('\n');
    for (const QByteArray& line : groups) free = std::min(free, leftOfLine(root, line));
    return std::max<std::int64_t>(free, 0);
}

int defaultJobs(Level level) {
    return level == Level::pixels ? usableProcessors() : jobsWhereTheShareIsWaitedFor;
}

std::int64_t defaultMemoryLimit(int jobs, std::int64_t freeBytes) {
    const std::int64_t share = freeBytes / 4 * 3 / std::max(jobs, 1) / mib;
    return std::clamp(share, leastMemoryMiB, mostMemoryMiB);
}

}  // namespace kxCheck
