// SPDX-License-Identifier: BSD-3-Clause
// Bytes that are needed again at the end of a run, in a file without a name: pictures of tens of thousands of
// frames are too much for memory. The file is gone with the object, and also when the process is killed.
//
// Room that was given back is used again, in steps of powers of two. One thread at a time.
#pragma once

#include "shared/kxReplacementFile.h"

#include <QByteArray>

#include <cstdint>
#include <map>
#include <vector>

namespace kxCheck {

struct StoredBytes {
    std::int64_t offset = 0;
    std::int64_t size = 0;  // 0: nothing was stored

    explicit operator bool() const { return size > 0; }
};

class PictureSpool {
public:
    // In the directory for temporary files ($TMPDIR, otherwise /tmp); made when it is needed.
    PictureSpool() = default;

    // Nothing is stored of no bytes, and after a failure.
    [[nodiscard]] StoredBytes put(const QByteArray& bytes);
    // Empty where nothing was stored, and after a failure.
    [[nodiscard]] QByteArray get(const StoredBytes& stored);
    // The bytes are not needed any more; `stored` is empty then.
    void release(StoredBytes& stored);

    // "temporary file: No space left on device"; empty as long as all could be written and read.
    [[nodiscard]] QByteArray fault() const;
    // Of the file, in bytes.
    [[nodiscard]] std::int64_t size() const { return end_; }

    // Opens the file, if that was not done yet; put() does it too. False, and see fault(), when it can't be had.
    bool open();

private:
    kxDescriptor file_;
    std::int64_t end_ = 0;
    std::map<std::int64_t, std::vector<std::int64_t>> free_;  // offsets of unused room, by its size
    int errorNumber_ = 0;
};

}  // namespace kxCheck
