// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCheckOptions.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

using kxCheck::Code;
using kxCheck::OptionRow;
using kxCheck::parseCommandLine;
using kxCheck::Removal;
using kxCheck::Settings;
using kxCheck::SortKey;
using kxCheck::UsageError;
using kxCheck::Verdict;
using kxCheck::WantedText;
using kxCheck::When;
using Arguments = std::vector<QByteArray>;

// The settings for these options and one frame.
Settings settingsOf(Arguments arguments) {
    arguments.push_back("a.1.exr");
    const auto parsed = parseCommandLine(arguments);
    if (const auto* const error = std::get_if<UsageError>(&parsed)) ADD_FAILURE() << error->line.constData();
    const auto* const settings = std::get_if<Settings>(&parsed);
    return settings ? *settings : Settings();
}

std::string errorOf(const Arguments& arguments) {
    const auto parsed = parseCommandLine(arguments);
    const auto* const error = std::get_if<UsageError>(&parsed);
    return error ? error->line.toStdString() : "none";
}

// Of options with one frame behind them, without the program's name.
std::string faultOf(Arguments arguments) {
    arguments.push_back("a.1.exr");
    const std::string error = errorOf(arguments);
    const std::string start = "kxCheckFrames: ";
    return error.compare(0, start.size(), start) == 0 ? error.substr(start.size()) : error;
}

TEST(CheckOptionsTest, WithoutOptionsAllIsAsDocumented) {
    const Settings settings = settingsOf({});
    EXPECT_EQ(settings.arguments, Arguments{"a.1.exr"});
    EXPECT_EQ(settings.level, kxCheck::Level::pixels);
    EXPECT_FALSE(settings.frames || settings.jobs || settings.listed || settings.memoryLimit);
    EXPECT_EQ(settings.chunk.index, 1);
    EXPECT_EQ(settings.chunk.count, 1);
    EXPECT_FALSE(settings.single || settings.modes.requireMultiLayer || settings.modes.requireMultipart ||
                 settings.modes.noMultipart);
    EXPECT_FALSE(settings.strict || settings.verbose || settings.info || settings.sortDescending ||
                 settings.removeMost);
    EXPECT_TRUE(settings.expectations.empty() && settings.failOn.empty() && settings.ignored.empty());
    EXPECT_EQ(settings.sortKey, SortKey::frame);
    EXPECT_EQ(settings.jsonFile, "");
    EXPECT_EQ(settings.reportFile, "");
    EXPECT_EQ(settings.cacheDirectory, "");
    EXPECT_EQ(settings.removal, Removal::none);
    EXPECT_EQ(settings.minAge, 60);
    EXPECT_EQ(settings.timeLimit, 300);
    EXPECT_EQ(settings.progress, When::automatic);
    EXPECT_EQ(settings.color, When::automatic);
}

TEST(CheckOptionsTest, FlagsAreSet) {
    EXPECT_TRUE(settingsOf({"--single"}).single);
    EXPECT_TRUE(settingsOf({"--require-multi-layer"}).modes.requireMultiLayer);
    EXPECT_TRUE(settingsOf({"--require-multipart"}).modes.requireMultipart);
    EXPECT_TRUE(settingsOf({"--no-multipart"}).modes.noMultipart);
    EXPECT_TRUE(settingsOf({"--strict"}).strict);
    EXPECT_TRUE(settingsOf({"--verbose"}).verbose);
    EXPECT_TRUE(settingsOf({"-v"}).verbose);
    EXPECT_TRUE(settingsOf({"--info"}).info);
    EXPECT_TRUE(settingsOf({"--delete", "--remove-most"}).removeMost);
}

