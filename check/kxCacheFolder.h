// SPDX-License-Identifier: BSD-3-Clause
// Where the entries of a cache are: <cache>/<folder of the sequence>/<frame>.kxc. Many sequences share a cache, and
// the machines that see a sequence under the same path share its entries.
//
// Any thread may call these.
#pragma once

#include "check/kxFrameReport.h"
#include "check/kxSequenceName.h"

#include <QByteArray>

namespace kxCheck {

// Makes the directory if its parent is there. Empty when a cache may be there; otherwise why not. That entries can
// be written there is not known then.
[[nodiscard]] QByteArray prepareCache(const QByteArray& directory);

// Of the sequence: named by a hash of the directory that it is in, links followed, and of how its files are called.
// Without "/" at its end; not made.
[[nodiscard]] QByteArray cacheFolder(const QByteArray& cache, const SequenceName& sequence);

// Of the frame in its sequence's folder: "0042.kxc", with a tile "0042.tile03.kxc".
[[nodiscard]] QByteArray cacheFileName(const FrameName& frame);

}  // namespace kxCheck
