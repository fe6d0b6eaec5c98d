// SPDX-License-Identifier: BSD-3-Clause
// Discovery: from the files of a folder to the slots of a record.
//
// One pass over the folder: a name is compared with prefix and suffix, what lies between is read as a number, and
// the restriction is asked. Only then does the system say size and time of the file, and a slot takes them.
// Afterwards the slots are sorted, and the step between them tells which frames are missing.
#include "image/KX_DataTypes_imageList.h"
#include "image/KX_image.h"
#include "image/kxFrameRestriction.h"
#include "image/private/kxNameParts.h"
#include "shared/kxLog.h"

#include <algorithm>
#include <map>
#include <new>
#include <optional>

using namespace kxFrames;
using kxCHK::_SingleImageView;

namespace {

// Slots that are filled from disk: one less than there are.
constexpr int mostFrames = _kxViewSequence::slotCount - 1;

// A file of the sequence, as the folder has it.
struct Listed {
    QString name;
    QString middle;  // between prefix and suffix, lower case; without a leading separator unless tiled
    long long key;
};

void setFacts(_SingleImageView& slot, const FileFacts& facts) {
    slot.fileTime = facts.time;
    slot.fileSize = std::min(facts.size, kxCHK::fileSizeMarker4GB);
    slot.checkPending = 1;
}

// True when the slot was filled from a name with this middle part, put down with or without a "." in front.
bool isTextOf(const _kxString8_allSize<15>& frameText, const QString& middle) {
    QLatin1String text(frameText.data(), frameText.length());
    if (text.size() == middle.size() + 1 && text.startsWith(Lpoint)) text = text.mid(1);
    return middle.compare(text, Qt::CaseInsensitive) == 0;
}

}  // namespace

// One scan of a sequence's folder into its slots.
struct _kxViewSequence::Discovery {
    _kxViewSequence& sequence;
    FrameSource& source;
    const DiscoverySettings& settings;
    const FrameRestriction& restriction;
    bool preFill;
    __KXlog* log;

    FramePath path = sequence.framePath();
    QString prefix = path.prefix.toLower();
    QString suffix = path.suffix.toLower();
    // Slots by frame number, kept only while slots are refreshed: a walk through all slots for every file would be
    // quadratic.
    std::multimap<long long, int> slotsOfFrame{};

    void run() {
        sequence.minDigits = 10;
        // With a log, entries of other sequences are wanted too: each is logged.
        source.list(path.directory, log ? QString() : prefix, log ? QString() : suffix);
        if (log) logStart();
        if (preFill) preFillSlots();
        if (sequence.sameSequence) indexSlots();
        while (source.next()) take(source.name());
        if (log) flushLog();
    }

    void logStart() {
        log->log(10, 8,
                 QLatin1String("Sequence Filename '") + kxToKXUTF8(prefix, false) + QLatin1String("' '") +
                     kxToKXUTF8(suffix, false) + QLatin1String("'.\nSequence Folder ") +
                     kxToKXUTF8(source.facility(), false));
    }

    void logEntry(const QString& listed, bool isRight) {
        const QLatin1String text(isRight ? "DirList:  '%1': right filename" : "DirList:  '%1': WRONG filename");
        log->log(10, 8, QString(text).arg(kxToKXUTF8(listed, false), 40));
    }

    void flushLog() {
        // A log may have put a file of a class derived from _kxLogfile into the member's place.
        std::launder(&log->logFile)->flush();
    }

    void preFillSlots() {
        sequence.sameSequence = true;
        const int step = std::max(restriction.step, 1);
        for (long long frame = restriction.start; frame <= restriction.end && sequence.imageCount < slotCount;
             frame += step)
            sequence.resetToEmpty(sequence.imageCount++, frame);
    }

    void indexSlots() {
        for (int slot = 0; slot < sequence.imageCount; ++slot)
            slotsOfFrame.emplace_hint(slotsOfFrame.end(), sequence.images[slot].frameNumber, slot);
    }

    void take(const QString& name) {
        QString middle = name;
        const bool isRight = kxcjFileNameIsRight(middle, prefix, suffix, sequence.isTiled);
        if (log) logEntry(name, isRight);
        if (!isRight) return;
        const std::optional<FrameNumber> number = readFrameNumber(middle, path);
        if (!number || !isWanted(*number, middle)) return;
        const Listed file{name, middle, number->key()};
        if (!sequence.sameSequence || !refresh(file)) add(file);
    }

    // Tiles count only when their frame is wanted, digits of frame numbers always.
    bool isWanted(const FrameNumber& number, const QString& middle) {
        if (!sequence.isTiled) sequence.minDigits = std::min(sequence.minDigits, static_cast<int>(middle.size()));
        if (!restriction.allows(number.frame)) return false;
        sequence.maxTileIndex = std::max(sequence.maxTileIndex, number.tile);
        return true;
    }

    void add(const Listed& file) {
        if (sequence.imageCount >= mostFrames) return;
        const int slot = sequence.imageCount;
        sequence.resetToFile(slot, file.key, source.facts());
        setFrameText(slot, file);
        if (sequence.sameSequence) slotsOfFrame.emplace(file.key, slot);
        ++sequence.imageCount;
    }

