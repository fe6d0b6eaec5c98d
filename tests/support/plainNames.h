// SPDX-License-Identifier: BSD-3-Clause
// The lister's name filter, written as the rule reads.
#pragma once

#include <QString>

// True when the name is at least as long as both texts together, begins with the one and ends with the other, all
// three in lower case.
inline bool plainNameIsListed(const QString& name, const QString& prefix, const QString& suffix) {
    const QString lower = name.toLower();
    const QString lowerPrefix = prefix.toLower();
    const QString lowerSuffix = suffix.toLower();
    return lower.size() >= lowerPrefix.size() + lowerSuffix.size() && lower.startsWith(lowerPrefix) &&
           lower.endsWith(lowerSuffix);
}
