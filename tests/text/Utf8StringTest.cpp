#include "text/Utf8.h"

#include "platform/LastError.h"

#include <string>

#include <gtest/gtest.h>

TEST(Utf8StringTest, TextOfAnyLengthConvertsBothWays)
{
    const std::pair<std::string, std::u16string> cases[] = {
        {std::string("a\0b\x7F", 4), std::u16string(u"a\0b\x7F", 4)},
        {"\xC2\x80\xDF\xBF", u"\x80\x07FF"},
        {"\xE0\xA0\x80\xEF\xBF\xBF", u"\x0800\xFFFF"},
        {"\xED\x9F\xBF\xEE\x80\x80", u"\xD7FF\xE000"},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
        {"\xEF\xBB\xBF", u"\xFEFF"},
    };
    for (const auto& [bytes, characters] : cases) {
        // The ASCII in front of it moves the case over every place in a block of eight bytes.
        for (std::size_t shift = 0; shift < 18; ++shift) {
            const std::string utf8 = std::string(shift, 'x') + bytes + "yyyyyyyyy";
            const std::u16string wide = std::u16string(shift, u'x') + characters + u"yyyyyyyyy";
            std::u16string decoded = u"old";
            EXPECT_TRUE(Utf8ToWide(utf8, &decoded));
            EXPECT_EQ(decoded, wide);
            std::string encoded = "old";
            EXPECT_TRUE(WideToUtf8(wide, &encoded) && AppendUtf8(wide, &encoded));
            EXPECT_EQ(encoded, utf8 + utf8);
        }
    }
}

TEST(Utf8StringTest, BytesThatAreNoUtf8AreRefusedOrReplaced)
{
    const std::pair<std::string, std::u16string> cases[] = {
        {"ab\xC3", u"ab\xFFFD"},
        {"\xE2\x82", u"\xFFFD"},
        {"\xF0\x9F\x98", u"\xFFFD"},
        {"\xE2\x82z", u"\xFFFDz"},
        {"M\xC3\r\n \xBCller", u"M\xFFFD\r\n \xFFFDller"},
        {"\xC0\xAF", u"\xFFFD"},
        {"\xE0\x9F\xBF", u"\xFFFD"},
        {"\xF0\x8F\xBF\xBF", u"\xFFFD"},
        {"\xED\xA0\x80", u"\xFFFD"},
        {"\xF4\x90\x80\x80", u"\xFFFD"},
        {"M\xFCller", u"M\xFFFDller"},
    };
    for (const auto& [bytes, lossy] : cases) {
        for (const std::string& before : {std::string(), std::string("12345678")}) {
            SCOPED_TRACE(before + bytes);
            SetLastError(0);
            std::u16string out;
            EXPECT_FALSE(Utf8ToWide(before + bytes, &out));
            EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
            EXPECT_TRUE(Utf8ToWideLossy(before + bytes).ends_with(lossy));
        }
    }
}
