#include "server/Mailbox.h"

#include "platform/LastError.h"
#include "support/FaultySystemCalls.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

// The value of a property as a text, or "!" and the last error.
template <class Type>
std::string Read(const CMailbox& mailbox, const char* name)
{
    Type value{};
    if (!mailbox.GetProperty(name, &value)) {
        return "!" + std::to_string(GetLastError());
    }
    if constexpr (std::is_same_v<Type, std::string>) {
        return value;
    } else {
        return std::to_string(value);
    }
}

TEST(MailboxTest, NameThatIsNoPlainComponentTouchesNoFile)
{
    const CTestMailStore store;
    const std::string tooLong(256, 'x');
    CFaultySystemCalls calls;
    for (const char* name :
         {"", "..", "../alice", "/", ".hidden", "a b", "a\nb", "a\xFF", tooLong.c_str()}) {
        SCOPED_TRACE(name);
        CMailbox mailbox;
        EXPECT_FALSE(mailbox.Open(store.server, name, "example.org"));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
        EXPECT_FALSE(mailbox.Open(store.server, "alice", name));
        EXPECT_FALSE(CMailOwner().Open(store.server, name, "example.org", 0));
        SetLastError(0);
        EXPECT_EQ(StartMailboxEnumeration(store.server, name), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(calls.Calls(), 0);
}

TEST(MailboxTest, PropertyComesFromTheNearestFileThatHoldsIt)
{
    static const struct
    {
        const char *what, *own, *domain, *server;
        char type;
        const char *name, *expected;
    } kCases[] = {
        {"domain's value", R"({})", R"({"City":"B"})", R"({"City":"C"})", 't', "City", "B"},
        {"null is absent", R"({"City":"A","City":null})", "", R"({"City":"C"})", 't', "City", "C"},
        {"unknown name", "", "", "", 't', "Quota", "!1168"},
        {"effective", R"({"Mask":4})", "", R"({"Mask":1})", 'n', "MaskEffective", "4"},
        {"largest number", R"({"N":4294967295})", "", "", 'n', "N", "4294967295"},
        {"other type does not fall through", R"({"N":"4"})", R"({"N":4})", "", 'n', "N", "!13"},
        {"not what is nested", R"({"x":{"City":"A"},"y":["City"]})", "", "", 't', "City", ""},
        {"byte order mark", "\xEF\xBB\xBF{\"City\":\"A\"}", "", "", 't', "City", "A"},
        {"no JSON", R"({"City":"A")", R"({"City":"B"})", "", 't', "City", "!13"},
        {"broken file that is not reached", R"({"City":"A"})", "x", "x", 't', "City", "A"},
        {"broken file on the way", "{}", "x", R"({"City":"C"})", 't', "City", "!13"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTestMailStore store;
        for (const auto& [name, text] : {std::pair{"example.org/alice/properties.json", c.own},
                                         {"example.org/properties.json", c.domain},
                                         {"properties.json", c.server}}) {
            if (*text != '\0') {
                store.folder.Write(name, text);
            }
        }
        const CMailbox alice = store.OpenAlice();
        EXPECT_EQ(c.type == 'n' ? Read<std::uint32_t>(alice, c.name)
                                : Read<std::string>(alice, c.name),
                  c.expected);
    }
}

TEST(MailboxTest, HugeOrDeepFileNeitherCrashesNorReads)
{
    const CTestMailStore store;
    const std::string brackets(100'000, '[');
    store.Deliver("properties.json", "{\"x\":" + brackets);
    EXPECT_EQ(Read<std::string>(store.OpenAlice(), "City"), "!13");
    store.Deliver("properties.json",
                  "{\"x\":" + brackets + std::string(brackets.size(), ']') + ",\"City\":\"A\"}");
    EXPECT_EQ(Read<std::string>(store.OpenAlice(), "City"), "A");
    store.Deliver("properties.json", "{\"City\":\"" + std::string(2 << 20, 'A') + "\"}");
    EXPECT_EQ(Read<std::string>(store.OpenAlice(), "City"),
              "!" + std::to_string(ERROR_FILE_TOO_LARGE));
}

TEST(MailboxTest, SharedFilesAreReadAgainOnlyWhenTheyChange)
{
    const CTestMailStore store;
    store.folder.Write("example.org/properties.json", R"({"City":"A"})");
    const CMailbox first = store.OpenAlice();
    EXPECT_EQ(Read<std::string>(first, "City"), "A");
    {
        // For the mailbox 1, for its own file and the server's, which are missing, 2 each.
        const CFaultySystemCalls calls;
        EXPECT_EQ(Read<std::string>(store.OpenAlice(), "City"), "A");
        EXPECT_LE(calls.Calls(), 6);
    }
    store.folder.Write("example.org/properties.json", R"({"City":"Bern"})");
    EXPECT_EQ(Read<std::string>(store.OpenAlice(), "City"), "Bern");
    EXPECT_EQ(Read<std::string>(first, "City"), "A");
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
    store.AddMailbox("example.net/eve");

    _tMailboxEnumeration* walk = StartMailboxEnumeration(store.server, "example.org");
    std::vector<std::string> names;
    char name[65];
    std::uint32_t size = 64;
    for (std::uint32_t flags = 7; FindNextMailbox(walk, name, &size, &flags); size = 64) {
        EXPECT_EQ(size, names.emplace_back(name).size());
        EXPECT_EQ(flags, 0u);
    }
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_EQ(names, (std::vector<std::string>{"Zoe", "alice", "bob", longest}));
    EXPECT_TRUE(CloseMailboxEnumeration(walk));
    EXPECT_EQ(StartMailboxEnumeration(store.server, "example.com"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

} // namespace
