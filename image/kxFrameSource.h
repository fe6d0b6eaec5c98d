// SPDX-License-Identifier: BSD-3-Clause
// Where sequences are looked for: the names, sizes and times of the files in one folder. Discovery knows the disk
// only through this, so that it also runs on folders that are nowhere but in memory.
//
// A source is used by one thread at a time; several sources may be used at the same time.
#pragma once

#include "image/kxFramePath.h"
#include "shared/kxFileSystem.h"
#include "shared/kxTime.h"

#include <QString>

#include <optional>
#include <vector>

namespace kxFrames {

// What the system says about a file.
struct FileFacts {
    long long size = -1;  // bytes; -1 when the file is gone
    _kxTime time;         // of its last change; 0 when the file is gone
};

class FrameSource {
public:
    virtual ~FrameSource() = default;

    // Starts a listing of the files in `directory` (ends with "/"), in any order. Names that do not begin with
    // `prefix` and end with `suffix`, letter case ignored, may be left out or not; with two empty texts all names
    // come. A directory that can't be read holds no files.
    virtual void list(const QString& directory, const QString& prefix, const QString& suffix) = 0;
    // Goes on to the next file (the first call to the first one); false at the end.
    [[nodiscard]] virtual bool next() = 0;
    // The current file's name, as in the folder.
    [[nodiscard]] virtual QString name() const = 0;
    // What the system says about the current file; asked for only where it is needed.
    [[nodiscard]] virtual FileFacts facts() = 0;

    // The same of one file; nothing when it is not there or is no regular file.
    [[nodiscard]] virtual std::optional<FileFacts> find(const QString& path) = 0;

    // What the source is called in logs.
    [[nodiscard]] virtual QString facility() const = 0;
};

// The disk: regular files and symbolic links to such.
class DiskFrameSource final : public FrameSource {
public:
    void list(const QString& directory, const QString& prefix, const QString& suffix) override;
    [[nodiscard]] bool next() override;
    [[nodiscard]] QString name() const override;
    [[nodiscard]] FileFacts facts() override;
    [[nodiscard]] std::optional<FileFacts> find(const QString& path) override;
    [[nodiscard]] QString facility() const override;

private:
    std::optional<kxDirListing> listing_;  // of list(); a single file is found without one
};

// A file of a sequence, as its folder has it.
struct FolderEntry {
    QString name;
    FrameName frame;
    FileFacts facts;
};

// The files of a sequence in exact letter case, in the order of the folder. `wanted` says of which frames; the
// others are not asked about.
template <class Wanted>
[[nodiscard]] std::vector<FolderEntry> framesIn(FrameSource& source, const FramePath& path, Wanted wanted) {
    std::vector<FolderEntry> entries;
    source.list(path.directory, path.prefix, path.suffix);
    while (source.next()) {
        const QString name = source.name();
        const std::optional<FrameName> frame = frameOf(name, path);
        if (frame && wanted(*frame)) entries.push_back({name, *frame, source.facts()});
    }
    return entries;
}

}  // namespace kxFrames
