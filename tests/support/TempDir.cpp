// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/TempDir.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

TempDir::TempDir() {
    std::string pattern = (fs::temp_directory_path() / "kxtestXXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        std::perror(pattern.c_str());
        std::abort();
    }
    path_ = pattern + "/";
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::vector<std::string> TempDir::entries() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(path_)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool writeFileBytes(const std::string& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    return file.good();
}

std::string readFileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

QString latin1(const std::string& bytes) {
    return QString::fromLatin1(bytes.data(), static_cast<int>(bytes.size()));
}

std::string bytesOf(const QString& text) {
    return text.toLatin1().toStdString();
}

bool entryExists(const std::string& path) {
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

std::string realSamplesDir() {
    const char* const named = std::getenv("KX_EXR_SAMPLES");
    const fs::path dir = named ? fs::path(named) : fs::path(KX_SOURCE_DIR).parent_path() / "shared" / "exr-samples";
    return fs::is_directory(dir) ? dir.string() + "/" : std::string();
}
