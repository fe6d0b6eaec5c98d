// SPDX-License-Identifier: BSD-3-Clause
// A check function for tests of workers: a frame's path is the order what the worker does at it, "<word> <value>".
//
//   good N      reports N, after a moment that differs from frame to frame
//   sleep MS    the same after MS milliseconds
//   exit N, signal N, abort, throw, allocate MIB, touch MIB, close, closeAll, fork
//   nonsense, half, twice           write to the socket what is no report, part of one, one too many
//   surplus                         the first report of the worker, whichever it is at
//   long, longer, short, slow       lengths: of gigabytes, one more than may be, too few, and less behind it
//   endless, empty                  bytes, and messages without content, without end
#pragma once

#include "check/kxFileReport.h"

#include <atomic>

// What workers and the test both see. Made before the workers are started.
struct SharedNotes {
    std::atomic<int> started{0};  // frames, by all workers
    std::atomic<int> process{0};  // the one that started a frame last
};
SharedNotes& sharedNotes();

kxCheck::FileReport playedCheck(const kxCheck::FileCheck& check);

// A report that can be told from others.
kxCheck::FileReport numberedReport(int number);
// Its number; -1 for any other report.
int numberOf(const kxCheck::FileReport& report);
// The code's name and the text of the first finding; empty without.
QByteArray firstFinding(const kxCheck::FileReport& report);
