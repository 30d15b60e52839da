#include "server/Message.h"

#include "platform/LastError.h"
#include "server/MessageInMessageStore.h"
#include "support/TestMailStore.h"
#include "text/Utf8String.h"

#include <gtest/gtest.h>

namespace
{

// One message of a store, opened and ready to be parsed.
struct CStoredMessage
{
    explicit CStoredMessage(const std::string& text)
    {
        store.Deliver("cur/1", text);
        folder = store.OpenFolder();
        EXPECT_TRUE(message.Open(folder, "1"));
    }

    // The root part's text, or "!" and the last error.
    std::string Text()
    {
        const CBodyPart* root = message.GetRootBodyPart();
        const CUtf8String* text = nullptr;
        const bool isText = root != nullptr && root->GetTextBody(text);
        return isText ? text->GetCString() : "!" + std::to_string(GetLastError());
    }

    const CTestMailStore store;
    CMailFolder folder;
    CMessageInMessageStore message;
};

std::string Typed(const std::string& fields, const std::string& body)
{
    return "From: a\nContent-Type: text/plain" + fields + "\n\n" + body;
}

TEST(MessageTest, RootPartGivesItsTextInUtf8)
{
    const std::string base64 = "; charset=\"UTF-8\"\nContent-Transfer-Encoding: BASE64";
    const struct
    {
        const char* what;
        std::string message, expected;
    } kCases[] = {
        {"CR LF stays", "From: a\r\n\r\nNAME:b\r\n", "NAME:b\r\n"},
        {"no body", "From: a", ""},
        {"NUL in the body", Typed("", std::string("a\0b", 3)), std::string("a\0b", 3)},
        {"base64 cut off", Typed(base64, "TkFNRTpiCg"), "NAME:b"},
        {"bytes that are no UTF-8", Typed("; charset=utf-8", "J\xF6rg"), "J\uFFFDrg"},
        {"bytes the charset lacks", Typed("; charset=euc-kr", "a\xFFz"), "a\uFFFDz"},
        {"character cut off", Typed("; charset=gb18030", "a\x81\x30\x81"), "a\uFFFD"},
        {"unknown charset, UTF-8", Typed("; charset=x-none", "J\u00F6"), "J\u00F6"},
        {"unknown charset, not UTF-8", Typed("; charset=x//y", "J\xF6"), "J\u00F6"},
        {"no charset, not UTF-8", Typed("", "J\xF6"), "J\u00F6"},
        {"multipart", "Content-Type: multipart/mixed; boundary=b\n\n--b\n\na\n--b--\n", "!13"},
        {"empty file", "", "!13"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(CStoredMessage(c.message).Text(), c.expected);
    }
}

TEST(MessageTest, CharsetIsWhatMailersMeanByItsName)
{
    static const struct
    {
        const char *charset, *bytes, *text;
    } kCases[] = {
        {"windows-31j", "\x87\x40\\", "\u2460\\"},
        {"Shift_JIS", "\x87\x40\\", "\u2460\\"},
        {"x-sjis", "\x87\x40\\", "\u2460\\"},
        {"x-euc-jp", "\xAD\xA1", "\u2460"},
        {"euc-jp", "\xAD\xA1", "\u2460"},
        {"GB2312", "\x96\x56", "\u6727"},
        {"x-gbk", "\x81\x30\x89\x37", "\u00DE"},
        {"ks_c_5601-1987", "\x8C\x63", "\uB620"},
        {"x-windows-949", "\x8C\x63", "\uB620"},
        {"x-mac-roman", "\x8A", "\u00E4"},
        {"iso-8859-1", "\x93\xE4", "\u201C\u00E4"},
        {"ISO-8859-9", "\x80\xF0", "\u20AC\u011F"},
        {"ascii", "J\xF6", "J\u00F6"},
        {"x-none", "\x93", "\u0093"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.charset);
        const std::string fields = std::string("; charset=") + c.charset;
        EXPECT_EQ(CStoredMessage(Typed(fields, c.bytes)).Text(), c.text);
    }
}

TEST(MessageTest, HostileStructureIsNoDanger)
{
    std::string nested;
    for (int i = 0; i < 50'000; ++i) {
        const std::string boundary = "b" + std::to_string(i);
        nested += "Content-Type: multipart/x; boundary=" + boundary + "\n\n--" + boundary + "\n";
    }
    EXPECT_EQ(CStoredMessage(nested).Text(), "!13");

    std::string words = "Reply-To: ";
    for (int i = 0; i < 20'000; ++i) {
        words += "=?utf-8?q?Group?=\r\n ";
    }
    CStoredMessage large(words + std::string(2 << 20, '\0') + "\nX: " + std::string(1 << 20, '(') +
                         "\n\nNAME:b\n");
    EXPECT_EQ(large.Text(), "NAME:b\n");
}

TEST(MessageTest, PartsAreMadeOnceAndEndWithTheMessage)
{
    CStoredMessage stored("From: a\nReply-To: =?utf-8?b?R3JvdXA=?=\n\nNAME:b\n");
    CBodyPart* root = stored.message.GetRootBodyPart();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(stored.message.GetRootBodyPart(), root);
    const CMailHeader* header = root->GetHeader("reply-to");
    ASSERT_NE(header, nullptr);
    EXPECT_EQ(std::u16string(header->GetValue()), u"Group");
    EXPECT_EQ(root->GetHeader("To"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);

    const std::uint32_t size = stored.message.GetSize();
    EXPECT_EQ(std::string_view(stored.message.GetBodySegment(size - 7, 7), 7), "NAME:b\n");
    EXPECT_EQ(stored.message.GetBodySegment(size, 1), nullptr);
    EXPECT_EQ(stored.message.GetBodySegment(0xFFFFFFFF, 8), nullptr);

    stored.store.Deliver("cur/2", "From: a\n\nNAME:c\n");
    ASSERT_TRUE(stored.message.Open(stored.folder, "2"));
    EXPECT_EQ(stored.Text(), "NAME:c\n");
}

TEST(MailHeaderTest, FieldSurvivesWritingAndReading)
{
    const std::u16string longWord(100, u'w');
    for (const std::u16string& value :
         {std::u16string(), std::u16string(u" blanks  and\ta tab "),
          std::u16string(u"=?utf-8?q?literal?="), longWord + u" " + longWord + u" end",
          std::u16string(30, u'\u4E2D') + u" \U0001F600 " + longWord}) {
        for (const std::uint32_t length : {0u, 20u, 78u}) {
            CMailHeader header, again;
            std::string text;
            ASSERT_TRUE(header.Create("X-Name: before") && header.SetValue(value.c_str()));
            ASSERT_TRUE(header.Write(&text, length) && again.Create(text.c_str()));
            EXPECT_EQ(std::u16string(again.GetValue()), value);
        }
    }
    CMailHeader header;
    std::string text;
    ASSERT_TRUE(header.Create("X: aaaa bbbb  cccc ddddddddddddd e"));
    ASSERT_TRUE(header.Write(&text, 12));
    EXPECT_EQ(text, "X: aaaa bbbb\r\n  cccc\r\n ddddddddddddd\r\n e\r\n");
    EXPECT_FALSE(header.SetValue(u"line\r\nBcc: x") || header.Create("no field"));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
}

} // namespace
