// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxCheckHelp.h"

#include "check/kxCheckOptions.h"
#include "shared/kxVersion.h"

#include <QList>
#include <QtGlobal>
#include <openexr_base.h>
#include <zlib.h>

#include <xxhash.h>

namespace kxCheck {

namespace {

constexpr int lineWidth = 80;
constexpr int helpColumn = 26;

// "  -l, --level LEVEL"
QByteArray optionForm(const OptionRow& row) {
    QByteArray form = row.letter ? QByteArray("  -") + row.letter + ", " : QByteArray("      ");
    form += QByteArray("--") + row.name;
    if (row.value) form += QByteArray(" ") + row.value;
    return form;
}

// The words of the text, from `helpColumn` on, as many in a line as fit.
QByteArray wrapped(const QByteArray& text) {
    QByteArray result;
    QByteArray line(helpColumn, ' ');
    const auto words = text.split(' ');
    for (const QByteArray& word : words) {
        const bool isFirst = line.size() == helpColumn;
        if (!isFirst && line.size() + 1 + word.size() > lineWidth) {
            result += line + '\n';
            line = QByteArray(helpColumn, ' ') + word;
        } else {
            line += isFirst ? word : ' ' + word;
        }
    }
    return result + line + '\n';
}

QByteArray optionHelp(const OptionRow& row) {
    const QByteArray form = optionForm(row);
    const QByteArray help = wrapped(row.help);
    if (form.size() + 2 > helpColumn) return form + '\n' + help;
    return form + help.mid(form.size());
}

QByteArray openExrVersion() {
    int major = 0;
    int minor = 0;
    int patch = 0;
    exr_get_library_version(&major, &minor, &patch, nullptr);
    return QByteArray::number(major) + '.' + QByteArray::number(minor) + '.' + QByteArray::number(patch);
}

QByteArray xxHashVersion() {
    const unsigned version = XXH_versionNumber();
    return QByteArray::number(version / 10000) + '.' + QByteArray::number(version / 100 % 100) + '.' +
           QByteArray::number(version % 100);
}

}  // namespace

QByteArray helpText() {
    QByteArray text =
        "Usage: kxCheckFrames [options] <frame or directory>...\n"
        "Says which frames of OpenEXR sequences are bad, missing or suspicious.\n"
        "\n"
        "A frame names its sequence: beauty.0042.exr, beauty.####.exr, 'beauty.*.exr',\n"
        "beauty.%04d.exr or beauty.$F4.exr; a directory means all sequences of .exr\n"
        "files in it.\n"
        "\n"
        "Options:\n";
    for (const OptionRow& row : optionRows()) text += optionHelp(row);
    text +=
        "\n"
        "Exit code: 0 all good, 1 frames are bad or missing, 2 wrong usage, 3 none is bad\n"
        "or missing but something could not be checked or written.\n";
    return text;
}

QByteArray versionText() {
    return QByteArray("kxCheckFrames") + kxVersionString + '\n' + "Qt " + qVersion() + ", OpenEXR " +
           openExrVersion() + ", zlib " + zlibVersion() + ", xxHash " + xxHashVersion() + '\n' +
           QByteArray(kxCopyrightNotice).trimmed() + '\n';
}

}  // namespace kxCheck
