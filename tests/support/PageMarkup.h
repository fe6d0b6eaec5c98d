// SPDX-License-Identifier: BSD-3-Clause
// A page's elements, as an XML parser reads them; style and script are set aside.
#pragma once

#include <map>
#include <string>
#include <vector>

struct PageElement {
    std::string name;
    std::map<std::string, std::string> attributes;
    std::string text;                 // of the element and all in it
    std::vector<std::string> within;  // names of the elements around it, from the outermost on

    // Empty without the attribute.
    std::string attribute(const std::string& name) const;
    // Whether it is among the classes.
    bool isOf(const std::string& name) const;
};

class PageMarkup {
public:
    explicit PageMarkup(const std::string& html);

    // Why the page could not be read to its end; empty: it could.
    const std::string& fault() const { return fault_; }
    const std::string& style() const { return style_; }
    const std::string& script() const { return script_; }
    const std::vector<PageElement>& elements() const { return elements_; }

    std::vector<PageElement> named(const std::string& name) const;
    std::vector<PageElement> ofClass(const std::string& name) const;
    // Their texts, each word once apart.
    std::vector<std::string> textsOf(const std::string& name) const;

private:
    std::string fault_;
    std::string style_;
    std::string script_;
    std::vector<PageElement> elements_;
};

// All that keeps the page from standing alone and from being used by everyone, a line each: references to something
// outside of it, links to nowhere, names that are given twice, pictures and drawings without a word, headings that
// leave out a level.
std::vector<std::string> pageFaults(const PageMarkup& page);
