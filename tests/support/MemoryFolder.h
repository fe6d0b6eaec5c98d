// SPDX-License-Identifier: BSD-3-Clause
// A folder of files that is nowhere but in memory.
#pragma once

#include "image/kxFrameSource.h"
#include "tests/support/TempDir.h"

#include <string>
#include <utility>
#include <vector>

class MemoryFolder final : public kxFrames::FrameSource {
public:
    struct File {
        std::string name;
        kxFrames::FileFacts facts{1, _kxTime()};
    };

    MemoryFolder(std::string directory, std::vector<File> files)
        : directory_(std::move(directory)), files_(std::move(files)) {}
    MemoryFolder(std::string directory, const std::vector<std::string>& names) : directory_(std::move(directory)) {
        for (const std::string& name : names) files_.push_back({name});
    }

    // Lists all names, whatever the filter.
    void list(const QString& directory, const QString& /*prefix*/, const QString& /*suffix*/) override {
        current_ = bytesOf(directory) == directory_ ? -1 : static_cast<long>(files_.size());
    }
    bool next() override { return ++current_ < static_cast<long>(files_.size()); }
    QString name() const override { return latin1(file().name); }
    kxFrames::FileFacts facts() override {
        ++questions;
        return file().facts;
    }
    std::optional<kxFrames::FileFacts> find(const QString& path) override {
        for (const File& candidate : files_) {
            if (directory_ + candidate.name == bytesOf(path)) return candidate.facts;
        }
        return {};
    }
    QString facility() const override { return QStringLiteral("memory"); }

    int questions = 0;  // how often facts() was called

private:
    const File& file() const { return files_[static_cast<std::size_t>(current_)]; }

    std::string directory_;  // ends with "/"
    std::vector<File> files_;
    long current_ = 0;
};