TEST(CheckOptionsTest, ValuesStandBehindTheirOptionInEveryForm) {
    for (const Arguments& form : {Arguments{"--jobs", "8"}, {"--jobs=8"}, {"-j", "8"}, {"-j8"}, {"-vj8"}})
        EXPECT_EQ(settingsOf(form).jobs, 8);
    for (const Arguments& form :
         {Arguments{"--level", "headers"}, {"--level=headers"}, {"-l", "headers"}, {"-lheaders"}})
        EXPECT_EQ(settingsOf(form).level, kxCheck::Level::headers);
    for (const Arguments& form : {Arguments{"--frames", "-2-0"}, {"--frames=-2-0"}, {"-f", "-2-0"}, {"-f-2-0"}})
        EXPECT_EQ(settingsOf(form).frames, (std::vector<std::int64_t>{-2, -1, 0}));
}

TEST(CheckOptionsTest, OptionsMayStandBehindNamesUntilTheirEnd) {
    const auto parsed = parseCommandLine({"a.1.exr", "-v", "--", "--strict", "-x.1.exr"});
    const auto* const settings = std::get_if<Settings>(&parsed);
    ASSERT_TRUE(settings);
    EXPECT_EQ(settings->arguments, (Arguments{"a.1.exr", "--strict", "-x.1.exr"}));
    EXPECT_TRUE(settings->verbose);
    EXPECT_FALSE(settings->strict);
}

TEST(CheckOptionsTest, EveryByteOfANameSurvives) {
    QByteArray name;
    for (int byte = 1; byte < 256; ++byte) name += static_cast<char>(byte);
    const auto parsed = parseCommandLine({name, "--json", name, "--move-to=" + name});
    const auto* const settings = std::get_if<Settings>(&parsed);
    ASSERT_TRUE(settings);
    EXPECT_EQ(settings->arguments, Arguments{name});
    EXPECT_EQ(settings->jsonFile, name);
    EXPECT_EQ(settings->moveTo, name);
}

TEST(CheckOptionsTest, WordsAreTheirEnumerators) {
    EXPECT_EQ(settingsOf({"--level=structure"}).level, kxCheck::Level::structure);
    EXPECT_EQ(settingsOf({"--level=pixels"}).level, kxCheck::Level::pixels);
    EXPECT_EQ(settingsOf({"--progress=auto"}).progress, When::automatic);
    EXPECT_EQ(settingsOf({"--progress=always"}).progress, When::always);
    EXPECT_EQ(settingsOf({"--color=never"}).color, When::never);
    EXPECT_EQ(settingsOf({"--sort=frame"}).sortKey, SortKey::frame);
    EXPECT_EQ(settingsOf({"--sort=machine"}).sortKey, SortKey::machine);
    EXPECT_EQ(settingsOf({"--sort=date"}).sortKey, SortKey::date);
    EXPECT_EQ(settingsOf({"--sort=size"}).sortKey, SortKey::size);
    EXPECT_EQ(settingsOf({"--sort=difference"}).sortKey, SortKey::difference);
    EXPECT_FALSE(settingsOf({"--sort=size"}).sortDescending);
    for (const Arguments& form : {Arguments{"--sort=-size"}, {"--sort", "-size"}}) {
        EXPECT_EQ(settingsOf(form).sortKey, SortKey::size);
        EXPECT_TRUE(settingsOf(form).sortDescending);
    }
}

TEST(CheckOptionsTest, UnknownWordsAreRefusedWithTheKnown) {
    EXPECT_EQ(faultOf({"--level=Pixels"}), "--level: 'Pixels' is unknown; known are headers, structure, pixels");
    EXPECT_EQ(faultOf({"--level="}), "--level: '' is unknown; known are headers, structure, pixels");
    EXPECT_EQ(faultOf({"--color=on"}), "--color: 'on' is unknown; known are auto, always, never");
    EXPECT_EQ(faultOf({"--sort=name"}),
              "--sort: 'name' is unknown; known are frame, machine, date, size, difference");
    EXPECT_EQ(faultOf({"--sort=--size"}),
              "--sort: '-size' is unknown; known are frame, machine, date, size, difference");
    EXPECT_EQ(faultOf({"--list=bad,wrong"}),
              "--list: 'wrong' is no verdict; known are good, suspicious, bad, missing, unknown");
}

