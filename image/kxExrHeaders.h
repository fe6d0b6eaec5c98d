// SPDX-License-Identifier: BSD-3-Clause
// Reads the headers of an EXR file into plain values, no pixel of it.
//
// The EXR library reads them; none of its types is needed to use the result, and its exceptions end here. Several
// files may be read at the same time, each by one thread.
#pragma once

#include "image/kxExrPart.h"

#include <QString>

#include <optional>
#include <vector>

namespace kxExr {

// The parts of a file in its order, at least one.
using Headers = std::vector<Part>;

// The headers of the file; none when the system or the EXR library refuses it, and then *reason, which may be null,
// holds why in the library's words. A file that lacks attributes which every EXR file must have gets values of the
// library's invention (64x64 pixels, zip). A part is tiled when it has a tile description, and deep by its type.
// The file is closed again. Only regular files may be passed: opening a pipe would wait for its writer.
//
// A damaged header can make the library ask for gigabytes, see kxLimitAddressSpace.
[[nodiscard]] std::optional<Headers> readHeaders(const QString& path, QString* reason = nullptr);

}  // namespace kxExr
