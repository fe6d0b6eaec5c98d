// SPDX-License-Identifier: BSD-3-Clause
// The style sheet and the script of a page, constant texts.
#pragma once

#include <QByteArray>

namespace kxCheck {

// Colours are custom properties, those of a light page first, then those of a dark one.
[[nodiscard]] QByteArray pageStyle();

// Makes of each strip a control that the arrow keys move along the frames that the page shows; Enter or a click
// leads to the frame. Nothing is missing without it.
[[nodiscard]] QByteArray pageScript();

}  // namespace kxCheck
