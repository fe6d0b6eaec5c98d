// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/Patterns.h"

#include "tests/support/TempDir.h"

#include <QRegularExpression>

#include <stdexcept>

namespace {

QRegularExpression expressionOf(const std::string& pattern) {
    QRegularExpression expression(latin1(pattern));
    if (!expression.isValid()) throw std::invalid_argument(pattern + ": " + bytesOf(expression.errorString()));
    return expression;
}

Match bytesOf(const QRegularExpressionMatch& found) {
    Match match;
    for (const QString& text : found.capturedTexts()) match.push_back(bytesOf(text));
    return match;
}

}  // namespace

bool hasMatch(const std::string& text, const std::string& pattern) {
    return !firstMatch(text, pattern).empty();
}

Match firstMatch(const std::string& text, const std::string& pattern) {
    return bytesOf(expressionOf(pattern).match(latin1(text)));
}

std::vector<Match> allMatches(const std::string& text, const std::string& pattern) {
    std::vector<Match> matches;
    for (auto found = expressionOf(pattern).globalMatch(latin1(text)); found.hasNext();)
        matches.push_back(bytesOf(found.next()));
    return matches;
}

std::string withReplaced(const std::string& text, const std::string& pattern, const std::string& with) {
    return bytesOf(latin1(text).replace(expressionOf(pattern), latin1(with)));
}
