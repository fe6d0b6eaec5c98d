// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxValuesInUse.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using kxCheck::ValuesInUse;

namespace {

using Texts = ValuesInUse<std::string>;

std::shared_ptr<const std::string> find(const Texts& texts, std::size_t hash, const std::string& text) {
    return texts.find(hash, [&text](const std::string& other) { return other == text; });
}

}  // namespace

TEST(ValuesInUse, AreFoundByHashAndValue) {
    Texts texts;
    const auto a = std::make_shared<const std::string>("a");
    const auto b = std::make_shared<const std::string>("b");
    texts.add(1, a);
    texts.add(1, b);
    EXPECT_EQ(find(texts, 1, "a"), a);
    EXPECT_EQ(find(texts, 1, "b"), b);
    EXPECT_EQ(find(texts, 1, "c"), nullptr);
    EXPECT_EQ(find(texts, 2, "a"), nullptr);
}

TEST(ValuesInUse, AreGoneWithTheirLastUser) {
    Texts texts;
    auto a = std::make_shared<const std::string>("a");
    texts.add(1, a);
    a.reset();
    EXPECT_EQ(find(texts, 1, "a"), nullptr);
}

TEST(ValuesInUse, TakeNoRoomForThoseThatAreGone) {
    Texts texts;
    std::vector<std::shared_ptr<const std::string>> used;
    for (std::size_t i = 0; i < 100000; ++i) {
        const auto value = std::make_shared<const std::string>(std::to_string(i));
        texts.add(i, value);
        if (i % 1000 == 0) used.push_back(value);
    }
    EXPECT_LT(texts.size(), 1000U);
    for (std::size_t i = 0; i < used.size(); ++i) EXPECT_EQ(find(texts, i * 1000, *used[i]), used[i]);
}
