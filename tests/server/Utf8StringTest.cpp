#include "server/Utf8String.h"

#include "platform/LastError.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace
{

using namespace std::string_literals;

// A copy in a block of just its length, so that the address sanitizer sees a read behind its end.
struct CExactBlock
{
    explicit CExactBlock(std::string_view text)
        : bytes(new char[text.size()]), view(bytes.get(), text.size())
    {
        text.copy(bytes.get(), text.size());
    }
    std::unique_ptr<char[]> bytes;
    std::string_view view;
};

TEST(Utf8StringTest, TextOfAnyLengthConvertsBothWays)
{
    static const struct
    {
        const char* what;
        std::string utf8;
        std::u16string wide;
    } kCases[] = {
        {"empty", "", u""},
        {"zero byte", "a\0b"s, u"a\0b"s},
        {"last of one byte", "\x7F", u"\x7F"},
        {"two bytes, first and last", "\xC2\x80\xDF\xBF", u"\x80\x07FF"},
        {"three bytes, first and last", "\xE0\xA0\x80\xEF\xBF\xBF", u"\x0800\xFFFF"},
        {"around the surrogates", "\xED\x9F\xBF\xEE\x80\x80", u"\xD7FF\xE000"},
        {"four bytes, first and last", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
        {"byte order mark stays", "\xEF\xBB\xBF", u"\xFEFF"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        // The ASCII in front of it moves the case over every place in a block of eight bytes.
        for (std::size_t shift = 0; shift < 18; ++shift) {
            const std::string utf8 = std::string(shift, 'x') + c.utf8 + "yyyyyyyyy";
            const std::u16string wide = std::u16string(shift, u'x') + c.wide + u"yyyyyyyyy";
            std::u16string decoded = u"old";
            EXPECT_TRUE(Utf8ToWide(CExactBlock(utf8).view, &decoded));
            EXPECT_EQ(decoded, wide);
            std::string encoded = "old";
            EXPECT_TRUE(WideToUtf8(wide, &encoded));
            EXPECT_EQ(encoded, utf8);
            EXPECT_TRUE(AppendUtf8(wide, &encoded));
            EXPECT_EQ(encoded, utf8 + utf8);
        }
    }
}

TEST(Utf8StringTest, BytesThatAreNoUtf8AreRefusedOrReplaced)
{
    static const struct
    {
        const char *what, *bytes;
        std::u16string lossy;
    } kCases[] = {
        {"cut after one of two", "ab\xC3", u"ab\xFFFD"},
        {"cut after two of three", "\xE2\x82", u"\xFFFD"},
        {"cut after three of four", "\xF0\x9F\x98", u"\xFFFD"},
        {"cut by a letter", "\xE2\x82z", u"\xFFFDz"},
        {"cut by a line break, as folding does", "M\xC3\r\n \xBCller", u"M\xFFFD\r\n \xFFFDller"},
        {"trailing byte alone", "\x80", u"\xFFFD"},
        {"overlong slash", "\xC0\xAF", u"\xFFFD"},
        {"overlong, three bytes", "\xE0\x9F\xBF", u"\xFFFD"},
        {"overlong, four bytes", "\xF0\x8F\xBF\xBF", u"\xFFFD"},
        {"first surrogate", "\xED\xA0\x80", u"\xFFFD"},
        {"last surrogate", "\xED\xBF\xBF", u"\xFFFD"},
        {"above U+10FFFF", "\xF4\x90\x80\x80", u"\xFFFD"},
        {"byte FF", "a\xFFz", u"a\xFFFDz"},
        {"first byte above F4", "\xF9\x8F\xBF\xBF", u"\xFFFD"},
        {"Latin-1 umlaut", "M\xFCller", u"M\xFFFDller"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const std::string shifted = "12345678" + std::string(c.bytes);
        for (const std::string_view bytes :
             {std::string_view(c.bytes), std::string_view(shifted)}) {
            const CExactBlock block(bytes);
            SetLastError(0);
            std::u16string out = u"old";
            EXPECT_FALSE(Utf8ToWide(block.view, &out));
            EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
            EXPECT_EQ(out, u"old");
            EXPECT_TRUE(Utf8ToWideLossy(block.view, &out));
            EXPECT_TRUE(out.ends_with(c.lossy));
        }
        char16_t* text = nullptr;
        int length = 0;
        EXPECT_EQ(CUtf8String(c.bytes).ToUnicode(&text, &length), 0);
        EXPECT_EQ(text, nullptr);
    }
}

TEST(Utf8StringTest, UnpairedSurrogatesAreRefused)
{
    const std::u16string kCases[] = {u"\xD800",       u"ab\xDBFF", u"\xDC00",
                                     u"\xDC00\xDC00", u"\xD800z",  u"\xD83D\xD83D\xDE00",
                                     u"\xDE00\xD83D"};
    for (const std::u16string& wide : kCases) {
        SetLastError(0);
        std::string out = "old";
        EXPECT_FALSE(AppendUtf8(wide, &out));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
        CUtf8String text("old");
        EXPECT_EQ(text.FromUnicode(wide.c_str()), 0);
        EXPECT_EQ(out + text, "oldold");
    }
}

TEST(Utf8StringTest, AllocatedTextEndsWithAZeroThatIsNotCounted)
{
    for (const char* const bytes : {"", "ab", "\xF0\x9F\x98\x80"}) {
        const CUtf8String utf8(bytes);
        std::u16string expected;
        EXPECT_EQ(utf8.ToUnicode(&expected), 1);
        char16_t* text = nullptr;
        int length = 0;
        ASSERT_NE(utf8.ToUnicode(&text, &length), 0);
        const std::unique_ptr<char16_t, decltype(&std::free)> owner(text, &std::free);
        EXPECT_EQ(std::u16string(text, static_cast<std::size_t>(length) + 1), expected + u'\0');
    }
}

} // namespace