    // The middle part lacks the separator behind a prefix that ends without one; the path can't be rebuilt without
    // it: ".0001" of "beauty.0001.exr" under the prefix "beauty".
    void setFrameText(int slot, const Listed& file) {
        const auto prefixSize = path.prefix.size();
        const bool longer = file.name.size() > file.middle.size() + prefixSize + path.suffix.size();
        const bool separated = longer && isSeparator(file.name.at(prefixSize));
        const QString text = separated ? file.name.at(prefixSize) + file.middle : file.middle;
        _kxString8_allSize<15>& frameText = sequence.images[slot].frameText;
        frameText = text;
        const SlotPath rebuilt = isRebuilt(file.name, frameText) ? SlotPath::asListed : SlotPath::unknown;
        sequence.slotPaths_[slot] = frameText.length() < text.size() ? SlotPath::cut : rebuilt;
    }

    // Case ignored in matching and texts that were cut make the rebuilt path another one than the listed.
    bool isRebuilt(const QString& name, const _kxString8_allSize<15>& frameText) const {
        const QLatin1String text(frameText.data(), frameText.length());
        const auto prefixSize = path.prefix.size();
        return name.size() == prefixSize + text.size() + path.suffix.size() && name.startsWith(path.prefix) &&
               name.endsWith(path.suffix) && QStringView(name).mid(prefixSize, text.size()) == text;
    }

    // Refreshes all slots of this file; false when there is none.
    bool refresh(const Listed& file) {
        bool found = false;
        const auto range = slotsOfFrame.equal_range(file.key);
        for (auto entry = range.first; entry != range.second; ++entry) {
            _SingleImageView& slot = sequence.images[entry->second];
            if (!preFill && !isTextOf(slot.frameText, file.middle)) continue;
            found = true;
            slot.fileFound = true;
            const FileFacts facts = source.facts();
            if (isUpToDate(slot, facts)) {
                bringToGamma(*slot.thumbnail);
                continue;
            }
            if (preFill) setFrameText(entry->second, file);
            setFacts(slot, facts);
        }
        return found;
    }

    // True when the slot's cached image shows the current file, super-white or not as wanted.
    bool isUpToDate(const _SingleImageView& slot, const FileFacts& facts) const {
        return slot.thumbnail && slot.fileTime == facts.time && slot.fileSize == facts.size &&
               ((slot.thumbnail->flags & KX_IMG_SUPERWHITE) != 0) == settings.superWhite;
    }

    void bringToGamma(kxP::_imgRGBABuffer8& image) const {
        if (((image.flags & KX_IMG_GAMMA22) != 0) == settings.gamma22) return;
        if (settings.gamma22) {
            kximgRGBABuffer8_doGamma22(image);
        } else {
            kximgRGBABuffer8_undoGamma22(image);
        }
    }
};

void _kxViewSequence::findSequence(const bool& gamma22, const bool& superWhite, QString /*name*/, int start,
                                   int end, int step, int offset, const QString& frameList, bool preFill,
                                   __KXlog* log) {
    DiskFrameSource disk;
    findSequence({start, end, step, offset, frameList, preFill, gamma22, superWhite}, disk, log);
}

void _kxViewSequence::findSequence(const DiscoverySettings& settings, FrameSource& source, __KXlog* log) {
    const FrameRestriction restriction{wrappingSum(settings.start, settings.offset),
                                       wrappingSum(settings.end, settings.offset), settings.step,
                                       FrameList(settings.frameList)};
    // Kept for displays as asked for, without the offset.
    restrictStart = settings.start;
    restrictStep = settings.step;
    if (!sameSequence) imageCount = 0;
    for (int i = 0; i < imageCount; ++i) images[i].fileFound = false;

    if (extension.isEmpty()) {
        findSingleFile(source);
    } else {
        const bool preFill = settings.preFill && !restriction.list.isInUse();
        Discovery{*this, source, settings, restriction, preFill, log}.run();
        QSort_files(0, imageCount - 1);
    }
    describeOutcome(!restriction.list.isInUse());
}

void _kxViewSequence::findSingleFile(FrameSource& source) {
    const std::optional<FileFacts> facts = source.find(dirName + fileName);
    if (!facts) return;
    imageCount = 1;
    resetToFile(0, 1, *facts);
    images[0].frameText = "1";
    slotPaths_[0] = SlotPath::asListed;
}

void _kxViewSequence::resetToFile(int slot, long long frame, const FileFacts& facts) {
    resetToEmpty(slot, frame);
    setFacts(images[slot], facts);
    images[slot].thumbnailLoaded = 0;
    images[slot].fileFound = true;
}

void _kxViewSequence::describeOutcome(bool withGaps) {
    measureRange();
    if (withGaps) fillGaps();
    viewStart = seqStart;
    viewEnd = seqEnd;
    viewStep = seqStep;
    fileCount = imageCount;
    isValid = true;
}
