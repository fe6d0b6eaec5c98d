// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxExrModes.h"

#include <gtest/gtest.h>

namespace {

using kxExr::Headers;
using kxExr::ModeFailure;
using kxExr::Modes;

// Headers of parts with this many channels.
Headers partsOf(std::initializer_list<std::size_t> channelCounts) {
    Headers headers;
    for (const std::size_t count : channelCounts) {
        headers.emplace_back();
        headers.back().channels.edit().resize(count);
    }
    return headers;
}

struct Case {
    Headers headers;
    Modes modes;
    ModeFailure failure;
};

TEST(ExrModes, FailTheFramesThatLackThem) {
    const Modes none;
    const Modes multiLayer{true, false, false};
    const Modes multipart{false, true, false};
    const Modes noMultipart{false, false, true};
    const Modes layersAndParts{true, true, false};
    const Modes all{true, true, true};
    const Case cases[] = {
        {partsOf({0}), none, ModeFailure::none},
        {partsOf({4}), none, ModeFailure::none},
        {partsOf({4, 4}), none, ModeFailure::none},
        {partsOf({0}), multiLayer, ModeFailure::singleLayer},
        {partsOf({4}), multiLayer, ModeFailure::singleLayer},
        {partsOf({5}), multiLayer, ModeFailure::none},
        {partsOf({1, 1}), multiLayer, ModeFailure::none},
        {partsOf({4}), multipart, ModeFailure::singlePart},
        {partsOf({500}), multipart, ModeFailure::singlePart},
        {partsOf({4, 4}), multipart, ModeFailure::none},
        {partsOf({4}), noMultipart, ModeFailure::none},
        {partsOf({4, 4}), noMultipart, ModeFailure::severalParts},
        {partsOf({4}), layersAndParts, ModeFailure::singlePart},
        {partsOf({5}), layersAndParts, ModeFailure::singlePart},
        {partsOf({1, 1}), layersAndParts, ModeFailure::none},
        {partsOf({4}), all, ModeFailure::singlePart},
        {partsOf({4, 4, 4}), all, ModeFailure::severalParts},
    };
    int number = 0;
    for (const Case& c : cases) EXPECT_EQ(kxExr::modeFailure(c.modes, c.headers), c.failure) << number++;
}

}  // namespace
