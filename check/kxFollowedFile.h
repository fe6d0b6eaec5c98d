// SPDX-License-Identifier: BSD-3-Clause
// What a run that waits for frames does with the file of one: look into it, wait for its rest, leave it.
//
// A file that lacks something may still be written as long as it is young (Settings::minAge), and is not judged
// until then. Times are in nanoseconds since the Unix epoch. But for identityAt(), which asks the system, pure
// functions; any thread may call them.
#pragma once

#include "check/kxCheckSettings.h"
#include "check/kxFileReport.h"

#include <QByteArray>

#include <cstdint>
#include <optional>

namespace kxCheck {

enum class FollowStep {
    absent,      // there is no file
    arrived,     // it is to be looked into
    looking,     // a worker looks into it, or decodes it
    unfinished,  // it is looked into again when it changed, or is not young any more
    ripening,    // whole, and to be decoded as soon as it is old enough for the cache
    whole,       // to be decoded
    done,
};

// Whether a young file lacks what may still be written: it is empty, not whole, has zeros where it was not written
// yet, or changed all the time.
[[nodiscard]] bool isStillWritten(const FileReport& file, std::int64_t now, int minAge);

// Whether the system refused to read it, which it may not do another time.
[[nodiscard]] bool isUnreadable(const FileReport& file);

// What comes next after a look down to the structure: absent, unfinished, ripening, whole or done.
[[nodiscard]] FollowStep stepAfterLook(const FileReport& file, const Settings& settings, std::int64_t now);
// The same after all of it was looked at: absent, unfinished or done.
[[nodiscard]] FollowStep stepAfterPixels(const FileReport& file, const Settings& settings, std::int64_t now);

// What has become of a file in time alone, without a change: an unfinished one is looked into once more when it is
// not young any more, a ripe one is whole.
[[nodiscard]] FollowStep stepInTime(FollowStep step, const FileReport& file, const Settings& settings,
                                    std::int64_t now);

// When that comes; the last of all times where it never does.
[[nodiscard]] std::int64_t timeOfStep(FollowStep step, const FileReport& file, const Settings& settings);

// Which regular file the path leads to; nothing where there is none, or the system does not tell.
[[nodiscard]] std::optional<FileIdentity> identityAt(const QByteArray& path);

}  // namespace kxCheck
