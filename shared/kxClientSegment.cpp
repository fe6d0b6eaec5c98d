// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxClientSegment.h"

#include "shared/kxVersion.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace {

using Answer = kxClientSegment::Answer;
using Outcome = kxClientSegment::Outcome;

// The part of the client's segment that a sender may touch; everything else belongs to the client. Numbers are
// little-endian and not aligned.
constexpr int segmentSize = 22984;    // at least
constexpr int formatIdAt = 0;         // 32 bits
constexpr int versionAt = 928;        // 16 bits
constexpr int readyAt = 930;          // 16 bits, 0 until the client is ready
constexpr int messageCountAt = 2001;  // 8 bits

constexpr int rightFormatId = 517;
constexpr int rightVersion = 3077;
constexpr int messageSlots = 30;
constexpr int checkJobCommand = 9;

// What the client says about its segment.
struct Format {
    int id;
    int version;
    int ready;

    bool isRight() const { return id == rightFormatId && version == rightVersion && ready != 0; }
};

std::uint32_t readLittleEndian(const unsigned char* bytes, int width) {
    std::uint32_t value = 0;
    for (int i = width - 1; i >= 0; --i) value = value << 8 | bytes[i];
    return value;
}

void writeLittleEndian(unsigned char* bytes, int width, std::uint32_t value) {
    for (int i = 0; i < width; ++i) {
        bytes[i] = static_cast<unsigned char>(value & 0xff);
        value >>= 8;
    }
}

Format readFormat(const unsigned char* segment) {
    return {static_cast<std::int32_t>(readLittleEndian(segment + formatIdAt, 4)),
            static_cast<int>(readLittleEndian(segment + versionAt, 2)),
            static_cast<int>(readLittleEndian(segment + readyAt, 2))};
}

// A message is not one block: each of its fields lies in an array over the slots.
void writeCheckJobMessage(unsigned char* segment, int slot, int job) {
    const struct {
        int arrayAt;
        int width;
        std::uint32_t value;
    } fields[] = {
        {2002, 1, 3},
        {2032, 1, 3},
        {2062, 2, checkJobCommand},
        {2124, 8, 0},
        {7435, 1, static_cast<std::uint32_t>(job) & 0xff},
        {7465, 1, 0},
    };
    for (const auto& field : fields) {
        const std::ptrdiff_t inArray = std::ptrdiff_t{slot} * field.width;
        writeLittleEndian(segment + field.arrayAt + inArray, field.width, field.value);
    }
}

// False when the buffer is full. The count may be anything in a damaged segment; from the number of slots on there
// is no room.
bool queueCheckJob(unsigned char* segment, int job) {
    const int slot = segment[messageCountAt];
    if (slot >= messageSlots) return false;
    writeCheckJobMessage(segment, slot, job);
    // The count comes last: a sender killed before it leaves no half-written message behind.
    std::atomic_signal_fence(std::memory_order_release);
    segment[messageCountAt] = static_cast<unsigned char>(slot + 1);
    return true;
}

// Everything but success is told with the version in front.
Answer answerWithVersion(Outcome outcome, const QString& line) {
    return {outcome, QString::fromLatin1(kxVersionString) + line + QLatin1Char('\n')};
}

Answer sizeFailure(int size) {
    return answerWithVersion(
        Outcome::failed,
        QStringLiteral("++++ Shared mecreateArgString8data size! (%1!=%2)").arg(size).arg(segmentSize));
}

// Any ready marker but 0 is right, though the message shows 1 as the expected one.
Answer formatFailure(const Format& format) {
    return answerWithVersion(Outcome::failed,
                             QStringLiteral("++++ Shared memory has wrong data format! (%1!=%2  %3!=%4  %5!=%6)")
                                 .arg(format.id)
                                 .arg(rightFormatId)
                                 .arg(format.version)
                                 .arg(rightVersion)
                                 .arg(format.ready)
                                 .arg(1));
}

Answer placed() {
    return {Outcome::placed, QStringLiteral("Command 'check job' send to kxServer via kxClient.\n\n")};
}

Answer bufferFull() {
    return answerWithVersion(Outcome::bufferFull, QStringLiteral(" kxClientcommander: Message buffer is full!"));
}

}  // namespace

kxClientSegment::kxClientSegment() : memory_("kxClientSharedMemory") {}

Answer kxClientSegment::placeCheckJob(int job) {
    if (!memory_.attach()) return memoryFailure("++++ Unable to attach shared memory! ");
    Answer answer = placeInAttached(job);
    memory_.detach();
    return answer;
}

// Under the lock the segment is read and written and nothing else done: texts are made behind it.
Answer kxClientSegment::placeInAttached(int job) {
    const int size = memory_.size();
    if (size < segmentSize) return sizeFailure(size);
    auto* const segment = static_cast<unsigned char*>(memory_.data());
    if (!segment) return memoryFailure("++++ Unable to access shared memory data! ");
    if (!memory_.lock()) return memoryFailure("++++ Unable to lock shared memory data! ");
    const Format format = readFormat(segment);
    const bool isPlaced = format.isRight() && queueCheckJob(segment, job);
    memory_.unlock();
    if (!format.isRight()) return formatFailure(format);
    return isPlaced ? placed() : bufferFull();
}

// The line is cut at 250 characters.
Answer kxClientSegment::memoryFailure(const char* what) const {
    const _kxString8_allSize<250> line(QString::fromLatin1(what) + memory_.errorString());
    return answerWithVersion(Outcome::failed, line.toQString());
}
