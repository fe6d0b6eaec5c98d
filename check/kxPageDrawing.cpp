// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageDrawing.h"

#include "check/kxHtmlText.h"
#include "check/kxNumberText.h"

namespace kxCheck {

QByteArray coordinate(double value) {
    return decimalText(value, 2);
}

QByteArray point(double x, double y) {
    return coordinate(x) + ' ' + coordinate(y);
}

QByteArray pathElement(const QByteArray& className, const QByteArray& steps) {
    return R"(<path class=")" + className + R"(" d=")" + steps + R"("/>)";
}

QByteArray levelName(int level) {
    return 'l' + numberText(level);
}

QByteArray drawingElement(double height, const QByteArray& attributes, const QByteArray& content) {
    return element("svg",
                   "viewBox=\"0 0 " + coordinate(drawnWidth) + ' ' + coordinate(height) +
                       "\" preserveAspectRatio=\"none\" " + attributes,
                   content);
}

}  // namespace kxCheck
