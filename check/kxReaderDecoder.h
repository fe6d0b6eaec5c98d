// SPDX-License-Identifier: BSD-3-Clause
// Decodes chunks with the ordinary reader of the EXR library, where its C core can't: of the compressions DWAA and
// DWAB the first versions of the core know the names only.
#pragma once

#include "check/kxChunkGrid.h"
#include "check/kxFileBytes.h"

#include <memory>
#include <vector>

namespace kxCheck {

class ReaderDecoder {
public:
    // The bytes must stay as long as the object.
    explicit ReaderDecoder(FileBytes& bytes);
    ~ReaderDecoder();
    ReaderDecoder(const ReaderDecoder&) = delete;
    ReaderDecoder& operator=(const ReaderDecoder&) = delete;

    // Decodes one chunk of a flat part into `samples`, in the order of DecodedChunk and of the size that the grid
    // says. False when it can't be decoded. Throws std::bad_alloc.
    bool decode(int part, const kxExr::Part& header, const ChunkGrid& grid, const ChunkPlace& place,
                std::vector<unsigned char>& samples);

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace kxCheck
