// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxJsonHeaders.h"

#include "check/kxJsonText.h"

#include <cstddef>

namespace kxCheck {

namespace {

QString text(const char* bytes) {
    return QString::fromLatin1(bytes);
}

QJsonArray tileArrays(const std::vector<Tile>& tiles) {
    QJsonArray arrays;
    for (const Tile& tile : tiles) arrays.append(QJsonArray{tile.x, tile.y, tile.levelX, tile.levelY});
    return arrays;
}

QJsonArray windowArray(const kxExr::Window& window) {
    return {window.minX, window.minY, window.maxX, window.maxY};
}

QJsonArray channelObjects(const std::vector<kxExr::Channel>& channels) {
    QJsonArray objects;
    for (const kxExr::Channel& channel : channels)
        objects.append(QJsonObject{{QStringLiteral("name"), jsonText(channel.name)},
                                   {QStringLiteral("type"), text(kxExr::pixelTypeName(channel.type))},
                                   {QStringLiteral("sampling"), QJsonArray{channel.xSampling, channel.ySampling}}});
    return objects;
}

QJsonObject partObject(const kxExr::Part& part) {
    QJsonObject object = {
        {QStringLiteral("type"), text(kxExr::storageName(part.storage))},
        {QStringLiteral("displayWindow"), windowArray(part.displayWindow)},
        {QStringLiteral("dataWindow"), windowArray(part.dataWindow)},
        {QStringLiteral("compression"), text(kxExr::compressionName(part.compression))},
        {QStringLiteral("lineOrder"), text(kxExr::lineOrderName(part.lineOrder))},
        {QStringLiteral("pixelAspectRatio"), shortNumber(part.pixelAspectRatio)},
        {QStringLiteral("channels"), channelObjects(part.channels)},
    };
    if (!part.name.isEmpty()) object.insert(QStringLiteral("name"), jsonText(part.name));
    if (part.tiles)
        object.insert(QStringLiteral("tileSize"),
                      QJsonArray{jsonWhole(part.tiles->width), jsonWhole(part.tiles->height)});
    return object;
}

}  // namespace

QJsonObject findingObject(const Finding& finding) {
    QJsonObject object = {{QStringLiteral("code"), text(rowOf(finding.code).name)},
                          {QStringLiteral("text"), jsonText(finding.text)}};
    if (const char* const severity = severityName(finding.severity))
        object.insert(QStringLiteral("severity"), text(severity));
    if (finding.part) object.insert(QStringLiteral("part"), *finding.part);
    if (finding.rows) object.insert(QStringLiteral("rows"), QJsonArray{finding.rows->first, finding.rows->last});
    if (!finding.tiles.empty()) object.insert(QStringLiteral("tiles"), tileArrays(finding.tiles));
    if (!finding.channel.isEmpty()) object.insert(QStringLiteral("channel"), jsonText(finding.channel));
    if (finding.count > 0) object.insert(QStringLiteral("count"), jsonWhole(finding.count));
    return object;
}

QJsonArray partObjects(const FileReport& file) {
    QJsonArray objects;
    if (!file.headers) return objects;
    for (std::size_t i = 0; i < file.headers->size(); ++i) {
        QJsonObject object = partObject((*file.headers)[i]);
        if (i < file.chunks.size()) {
            object.insert(QStringLiteral("chunks"), jsonWhole(file.chunks[i].chunks));
            object.insert(QStringLiteral("chunksPresent"), jsonWhole(file.chunks[i].present));
        }
        objects.append(object);
    }
    return objects;
}

}  // namespace kxCheck
