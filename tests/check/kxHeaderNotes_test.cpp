// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxHeaderNotes.h"

#include "tests/support/CheckedFile.h"
#include "tests/support/ExrKinds.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

struct Shown {
    QByteArray name;
    QByteArray type;
    QByteArray value;
};

HeaderNotes notesOf(const std::vector<Shown>& attributes) {
    NoteTaker taker;
    for (const Shown& shown : attributes)
        if (taker.wants(shown.name, shown.type)) taker.take(shown.name, shown.type, shown.value);
    return taker.notes();
}

template <class Number>
QByteArray bytesOf(Number number) {
    return QByteArray(reinterpret_cast<const char*>(&number), sizeof number);
}

QByteArray machineOf(const QByteArray& name, const QByteArray& type = "string") {
    return notesOf({{name, type, "node7"}}).infoText;
}

int timeOf(const QByteArray& name, const QByteArray& type, const QByteArray& value) {
    return notesOf({{name, type, value}}).renderTime;
}

// A file with these attributes in front of all others of its first part.
std::string fileWith(const std::vector<Shown>& attributes) {
    std::string inserted;
    for (const Shown& shown : attributes) {
        inserted += shown.name.toStdString() + '\0' + shown.type.toStdString() + '\0';
        inserted += bytesOf(static_cast<std::int32_t>(shown.value.size())).toStdString();
        inserted += shown.value.toStdString();
    }
    std::string bytes = exrBytes({"", {KindPart()}});
    return bytes.insert(8, inserted);
}

}  // namespace

TEST(SecondsOfTime, AreHoursMinutesAndSeconds) {
    const std::vector<std::pair<const char*, int>> cases = {
        {"0", 0},
        {"90", 90},
        {"12.4", 12},
        {"12.5", 13},
        {"1:30", 90},
        {"90:00", 5400},
        {"01:02:03", 3723},
        {"100:00:00.6", 360001},
        {"2147483646", INT_MAX - 1},
        {".6", 1},
    };
    for (const auto& [text, seconds] : cases) EXPECT_EQ(secondsOfTime(text), seconds) << text;
}

TEST(SecondsOfTime, AreNoneInOtherTexts) {
    for (const char* text : {"",
                             " ",
                             "-1",
                             "+1",
                             "1:",
                             ":1",
                             "1::2",
                             "1:60",
                             "1:60:00",
                             "1:2:3:4",
                             "1.5:00",
                             "1e3",
                             "nan",
                             "inf",
                             "0x10",
                             "12s",
                             "1 2",
                             "2147483647",
                             "99999999999999999999",
                             ".",
                             "1.2.3"})
        EXPECT_EQ(secondsOfTime(text), -1) << text;
}

TEST(HeaderNotes, KnowTheMachineByItsNames) {
    for (const char* name : {"host", "hostname", "hostComputer", "machine", "Host", "HOSTNAME", "HostComputer",
                             "render.host", "exr/hostname", "farm:machine", "a.b/c:Machine"})
        EXPECT_EQ(machineOf(name), "node7") << name;
    for (const char* name : {"", "hosts", "ghost", "host.", "host.name", "hostname2", "renderhost", "my-host"})
        EXPECT_EQ(machineOf(name), "") << name;
    for (const char* type : {"int", "stringvector", "String", ""}) EXPECT_EQ(machineOf("host", type), "") << type;
}

TEST(HeaderNotes, TakeTheTextUpToAZeroByteWithoutBlanks) {
    EXPECT_EQ(notesOf({{"host", "string", QByteArray(" node7 \0rest", 12)}}).infoText, "node7");
    EXPECT_EQ(notesOf({{"host", "string", "   "}, {"machine", "string", "node8"}}).infoText, "node8");
    EXPECT_EQ(notesOf({{"host", "string", QByteArray()}}).infoText, "");
}

