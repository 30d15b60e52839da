#include "server/MailMessage.h"

#include "platform/LastError.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

// The header "From" of the store's one message, or "!" and the last error.
std::string FromOf(const CTestMailStore& store)
{
    CMailFolder folder = store.OpenFolder();
    CMailMessage message;
    EXPECT_TRUE(message.Open(folder, "1", 0));
    const char* value = nullptr;
    return message.GetHeader("From", &value) ? value : "!" + std::to_string(GetLastError());
}

TEST(MailMessageTest, FirstFieldOfTheNameIsUnfoldedTrimmedUtf8)
{
    const std::pair<std::string, std::string> cases[] = {
        {"To: b\nFROM : a@example.org\n\nx", "a@example.org"},
        {"From: Ann\r\n Lee\r\n\t<a@b> \r\nTo: b\r\n\r\n", "Ann Lee\t<a@b>"},
        {"From: a\nFrom: b\n\n", "a"},
        {"From-Line: a\nFrom: b\n\n", "b"},
        {"To: b\n From: a\n\n", "!1168"},
        {"To: b\n\nFrom: a\n\n", "!1168"},
        {"\nFrom: a\n\n", "!1168"},
        {"From b@example.org Sat Jan  3 01:05:34 1996\nFrom: a\n\n", "a"},
        {"Received by someone\nFrom: a\n\n", "a"},
        {"\uFEFFFrom: a\n\n", "a"},
        {"From: J\xF6\n\n", "J\u00F6"},
        {std::string("From: a\0b\n\n", 11), "a\uFFFDb"},
    };
    const CTestMailStore store;
    for (const auto& [text, expected] : cases) {
        SCOPED_TRACE(text);
        store.Deliver("cur/1", text);
        EXPECT_EQ(FromOf(store), expected);
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
            EXPECT_EQ(FromOf(store), "a@b (c)");
        }
    }
    store.Deliver("cur/1", "From: a@b" + std::string(300'000, 'x') + "\nFrom: a\n\n");
    EXPECT_EQ(FromOf(store), "!1168");
}

} // namespace
