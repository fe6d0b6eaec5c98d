// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxHtmlText.h"

#include <gtest/gtest.h>

#include <limits>

using namespace kxCheck;

TEST(HtmlText, IsSafeWhateverTheBytes) {
    const struct {
        QByteArray bytes;
        const char* html;
    } cases[] = {
        {"beauty.0001.exr", "beauty.0001.exr"},
        {"<script>alert('1')</script>", "&lt;script&gt;alert('1')&lt;/script&gt;"},
        {"\" onload=\"x", "&quot; onload=&quot;x"},
        {"a&amp;b", "a&amp;amp;b"},
        {"caf\xc3\xa9", "caf\xc3\xa9"},
        {"caf\xe9.exr", "caf\xef\xbf\xbd.exr"},
        {"\xff\xfe", "\xef\xbf\xbd\xef\xbf\xbd"},
        {"a\nb\x1b[31m", "a\\nb\\x1b[31m"},
        {QByteArray("a\0b", 3), "a\\x00b"},
        {"\xc2\x85", "\\xc2\\x85"},
        {"\xef\xb7\x90 \xef\xbf\xbe", "\xef\xbf\xbd \xef\xbf\xbd"},  // U+FDD0, U+FFFE
        {"a\xf0\x9f\xbf\xbf z", "a\xef\xbf\xbd z"},                  // U+1FFFF
        {"\xf0\x9f\x8e\xac", "\xf0\x9f\x8e\xac"},                    // U+1F3AC
        {"\xed\xa0\x80", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"},    // half of a pair
        {"\xef\xbb\xbfmarked", "\xef\xbb\xbfmarked"},                // byte order mark
    };
    for (const auto& c : cases) EXPECT_EQ(htmlText(c.bytes), c.html) << c.bytes.toPercentEncoding().constData();
}

TEST(HtmlText, IsPutBetweenTags) {
    EXPECT_EQ(element("p", {}, "x"), "<p>x</p>");
    EXPECT_EQ(element("p", R"(class="a")", "x"), R"(<p class="a">x</p>)");
    EXPECT_EQ(htmlName("<b>"), "<bdi>&lt;b&gt;</bdi>");
}

TEST(HtmlText, HoldsPictures) {
    EXPECT_EQ(jpegElement("jpeg", 4, 3, "\"1\""),
              R"(<img alt="&quot;1&quot;" width="4" height="3" src="data:image/jpeg;base64,anBlZw==" />)");
    EXPECT_EQ(jpegElement("jpeg", 0, 0, {}), R"(<img alt="" src="data:image/jpeg;base64,anBlZw==" />)");
}

TEST(HtmlText, HasNumbersWithoutNeedlessDigits) {
    const struct {
        double value;
        int digits;
        const char* text;
    } cases[] = {
        {1.26, 1, "1.3"},
        {2, 3, "2"},
        {0.5, 3, "0.5"},
        {-0.0001, 2, "0"},
        {100, 0, "100"},
        {-1.5, 2, "-1.5"},
        {1e6, 2, "1000000"},
        {std::numeric_limits<double>::quiet_NaN(), 1, "not a number"},
        {std::numeric_limits<double>::infinity(), 1, "infinite"},
    };
    for (const auto& c : cases) EXPECT_EQ(decimalText(c.value, c.digits), c.text);
    EXPECT_EQ(sizeText(0), "0 bytes");
    EXPECT_EQ(sizeText(12600000), "12.0 MB");
}
