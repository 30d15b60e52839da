#include "server/MailMessage.h"

#include "platform/LastError.h"
#include "support/FaultySystemCalls.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

CMailMessage Open(const CTestMailStore& store, const char* id = "1")
{
    CMailFolder folder = store.OpenFolder();
    CMailMessage message;
    message.Open(folder, id, 0);
    return message;
}

// A header's value, or "!" and the last error.
std::string Header(const CMailMessage& message, const char* name)
{
    const char* value = nullptr;
    return message.GetHeader(name, &value) ? value : "!" + std::to_string(GetLastError());
}

TEST(MailMessageTest, FirstFieldOfTheNameIsUnfoldedTrimmedUtf8)
{
    static const struct
    {
        const char* what;
        std::string text, expected;
    } kCases[] = {
        {"plain", "To: b\nFrom: a@example.org\n\nx", "a@example.org"},
        {"CR LF", "From: a@example.org\r\n\r\nx", "a@example.org"},
        {"other case", "FROM:a@example.org\n\n", "a@example.org"},
        {"blank in front of the colon", "From : a@example.org\n\n", "a@example.org"},
        {"folded", "From: Ann\r\n Lee\r\n\t<a@example.org> \r\nTo: b\r\n\r\n",
         "Ann Lee\t<a@example.org>"},
        {"fold of blanks only", "From: a\n \n b\n\n", "a  b"},
        {"empty", "From:\nTo: b\n\n", ""},
        {"first of two", "From: a\nFrom: b\n\n", "a"},
        {"name is not a beginning", "From-Line: a\nFrom: b\n\n", "b"},
        {"in a folded line", "To: b\n From: a\n\n", "!1168"},
        {"behind the header", "To: b\n\nFrom: a\n\n", "!1168"},
        {"behind an empty first line", "\nFrom: a\n\n", "!1168"},
        {"header without end", "To: b\nFrom: a", "a"},
        {"empty message", "", "!1168"},
        {"mbox line", "From b@example.org Sat Jan  3 01:05:34 1996\nFrom: a\n\n", "a"},
        {"line that is no field", "Received by someone\nFrom: a\n\n", "a"},
        {"byte order mark",
         "\xEF\xBB\xBF"
         "From: a\n\n",
         "a"},
        {"encoded word stays", "From: =?utf-8?q?J=C3=B6?= <j@example.org>\n\n",
         "=?utf-8?q?J=C3=B6?= <j@example.org>"},
        {"raw UTF-8", "From: J\xC3\xB6\n\n", "J\xC3\xB6"},
        {"raw Latin-1", "From: J\xF6\n\n", "J\xC3\xB6"},
        {"NUL", std::string("From: a\0b\n\n", 11),
         "a\xEF\xBF\xBD"
         "b"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTestMailStore store;
        store.Deliver("cur/1:2,S", c.text);
        EXPECT_EQ(Header(Open(store), "From"), c.expected);
    }
}

TEST(MailMessageTest, HeaderIsReadInPiecesUpToItsCap)
{
    // The field begins in one piece and ends in the next, or right at the border of the two.
    const CTestMailStore store;
    for (const std::size_t border : {4096u, 16384u, 65536u}) {
        for (std::size_t start = border - 20; start < border + 3; ++start) {
            SCOPED_TRACE(start);
            const std::string filler = "X: " + std::string(start - 4, 'x') + "\n";
            store.Deliver("cur/1", filler + "From: a@b\r\n (c)\r\nTo: b\r\n\r\n");
            EXPECT_EQ(Header(Open(store), "From"), "a@b (c)");
        }
    }
    for (const char* field : {"X: ", "From: a@b"}) {
        store.Deliver("cur/1", field + std::string(300'000, 'x') + "\nFrom: a\n\n");
        EXPECT_EQ(Header(Open(store), "From"), "!1168");
    }
}

TEST(MailMessageTest, ValuesLastAsLongAsTheMessageIsOpen)
{
    const CTestMailStore store;
    store.Deliver("cur/1", "From: a\nTo: b\nX: " + std::string(10'000, 'x') + "\n\n");
    SetAge(store / "cur/1", std::chrono::hours(5));
    CMailMessage message = Open(store);
    const char* from = nullptr;
    const char* other = nullptr;
    ASSERT_TRUE(message.GetHeader("From", &from));
    std::string text;
    EXPECT_TRUE(message.ReadAll(&text));
    EXPECT_EQ(text, store.folder.Read("example.org/alice/cur/1"));
    ASSERT_TRUE(message.GetHeader("X", &other));
    EXPECT_EQ(other, std::string(10'000, 'x'));
    EXPECT_TRUE(message.GetHeader("To", &other));
    EXPECT_STREQ(from, "a");
    EXPECT_STREQ(other, "b");

    FILETIME time;
    EXPECT_TRUE(message.GetInternalTime(&time));
    EXPECT_EQ(time, LastWriteTime(store / "cur/1"));
    message.Close();
    EXPECT_EQ(Header(message, "From"), "!6");
    EXPECT_FALSE(message.GetInternalTime(&time));
}

} // namespace