TEST(CheckOptionsTest, NumbersHaveARange) {
    EXPECT_EQ(settingsOf({"--jobs=1024"}).jobs, 1024);
    EXPECT_EQ(settingsOf({"--min-age=0"}).minAge, 0);
    EXPECT_EQ(settingsOf({"--time-limit=1"}).timeLimit, 1);
    EXPECT_EQ(settingsOf({"--memory-limit=512"}).memoryLimit, 512);
    for (const char* const number :
         {"", "0", "1025", "-1", "+1", "1.5", "4 ", " 4", "four", "0x4", "4294967297", "99999999999999999999"})
        EXPECT_EQ(faultOf({QByteArray("--jobs=") + number}),
                  "--jobs: '" + std::string(number) + "' is no number from 1 to 1024");
    for (const char* const timeout : {"0", "-1", "1h"})
        EXPECT_EQ(faultOf({"--timeout", timeout}),
                  "--timeout: '" + std::string(timeout) + "' is no number from 1 to 1000000000");
    EXPECT_EQ(faultOf({"--min-age=-1"}), "--min-age: '-1' is no number from 0 to 1000000000");
    EXPECT_EQ(faultOf({"--time-limit=0"}), "--time-limit: '0' is no number from 1 to 1000000000");
    EXPECT_EQ(faultOf({"--memory-limit=0"}), "--memory-limit: '0' is no number from 1 to 16777216");
}

TEST(CheckOptionsTest, ChunksAreOneOfSoMany) {
    const auto chunk = settingsOf({"--chunk=3/8"}).chunk;
    EXPECT_EQ(chunk.index, 3);
    EXPECT_EQ(chunk.count, 8);
    EXPECT_EQ(settingsOf({"--chunk=8/8"}).chunk.index, 8);
    for (const char* const text : {"", "3", "0/8", "9/8", "3/", "/8", "3/8/9", "-1/8", "a/b", "3/1000001", "+3/8"})
        EXPECT_EQ(
            faultOf({QByteArray("--chunk=") + text}),
            "--chunk: '" + std::string(text) + "' is no I/N with I from 1 to N; the third of eight runs is 3/8");
}

TEST(CheckOptionsTest, FaultsOfFrameListsAndExpectationsNameTheOption) {
    EXPECT_EQ(faultOf({"--frames=9-1"}), "--frames: '9-1' descends; write '1-9'");
    EXPECT_EQ(faultOf({"--expect=parts=0"}), "--expect: '0' is no value of parts; write it like parts=2");
}

TEST(CheckOptionsTest, ListsAndExpectationsAddUp) {
    const Settings settings =
        settingsOf({"--expect=size=1x1", "--expect=parts=1", "--list=bad,missing", "--list=good",
                    "--fail-on=nan,inf", "--fail-on=black", "--ignore=header"});
    ASSERT_EQ(settings.expectations.size(), 2U);
    EXPECT_EQ(settings.expectations[1], (kxCheck::Expectation{kxCheck::Expectation::Key::parts, {"1"}}));
    EXPECT_EQ(settings.listed, (std::set<Verdict>{Verdict::bad, Verdict::missing, Verdict::good}));
    EXPECT_EQ(settings.failOn, (std::set<Code>{Code::nan, Code::inf, Code::black}));
    EXPECT_EQ(settings.ignored, std::set<Code>{Code::header});
}

TEST(CheckOptionsTest, LastOfOtherOptionsCounts) {
    EXPECT_EQ(settingsOf({"--jobs=2", "--jobs=3"}).jobs, 3);
    EXPECT_EQ(settingsOf({"--frames=1-9", "--frames=5"}).frames, std::vector<std::int64_t>{5});
    EXPECT_EQ(settingsOf({"--sort=-size", "--sort=date"}).sortDescending, false);
}

