// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPageHead.h"

#include "check/kxEscape.h"
#include "check/kxHtmlText.h"
#include "check/kxNumberText.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace kxCheck {

namespace {

// A list that would fill the page has to be asked for.
QByteArray frameList(const QByteArray& list) {
    constexpr int mostShown = 400;  // bytes
    QByteArray html = element("span", R"(class="list")", htmlName(list));
    if (list.size() <= mostShown) return html;
    return element("details", {}, element("summary", {}, "show them") + html);
}

QByteArray linkTo(const QByteArray& anchor, const QByteArray& content) {
    return element("a", R"(href="#)" + anchor + '"', content);
}

// Of the frames with this verdict.
struct VerdictFrames {
    int level = 0;  // the highest
    std::optional<std::size_t> first;
};

VerdictFrames framesWith(Verdict verdict, const std::vector<PageFrame>& frames) {
    VerdictFrames found;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (frames[i].verdict != verdict) continue;
        if (!found.first) found.first = i;
        found.level = std::max(found.level, frames[i].level);
    }
    return found;
}

QByteArray countItem(const PageSequence& sequence, Verdict verdict, const TargetOf& targetOf) {
    const VerdictFrames frames = framesWith(verdict, sequence.frames);
    QByteArray chip = verdictChip(verdict, frames.level);
    if (verdict != Verdict::good && frames.first) chip = linkTo(targetOf(*frames.first), chip);
    const QByteArray item = element("b", {}, numberText(sequence.summary.count(verdict))) + ' ' + chip;
    const bool isListed = verdict != Verdict::good;
    return element("li", {}, isListed ? item + ' ' + frameList(sequence.summary.frames({verdict})) : item);
}

QByteArray countsList(const PageSequence& sequence, const TargetOf& targetOf) {
    QByteArray items;
    for (const Verdict verdict :
         {Verdict::bad, Verdict::missing, Verdict::suspicious, Verdict::unknown, Verdict::good})
        if (sequence.summary.count(verdict) > 0) items += countItem(sequence, verdict, targetOf);
    return items.isEmpty() ? items : element("ul", R"(class="counts")", items);
}

constexpr const char* noBreak = "\u00a0";  // a space where no line ends

template <class Key>
using Counts = std::vector<std::pair<Key, std::int64_t>>;

// What most frames have comes first; otherwise as it was.
template <class Key>
void sortByCount(Counts<Key>& counts) {
    std::stable_sort(counts.begin(), counts.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
}

// How many are missing was said before. Of as many, errors come first.
QByteArray causesLine(const PageSequence& sequence) {
    Counts<Code> causes(sequence.causes.begin(), sequence.causes.end());
    const auto isError = [](const auto& cause) { return rowOf(cause.first).severity == Severity::error; };
    std::stable_partition(causes.begin(), causes.end(), isError);
    sortByCount(causes);
    QByteArray html;
    for (const auto& [code, count] : causes) {
        if (code == Code::missing) continue;
        if (!html.isEmpty()) html += " · ";
        html += element("b", {}, rowOf(code).name) + noBreak + numberText(count);
    }
    return html.isEmpty() ? html : element("p", R"(class="causes")", html);
}

QByteArray machinesLine(const PageSequence& sequence) {
    constexpr std::size_t mostShown = 8;
    Counts<QByteArray> machines(sequence.machines.begin(), sequence.machines.end());
    if (machines.empty()) return {};
    sortByCount(machines);
    QByteArray html = "machines of these frames:";
    for (std::size_t i = 0; i < std::min(machines.size(), mostShown); ++i)
        html += (i > 0 ? ", " : " ") + htmlName(machines[i].first) + noBreak + numberText(machines[i].second);
    if (machines.size() > mostShown) html += ", and " + countText(machines.size() - mostShown, "other");
    return element("p", R"(class="causes")", html);
}

}  // namespace

QByteArray sequenceHead(const PageSequence& sequence, const TargetOf& targetOf, const QByteArray& sheetAnchor) {
    const QByteArray path = escaped(sequence.name.path);
    QByteArray html = element("h2", {}, htmlName(sequence.name.path));
    const QByteArray facts = sequence.line.mid(path.size()).trimmed();
    if (!facts.isEmpty())
        html += element("p", R"(class="facts")", htmlText(QByteArray(facts).replace("  ", " · ")));
    html += countsList(sequence, targetOf) + causesLine(sequence) + machinesLine(sequence);
    for (const QByteArray& note : sequence.notes) html += element("p", R"(class="note")", htmlText(note));
    if (!sheetAnchor.isEmpty()) html += element("p", R"(class="ways")", linkTo(sheetAnchor, "↓ contact sheet"));
    return html + '\n';
}

}  // namespace kxCheck
