// SPDX-License-Identifier: BSD-3-Clause
// Pages of sequences that were never rendered: a ball that rolls through a landscape, with frames of every verdict.
#pragma once

#include "check/kxFrameReport.h"
#include "check/kxPageWriter.h"

#include <QByteArray>

// Which frames of a played sequence are not good.
enum class PlayedDamage {
    none,
    some,  // now and then, and two runs of missing ones
    all,   // every frame is bad, each with a text of its own
};

// Frame `i` of so many, with preview.
kxCheck::FrameReport playedFrame(int i, int frames, PlayedDamage damage);

// Tells the writer of a sequence of so many frames, from 1001 on.
void playSequence(kxCheck::PageWriter& page, int frames, PlayedDamage damage,
                  const QByteArray& path = "/renders/sh010/beauty.####.exr");

// The page of one such sequence, written to the file; its fault.
QByteArray writePlayedPage(const QByteArray& file, int frames, PlayedDamage damage);
