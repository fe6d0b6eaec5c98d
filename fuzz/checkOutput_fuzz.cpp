// SPDX-License-Identifier: BSD-3-Clause
// What is written about frames, for people, for scripts and as a page, with any bytes in names, channels and texts:
// one line stays one line, a script reads the values back, and no text becomes markup.
#include "check/kxEscape.h"
#include "check/kxFrameInfo.h"
#include "check/kxFrameLines.h"
#include "check/kxJsonLines.h"
#include "check/kxJsonText.h"
#include "check/kxPageWriter.h"
#include "fuzz/FuzzReport.h"
#include "tests/support/PageMarkup.h"
#include "tests/support/TempDir.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

using namespace kxCheck;

namespace {

struct Told {
    SequenceName sequence;
    std::vector<FrameReport> frames;
    QByteArray reason;
};

Told takeTold(FuzzInput& input) {
    FuzzReport reports(input);
    Told told;
    const int frames = 1 + input.take<uint8_t>() % 3;
    told.sequence.directory = "/" + reports.text();
    told.sequence.prefix = reports.text() + '.';
    told.sequence.suffix = reports.text();
    told.sequence.path = told.sequence.directory + told.sequence.prefix + "####" + told.sequence.suffix;
    told.sequence.frames = frames;
    if (input.takeBit()) told.sequence.range = FrameRange{1, frames, 1};
    told.reason = reports.text();
    for (int i = 0; i < frames; ++i) told.frames.push_back(reports.frame());
    return told;
}

// Without end, and without a byte that moves a cursor.
void requireLine(const QByteArray& line) {
    require(escaped(line) == line && !line.contains('\n'));
}

Summary summaryOf(const Told& told) {
    Summary summary;
    for (const FrameReport& frame : told.frames) summary.add(frame);
    return summary;
}

void requireLines(const Told& told) {
    const LineStyle style{labelWidthOf(told.frames), false};
    for (const FrameReport& frame : told.frames) {
        requireLine(frameLine(frame, style));
        requireLine(sequenceLine(told.sequence, frame.file.headers.get()));
        requireLine(keptLine(frame.name, told.reason, style));
    }
    for (const QByteArray& line : infoLines(told.frames.front())) requireLine(line);
    requireLine(totalLine(summaryOf(told)));
}

// --- JSON --------------------------------------------------------------------------------------------------------

QJsonObject objectOf(const QByteArray& line) {
    require(!line.contains('\n'));
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    require(error.error == QJsonParseError::NoError && document.isObject());
    return document.object();
}

QJsonValue valueOf(const QJsonObject& object, const char* key) {
    return object.value(QString::fromLatin1(key));
}

void requireText(const QJsonObject& object, const char* key, const QByteArray& bytes) {
    require(valueOf(object, key).toString() == jsonText(bytes));
}

void requirePath(const QJsonObject& object, const QByteArray& path) {
    requireText(object, "path", path);
    const QJsonValue bytes = valueOf(object, "pathBytes");
    const QByteArray back = bytes.isString() ? QByteArray::fromBase64(bytes.toString().toLatin1())
                                             : valueOf(object, "path").toString().toUtf8();
    require(back == path);
}

void requireNumber(const QJsonObject& object, const char* key, double number) {
    require(valueOf(object, key).isDouble() && valueOf(object, key).toDouble() == number);
}

void requireFindings(const QJsonArray& objects, const std::vector<Finding>& findings) {
    require(objects.size() == static_cast<int>(findings.size()));
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const QJsonObject object = objects.at(static_cast<int>(i)).toObject();
        requireText(object, "code", rowOf(findings[i].code).name);
        requireText(object, "text", findings[i].text);
        requireText(object, "channel", findings[i].channel);
        if (findings[i].part) requireNumber(object, "part", *findings[i].part);
        if (findings[i].count > 0) requireNumber(object, "count", static_cast<double>(findings[i].count));
    }
}

