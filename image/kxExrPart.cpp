// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxExrPart.h"

#include <cstddef>
#include <iterator>

namespace kxExr {

namespace {

// Names stand in the order of the numbers.
template <class Enumerator, std::size_t count>
const char* nameIn(const char* const (&names)[count], Enumerator value) {
    const auto index = static_cast<std::size_t>(value);
    return index < count ? names[index] : "unknown";
}

constexpr const char* compressionNames[] = {"none", "rle",  "zips", "zip",  "piz",      "pxr24",
                                            "b44",  "b44a", "dwaa", "dwab", "htj2k256", "htj2k32"};
constexpr const char* storageNames[] = {"scanline", "tiled", "deepscanline", "deeptile"};
constexpr const char* pixelTypeNames[] = {"uint", "half", "float"};
constexpr const char* lineOrderNames[] = {"increasing", "decreasing", "random"};

static_assert(std::size(compressionNames) == static_cast<std::size_t>(Compression::htj2k32) + 1);
static_assert(std::size(storageNames) == static_cast<std::size_t>(Storage::deepTiled) + 1);
static_assert(std::size(pixelTypeNames) == static_cast<std::size_t>(PixelType::float32) + 1);
static_assert(std::size(lineOrderNames) == static_cast<std::size_t>(LineOrder::random) + 1);

}  // namespace

const std::vector<Channel>& ChannelList::all() const {
    static const std::vector<Channel> none;
    return list_ ? *list_ : none;
}

std::vector<Channel>& ChannelList::edit() {
    if (list_.use_count() != 1) list_ = std::make_shared<std::vector<Channel>>(all());
    return const_cast<std::vector<Channel>&>(*list_);
}

const char* compressionName(Compression compression) {
    return nameIn(compressionNames, compression);
}

const char* storageName(Storage storage) {
    return nameIn(storageNames, storage);
}

const char* pixelTypeName(PixelType type) {
    return nameIn(pixelTypeNames, type);
}

const char* lineOrderName(LineOrder order) {
    return nameIn(lineOrderNames, order);
}

}  // namespace kxExr
