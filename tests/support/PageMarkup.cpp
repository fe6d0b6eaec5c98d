// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/PageMarkup.h"

#include <QString>
#include <QXmlStreamReader>

#include <algorithm>
#include <cstddef>
#include <set>

namespace {

// Takes what stands between the tags out of the text.
std::string takenBetween(std::string& text, const std::string& opening, const std::string& closing) {
    const std::size_t begin = text.find(opening);
    const std::size_t end = text.find(closing, begin);
    if (begin == std::string::npos || end == std::string::npos) return {};
    std::string taken = text.substr(begin + opening.size(), end - begin - opening.size());
    text.erase(begin + opening.size(), taken.size());
    return taken;
}

template <class Text>
std::string bytesOf(const Text& text) {
    return text.toString().toStdString();
}

bool hasPrefix(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

using Faults = std::vector<std::string>;

void checkReferences(const PageMarkup& page, Faults& faults) {
    const std::set<std::string> references = {"src",  "href", "srcset",     "action",     "poster", "data",
                                              "cite", "ping", "background", "xlink:href", "srcdoc"};
    for (const PageElement& element : page.elements())
        for (const auto& [name, value] : element.attributes) {
            if (hasPrefix(name, "on")) faults.push_back("a script in an attribute: " + name);
            if (name == "style" && value.find_first_of("(\\@") != std::string::npos)
                faults.push_back("a style that may refer to something: " + value);
            if (references.count(name) == 0) continue;
            const bool isWithin = hasPrefix(value, "#") || hasPrefix(value, "data:image/jpeg;base64,");
            if (!isWithin) faults.push_back("a reference: " + element.name + " " + name + "=" + value);
        }
    for (const char* const word : {"url(", "@import", "//", "src:"})
        if (page.style().find(word) != std::string::npos) faults.push_back(std::string("the style has ") + word);
    for (const char* const word : {"//", "import", "fetch", "XMLHttp", "innerHTML"})
        if (page.script().find(word) != std::string::npos) faults.push_back(std::string("the script has ") + word);
}

void checkLinks(const PageMarkup& page, Faults& faults) {
    std::set<std::string> ids;
    for (const PageElement& element : page.elements()) {
        const std::string id = element.attribute("id");
        if (!id.empty() && !ids.insert(id).second) faults.push_back("an id twice: " + id);
    }
    for (const PageElement& link : page.named("a")) {
        if (ids.count(link.attribute("href").substr(1)) == 0)
            faults.push_back("a link to nowhere: " + link.attribute("href"));
        if (link.text.empty()) faults.push_back("a link without a word: " + link.attribute("href"));
    }
}

void checkWords(const PageMarkup& page, Faults& faults) {
    for (const PageElement& picture : page.named("img"))
        if (picture.attributes.count("alt") == 0) faults.push_back("a picture without alternative");
    for (const PageElement& drawing : page.named("svg")) {
        const bool isHidden = drawing.attribute("aria-hidden") == "true";
        const bool isNamed = drawing.attribute("role") == "img" && !drawing.attribute("aria-label").empty();
        if (!isHidden && !isNamed) faults.push_back("a drawing without a word");
    }
    for (const PageElement& cell : page.named("th"))
        if (cell.attribute("scope").empty()) faults.push_back("a table's head without scope");
    for (const PageElement& element : page.elements())
        if (element.attribute("tabindex") > "0") faults.push_back("an order of its own for the keyboard");
    if (page.named("html").empty() || page.named("html")[0].attribute("lang") != "en")
        faults.push_back("the language is not told");
    if (page.named("title").empty() || page.named("title")[0].text.empty()) faults.push_back("no title");
    if (page.named("main").size() != 1) faults.push_back("no main part");
}

void checkHeadings(const PageMarkup& page, Faults& faults) {
    int level = 0;
    for (const PageElement& element : page.elements()) {
        if (element.name.size() != 2 || element.name[0] != 'h' || element.name[1] < '1' || element.name[1] > '6')
            continue;
        const int next = element.name[1] - '0';
        if (next > level + 1 || (level == 0) != (next == 1))
            faults.push_back("a heading out of order: " + element.text);
        if (element.text.empty()) faults.push_back("an empty heading");
        level = next;
    }
    if (level == 0) faults.push_back("no heading");
}

}  // namespace

std::string PageElement::attribute(const std::string& attributeName) const {
    const auto found = attributes.find(attributeName);
    return found == attributes.end() ? std::string() : found->second;
}

bool PageElement::isOf(const std::string& className) const {
    return (" " + attribute("class") + " ").find(" " + className + " ") != std::string::npos;
}

PageMarkup::PageMarkup(const std::string& html) {
    std::string rest = html;
    style_ = takenBetween(rest, "<style>", "</style>");
    script_ = takenBetween(rest, "<script>", "</script>");
    const std::string opening = "<!DOCTYPE html>\n";
    if (!hasPrefix(rest, opening)) fault_ = "no HTML";
    QXmlStreamReader reader(QString::fromStdString(rest.substr(std::min(rest.size(), opening.size()))));
    std::vector<std::size_t> open;
    std::vector<std::string> names;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
            case QXmlStreamReader::StartElement: {
                PageElement element;
                element.name = bytesOf(reader.name());
                element.within = names;
                for (const QXmlStreamAttribute& attribute : reader.attributes())
                    element.attributes[bytesOf(attribute.qualifiedName())] = bytesOf(attribute.value());
                open.push_back(elements_.size());
                names.push_back(element.name);
                elements_.push_back(element);
                break;
            }
            case QXmlStreamReader::EndElement:
                open.pop_back();
                names.pop_back();
                break;
            case QXmlStreamReader::Characters:
                for (const std::size_t i : open) elements_[i].text += bytesOf(reader.text());
                break;
            default:
                break;
        }
    }
    if (reader.hasError() && fault_.empty())
        fault_ = reader.errorString().toStdString() + " at character " + std::to_string(reader.characterOffset());
}

std::vector<PageElement> PageMarkup::named(const std::string& name) const {
    std::vector<PageElement> found;
    std::copy_if(elements_.begin(), elements_.end(), std::back_inserter(found),
                 [&](const PageElement& element) { return element.name == name; });
    return found;
}

std::vector<PageElement> PageMarkup::ofClass(const std::string& name) const {
    std::vector<PageElement> found;
    std::copy_if(elements_.begin(), elements_.end(), std::back_inserter(found),
                 [&](const PageElement& element) { return element.isOf(name); });
    return found;
}

std::vector<std::string> PageMarkup::textsOf(const std::string& name) const {
    std::vector<std::string> texts;
    for (const PageElement& element : named(name)) texts.push_back(element.text);
    return texts;
}

std::vector<std::string> pageFaults(const PageMarkup& page) {
    Faults faults;
    if (!page.fault().empty()) faults.push_back(page.fault());
    checkReferences(page, faults);
    checkLinks(page, faults);
    checkWords(page, faults);
    checkHeadings(page, faults);
    return faults;
}
