// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFollowedFile.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <optional>
#include <ostream>
#include <utility>

using namespace kxCheck;

namespace {

constexpr std::int64_t second = 1000000000;
constexpr std::int64_t now = 1000000 * second;

// Changed so many seconds before now; without a code a sound one.
FileReport file(int age, std::optional<Code> code = {}, std::int64_t size = 1000) {
    FileReport report;
    report.hasIdentity = true;
    report.identity = {1, 2, size, now - age * second};
    if (code) report.findings = {makeFinding(*code, "text")};
    return report;
}

FileReport cachedFile() {
    FileReport report = file(3600);
    auto picture = std::make_shared<PictureReport>();
    picture->isCached = true;
    report.picture = picture;
    return report;
}

Settings withCache() {
    Settings settings;
    settings.cacheDirectory = "/kept";
    return settings;
}

Settings atLevel(Level level) {
    Settings settings;
    settings.level = level;
    return settings;
}

}  // namespace

TEST(FollowedFile, IsStillWrittenWhileItIsYoungAndLacksSomething) {
    for (const Code code : {Code::empty, Code::unfinished, Code::truncated, Code::changing}) {
        EXPECT_TRUE(isStillWritten(file(0, code), now, 60));
        EXPECT_TRUE(isStillWritten(file(59, code), now, 60));
        EXPECT_TRUE(isStillWritten(file(-100, code), now, 60)) << "of a clock that is ahead";
        EXPECT_FALSE(isStillWritten(file(60, code), now, 60));
        EXPECT_FALSE(isStillWritten(file(0, code), now, 0));
    }
    EXPECT_FALSE(isStillWritten(file(0), now, 60));
    for (const Code code : {Code::chunk, Code::header, Code::unreadable, Code::limit, Code::notExr})
        EXPECT_FALSE(isStillWritten(file(0, code), now, 60)) << rowOf(code).name;
    EXPECT_TRUE(isStillWritten(file(0, Code::notExr, 3), now, 60));
    FileReport madeAtFullSize = file(59, Code::chunk);
    madeAtFullSize.hasZeros = true;
    EXPECT_TRUE(isStillWritten(madeAtFullSize, now, 60));
    EXPECT_FALSE(isStillWritten(madeAtFullSize, now, 59));
    FileReport nameless = file(0, Code::truncated);
    nameless.hasIdentity = false;
    EXPECT_FALSE(isStillWritten(nameless, now, 60));
}

TEST(FollowedFile, IsDecodedWhenItsStructureIsWhole) {
    const Settings pixels;
    EXPECT_EQ(stepAfterLook(file(0), pixels, now), FollowStep::whole);
    EXPECT_EQ(stepAfterLook(file(0, Code::chunk), pixels, now), FollowStep::whole);
    EXPECT_EQ(stepAfterLook(file(0, Code::unfinished), pixels, now), FollowStep::unfinished);
    EXPECT_EQ(stepAfterLook(file(99, Code::unfinished), pixels, now), FollowStep::whole);
    EXPECT_EQ(stepAfterLook(file(0, Code::missing), pixels, now), FollowStep::absent);
    EXPECT_EQ(stepAfterLook(file(0, Code::limit), pixels, now), FollowStep::done);
    EXPECT_EQ(stepAfterLook(cachedFile(), withCache(), now), FollowStep::done);
    for (const Level level : {Level::headers, Level::structure})
        EXPECT_EQ(stepAfterLook(file(0), atLevel(level), now), FollowStep::done);
}

TEST(FollowedFile, IsDoneWhenItWasDecodedUnlessItIsStillWritten) {
    EXPECT_EQ(stepAfterPixels(file(0), {}, now), FollowStep::done);
    EXPECT_EQ(stepAfterPixels(file(99, Code::truncated), {}, now), FollowStep::done);
    EXPECT_EQ(stepAfterPixels(file(0, Code::truncated), {}, now), FollowStep::unfinished);
    EXPECT_EQ(stepAfterPixels(file(0, Code::changing), {}, now), FollowStep::unfinished);
    EXPECT_EQ(stepAfterPixels(file(0, Code::missing), {}, now), FollowStep::absent);
}

TEST(FollowedFile, RipensOnlyForACacheThatWouldTakeIt) {
    EXPECT_EQ(stepAfterLook(file(1), withCache(), now), FollowStep::ripening);
    EXPECT_EQ(stepAfterLook(file(2), withCache(), now), FollowStep::whole);
    EXPECT_EQ(stepAfterLook(file(-1), withCache(), now), FollowStep::whole) << "of a clock that is ahead";
    EXPECT_EQ(stepAfterLook(file(1, Code::chunk), withCache(), now), FollowStep::whole);
    Settings structure = withCache();
    structure.level = Level::structure;
    EXPECT_EQ(stepAfterLook(file(1), structure, now), FollowStep::done);
}

TEST(FollowedFile, GoesOnInTimeWhenItIsOldEnough) {
    const Settings settings = withCache();
    const auto later = [&](FollowStep step, const FileReport& report) {
        return stepInTime(step, report, settings, now);
    };
    EXPECT_EQ(later(FollowStep::unfinished, file(59, Code::empty)), FollowStep::unfinished);
    EXPECT_EQ(later(FollowStep::unfinished, file(60, Code::empty)), FollowStep::arrived);
    EXPECT_EQ(later(FollowStep::ripening, file(1)), FollowStep::ripening);
    EXPECT_EQ(later(FollowStep::ripening, file(2)), FollowStep::whole);
    for (const FollowStep step :
         {FollowStep::absent, FollowStep::arrived, FollowStep::looking, FollowStep::whole, FollowStep::done})
        EXPECT_EQ(later(step, file(99)), step);
}

TEST(FollowedFile, TheTimeOfItsNextStepIsTheFirstThatMakesOne) {
    const Settings settings = withCache();
    const std::pair<FollowStep, FileReport> cases[] = {{FollowStep::unfinished, file(59, Code::empty)},
                                                       {FollowStep::unfinished, file(-1000, Code::empty)},
                                                       {FollowStep::ripening, file(1)}};
    for (const auto& [step, report] : cases) {
        const std::int64_t time = timeOfStep(step, report, settings);
        EXPECT_EQ(stepInTime(step, report, settings, time - 1), step);
        EXPECT_NE(stepInTime(step, report, settings, time), step);
    }
    constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();
    for (const FollowStep step :
         {FollowStep::absent, FollowStep::arrived, FollowStep::looking, FollowStep::whole, FollowStep::done})
        EXPECT_EQ(timeOfStep(step, file(1), settings), never);
    FileReport last = file(0, Code::empty);
    last.identity.modified = never - 1;
    EXPECT_EQ(timeOfStep(FollowStep::unfinished, last, settings), never);
}

TEST(FollowedFile, IdentityIsThatOfARegularFileAlsoThroughALink) {
    const TempDir dir;
    const auto path = [&dir](const char* name) { return QByteArray::fromStdString(dir.file(name)); };
    ASSERT_TRUE(writeFileBytes(dir.file("file"), "four"));
    std::filesystem::create_symlink("file", dir.file("link"));
    std::filesystem::create_symlink("nowhere", dir.file("dangling"));
    const auto identity = identityAt(path("file"));
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->size, 4);
    EXPECT_EQ(identityAt(path("link")), identity);
    for (const char* const name : {"dangling", "none", "."}) EXPECT_FALSE(identityAt(path(name))) << name;
}