TEST(CheckOptionsTest, OnlyErrorsAndWarningsAreFailedOnOrIgnored) {
    EXPECT_EQ(settingsOf({"--fail-on=tile-missing"}).failOn, std::set<Code>{Code::tileMissing});
    const std::string known =
        " is no error or warning; known are empty, not-exr, header, modes, expected, differs, differs-coding, "
        "size-jump, unfinished, truncated, chunk, tile-missing, alpha-missing, nan, inf, black, flat, repeated, "
        "jump";
    for (const char* const code : {"", "missing", "unreadable", "unsupported", "changing", "limit", "NaN", "bad"}) {
        EXPECT_EQ(faultOf({QByteArray("--fail-on=nan,") + code}), "--fail-on: '" + std::string(code) + "'" + known);
        EXPECT_EQ(faultOf({QByteArray("--ignore=") + code}), "--ignore: '" + std::string(code) + "'" + known);
    }
}

TEST(CheckOptionsTest, RemovalIsDeletingOrMoving) {
    EXPECT_EQ(settingsOf({"--delete"}).removal, Removal::remove);
    EXPECT_EQ(settingsOf({"--move-to=/bad"}).removal, Removal::move);
    EXPECT_EQ(settingsOf({"--move-to=/bad"}).moveTo, "/bad");
    EXPECT_EQ(settingsOf({"--cache", "/c"}).cacheDirectory, "/c");
}

TEST(CheckOptionsTest, FollowingHasAListAndATimeout) {
    EXPECT_FALSE(settingsOf({}).follow);
    EXPECT_TRUE(settingsOf({"--follow", "--frames=1-9"}).follow);
    EXPECT_EQ(settingsOf({"--follow", "--frames=1-9"}).timeout, 3600);
    EXPECT_EQ(settingsOf({"--follow", "--frames=1-9", "--timeout=5"}).timeout, 5);
}

TEST(CheckOptionsTest, OptionsThatExcludeOrNeedEachOtherAreRefused) {
    EXPECT_EQ(faultOf({"--frames=1-9", "--single"}),
              "--single excludes --frames; the one file has no frame number");
    EXPECT_EQ(faultOf({"--move-to=/bad", "--delete"}), "--delete excludes --move-to; use one of them");
    EXPECT_EQ(faultOf({"--no-multipart", "--require-multipart"}),
              "--require-multipart excludes --no-multipart; no frame can be both");
    EXPECT_EQ(faultOf({"--list=bad", "--json", "-"}),
              "--list excludes --json -; both are for standard output, write the JSON lines to a file");
    EXPECT_EQ(faultOf({"--remove-most"}), "--remove-most needs --delete or --move-to; alone it removes nothing");
    EXPECT_EQ(faultOf({"--follow"}), "--follow needs --frames; only a list says when all frames have come");
    EXPECT_EQ(faultOf({"--timeout=5", "--frames=1-9"}),
              "--timeout needs --follow; without it nothing is waited for");
    EXPECT_EQ(faultOf({"--fail-on=nan,inf", "--ignore=black,inf"}),
              "'inf' is in --fail-on and in --ignore; name it in one of them");
}

TEST(CheckOptionsTest, WhatOnlyLooksLikeAConflictIsTaken) {
    EXPECT_EQ(faultOf({"--list=bad", "--json", "out.json"}), "none");
    EXPECT_EQ(faultOf({"--json", "-", "--delete"}), "none");
    EXPECT_EQ(faultOf({"--remove-most", "--move-to=/bad"}), "none");
    EXPECT_EQ(faultOf({"--require-multi-layer", "--require-multipart"}), "none");
    EXPECT_EQ(faultOf({"--min-age=5"}), "none");
}

TEST(CheckOptionsTest, UnknownOptionsAreRefused) {
    EXPECT_EQ(faultOf({"--levels=1"}), "unknown option '--levels'; --help lists the options");
    EXPECT_EQ(faultOf({"-x"}), "unknown option '-x'; --help lists the options");
    EXPECT_EQ(faultOf({"-vx"}), "unknown option '-x'; --help lists the options");
    EXPECT_EQ(faultOf({"--Strict"}), "unknown option '--Strict'; --help lists the options");
}

