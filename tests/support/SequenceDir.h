// SPDX-License-Identifier: BSD-3-Clause
// A directory of made frames and the record of a sequence in it.
#pragma once

#include "image/KX_DataTypes_imageList.h"
#include "tests/support/TempDir.h"
#include "tests/support/plainSequence.h"

#include <memory>
#include <string>
#include <vector>

class SequenceDir {
public:
    SequenceDir() = default;
    // Holds these files, empty.
    explicit SequenceDir(const std::vector<std::string>& names) { write(names); }

    // Adds files, empty.
    void write(const std::vector<std::string>& names) const;
    // Splits `name` in this directory.
    bool split(const std::string& name) { return record().imageDirFileFromString(dir.qpath() + latin1(name)); }
    // Finds the sequence that was split last, and describes the outcome, see describe().
    std::string find(const DiscoverySettings& settings = {}, __KXlog* log = nullptr);
    // Splits and finds.
    std::string find(const std::string& name, const DiscoverySettings& settings = {}, __KXlog* log = nullptr);

    _kxViewSequence& record() { return *record_; }
    kxCHK::_SingleImageView& slot(int index) { return record_->images[index]; }

    TempDir dir = memoryDir();

private:
    std::unique_ptr<_kxViewSequence> record_ = std::make_unique<_kxViewSequence>();
};

// "1-5/1: 1=0001 2=0002 3 4 5=0005": start, end and step, then each slot's frame with the frame text after "=" when
// a file backs it. A slot without a file but with a frame text is shown as "7?0007".
std::string describe(const _kxViewSequence& record);

DiscoverySettings restrictedTo(int start, int end, int step = 1, int offset = 0);
DiscoverySettings listed(const std::string& frameList);
DiscoverySettings preFilled(int start, int end, int step = 1, int offset = 0);

// The directory's entries in the order of the file system, with the times and sizes that the system reports.
std::vector<PlainEntry> entriesInOrder(const std::string& directory);
