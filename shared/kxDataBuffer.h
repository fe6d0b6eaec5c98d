// SPDX-License-Identifier: BSD-3-Clause
// Compressed data files: a header and a data area, stored together as one file.
//
// A compressed file is exactly one zlib stream of the header's bytes followed by the data's; a file that is not
// compressed is these bytes as they are. Files are written beside their target under a temporary name
// (".kxCache-<process>-<time>-<number>.tmp"), flushed to disk if asked to, and renamed: a reader sees the old file
// or the new one and never a part, and a write that fails before the rename leaves the old file as it was. A
// process that is killed while it writes leaves its temporary file behind; nothing ever reads it.
//
// Threads: all operations may run in several threads at once, on one file too, as long as their areas differ.
#pragma once

#include "shared/kxReplacementFile.h"
#include "shared/kxString.h"

class _KX_DataBuffer {
public:
    // Results of the module's own; the system's are errno values above 0.
    enum Error {
        errorForeignLayout = -1,  // for the callers: the file was read, but its content is not theirs
        errorNotAFile = -2,
        errorDamaged = -3,
        errorTooShort = -4,
        errorTooLong = -5
    };

    // Writes headerSize + dataSize bytes; 0 on success, otherwise a code for errorString(). The one failure after
    // which the new file stands is that of flushing the directory.
    [[nodiscard]] static int saveToFileCompressed(_kxString8_allSize<500> fileName, const bool& compressed,
                                                  char* header, const int& headerSize, char* data,
                                                  const int& dataSize, kxFlush flush = kxFlush::now);

    // Reads such a file; 0 when it held exactly headerSize + dataSize bytes, otherwise a code for errorString()
    // and both areas may hold a part of the file. Only regular files are read, and never more is inflated than the
    // areas hold (and one byte to see that the stream ends there).
    [[nodiscard]] static int loadFromFileCompressed(_kxString8_allSize<500> fileName, const bool& compressed,
                                                    char* header, const int& headerSize, char* data,
                                                    const int& dataSize);

    // Reads the first `size` bytes of such a compressed file, whatever follows them: the rest is neither read nor
    // known to be whole. 0, or a code for errorString() and the area may hold a part of them. Only regular files
    // are read, of them no more than any writer needs for so many bytes.
    [[nodiscard]] static int loadStartOfCompressed(_kxString8_allSize<500> fileName, char* start, const int& size);

    // The text of a code: the system's reason in English for codes above 0, the module's own below, empty for 0.
    static _kxString8_allSize<250> errorString(const int& code);
};
