// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFollowedFile.h"

#include "check/kxFileAge.h"
#include "check/kxFileIdentity.h"
#include "check/kxFrameLook.h"
#include "check/kxPictureCache.h"
#include "shared/kxSystemCall.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include <sys/stat.h>

namespace kxCheck {

namespace {

bool hasCode(const FileReport& file, Code code) {
    const auto& findings = file.findings;
    return std::any_of(findings.begin(), findings.end(), [code](const Finding& f) { return f.code == code; });
}

// The first bytes of an EXR file say what it is; fewer are a file that has just been begun.
bool isJustBegun(const FileReport& file) {
    constexpr std::int64_t magicSize = 4;
    return hasCode(file, Code::notExr) && file.identity.size < magicSize;
}

// Of those that may become an entry. One that bears a time to come does not wait for it.
bool isTooYoungForCache(const FileReport& file, std::int64_t now) {
    return file.findings.empty() && file.identity.modified < now && isYoung(file.identity, now, leastAgeInCache);
}

FollowStep stepOfWhole(const FileReport& file, const Settings& settings, std::int64_t now) {
    return usesCache(settings) && isTooYoungForCache(file, now) ? FollowStep::ripening : FollowStep::whole;
}

}  // namespace

bool isStillWritten(const FileReport& file, std::int64_t now, int minAge) {
    if (!file.hasIdentity || !isYoung(file.identity, now, minAge)) return false;
    constexpr Code codes[] = {Code::empty, Code::unfinished, Code::truncated, Code::changing};
    return file.hasZeros || isJustBegun(file) ||
           std::any_of(std::begin(codes), std::end(codes), [&file](Code code) { return hasCode(file, code); });
}

bool isUnreadable(const FileReport& file) {
    return hasCode(file, Code::unreadable);
}

FollowStep stepAfterLook(const FileReport& file, const Settings& settings, std::int64_t now) {
    const FollowStep step = stepAfterPixels(file, settings, now);
    const bool isCached = file.picture && file.picture->isCached;
    if (step != FollowStep::done || settings.level != Level::pixels || isCached || isLimited(file)) return step;
    return stepOfWhole(file, settings, now);
}

FollowStep stepAfterPixels(const FileReport& file, const Settings& settings, std::int64_t now) {
    if (hasCode(file, Code::missing)) return FollowStep::absent;
    return isStillWritten(file, now, settings.minAge) ? FollowStep::unfinished : FollowStep::done;
}

FollowStep stepInTime(FollowStep step, const FileReport& file, const Settings& settings, std::int64_t now) {
    if (step == FollowStep::unfinished && !isYoung(file.identity, now, settings.minAge)) return FollowStep::arrived;
    return step == FollowStep::ripening ? stepOfWhole(file, settings, now) : step;
}

std::int64_t timeOfStep(FollowStep step, const FileReport& file, const Settings& settings) {
    if (step == FollowStep::unfinished) return endOfYouth(file.identity, settings.minAge);
    if (step == FollowStep::ripening) return endOfYouth(file.identity, leastAgeInCache);
    return std::numeric_limits<std::int64_t>::max();
}

std::optional<FileIdentity> identityAt(const QByteArray& path) {
    struct stat status {};
    const int error = kxRetryInterrupted(-1, [&] { return stat(path.constData(), &status); });
    if (error != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return identityOf(status);
}

}  // namespace kxCheck
