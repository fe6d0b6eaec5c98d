// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFinding.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace kxCheck {

namespace {

// In the order of the codes.
constexpr CodeRow rows[] = {
    {Code::missing, "missing", Severity::none, Level::headers},
    {Code::unreadable, "unreadable", Severity::none, Level::headers},
    {Code::unsupported, "unsupported", Severity::none, Level::headers},
    {Code::changing, "changing", Severity::none, Level::headers},
    {Code::limit, "limit", Severity::none, Level::headers},
    {Code::empty, "empty", Severity::error, Level::headers},
    {Code::notExr, "not-exr", Severity::error, Level::headers},
    {Code::header, "header", Severity::error, Level::headers},
    {Code::modes, "modes", Severity::error, Level::headers},
    {Code::expected, "expected", Severity::error, Level::headers},
    {Code::differs, "differs", Severity::error, Level::headers},
    {Code::differsCoding, "differs-coding", Severity::warning, Level::headers},
    {Code::sizeJump, "size-jump", Severity::warning, Level::headers},
    {Code::unfinished, "unfinished", Severity::error, Level::structure},
    {Code::truncated, "truncated", Severity::error, Level::structure},
    {Code::chunk, "chunk", Severity::error, Level::structure},
    {Code::tileMissing, "tile-missing", Severity::error, Level::pixels},
    {Code::alphaMissing, "alpha-missing", Severity::warning, Level::pixels},
    {Code::nan, "nan", Severity::warning, Level::pixels},
    {Code::inf, "inf", Severity::warning, Level::pixels},
    {Code::black, "black", Severity::warning, Level::pixels},
    {Code::flat, "flat", Severity::warning, Level::pixels},
    {Code::repeated, "repeated", Severity::warning, Level::pixels},
    {Code::jump, "jump", Severity::warning, Level::pixels},
};

constexpr bool inOrder() {
    for (std::size_t i = 0; i < std::size(rows); ++i)
        if (static_cast<std::size_t>(rows[i].code) != i) return false;
    return true;
}
static_assert(inOrder(), "a code is the index of its row");

}  // namespace

const CodeRow& rowOf(Code code) {
    return rows[static_cast<std::size_t>(code)];
}

std::optional<Code> codeFromName(const QByteArray& name) {
    const auto* const row =
        std::find_if(std::begin(rows), std::end(rows), [&name](const CodeRow& r) { return name == r.name; });
    if (row == std::end(rows)) return std::nullopt;
    return row->code;
}

const char* severityName(Severity severity) {
    switch (severity) {
        case Severity::warning:
            return "warning";
        case Severity::error:
            return "error";
        default:
            return nullptr;
    }
}

Finding makeFinding(Code code, QByteArray text) {
    Finding finding;
    finding.code = code;
    finding.severity = rowOf(code).severity;
    finding.text = std::move(text);
    return finding;
}

}  // namespace kxCheck
