#include "server/Message.h"

#include "platform/LastError.h"
#include "server/MessageInMessageStore.h"
#include "server/Utf8String.h"
#include "support/TestMailStore.h"

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
        isOpen = message.Open(folder, "1");
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
    bool isOpen = false;
};

std::string Typed(const std::string& fields, const std::string& body)
{
    return "From: a\n" + fields + "\n\n" + body;
}

TEST(MessageTest, RootPartGivesItsTextInUtf8)
{
    const std::string plain = "Content-Type: text/plain";
    const std::string koi8 = plain + "; charset=koi8-r";
    const std::string utf8 = plain + "; charset=\"UTF-8\"";
    const std::string quoted = "\nContent-Transfer-Encoding: quoted-printable";
    const std::string base64 = "\nContent-Transfer-Encoding: BASE64";
    const struct
    {
        const char* what;
        std::string message, expected;
    } kCases[] = {
        {"no type", "From: a\n\nNAME:b\n", "NAME:b\n"},
        {"CR LF stays", "From: a\r\n\r\nNAME:b\r\n", "NAME:b\r\n"},
        {"empty body", "From: a\n\n", ""},
        {"no body", "From: a", ""},
        {"no header", "\nNAME:b\n", "NAME:b\n"},
        {"NUL in the body", Typed(plain, std::string("a\0b", 3)), std::string("a\0b", 3)},
        {"quoted-printable", Typed(utf8 + quoted, "J=C3=B6=\nrg=3D"), "J\xC3\xB6rg="},
        {"base64", Typed(utf8 + base64, "TkFNRTpi\r\nCg==\r\n"), "NAME:b\n"},
        {"base64 cut off", Typed(utf8 + base64, "TkFNRTpiCg"), "NAME:b"},
        {"base64 with dirt", Typed(utf8 + base64, "T-k_F N!RTpiCg=="), "NAME:b\n"},
        {"koi8-r", Typed(koi8, "\xED\xC9\xD2"), "\u041C\u0438\u0440"},
        {"utf-16", Typed(plain + "; charset=utf-16be", std::string("\0a\0b", 4)), "ab"},
        {"bytes that are no UTF-8", Typed(utf8, "J\xF6rg"), "J\xEF\xBF\xBDrg"},
        {"bytes the charset lacks",
         Typed(plain + "; charset=shift_jis", "a\xFF"
                                              "b"),
         "a\xEF\xBF\xBD"
         "b"},
        {"character cut off", Typed(plain + "; charset=gb18030", "a\x81\x30\x81"), "a\xEF\xBF\xBD"},
        {"unknown charset, UTF-8", Typed(plain + "; charset=x-none", "J\xC3\xB6"), "J\xC3\xB6"},
        {"unknown charset, not UTF-8", Typed(plain + "; charset=x//y", "J\xF6"), "J\xC3\xB6"},
        {"no charset, not UTF-8", Typed(plain, "J\xF6"), "J\xC3\xB6"},
        {"type that cannot be read", Typed("Content-Type: text", "a"), "a"},
        {"octets", Typed("Content-Type: application/octet-stream", "a"), "!13"},
        {"multipart", Typed("Content-Type: multipart/mixed; boundary=b", "--b\n\na\n--b--\n"),
         "!13"},
        {"empty file", "", "!13"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        CStoredMessage stored(c.message);
        ASSERT_TRUE(stored.isOpen);
        EXPECT_EQ(stored.Text(), c.expected);
    }
}

TEST(MessageTest, HostileStructureIsNoDanger)
{
    std::string nested = "From: a\n";
    for (int i = 0; i < 50'000; ++i) {
        const std::string boundary = "b" + std::to_string(i);
        nested +=
            "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n--" + boundary + "\n";
    }
    EXPECT_EQ(CStoredMessage(nested).Text(), "!13");

    std::string words = "Reply-To: ";
    for (int i = 0; i < 20'000; ++i) {
        words += "=?utf-8?q?Group?=\r\n ";
    }
    constexpr std::size_t kNulCount = 2 << 20;
    words.append(kNulCount, '\0');
    CStoredMessage large(words + "\r\nX: " + std::string(1 << 20, '(') + "\n\nNAME:b\n");
    EXPECT_EQ(large.Text(), "NAME:b\n");
    const CMailHeader* header = large.message.GetRootBodyPart()->GetHeader("reply-to");
    ASSERT_NE(header, nullptr);
    EXPECT_EQ(std::u16string_view(header->GetValue()).size(), 100'001 + kNulCount);
}

TEST(MessageTest, MessageOverTheCapIsNotRead)
{
    CStoredMessage stored("From: a\n\n");
    std::filesystem::resize_file(stored.store / "cur/1", 4 << 20);
    EXPECT_TRUE(stored.message.Open(stored.folder, "1"));
    EXPECT_EQ(stored.message.GetSize(), 4u << 20);
    std::filesystem::resize_file(stored.store / "cur/1", (4 << 20) + 1);
    EXPECT_FALSE(stored.message.Open(stored.folder, "1"));
    EXPECT_EQ(GetLastError(), ERROR_FILE_TOO_LARGE);
    EXPECT_EQ(stored.message.GetRootBodyPart(), nullptr);
}

TEST(MessageTest, PartsAreMadeOnceAndEndWithTheMessage)
{
    CStoredMessage stored("From: a\nReply-To: =?utf-8?b?R3JvdXA=?=\n\nNAME:b\n");
    CBodyPart* root = stored.message.GetRootBodyPart();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(stored.message.GetRootBodyPart(), root);
    const CMailHeader* header = root->GetHeader("Reply-To");
    ASSERT_NE(header, nullptr);
    EXPECT_STREQ(header->GetName(), "Reply-To");
    EXPECT_EQ(std::u16string(header->GetValue()), u"Group");
    EXPECT_EQ(root->GetHeader("To"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);

    const std::uint32_t size = stored.message.GetSize();
    EXPECT_EQ(std::string_view(stored.message.GetBodySegment(size - 7, 7), 7), "NAME:b\n");
    EXPECT_NE(stored.message.GetBodySegment(size, 0), nullptr);
    EXPECT_EQ(stored.message.GetBodySegment(size, 1), nullptr);
    EXPECT_EQ(stored.message.GetBodySegment(0xFFFFFFFF, 8), nullptr);

    stored.store.Deliver("cur/2", "From: a\n\nNAME:c\n");
    ASSERT_TRUE(stored.message.Open(stored.folder, "2"));
    EXPECT_EQ(stored.Text(), "NAME:c\n");
    EXPECT_FALSE(stored.message.Open(stored.folder, "3"));
    EXPECT_EQ(stored.message.GetSize(), 0u);
}

TEST(MailHeaderTest, FieldSurvivesWritingAndReading)
{
    const std::u16string longWord(100, u'w');
    const std::u16string values[] = {u"",
                                     u"two  blanks and\ta tab",
                                     u" blanks around ",
                                     u"=?utf-8?q?literal?=",
                                     longWord + u" " + longWord + u" end",
                                     std::u16string(30, u'\u4E2D') + u" \U0001F600 " + longWord};
    for (const std::u16string& value : values) {
        CMailHeader header;
        ASSERT_TRUE(header.Create("X-Name: before"));
        ASSERT_TRUE(header.SetValue(value.c_str()));
        for (const std::uint32_t length : {0u, 20u, 78u}) {
            std::string text;
            CMailHeader again;
            ASSERT_TRUE(header.Write(&text, length));
            ASSERT_TRUE(again.Create(text.c_str()));
            EXPECT_EQ(std::u16string(again.GetValue()), value);
        }
    }
    CMailHeader header;
    std::string text;
    ASSERT_TRUE(header.Create("X: aaaa bbbb  cccc ddddddddddddd e"));
    ASSERT_TRUE(header.Write(&text, 12));
    EXPECT_EQ(text, "X: aaaa bbbb\r\n  cccc\r\n ddddddddddddd\r\n e\r\n");
    EXPECT_FALSE(header.SetValue(u"line\r\nBcc: x"));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
    EXPECT_FALSE(header.Create("no field"));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
}

} // namespace
