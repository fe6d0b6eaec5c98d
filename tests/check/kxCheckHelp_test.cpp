// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCheckHelp.h"

#include "check/kxCheckOptions.h"
#include "shared/kxVersion.h"

#include <QList>
#include <gtest/gtest.h>
#include <openexr_base.h>
#include <zlib.h>

#include <string>

#include <xxhash.h>

namespace {

TEST(CheckHelpTest, LinesFitATerminal) {
    const auto lines = kxCheck::helpText().split('\n');
    EXPECT_GT(lines.size(), 50);
    for (const QByteArray& line : lines) {
        EXPECT_LE(line.size(), 80) << line.constData();
        EXPECT_FALSE(line.endsWith(' ')) << line.constData();
    }
}

TEST(CheckHelpTest, EveryOptionStandsThereWithItsForms) {
    const QByteArray help = kxCheck::helpText();
    for (const kxCheck::OptionRow& row : kxCheck::optionRows()) {
        QByteArray form = row.letter ? QByteArray("\n  -") + row.letter + ", --" : QByteArray("\n      --");
        form += row.name;
        if (row.value) form += QByteArray(" ") + row.value;
        EXPECT_TRUE(help.contains(form + ' ') || help.contains(form + '\n')) << form.constData();
        const QByteArray firstWords = QByteArray(row.help).left(20);
        EXPECT_TRUE(help.contains("  " + firstWords)) << firstWords.constData();
    }
}

TEST(CheckHelpTest, DescriptionsStandBesideShortFormsAndBelowLongOnes) {
    const QByteArray help = kxCheck::helpText();
    EXPECT_TRUE(help.contains("\n      --strict            a suspicious frame counts as bad in the exit code\n"));
    EXPECT_TRUE(
        help.contains("\n      --fail-on CODE[,CODE...]\n                          these warnings are errors\n"));
}

TEST(CheckHelpTest, VersionNamesProgramAndLibraries) {
    int major = 0;
    int minor = 0;
    int patch = 0;
    exr_get_library_version(&major, &minor, &patch, nullptr);
    const std::string openExr = std::to_string(major) + '.' + std::to_string(minor) + '.' + std::to_string(patch);
    const std::string xxHash = std::to_string(XXH_VERSION_MAJOR) + '.' + std::to_string(XXH_VERSION_MINOR) + '.' +
                               std::to_string(XXH_VERSION_RELEASE);
    EXPECT_EQ(kxCheck::versionText().toStdString(), std::string("kxCheckFrames") + kxVersionString + "\nQt " +
                                                        qVersion() + ", OpenEXR " + openExr + ", zlib " +
                                                        zlibVersion() + ", xxHash " + xxHash +
                                                        "\nCopyright (c) 2026 the kxVerifyExrModes developers\n");
}

}  // namespace