TEST(CheckOptionsTest, MissingAndSuperfluousValuesAreRefused) {
    EXPECT_EQ(errorOf({"a.1.exr", "--level"}),
              "kxCheckFrames: missing value after '--level'; --help shows how the options are written");
    EXPECT_EQ(faultOf({"--strict=Yes"}),
              "unexpected value after '--strict'; --help shows how the options are written");
    EXPECT_EQ(faultOf({"--report", "-"}),
              "--report: a page is not written to standard output; write --report=FILE");
    EXPECT_EQ(faultOf({"--report", "a.EXR"}),
              "--report: 'a.EXR' has the name of a frame, which would be overwritten; write --report=FILE");
    EXPECT_EQ(faultOf({"--report="}), "--report: the value is empty; write --report=FILE");
    EXPECT_EQ(settingsOf({"--report", "p.html"}).reportFile, "p.html");
    EXPECT_EQ(faultOf({"--json="}), "--json: the value is empty; write --json=FILE");
    for (const std::string name : {"b.1.exr", "/r/b.EXR"})
        EXPECT_EQ(faultOf({"--json", name.c_str()}),
                  "--json: '" + name +
                      "' has the name of a frame, which would be overwritten; write --json=FILE or --json=-");
    EXPECT_EQ(faultOf({"--move-to", ""}), "--move-to: the value is empty; write --move-to=DIR");
}

TEST(CheckOptionsTest, SomethingMustBeNamed) {
    EXPECT_EQ(
        errorOf({}),
        "kxCheckFrames: no frame or directory is named; write kxCheckFrames [options] <frame or directory>...");
    EXPECT_EQ(errorOf({"-v"}), errorOf({}));
    EXPECT_EQ(errorOf({"a.1.exr", ""}), "kxCheckFrames: '' is no frame or directory; the current directory is .");
}

TEST(CheckOptionsTest, ErrorsAreOneLineWhateverWasWritten) {
    EXPECT_EQ(faultOf({"--level=a\nb\x1b[0m"}),
              "--level: 'a\\nb\\x1b[0m' is unknown; known are headers, structure, pixels");
    EXPECT_EQ(faultOf({"--a\nb"}), "unknown option '--a\\nb'; --help lists the options");
}

TEST(CheckOptionsTest, HelpAndVersionAreTextsAndNeedNoFrame) {
    for (const char* const option : {"--help", "-h", "--version"}) {
        const auto parsed = parseCommandLine({option});
        ASSERT_TRUE(std::holds_alternative<WantedText>(parsed)) << option;
        EXPECT_TRUE(std::get<WantedText>(parsed).text.endsWith('\n'));
    }
    EXPECT_TRUE(std::holds_alternative<WantedText>(parseCommandLine({"a.1.exr", "--jobs=0", "--help"})));
}

TEST(CheckOptionsTest, EveryRowIsAnOptionOnce) {
    std::set<std::string> names;
    std::set<char> letters;
    for (const OptionRow& row : kxCheck::optionRows()) {
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_TRUE(!row.letter || letters.insert(row.letter).second) << row.letter;
        EXPECT_NE(QByteArray(row.help), "");
    }
    EXPECT_EQ(letters, (std::set<char>{'f', 'h', 'j', 'l', 'v'}));
}

// Completions offer these words.
TEST(CheckOptionsTest, EveryWordOfARowIsAValue) {
    for (const OptionRow& row : kxCheck::optionRows()) {
        if (!row.words) continue;
        std::string word;
        for (const char c : std::string(row.words) + ' ') {
            if (c != ' ') {
                word += c;
                continue;
            }
            EXPECT_EQ(faultOf({QByteArray("--") + row.name + '=' + word.c_str()}), "none");
            word.clear();
        }
    }
}

}  // namespace
