// SPDX-License-Identifier: BSD-3-Clause
// How a sequence begins on a page: which it is, how many frames of each verdict there are and where the first of
// them is, what is wrong with them, and what was said about the sequence as a whole.
//
// Pure function; what comes back is HTML.
#pragma once

#include "check/kxPageSequence.h"
#include "check/kxPageStrip.h"

#include <QByteArray>

namespace kxCheck {

// `sheetAnchor` is that of the contact sheet; empty: there is none.
[[nodiscard]] QByteArray sequenceHead(const PageSequence& sequence, const TargetOf& targetOf,
                                      const QByteArray& sheetAnchor);

}  // namespace kxCheck