TEST(HeaderNotes, PreferWholeNamesThenTheOrderOfTheListThenTheFirst) {
    EXPECT_EQ(notesOf({{"a.host", "string", "1"}, {"machine", "string", "2"}}).infoText, "2");
    EXPECT_EQ(notesOf({{"machine", "string", "1"}, {"a.host", "string", "2"}}).infoText, "1");
    EXPECT_EQ(notesOf({{"machine", "string", "1"}, {"hostname", "string", "2"}}).infoText, "2");
    EXPECT_EQ(notesOf({{"hostname", "string", "1"}, {"machine", "string", "2"}}).infoText, "1");
    EXPECT_EQ(notesOf({{"a.machine", "string", "1"}, {"a.host", "string", "2"}}).infoText, "2");
    EXPECT_EQ(notesOf({{"Host", "string", "1"}, {"host", "string", "2"}}).infoText, "1");
}

TEST(HeaderNotes, KnowTheRenderTimeInAnyLetterCase) {
    for (const char* name : {"renderTime", "rendertime", "RENDERTIME", "farm.renderTime", "exr:RenderTime"})
        EXPECT_EQ(timeOf(name, "string", "1:05"), 65) << name;
    for (const char* name : {"renderTimes", "render", "averageRenderTime", "renderTime.mean"})
        EXPECT_EQ(timeOf(name, "string", "1:05"), -1) << name;
}

TEST(HeaderNotes, ReadTheRenderTimeAsTextOrNumber) {
    EXPECT_EQ(timeOf("renderTime", "int", bytesOf(std::int32_t{754})), 754);
    EXPECT_EQ(timeOf("renderTime", "float", bytesOf(754.4F)), 754);
    EXPECT_EQ(timeOf("renderTime", "double", bytesOf(754.6)), 755);
    EXPECT_EQ(timeOf("renderTime", "string", QByteArray("00:12:34\0", 9)), 754);
    EXPECT_EQ(timeOf("renderTime", "int", bytesOf(std::int32_t{-1})), -1);
    EXPECT_EQ(timeOf("renderTime", "int", bytesOf(std::int16_t{5})), -1) << "a value of another size";
    EXPECT_EQ(timeOf("renderTime", "float", bytesOf(std::numeric_limits<float>::quiet_NaN())), -1);
    EXPECT_EQ(timeOf("renderTime", "double", bytesOf(1e300)), -1);
    EXPECT_EQ(timeOf("renderTime", "v2f", bytesOf(1.0)), -1);
}

TEST(HeaderNotes, PassOverATimeThatIsNone) {
    const HeaderNotes notes = notesOf({{"renderTime", "string", "soon"}, {"a.renderTime", "string", "7"}});
    EXPECT_EQ(notes.renderTime, 7);
}

TEST(HeaderNotes, AreReadFromFilesAtEveryLevel) {
    const CheckedFile file;
    const std::string bytes = fileWith({{"farm.host", "string", "node7"}, {"renderTime", "float", bytesOf(12.0F)}});
    const FileReport report = file.check(bytes, Level::headers);
    EXPECT_EQ(textsOf(report), std::vector<std::string>{});
    EXPECT_EQ(report.notes.infoText, "node7");
    EXPECT_EQ(report.notes.renderTime, 12);
    // The chunk table still says where the chunks were before: they are damaged, and the machine is known.
    const FileReport damaged = file.check(bytes);
    EXPECT_FALSE(damaged.findings.empty());
    EXPECT_EQ(damaged.notes.infoText, "node7");
}

TEST(HeaderNotes, AreEmptyWhereNoAttributeSays) {
    const FileReport report = CheckedFile().check(exrBytes({"", {KindPart()}}));
    EXPECT_EQ(report.notes.infoText, "");
    EXPECT_EQ(report.notes.renderTime, -1);
}

TEST(HeaderNotes, KeepTheBeginningOfALongText) {
    const std::string bytes = fileWith({{"host", "string", QByteArray(100000, 'x')}});
    const FileReport report = CheckedFile().check(bytes, Level::headers);
    EXPECT_EQ(textsOf(report), std::vector<std::string>{});
    EXPECT_EQ(report.notes.infoText, QByteArray(static_cast<int>(NoteTaker::mostBytes), 'x'));
}
