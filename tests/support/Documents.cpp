// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/Documents.h"

#include "tests/support/TempDir.h"

#include <cstddef>

std::filesystem::path projectDir() {
    return KX_SOURCE_DIR;
}

std::string document(const std::string& name) {
    return readFileBytes((projectDir() / name).string());
}

std::string blockAfter(const std::string& text, const std::string& opening) {
    const std::string head = "\n" + opening + "\n";
    const std::size_t at = text.find(head);
    if (at == std::string::npos) return {};
    const std::size_t begin = at + head.size();
    return text.substr(begin, text.find("```", begin) - begin);
}

std::string sectionOf(const std::string& text, const std::string& heading) {
    const std::string head = "\n" + heading + "\n";
    const std::size_t at = text.find(head);
    if (at == std::string::npos) return {};
    const std::size_t begin = at + head.size();
    return text.substr(begin, text.find("\n#", begin) - begin) + "\n";
}

std::vector<std::string> textsBetween(const std::string& opening, const std::string& closing,
                                      const std::string& text) {
    std::vector<std::string> found;
    for (std::size_t at = text.find(opening); at != std::string::npos; at = text.find(opening, at + 1)) {
        const std::size_t begin = at + opening.size();
        found.push_back(text.substr(begin, text.find_first_of(closing, begin) - begin));
    }
    return found;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}
