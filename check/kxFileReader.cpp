// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFileReader.h"

#include "check/kxFileIdentity.h"
#include "check/private/kxPixelCheck.h"
#include "shared/kxSystemCall.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kxCheck {

namespace {

class Descriptor {
public:
    explicit Descriptor(const QByteArray& path) {
        number_ = kxRetryInterrupted(
            -1, [&] { return open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); });
    }
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }

private:
    int number_ = -1;
};

Finding unreadable(int errorNumber) {
    return makeFinding(Code::unreadable, kxSystemErrorText(errorNumber).toLatin1());
}

// Of a file that could not be opened for this reason. A link that leads nowhere is there, though no file is.
Finding absence(const QByteArray& path, int errorNumber) {
    struct stat link;
    if (errorNumber != ENOENT) return unreadable(errorNumber);
    if (lstat(path.constData(), &link) == 0 && S_ISLNK(link.st_mode))
        return makeFinding(Code::unreadable, "the link leads nowhere");
    return makeFinding(Code::missing, "there is no such file");
}

// Only regular files have one.
void setIdentity(const struct stat& status, FileReport& report) {
    report.hasIdentity = S_ISREG(status.st_mode);
    if (report.hasIdentity) report.identity = identityOf(status);
}

std::optional<Finding> faultOf(const HeaderReading& reading) {
    if (reading.finding) return reading.finding;
    for (const kxExr::Part& part : reading.parts)
        if (!canDecode(part.compression))
            return makeFinding(Code::unsupported, QByteArray("compression ") + compressionName(part.compression));
    return std::nullopt;
}

// One look at an open regular file.
class FileLook {
public:
    FileLook(int descriptor, Level level, ChunkSink* sink, KnownHeaders* known, FileReport& report)
        : level_(level),
          sink_(sink),
          known_(known),
          report_(report),
          bytes_(descriptor, static_cast<std::uint64_t>(report.identity.size)) {}

    void run() {
        look();
        if (bytes_.error() != 0) standAlone(unreadable(bytes_.error()));
    }
    // The headers, where someone keeps known ones, these were not among them, and all could be read.
    std::optional<KnownHeader> takeLearnt() { return bytes_.error() == 0 ? std::move(learnt_) : std::nullopt; }

private:
    void look();
    bool beginsWithZeros();
    void keepHeaders(const std::shared_ptr<const HeaderReading>& reading);
    void lookAtChunks(const HeaderReading& reading, const ExrCore& core, ChunkTable& table);
    void standAlone(const Finding& finding) { report_.findings.assign(1, finding); }

    Level level_;
    ChunkSink* sink_;
    KnownHeaders* known_;
    FileReport& report_;
    FileBytes bytes_;
    std::optional<KnownHeader> learnt_;
};

void FileLook::look() {
    std::shared_ptr<const HeaderReading> reading = known_ ? known_->find(bytes_) : nullptr;
    if (bytes_.error() != 0) return;
    const bool isKnown = reading != nullptr;
    if (!isKnown) reading = std::make_shared<const HeaderReading>(readHeaders(bytes_));
    const char* const beginning = known_ && !isKnown ? bytes_.viewAgain(0, reading->end) : nullptr;
    std::optional<KnownHeader> header;
    if (beginning) header = {QByteArray(beginning, static_cast<int>(reading->end)), reading};
    if (const std::optional<Finding> fault = faultOf(*reading)) {
        report_.hasZeros = fault->code == Code::notExr && beginsWithZeros();
        return standAlone(*fault);
    }
    ChunkTable table(bytes_, *reading);
    if (table.finding()) {
        const bool isCut = table.finding()->code == Code::truncated;  // behind headers that are whole
        if (isCut) keepHeaders(reading);
        return standAlone(*table.finding());
    }
    ExrCore core(bytes_, *reading);
    if (!isKnown || level_ == Level::pixels)
        if (const std::optional<Finding> refusal = core.open()) return standAlone(*refusal);
    learnt_ = std::move(header);
    keepHeaders(reading);
    if (level_ != Level::headers) lookAtChunks(*reading, core, table);
}

bool FileLook::beginsWithZeros() {
    const char* const signature = bytes_.view(0, sizeof exrMagicNumber);
    return signature && numberAt<std::uint32_t>(signature) == 0;
}

// Without a copy: the headers are part of the reading, which stays as long as they do.
void FileLook::keepHeaders(const std::shared_ptr<const HeaderReading>& reading) {
    report_.headers = std::shared_ptr<const Headers>(reading, &reading->parts);
    report_.notes = reading->notes;
}

void FileLook::lookAtChunks(const HeaderReading& reading, const ExrCore& core, ChunkTable& table) {
    ChunkFaults faults = table.checkPlaces();
    if (level_ == Level::pixels) {
        const std::optional<Finding> end = checkPixels(core, reading.parts, bytes_, table, faults, sink_);
        if (end) return standAlone(*end);
        report_.decoded = bytes_.error() == 0 && faults.areAllGood();
    }
    report_.hasZeros = bytes_.error() == 0 && table.hasZeros();
    report_.chunks = faults.counts(table.grids());
    report_.findings = faults.findings(reading.parts, table.grids());
}

// False when the file changed meanwhile, as far as its size and time tell.
bool lookOnce(const FileCheck& check, ChunkSink* sink, KnownHeaders* known, FileReport& report) {
    const Descriptor descriptor(check.path);
    struct stat status;
    if (descriptor.number() < 0) {
        report.findings.push_back(absence(check.path, errno));
        if (stat(check.path.constData(), &status) == 0) setIdentity(status, report);
        return true;
    }
    if (fstat(descriptor.number(), &status) != 0) {
        report.findings.push_back(unreadable(errno));
        return true;
    }
    setIdentity(status, report);
    if (!report.hasIdentity) {
        report.findings.push_back(makeFinding(Code::unreadable, "this is no regular file"));
        return true;
    }
    FileLook look(descriptor.number(), check.level, sink, known, report);
    look.run();
    if (fstat(descriptor.number(), &status) != 0) return true;
    if (identityOf(status) != report.identity) return false;
    std::optional<KnownHeader> learnt = look.takeLearnt();
    if (learnt) known->remember(*std::move(learnt));
    return true;
}

void lookUntilSteady(const FileCheck& check, ChunkSink* sink, KnownHeaders* known, FileReport& report) {
    if (lookOnce(check, sink, known, report)) return;
    if (sink) sink->restart();
    report = FileReport();
    if (lookOnce(check, sink, known, report)) return;
    report.decoded = false;
    report.findings.assign(1, makeFinding(Code::changing, "it changed twice while it was checked"));
}

}  // namespace

FileReport checkFile(const FileCheck& check, ChunkSink* sink, KnownHeaders* known) {
    const auto begin = std::chrono::steady_clock::now();
    FileReport report;
    try {
        lookUntilSteady(check, sink, known, report);
    } catch (const std::bad_alloc&) {
        report.decoded = false;
        report.findings.assign(1, makeFinding(Code::limit, "there is not enough memory"));
    }
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return report;
}

}  // namespace kxCheck
