// SPDX-License-Identifier: BSD-3-Clause
// The attributes of an EXR header that the format itself needs, and the rules that they obey.
#pragma once

#include "image/kxExrPart.h"

#include <QByteArray>

#include <cstdint>

namespace kxCheck {

// What one header says, before it is known to be right.
struct PartDraft {
    kxExr::Part part;   // all but the storage and what the numbers below mean
    unsigned seen = 0;  // one bit for each attribute met, 1 << index
    QByteArray type;    // "scanlineimage" ...
    std::uint8_t compression = 0;
    std::uint8_t lineOrder = 0;
    std::uint8_t tileMode = 0;  // level mode in the low four bits, rounding in the high ones
    float screenWindowWidth = 1;
    std::int32_t version = 0;    // of a deep part
    std::uint64_t typeName = 0;  // where the name of the attribute "type" stands
    QByteArray chromaticities;   // values that all parts share, as they stand in the file; empty without
    QByteArray timecode;
};

enum class Attribute {
    channels,
    compression,
    dataWindow,
    displayWindow,
    lineOrder,
    pixelAspectRatio,
    screenWindowCenter,
    screenWindowWidth,
    tiles,
    name,
    type,
    version,
    chunkCount,
};

struct AttributeRow {
    Attribute attribute;
    std::int32_t size;  // bytes; -1: any
    const char* name;
    const char* type;
    // Keeps a value of that size; null for the list of channels, which may be too long for one view.
    void (*keep)(const char* value, std::int32_t size, PartDraft& draft);
};

// The row of that name; null for an attribute that the format does not need.
const AttributeRow* attributeRow(const QByteArray& name);

inline bool has(const PartDraft& draft, Attribute attribute) {
    return (draft.seen & (1U << static_cast<unsigned>(attribute))) != 0;
}

// The flags of a file, from its version field.
struct FileFlags {
    bool tiled = false;  // of a file with one flat part
    bool deep = false;   // some part is deep
    bool multipart = false;
};

// "scanlineimage" ... as storage; false when the word is none of the four.
bool storageFromType(const QByteArray& type, kxExr::Storage& storage);

// What needs a newer library: "part type 'volume'", "compression 12". Empty when nothing does.
QByteArray unknownIn(const PartDraft& draft);
// What is wrong with the header: "the attribute dataWindow is missing". Empty when nothing is.
QByteArray damageIn(const PartDraft& draft, const FileFlags& flags);
// What of a part contradicts the first one of the file: "displayWindow". Empty when nothing does.
QByteArray contradictionOf(const PartDraft& part, const PartDraft& first);
// The draft as a header, when neither of them found anything.
kxExr::Part partOf(const PartDraft& draft, const FileFlags& flags);

}  // namespace kxCheck
