// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPage.h"

#include "check/kxHtmlText.h"
#include "check/kxJsonText.h"
#include "check/kxNumberText.h"
#include "check/kxPageFrame.h"
#include "check/kxPageStyle.h"
#include "shared/kxVersion.h"

#include <QCryptographicHash>

#include <cstddef>
#include <numeric>

namespace kxCheck {

namespace {

constexpr const char* levelNames[] = {"headers", "structure", "pixels"};

std::int64_t countOf(const PageOverviewRow& row, Verdict verdict) {
    return row.counts[static_cast<std::size_t>(verdict)];
}

std::int64_t totalOf(const PageOverviewRow& row) {
    return std::accumulate(row.counts.begin(), row.counts.end(), std::int64_t{0});
}

QByteArray framesText(std::int64_t count) {
    return countText(static_cast<std::size_t>(count), "frame");
}

QByteArray notGoodText(std::int64_t count, const QByteArray& all) {
    return numberText(count) + " of " + all + (count == 1 ? " is" : " are") + " not good";
}

QByteArray headlineOf(std::int64_t all, std::int64_t good) {
    if (all == 0) return "No frame was checked";
    if (all == 1) return good == 1 ? "The frame is good" : "The frame is not good";
    return good == all ? "All " + framesText(all) + " are good" : notGoodText(all - good, framesText(all));
}

// Of what was not checked nothing is known.
QByteArray interruptedHeadline(std::int64_t all, std::int64_t good) {
    const QByteArray checked = countText(static_cast<std::size_t>(all), "checked frame");
    if (all == 0) return "Interrupted: no frame was checked";
    return "Interrupted: " +
           (good == all ? checked + (all == 1 ? " is good" : " are good") : notGoodText(all - good, checked));
}

// What the page says, in one line.
QByteArray headline(const PageFacts& facts) {
    std::int64_t all = 0;
    std::int64_t good = 0;
    for (const PageOverviewRow& row : facts.sequences) {
        all += totalOf(row);
        good += countOf(row, Verdict::good);
    }
    return facts.isInterrupted ? interruptedHeadline(all, good) : headlineOf(all, good);
}

QByteArray contentPolicy() {
    const QByteArray hash = QCryptographicHash::hash(pageScript(), QCryptographicHash::Sha256).toBase64();
    return "default-src 'none'; img-src data:; style-src 'unsafe-inline'; script-src 'sha256-" + hash + "'";
}

QByteArray metaElement(const char* attribute, const char* name, const QByteArray& content) {
    return QByteArray("<meta ") + attribute + "=\"" + name + "\" content=\"" + content + "\" />\n";
}

QByteArray documentHead(const PageFacts& facts) {
    QByteArray title = headline(facts);
    if (facts.sequences.size() == 1) title += " - " + htmlText(facts.sequences.front().path);
    return "<head>\n<meta charset=\"utf-8\" />\n" +
           metaElement("http-equiv", "Content-Security-Policy", contentPolicy()) +
           metaElement("name", "viewport", "width=device-width, initial-scale=1") +
           metaElement("name", "color-scheme", "light dark") +
           metaElement("name", "generator", QByteArray("kxCheckFrames") + kxVersionString) +
           element("title", {}, title) + '\n' + element("style", {}, pageStyle()) + "\n</head>\n";
}

QByteArray warning(const QByteArray& html) {
    return element("p", R"(class="warning")", html) + '\n';
}

QByteArray warnings(const PageFacts& facts) {
    QByteArray html;
    if (facts.isInterrupted)
        html += warning("<b>Interrupted.</b> The run was ended before all frames were checked.");
    for (const QByteArray& problem : facts.problems) html += warning(htmlText(problem));
    if (facts.isWithoutRoom)
        html += warning("Pictures are left out: with all of them the page would be too large.");
    return html;
}

constexpr std::array<Verdict, verdictCount> columns = {Verdict::bad, Verdict::missing, Verdict::suspicious,
                                                       Verdict::unknown, Verdict::good};

QByteArray overviewRow(const PageOverviewRow& row, std::size_t number) {
    const QByteArray address = R"(href="#s)" + numberText(static_cast<std::int64_t>(number)) + '"';
    QByteArray cells = element("th", R"(scope="row")", element("a", address, htmlName(row.path)));
    for (const Verdict verdict : columns) {
        const std::int64_t count = countOf(row, verdict);
        const bool isNews = verdict != Verdict::good && count > 0;
        cells += element("td", isNews ? R"(class="news")" : "", numberText(count));
    }
    return element("tr", {}, cells) + '\n';
}

QByteArray overview(const std::vector<PageOverviewRow>& rows) {
    if (rows.size() < 2) return {};
    QByteArray head = element("th", R"(scope="col")", "Sequence");
    for (const Verdict verdict : columns) head += element("th", R"(scope="col")", verdictName(verdict));
    QByteArray body;
    for (std::size_t i = 0; i < rows.size(); ++i) body += overviewRow(rows[i], i + 1);
    const QByteArray table = element("thead", {}, element("tr", {}, head)) + element("tbody", {}, body);
    return element("div", R"(class="overview" tabindex="0" role="region" aria-label="Sequences")",
                   element("table", {}, table)) +
           '\n';
}

QByteArray aboutLine(const PageFacts& facts) {
    const QByteArray time = jsonTime(facts.written).left(16).toLatin1().replace('T', ' ');
    return element("p", R"(class="about")",
                   QByteArray("kxCheckFrames") + kxVersionString + " · level " +
                       levelNames[static_cast<std::size_t>(facts.level)] + " · " + time + " UTC");
}

}  // namespace

QByteArray pageStart(const PageFacts& facts) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n" + documentHead(facts) + "<body>\n<header class=\"top\">\n" +
           element("h1", {}, headline(facts)) + aboutLine(facts) + "\n</header>\n<main>\n" + warnings(facts) +
           overview(facts.sequences);
}

QByteArray pageEnd() {
    return "</main>\n" + element("script", {}, pageScript()) + "\n</body>\n</html>\n";
}

}  // namespace kxCheck
