#include "server/Mailbox.h"

#include "platform/LastError.h"
#include "support/FaultySystemCalls.h"
#include "support/TestMailStore.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

namespace
{

// The value of a property as a text, or "!" and the last error.
template <class Type>
std::string Read(const CMailbox& mailbox, const char* name)
{
    Type value{};
    SetLastError(0);
    if (!mailbox.GetProperty(name, &value)) {
        return "!" + std::to_string(GetLastError());
    }
    if constexpr (std::is_same_v<Type, std::string>) {
        return value;
    } else {
        return std::to_string(value);
    }
}

std::string Read(const CMailbox& mailbox, char type, const char* name)
{
    switch (type) {
    case 'n':
        return Read<std::uint32_t>(mailbox, name);
    case 'b':
        return Read<bool>(mailbox, name);
    default:
        return Read<std::string>(mailbox, name);
    }
}

TEST(MailboxTest, NameThatIsNoPlainComponentTouchesNoFile)
{
    const CTestMailStore store;
    const std::string longest(255, 'x');
    const std::string tooLong(256, 'x');
    CFaultySystemCalls calls;
    for (const char* name : {"", ".", "..", "../alice", "alice/cur", "/", ".hidden", "a b", "a\tb",
                             "a\nb", "a\x7F", "a\xFF", tooLong.c_str()}) {
        SCOPED_TRACE(name);
        CMailbox mailbox;
        CMailOwner owner;
        EXPECT_FALSE(mailbox.Open(store.server, name, "example.org"));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
        EXPECT_FALSE(mailbox.Open(store.server, "alice", name));
        EXPECT_FALSE(owner.Open(store.server, name, "example.org", 0));
        SetLastError(0);
        EXPECT_EQ(StartMailboxEnumeration(store.server, name), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(calls.Calls(), 0);
    CMailbox mailbox;
    EXPECT_FALSE(mailbox.Open(store.server, longest.c_str(), "example.org"));
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST(MailboxTest, PropertyComesFromTheNearestFileThatHoldsIt)
{
    static const struct
    {
        const char *what, *own, *domain, *server;
        char type;
        const char *name, *expected;
    } kCases[] = {
        {"own value", R"({"City":"A"})", R"({"City":"B"})", "{}", 't', "City", "A"},
        {"domain's value", R"({})", R"({"City":"B"})", R"({"City":"C"})", 't', "City", "B"},
        {"server's value", "", "", R"({"City":"C"})", 't', "City", "C"},
        {"null is absent", R"({"City":"A","City":null})", "", R"({"City":"C"})", 't', "City", "C"},
        {"empty is a value", R"({"City":""})", R"({"City":"B"})", "", 't', "City", ""},
        {"text nobody filled in", "", "", "", 't', "OtherMailbox", ""},
        {"the contact's title", "", "", "", 't', "Title", ""},
        {"other case", R"({"fullNAME":"Ann"})", "", "", 't', "FullName", "Ann"},
        {"unknown name", "", "", "", 't', "Quota", "!1168"},
        {"unknown to a mailbox's contact", "", "", "", 't', "WssReplicationId", ""},
        {"effective", R"({"Mask":4})", "", R"({"Mask":1})", 'n', "MaskEffective", "4"},
        {"effective alone", R"({"Effective":4})", "", "", 'n', "Effective", "4"},
        {"largest number", R"({"N":4294967295})", "", "", 'n', "N", "4294967295"},
        {"number too large", R"({"N":4294967296})", "", "", 'n', "N", "!13"},
        {"negative number", R"({"N":-1})", "", "", 'n', "N", "!13"},
        {"fraction", R"({"N":1.5})", "", "", 'n', "N", "!13"},
        {"truth value", R"({"On":true})", "", "", 'b', "On", "1"},
        {"other type does not fall through", R"({"N":"4"})", R"({"N":4})", "", 'n', "N", "!13"},
        {"number as text", R"({"PostCode":12345})", "", "", 't', "PostCode", "!13"},
        {"object as text", R"({"City":{"City":"A"}})", "", "", 't', "City", "!13"},
        {"not what is nested", R"({"x":{"City":"A"},"y":["City"]})", "", "", 't', "City", ""},
        {"last of two", R"({"City":"A","City":"B"})", "", "", 't', "City", "B"},
        {"UTF-8 and escapes", R"({"City":"Kölün"})", "", "", 't', "City", "K\u00F6l\u00FCn"},
        {"byte order mark", "\xEF\xBB\xBF{\"City\":\"A\"}", "", "", 't', "City", "A"},
        {"no JSON", R"({"City":"A")", R"({"City":"B"})", "", 't', "City", "!13"},
        {"no object", R"(["City"])", "", "", 't', "City", "!13"},
        {"no UTF-8", "{\"City\":\"\xE4\"}", "", "", 't', "City", "!13"},
        {"broken file that is not reached", R"({"City":"A"})", "x", "x", 't', "City", "A"},
        {"broken file on the way", "{}", "x", R"({"City":"C"})", 't', "City", "!13"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTestMailStore store;
        const std::pair<const char*, const char*> files[] = {
            {"example.org/alice/properties.json", c.own},
            {"example.org/properties.json", c.domain},
            {"properties.json", c.server}};
        for (const auto& [name, text] : files) {
            if (*text != '\0') {
                store.folder.Write(name, text);
            }
        }
        EXPECT_EQ(Read(store.OpenAlice(), c.type, c.name), c.expected);
    }
}

TEST(MailboxTest, HugeOrDeepFileNeitherCrashesNorReads)
{
    const CTestMailStore store;
    const std::string brackets(100'000, '[');
    std::string text;
    const std::string closed = brackets + std::string(brackets.size(), ']');
    store.Deliver("properties.json", "{\"x\":" + brackets);
    EXPECT_EQ(Read<std::string>(store.OpenAlice(), "City"), "!13");
    store.Deliver("properties.json", "{\"x\":" + closed + ",\"City\":\"A\"}");
    EXPECT_EQ(Read<std::string>(store.OpenAlice(), "City"), "A");
    store.Deliver("properties.json", "{\"City\":\"" + std::string(2 << 20, 'A') + "\"}");
    EXPECT_FALSE(store.OpenAlice().GetProperty("City", &text));
    EXPECT_EQ(GetLastError(), ERROR_FILE_TOO_LARGE);
}

TEST(MailboxTest, SharedFilesAreReadAgainOnlyWhenTheyChange)
{
    const CTestMailStore store;
    store.AddMailbox("example.org/bob");
    store.folder.Write("example.org/properties.json", R"({"City":"A"})");
    const CMailbox alice = store.OpenAlice();
    EXPECT_EQ(Read<std::string>(alice, "City"), "A");

    CMailbox bob;
    {
        // For the mailbox 1, for its own file and the server's, which are missing, 2 each.
        const CFaultySystemCalls calls;
        ASSERT_TRUE(bob.Open(store.server, "bob", "example.org"));
        EXPECT_EQ(Read<std::string>(bob, "City"), "A");
        EXPECT_LE(calls.Calls(), 6);
    }
    store.folder.Write("example.org/properties.json", R"({"City":"Bern"})");
    ASSERT_TRUE(bob.Open(store.server, "bob", "example.org"));
    EXPECT_EQ(Read<std::string>(bob, "City"), "Bern");
    EXPECT_EQ(Read<std::string>(alice, "City"), "A");
}

TEST(MailboxTest, ThreadsReadOneOpenMailbox)
{
    const CTestMailStore store;
    store.Deliver("properties.json", R"({"City":"A","Mask":4})");
    const CMailbox mailbox = store.OpenAlice();
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            CMailbox other;
            wrong += Read<std::string>(mailbox, "City") != "A";
            wrong += !other.Open(GetMailboxServerHandle(mailbox), "alice", "example.org");
            wrong += Read<std::uint32_t>(other, "Mask") != "4";
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST(MailboxTest, WalkGivesTheDomainsMailboxesInOrder)
{
    const CTestMailStore store;
    const std::string longest(64, 'm');
    for (const std::string& name : {std::string("bob"), std::string(".hidden"), std::string("a b"),
                                    longest, longest + "m", std::string("Zoe")}) {
        store.AddMailbox("example.org/" + name);
    }
    std::filesystem::create_directories(store.folder / "example.org/folder/new");
    store.folder.Write("example.org/properties.json", "{}");
    store.AddMailbox("example.net/eve");

    _tMailboxEnumeration* walk = StartMailboxEnumeration(store.server, "example.org");
    std::vector<std::string> names;
    char name[65];
    std::uint32_t flags = 7;
    for (std::uint32_t size = 64; FindNextMailbox(walk, name, &size, &flags); size = 64) {
        names.emplace_back(name);
        EXPECT_EQ(size, names.back().size());
        EXPECT_EQ(flags, 0u);
    }
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_EQ(names, (std::vector<std::string>{"Zoe", "alice", "bob", longest}));
    EXPECT_TRUE(CloseMailboxEnumeration(walk));

    std::uint32_t size = 64;
    EXPECT_EQ(StartMailboxEnumeration(store.server, "example.com"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(FindNextMailbox(nullptr, name, &size, nullptr), 0);
    EXPECT_EQ(CloseMailboxEnumeration(nullptr), 0);
}

} // namespace
