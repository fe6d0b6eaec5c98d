// SPDX-License-Identifier: BSD-3-Clause
// Makes a run's page: is told what happens in its order, and writes the file when the run is over.
//
// Of each frame only little is kept in memory; pictures and finished sections wait in temporary files. The page's
// file is replaced as a whole at the end; what fails before leaves the old one as it was. One thread at a time.
#pragma once

#include "check/kxFrameReport.h"
#include "check/kxPage.h"
#include "check/kxPageSequence.h"
#include "check/kxPictureSpool.h"
#include "check/kxRemovalPlan.h"
#include "check/kxSequenceName.h"
#include "check/kxSummary.h"

#include <QByteArray>
#include <QHash>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace kxCheck {

// The pictures of a page, in bytes of JPEG.
constexpr std::int64_t mostPictureBytes = 128LL << 20;

class PageWriter {
public:
    // Finds out whether the file could be written, see fault(); it is not touched. It must be no EXR file. Of
    // pictures, as many are shown as have room; those of good frames in the contact sheet take half of it at most.
    PageWriter(const QByteArray& path, Level level, std::int64_t roomForPictures = mostPictureBytes);

    // Takes the pictures out of a file's report, before or while its sequence is told; those of the frame's last
    // report count.
    void takePreview(const FrameName& frame, FileReport& report);
    // Forgets what was taken of the frame.
    void dropPreview(const FrameName& frame);

    // Of one sequence, in this order; the frames in the order in which the page shows them.
    void beginSequence(const SequenceName& sequence, const Headers* headers);
    void frame(const FrameReport& frame);
    void held(const RemovalCount& count);
    void kept(const FrameReport& frame, const QByteArray& reason);
    void endSequence(const Summary& summary, bool isInterrupted);

    // Writes the page, unless something failed before. `problems` are the lines that were said beside the
    // sequences; `time`: nanoseconds since the Unix epoch.
    void finish(const std::vector<QByteArray>& problems, bool isInterrupted, std::int64_t time);

    // "FILE: No space left on device"; empty as long as all could be written.
    [[nodiscard]] QByteArray fault() const;
    // Of what waits in temporary files, in bytes.
    [[nodiscard]] std::int64_t temporarySize() const { return spool_.size(); }

private:
    void tryTarget();
    [[nodiscard]] QByteArray loadForPage(const StoredBytes& stored, PictureUse use);
    void countCauses(const FrameReport& frame);
    void keepForSection(const FrameReport& frame, PageFrame& kept);
    int writePage();

    QByteArray path_;
    QByteArray refusal_;  // why the file is not written
    int errorNumber_ = 0;
    PageFacts facts_;
    PictureSpool spool_;
    QHash<QByteArray, StoredPreview> previews_;  // by path, of frames that were not told yet
    std::optional<PageSequence> sequence_;
    QHash<QByteArray, std::size_t> places_;  // of its frames that may be removed, by path
    std::array<int, 4> detailed_{};          // frames of the sequence with details, by level
    int roomForSections_ = mostSections;     // of the page
    int roomForGoodSections_ = mostSections / 2;
    std::vector<StoredBytes> sections_;  // finished pieces of the page, in their order
    std::int64_t roomForPictures_;       // of all; tiles of good frames have half of it at most:
    std::int64_t roomForGoodTiles_;
};

}  // namespace kxCheck
