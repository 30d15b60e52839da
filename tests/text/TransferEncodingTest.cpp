#include "text/TransferEncoding.h"

#include <gtest/gtest.h>

#include <string>

TEST(TransferEncodingTest, WhatIsNoCodeStaysOrIsPassedOver)
{
    using CDecode = std::string (*)(std::string_view);
    const struct
    {
        CDecode decode;
        std::string text, expected;
    } kCases[] = {
        {DecodeBase64, "w6Q=", "\u00E4"},
        {DecodeBase64, "w6\r\n-Q=", "\u00E4"},
        {EncodeBase64, std::string("\0\xFF", 2), "AP8="},
        {DecodeQuotedPrintable, "=C3=a4 =\nb", "\u00E4 b"},
        {DecodeQuotedPrintable, "a=zb", "a=zb"},
        {DecodePercent, "a%40b%2", "a%40b%2"},
        {DecodePercent, "%C3%A4+", "\u00E4+"},
        {DecodePercent, "a%00", "a%00"},
        {DecodePercent, "", ""},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(c.decode(c.text), c.expected) << c.text;
    }
}
