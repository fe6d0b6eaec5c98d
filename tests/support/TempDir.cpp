// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/TempDir.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace fs = std::filesystem;

TempDir::TempDir() : TempDir(fs::temp_directory_path().string()) {}

TempDir::TempDir(const std::string& parent) {
    std::string pattern = (fs::path(parent) / "kxtestXXXXXX").string();
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

TempDir memoryDir() {
    return access("/dev/shm", W_OK | X_OK) == 0 ? TempDir("/dev/shm") : TempDir();
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
    std::string bytes;
    for (std::array<char, 65536> block; file.read(block.data(), block.size()) || file.gcount() > 0;)
        bytes.append(block.data(), static_cast<std::size_t>(file.gcount()));
    return file.bad() ? std::string() : bytes;
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
