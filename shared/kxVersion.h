// SPDX-License-Identifier: BSD-3-Clause
// The version string and the copyright notice of the banner. Both begin with a blank: they follow a name.
#pragma once

constexpr char kxVersionString[] = " 1.0.0";
constexpr char kxCopyrightNotice[] = " Copyright (c) 2026 the kxVerifyExrModes developers";