void requireParts(const QJsonArray& objects, const Headers& headers) {
    require(objects.size() == static_cast<int>(headers.size()));
    for (std::size_t i = 0; i < headers.size(); ++i) {
        const QJsonObject object = objects.at(static_cast<int>(i)).toObject();
        requireText(object, "name", headers[i].name);
        const QJsonArray channels = valueOf(object, "channels").toArray();
        require(channels.size() == static_cast<int>(headers[i].channels.size()));
        for (std::size_t c = 0; c < headers[i].channels.size(); ++c)
            requireText(channels.at(static_cast<int>(c)).toObject(), "name", headers[i].channels[c].name);
    }
}

void requireFrame(const FrameReport& frame) {
    const QJsonObject object = objectOf(frameJson(frame));
    requirePath(object, frame.name.path);
    requireText(object, "text", frame.name.text);
    requireText(object, "verdict", verdictName(frame.verdict));
    requireFindings(valueOf(object, "findings").toArray(), frame.findings);
    if (frame.verdict == Verdict::missing) return;
    require(valueOf(object, "seconds").isDouble());
    if (frame.file.headers) requireParts(valueOf(object, "parts").toArray(), *frame.file.headers);
    if (!frame.file.hasIdentity) return;
    requireNumber(object, "size", static_cast<double>(frame.file.identity.size));
    requireNumber(valueOf(object, "picture").toObject(), "sizeJump", frame.sizeJump);
}

void requireJson(const Told& told) {
    const QJsonObject sequence = objectOf(sequenceJson(told.sequence));
    requirePath(sequence, told.sequence.path);
    requireText(sequence, "prefix", told.sequence.prefix);
    for (const FrameReport& frame : told.frames) {
        requireFrame(frame);
        const QJsonObject kept = objectOf(keptJson(frame.name, told.reason));
        requirePath(kept, frame.name.path);
        requireText(kept, "reason", told.reason);
    }
    objectOf(summaryJson(summaryOf(told), 0));
}

// --- The page ----------------------------------------------------------------------------------------------------

// As long as what is shown, with every sign that could mean something taken out.
QByteArray harmless(const QByteArray& text) {
    QByteArray result = escaped(text);
    for (char& c : result)
        if (c != '/') c = 'x';
    return result;
}

FrameReport harmless(FrameReport frame) {
    frame.name.path = harmless(frame.name.path);
    frame.file.notes.infoText = harmless(frame.file.notes.infoText);
    for (Finding& finding : frame.findings)
        if (!standsForOthers(finding)) finding.text = harmless(finding.text);
    return frame;
}

Told harmless(Told told) {
    told.sequence.path = harmless(told.sequence.path);
    told.reason = harmless(told.reason);
    for (FrameReport& frame : told.frames) frame = harmless(std::move(frame));
    return told;
}

PageMarkup pageOf(const Told& told) {
    static const TempDir directory{std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/dev/shm"};
    const std::string file = directory.file("page.html");
    PageWriter page(file.c_str(), Level::pixels);
    page.beginSequence(told.sequence, told.frames.front().file.headers.get());
    for (const FrameReport& frame : told.frames) {
        FileReport copy = frame.file;
        page.takePreview(frame.name, copy);
        page.frame(frame);
        if (frame.action != Action::none) page.kept(frame, told.reason);
    }
    page.endSequence(summaryOf(told), false);
    page.finish({told.reason}, false, 0);
    require(page.fault().isEmpty());
    return PageMarkup(readFileBytes(file));
}

// Elements and the names of their attributes, in their order.
std::string skeletonOf(const PageMarkup& page) {
    std::string skeleton;
    for (const PageElement& element : page.elements()) {
        skeleton += std::string(element.within.size(), ' ') + element.name;
        for (const auto& attribute : element.attributes) skeleton += ' ' + attribute.first;
        skeleton += '\n';
    }
    return skeleton;
}

void requirePage(const Told& told) {
    const PageMarkup page = pageOf(told);
    require(pageFaults(page).empty());
    require(skeletonOf(page) == skeletonOf(pageOf(harmless(told))));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    FuzzInput input(bytes, size);
    const bool onPage = input.take<uint8_t>() % 4 == 0;  // takes a hundred times as long
    const Told told = takeTold(input);
    requireLines(told);
    requireJson(told);
    if (onPage) requirePage(told);
    return 0;
}
