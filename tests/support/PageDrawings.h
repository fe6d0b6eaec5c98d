// SPDX-License-Identifier: BSD-3-Clause
// Frames to be drawn on a page, and what was drawn.
#pragma once

#include "check/kxPageFrame.h"
#include "tests/support/PageMarkup.h"

#include <cctype>
#include <string>
#include <vector>

// From 1001 on, of these levels.
inline std::vector<kxCheck::PageFrame> framesOf(const std::vector<int>& levels) {
    std::vector<kxCheck::PageFrame> frames;
    for (const int level : levels) {
        kxCheck::PageFrame frame;
        frame.label = QByteArray::number(static_cast<int>(1001 + frames.size()));
        frame.level = level;
        frame.verdict = level == 3  ? kxCheck::Verdict::bad
                        : level > 0 ? kxCheck::Verdict::suspicious
                                    : kxCheck::Verdict::good;
        frame.size = 1000 + static_cast<std::int64_t>(frames.size());
        frames.push_back(frame);
    }
    return frames;
}

// The drawing's elements.
inline PageMarkup markup(const QByteArray& html) {
    return PageMarkup("<!DOCTYPE html>\n<html>" + html.toStdString() + "</html>");
}

// "M0 1h2" as words of a letter and its numbers: "M 0 1", "h 2".
inline std::vector<std::string> stepsOf(const PageElement& path) {
    std::vector<std::string> steps;
    for (const char c : path.attribute("d")) {
        if (std::isalpha(static_cast<unsigned char>(c)))
            steps.push_back(std::string(1, c) + ' ');
        else
            steps.back() += c;
    }
    return steps;
}
