#include "server/MailMessage.h"

#include "platform/LastError.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

#include <cstdlib>

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

// The text as gzip writes it.
std::string Gzip(const std::string& text)
{
    const CTempFolder folder;
    const std::string path = folder.Write("text", text);
    EXPECT_EQ(std::system(("gzip -n '" + path + "'").c_str()), 0);
    return folder.Read("text.gz");
}

TEST(MailMessageTest, CompressedMessagesAreReadOrNamed)
{
    using namespace std::string_literals;
    const std::string gzip = Gzip("From: a@b\n\n" + std::string(3000, 'x'));
    const std::string nothing = Gzip("");
    std::string manyNothings;
    for (int i = 0; i < 20'000; ++i) {
        manyNothings += nothing;
    }
    const std::string text = "\nFrom: a\n\n";
    const struct
    {
        const char* what;
        std::string file, from, compression;
    } kCases[] = {
        {"plain", "From: a\n\n", "a", ""},
        {"gzip", gzip, "a@b", "gzip"},
        {"two members and some zeros", Gzip("X: y\nFr") + Gzip("om: a\n\n") + "\0\0"s, "a", "gzip"},
        {"member cut off", gzip.substr(0, gzip.size() - 9), "!13", "gzip"},
        {"wrong checksum", gzip.substr(0, gzip.size() - 8) + "12345678", "!13", "gzip"},
        {"no data", gzip.substr(0, 10), "!13", "gzip"},
        {"large header", Gzip("X: " + std::string(20'000'000, 'x') + text), "!1168", "gzip"},
        {"members without text", manyNothings + Gzip(text), "!13", "gzip"},
        {"bzip2", "BZh91AY&SY" + text, "!618", "bzip2"},
        {"no bzip2", "BZh9: y" + text, "a", ""},
        {"xz", "\xFD\x37zXZ\0"s + text, "!618", "xz"},
        {"lz4", "\x04\x22\x4D\x18" + text, "!618", "lz4"},
        {"lz4 of mail servers", "Dovecot-LZ4\r\x2A\x9B\xC5" + text, "!618", "lz4"},
        {"zstd", "\x28\xB5\x2F\xFD" + text, "!618", "zstd"},
    };
    const CTestMailStore store;
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        store.Deliver("cur/1", c.file);
        EXPECT_EQ(FromOf(store), c.from);
        CMailFolder folder = store.OpenFolder();
        CMailMessage message;
        ASSERT_TRUE(message.Open(folder, "1", 0));
        EXPECT_EQ(message.GetCompression(), c.compression);
        const char* value = nullptr;
        EXPECT_EQ(message.GetHeader("From", &value), c.from.front() != '!') << "and then read";
    }
}

TEST(MailMessageTest, WholeTextIsReadUpToItsCap)
{
    const std::string largest = "From: a\n\n" + std::string((4 << 20) - 9, 'x');
    const CTestMailStore store;
    for (const bool isGzip : {false, true}) {
        for (const bool isTooLarge : {false, true}) {
            const std::string text = largest + (isTooLarge ? "x" : "");
            store.Deliver("cur/1", isGzip ? Gzip(text) : text);
            CMailFolder folder = store.OpenFolder();
            CMailMessage message;
            const char* from = nullptr;
            std::string all;
            ASSERT_TRUE(message.Open(folder, "1", 0) && message.GetHeader("From", &from));
            EXPECT_EQ(message.ReadAll(&all), !isTooLarge);
            EXPECT_TRUE(isTooLarge ? GetLastError() == ERROR_FILE_TOO_LARGE : all == text);
            EXPECT_TRUE(message.GetHeader("FROM", &from));
            EXPECT_STREQ(from, "a");
        }
    }
}

} // namespace
