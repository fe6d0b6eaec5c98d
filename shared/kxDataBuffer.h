// Compressed data files: a header and a data area, stored together as one file.
//
// A compressed file is exactly one zlib stream of the header's bytes followed by the data's. Files are written
// beside their target under a temporary name, flushed to disk and renamed: a reader sees the old file or the new
// one and never a part, and a failed write leaves the old file as it was.
#pragma once

#include "shared/kxString.h"

class _KX_DataBuffer {
public:
    // Writes headerSize + dataSize bytes; 0 on success, otherwise a code for errorString().
    static int saveToFileCompressed(_kxString8_allSize<500> fileName, const bool& compressed, char* header,
                                    const int& headerSize, char* data, const int& dataSize);

    // Reads such a file; 0 when it held exactly headerSize + dataSize bytes, otherwise a code for errorString()
    // and both areas may hold a part of the file. Never reads or inflates more than the areas hold (and one byte
    // to see that the file ends there).
    static int loadFromFileCompressed(_kxString8_allSize<500> fileName, const bool& compressed, char* header,
                                      const int& headerSize, char* data, const int& dataSize);

    // The text of a code: the system's reason in English for codes above 0, the module's own below 0.
    static _kxString8_allSize<250> errorString(const int& code);
};
