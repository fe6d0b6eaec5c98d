// SPDX-License-Identifier: BSD-3-Clause
// Whether a check at level structure found what a plain reading finds.
#pragma once

#include "check/kxFileReport.h"
#include "tests/support/plainStructure.h"

#include <string>

// The first thing in which the report of a check at level structure is not what the plain reading found; empty: it
// is all the same. Where the EXR library alone refuses a header there is nothing to compare.
std::string differenceFromPlain(const kxCheck::FileReport& report, const PlainStructure& plain);
