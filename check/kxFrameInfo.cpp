// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameInfo.h"

#include "check/kxEscape.h"
#include "check/kxFrameRecord.h"
#include "check/kxSummary.h"

#include <QByteArrayList>
#include <QString>

namespace kxCheck {

std::vector<QByteArray> infoLines(const FrameReport& frame) {
    std::vector<QByteArray> lines;
    if (!frame.file.hasIdentity) return lines;
    kxCHK::_SingleImageView view;
    if (frame.name.number) view.frameText = QString::fromLatin1(frameLabel(frame.name));
    view.analyseValue1 = static_cast<float>(frame.jump);
    view.analyseValue2 = static_cast<float>(frame.sizeJump);
    fillRecord(view, frame.file);
    const auto texts = view.imageInfoLines().toLatin1().split('\n');
    for (const QByteArray& text : texts)
        if (!text.isEmpty()) lines.push_back(escaped(text));
    return lines;
}

}  // namespace kxCheck
