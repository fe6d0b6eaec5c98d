// SPDX-License-Identifier: BSD-3-Clause
// One frame as a page shows it: in the contact sheet, and with what was found when it is not good.
//
// Values and pure functions; what comes back is HTML.
#pragma once

#include "check/kxFrameReport.h"
#include "check/kxPictureSpool.h"

#include <QByteArray>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace kxCheck {

// Where a frame's pictures were laid down.
struct StoredPreview {
    StoredBytes large;
    int width = 0;  // of the large one, pixels
    int height = 0;
    StoredBytes small;
};

// What a page keeps of a frame: little, for it keeps it of all.
struct PageFrame {
    QByteArray label;  // "1017", bytes
    Verdict verdict = Verdict::good;
    int level = 0;                     // 0 to 3
    std::optional<std::int64_t> size;  // bytes; none: no file is known
    std::optional<double> jump;        // none: there is no picture, of it or of a neighbour
    std::optional<double> brightness;  // none: there is no picture; mean of the samples as they are in the file
    QByteArray text;                   // the findings in one line; empty: good or missing
    Action action = Action::none;      // that was planned
    QByteArray keptReason;             // why it was not done after all; empty: it was
    StoredPreview preview;             // what is kept of it
    bool isPartial = false;            // it is of a file that was not decoded whole
    bool isBrief = false;              // has a section in short: preview and histogram, as there are
    std::shared_ptr<const kxCHK::Histogram> histogram;  // only of these; null: there is none
    std::shared_ptr<const FrameReport> details;         // for a section in full, without preview
};

// Those that are not good have a section or a row, and the only one of a sequence, which has details then.
[[nodiscard]] inline bool hasSection(const PageFrame& frame) {
    return frame.level > 0 || frame.details;
}

// There is no more to be shown of it than its findings.
[[nodiscard]] inline bool isRow(const PageFrame& frame) {
    return !frame.details && !frame.isBrief;
}

// Made of a judged frame, without preview, text and what sections need.
[[nodiscard]] PageFrame pageFrame(const FrameReport& frame);

// Its histogram; null without one.
[[nodiscard]] const kxCHK::Histogram* histogramOf(const FrameReport& frame);

// Width and height of the small form, pixels.
[[nodiscard]] std::array<int, 2> smallSizeOf(const StoredPreview& preview);

// "f2-17": of the frame at that place of the second sequence, both from 1.
[[nodiscard]] QByteArray frameAnchor(int sequence, std::size_t place);

// "✓ good", "!! suspicious", "✕ bad": nothing is said by colour alone.
[[nodiscard]] QByteArray verdictChip(Verdict verdict, int level);

// A frame beside the one that is shown; its anchor is empty where there is none.
struct PageNeighbour {
    QByteArray anchor;
    QByteArray label;
    QByteArray small;  // JPEG; empty: no picture
    int width = 0;     // of it, pixels
    int height = 0;
};

// What a frame's section needs beside the frame.
struct FrameView {
    int sequence = 1;       // from 1
    std::size_t place = 0;  // in the sequence, from 0
    QByteArray picture;     // JPEG, in short sections the small one; empty: no picture
    PageNeighbour before;   // in the order of the frames
    PageNeighbour after;
    bool hasSteps = false;  // links lead from here to the overview and on:
    QByteArray previous;    // anchors of what has steps before and after this; empty: none
    QByteArray next;
    QByteArray outcome;  // what became of its file, "deleted"; empty: nothing
};

// The section of a frame that has details.
[[nodiscard]] QByteArray frameSection(const PageFrame& frame, const FrameView& view);

// The same in short: findings in one line, the small picture and the histogram.
[[nodiscard]] QByteArray briefSection(const PageFrame& frame, const FrameView& view);

// Findings alone in one line, for frames from `first` to `last` that are alike; both labels may be the same.
[[nodiscard]] QByteArray frameRow(const PageFrame& first, const PageFrame& last, std::size_t count,
                                  const FrameView& view);

// A picture of the contact sheet; of a frame that is not good it leads to `target`, the anchor of its section.
[[nodiscard]] QByteArray sheetItem(const PageFrame& frame, const QByteArray& anchor, std::size_t place,
                                   const QByteArray& target, const QByteArray& small);

}  // namespace kxCheck
