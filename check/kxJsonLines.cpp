// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxJsonLines.h"

#include "check/kxJsonHeaders.h"
#include "check/kxJsonText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <optional>

namespace kxCheck {

namespace {

QByteArray lineOf(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonArray findingObjects(const std::vector<Finding>& findings) {
    QJsonArray objects;
    for (const Finding& finding : findings) objects.append(findingObject(finding));
    return objects;
}

void putName(QJsonObject& object, const FrameName& name) {
    if (name.number) object.insert(QStringLiteral("frame"), jsonWhole(*name.number));
    if (!name.text.isEmpty()) object.insert(QStringLiteral("text"), jsonText(name.text));
    if (name.tile) object.insert(QStringLiteral("tile"), *name.tile);
    putPath(object, name.path);
}

// One of the values of r, g, b and a.
QJsonArray rangeValues(const PictureFacts& picture, double SampleRange::*value) {
    QJsonArray values;
    for (const std::optional<SampleRange>& range : picture.ranges)
        values.append(range ? QJsonValue((*range).*value) : QJsonValue());
    return values;
}

QJsonObject pictureObject(const FrameReport& frame) {
    QJsonObject object = {{QStringLiteral("sizeJump"), frame.sizeJump}};
    if (!frame.file.picture || !frame.file.picture->picture) return object;
    const PictureFacts& picture = *frame.file.picture->picture;
    object.insert(QStringLiteral("mean"), rangeValues(picture, &SampleRange::mean));
    object.insert(QStringLiteral("min"), rangeValues(picture, &SampleRange::min));
    object.insert(QStringLiteral("max"), rangeValues(picture, &SampleRange::max));
    object.insert(QStringLiteral("jump"), frame.jump);
    return object;
}

// What is known of a file that was there.
void putFile(QJsonObject& object, const FrameReport& frame) {
    if (frame.file.hasIdentity) {
        object.insert(QStringLiteral("size"), jsonWhole(frame.file.identity.size));
        object.insert(QStringLiteral("modified"), jsonTime(frame.file.identity.modified));
        object.insert(QStringLiteral("picture"), pictureObject(frame));
    }
    if (frame.file.picture && frame.file.picture->isCached) object.insert(QStringLiteral("cached"), true);
    const QJsonArray parts = partObjects(frame.file);
    if (!parts.isEmpty()) object.insert(QStringLiteral("parts"), parts);
    object.insert(QStringLiteral("seconds"), jsonSeconds(frame.file.seconds));
}

QJsonObject countObject(const Summary& summary, Verdict verdict) {
    return {{QStringLiteral("count"), jsonWhole(summary.count(verdict))},
            {QStringLiteral("frames"), jsonText(summary.frames({verdict}))}};
}

}  // namespace

QByteArray sequenceJson(const SequenceName& sequence) {
    QJsonObject object = {{QStringLiteral("type"), QStringLiteral("sequence")},
                          {QStringLiteral("directory"), jsonText(sequence.directory)},
                          {QStringLiteral("prefix"), jsonText(sequence.prefix)},
                          {QStringLiteral("suffix"), jsonText(sequence.suffix)},
                          {QStringLiteral("frames"), jsonWhole(sequence.frames)}};
    putPath(object, sequence.path);
    if (sequence.range) {
        object.insert(QStringLiteral("first"), jsonWhole(sequence.range->first));
        object.insert(QStringLiteral("last"), jsonWhole(sequence.range->last));
        object.insert(QStringLiteral("step"), jsonWhole(sequence.range->step));
    }
    return lineOf(object);
}

QByteArray frameJson(const FrameReport& frame) {
    QJsonObject object = {{QStringLiteral("type"), QStringLiteral("frame")},
                          {QStringLiteral("verdict"), QString::fromLatin1(verdictName(frame.verdict))},
                          {QStringLiteral("level"), frame.level},
                          {QStringLiteral("findings"), findingObjects(frame.findings)}};
    putName(object, frame.name);
    if (frame.verdict != Verdict::missing) putFile(object, frame);
    if (const char* const action = actionName(frame.action))
        object.insert(QStringLiteral("action"), QString::fromLatin1(action));
    return lineOf(object);
}

QByteArray keptJson(const FrameName& frame, const QByteArray& reason) {
    QJsonObject object = {{QStringLiteral("type"), QStringLiteral("action")},
                          {QStringLiteral("action"), QStringLiteral("kept")},
                          {QStringLiteral("reason"), jsonText(reason)}};
    if (frame.number) object.insert(QStringLiteral("frame"), jsonWhole(*frame.number));
    putPath(object, frame.path);
    return lineOf(object);
}

QByteArray summaryJson(const Summary& summary, int exitCode) {
    QJsonObject object = {{QStringLiteral("type"), QStringLiteral("summary")},
                          {QStringLiteral("seconds"), jsonSeconds(summary.seconds)},
                          {QStringLiteral("exitCode"), exitCode}};
    for (const Verdict verdict :
         {Verdict::good, Verdict::suspicious, Verdict::bad, Verdict::missing, Verdict::unknown})
        object.insert(QString::fromLatin1(verdictName(verdict)), countObject(summary, verdict));
    if (summary.isHeld) object.insert(QStringLiteral("removalHeld"), true);
    return lineOf(object);
}

}  // namespace kxCheck
