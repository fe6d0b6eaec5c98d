// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageWriter.h"

#include "check/kxFrameLines.h"
#include "check/kxNumberText.h"
#include "check/kxOutput.h"
#include "shared/kxReplacementFile.h"
#include "shared/kxSystemCall.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <set>
#include <string>
#include <utility>

#include <sys/stat.h>

namespace kxCheck {

namespace {

constexpr const char* temporaryStem = ".kxReport";
constexpr int pieceSize = 1024 * 1024;  // of a section, as it is stored

bool isDirectory(const QByteArray& path) {
    struct stat status {};
    return kxRetryInterrupted(-1, [&] { return stat(path.constData(), &status); }) == 0 && S_ISDIR(status.st_mode);
}

bool isOtherThanFile(const QByteArray& path) {
    struct stat status {};
    return kxRetryInterrupted(-1, [&] { return stat(path.constData(), &status); }) == 0 && !S_ISREG(status.st_mode);
}

int writeBytes(const kxReplacementFile& file, const QByteArray& bytes) {
    return kxWriteAll(file.file(), bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

}  // namespace

PageWriter::PageWriter(const QByteArray& path, Level level, std::int64_t roomForPictures)
    : path_(path), roomForPictures_(roomForPictures), roomForGoodTiles_(roomForPictures / 2) {
    facts_.level = level;
    if (isExrFile(path))
        refusal_ = "this is an EXR file, and is not overwritten";
    else if (isDirectory(path))
        errorNumber_ = EISDIR;
    else if (isOtherThanFile(path))
        refusal_ = "this is no regular file, and is not replaced";
    else
        tryTarget();
    if (refusal_.isEmpty() && errorNumber_ == 0) (void)spool_.open();
}

// A run of hours is not begun whose page has no place. The file that shows it goes at once: the run may be killed.
void PageWriter::tryTarget() {
    kxReplacementFile file;
    errorNumber_ = file.create(path_.toStdString(), temporaryStem);
}

void PageWriter::takePreview(const FrameName& frame, FileReport& report) {
    const Preview preview = std::exchange(report.preview, {});
    if (preview.jpeg.isEmpty()) return;
    dropPreview(frame);
    previews_.insert(frame.path,
                     {spool_.put(preview.jpeg), preview.width, preview.height, spool_.put(preview.small)});
}

void PageWriter::dropPreview(const FrameName& frame) {
    StoredPreview stored = previews_.take(frame.path);
    spool_.release(stored.large);
    spool_.release(stored.small);
}

void PageWriter::beginSequence(const SequenceName& sequence, const Headers* headers) {
    sequence_.emplace();
    sequence_->number = static_cast<int>(facts_.sequences.size()) + 1;
    sequence_->name = sequence;
    sequence_->line = sequenceLine(sequence, headers);
    detailed_ = {};
}

void PageWriter::frame(const FrameReport& frame) {
    PageFrame kept = pageFrame(frame);
    kept.preview = previews_.take(frame.name.path);
    keepForSection(frame, kept);
    countCauses(frame);
    if (!kept.details) spool_.release(kept.preview.large);
    if (kept.action != Action::none) places_.insert(frame.name.path, sequence_->frames.size());
    sequence_->frames.push_back(std::move(kept));
}

void PageWriter::countCauses(const FrameReport& frame) {
    if (frame.level == 0) return;
    std::set<Code> codes;
    for (const Finding& finding : frame.findings) codes.insert(finding.code);
    for (const Code code : codes) ++sequence_->causes[code];
    const QByteArray& machine = frame.file.notes.infoText;
    if (!machine.isEmpty()) ++sequence_->machines[machine];
}

// Of missing and unknown frames there is nothing to be shown. The only frame of a sequence is, also when it is
// good.
void PageWriter::keepForSection(const FrameReport& frame, PageFrame& kept) {
    if (frame.level == 0 && sequence_->name.frames != 1) return;
    const bool isUnseen = frame.verdict == Verdict::missing || frame.verdict == Verdict::unknown;
    int& count = detailed_.at(static_cast<std::size_t>(frame.level));
    int& room = frame.level == 0 ? roomForGoodSections_ : roomForSections_;
    if (!isUnseen && count < mostDetailedFrames && room > 0) {
        ++count;
        --room;
        kept.details = std::make_shared<const FrameReport>(frame);
        return;
    }
    if (frame.level == 0) return;
    kept.text = findingsText(frame.findings);
    const kxCHK::Histogram* const histogram = histogramOf(frame);
    if (isUnseen || !(histogram || kept.preview.small)) return;
    if (roomForSections_ == 0) {
        ++sequence_->withoutPictures;
        return;
    }
    --roomForSections_;
    kept.isBrief = true;
    if (histogram) kept.histogram = std::make_shared<const kxCHK::Histogram>(*histogram);
}

void PageWriter::held(const RemovalCount& count) {
    sequence_->notes.push_back(heldLine(count.removable, count.checked));
}

void PageWriter::kept(const FrameReport& frame, const QByteArray& reason) {
    const auto place = places_.constFind(frame.name.path);
    if (place != places_.constEnd()) sequence_->frames[*place].keptReason = reason;
}

void PageWriter::endSequence(const Summary& summary, bool isInterrupted) {
    sequence_->summary = summary;
    if (isInterrupted)
        sequence_->notes.push_back("interrupted: " + numberText(summary.total()) + " of " +
                                   countText(static_cast<std::size_t>(sequence_->name.frames), "frame") +
                                   " checked");
    PageOverviewRow row{sequence_->name.path, {}};
    for (std::size_t i = 0; i < verdictCount; ++i) row.counts[i] = summary.count(static_cast<Verdict>(i));
    facts_.sequences.push_back(row);

    QByteArray piece;
    const auto store = [&] {
        sections_.push_back(spool_.put(piece));
        piece.clear();
    };
    writeSequence(
        *sequence_, [this](const StoredBytes& stored, PictureUse use) { return loadForPage(stored, use); },
        [&](const QByteArray& html) {
            piece += html;
            if (piece.size() >= pieceSize) store();
        });
    store();
    for (PageFrame& frame : sequence_->frames) {
        spool_.release(frame.preview.large);
        spool_.release(frame.preview.small);
    }
    sequence_.reset();
    places_.clear();
}

QByteArray PageWriter::loadForPage(const StoredBytes& stored, PictureUse use) {
    if (!stored) return {};
    const bool isOfGood = use == PictureUse::goodTile;
    if (stored.size > roomForPictures_ || (isOfGood && stored.size > roomForGoodTiles_)) {
        facts_.isWithoutRoom = true;
        return {};
    }
    roomForPictures_ -= stored.size;
    if (isOfGood) roomForGoodTiles_ -= stored.size;
    return spool_.get(stored);
}

void PageWriter::finish(const std::vector<QByteArray>& problems, bool isInterrupted, std::int64_t time) {
    if (!fault().isEmpty()) return;
    facts_.problems = problems;
    facts_.isInterrupted = isInterrupted;
    facts_.written = time;
    errorNumber_ = writePage();
}

int PageWriter::writePage() {
    kxReplacementFile file;
    if (const int code = file.create(path_.toStdString(), temporaryStem)) return code;
    if (const int code = writeBytes(file, pageStart(facts_))) return code;
    for (const StoredBytes& section : sections_)
        if (const int code = writeBytes(file, spool_.get(section))) return code;
    if (const int code = writeBytes(file, pageEnd())) return code;
    return spool_.fault().isEmpty() ? file.replaceTarget() : 0;
}

QByteArray PageWriter::fault() const {
    if (!refusal_.isEmpty()) return path_ + ": " + refusal_;
    if (errorNumber_ != 0) return path_ + ": " + kxSystemErrorText(errorNumber_).toLatin1();
    const QByteArray fault = spool_.fault();
    return fault.isEmpty() ? fault : path_ + ": " + fault;
}

}  // namespace kxCheck
