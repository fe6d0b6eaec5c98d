// SPDX-License-Identifier: BSD-3-Clause
// Prints the headers of a sequence as JSON, one line a frame: headersAsJson /r/beauty.0042.exr
#include "image/kxExrHeaders.h"
#include "image/kxFrameSource.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>

static QJsonObject partAsJson(const kxExr::Part& part) {
    QJsonArray channels;
    for (const kxExr::Channel& channel : part.channels) channels.append(QString::fromUtf8(channel.name));
    return {{QStringLiteral("storage"), QLatin1String(kxExr::storageName(part.storage))},
            {QStringLiteral("compression"), QLatin1String(kxExr::compressionName(part.compression))},
            {QStringLiteral("size"), QJsonArray{qint64{part.dataWindow.width()}, qint64{part.dataWindow.height()}}},
            {QStringLiteral("channels"), channels}};
}

static void printFrame(const QString& path, long long frame) {
    QJsonArray parts;
    for (const kxExr::Part& part : kxExr::readHeaders(path).value_or(kxExr::Headers()))
        parts.append(partAsJson(part));
    const QJsonObject line{{QStringLiteral("frame"), frame}, {QStringLiteral("parts"), parts}};
    std::puts(QJsonDocument(line).toJson(QJsonDocument::Compact).constData());
}

int main(int argc, char** argv) {
    const auto path = kxFrames::splitFramePath(QString::fromLatin1(argc == 2 ? argv[1] : ""));
    if (!path) return std::fputs("usage: headersAsJson <directory>/<frame>\n", stderr), 1;
    kxFrames::DiskFrameSource disk;
    auto frames = kxFrames::framesIn(disk, *path, [](const kxFrames::FrameName&) { return true; });
    std::sort(frames.begin(), frames.end(), [](const kxFrames::FolderEntry& a, const kxFrames::FolderEntry& b) {
        return a.frame.number.key() < b.frame.number.key();
    });
    for (const auto& entry : frames) printFrame(path->directory + entry.name, entry.frame.number.frame);
    return 0;
}
