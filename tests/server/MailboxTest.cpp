#include "server/Mailbox.h"

#include "platform/LastError.h"
#include "support/FaultySystemCalls.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

// The value of a property as a text, or "!" and the last error.
std::string Read(const CMailbox& mailbox, std::string_view name)
{
    std::string text;
    std::uint32_t number = 0;
    const bool isNumber = name.starts_with("Number");
    if (!(isNumber ? mailbox.GetProperty(name.data(), &number)
                   : mailbox.GetProperty(name.data(), &text))) {
        return "!" + std::to_string(GetLastError());
    }
    return isNumber ? std::to_string(number) : text;
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
    const std::string open(100'000, '['), close(open.size(), ']');
    const std::string tooLarge = "!" + std::to_string(ERROR_FILE_TOO_LARGE);
    const struct
    {
        const char* what;
        std::string own;
        const char *domain, *server, *name;
        std::string expected;
    } kCases[] = {
        {"domain's value", R"({})", R"({"City":"B"})", R"({"City":"C"})", "City", "B"},
        {"null is absent", R"({"City":"A","City":null})", "", R"({"City":"C"})", "City", "C"},
        {"unknown name", "", "", "", "Quota", "!1168"},
        {"effective", R"({"Number":4})", "", R"({"Number":1})", "NumberEffective", "4"},
        {"largest number", R"({"Number":4294967295})", "", "", "Number", "4294967295"},
        {"larger number", R"({"Number":4294967296})", "", "", "Number", "!13"},
        {"negative number", R"({"Number":-1})", "", "", "Number", "!13"},
        {"fraction", R"({"Number":1.5})", "", "", "Number", "!13"},
        {"other type goes no further", R"({"Number":"4"})", R"({"Number":4})", "", "Number", "!13"},
        {"not what is nested", R"({"x":{"City":"A"},"y":["City"]})", "", "", "City", ""},
        {"byte order mark", "\xEF\xBB\xBF{\"City\":\"A\"}", "", "", "City", "A"},
        {"no JSON", R"({"City":"A")", R"({"City":"B"})", "", "City", "!13"},
        {"broken file that is not reached", R"({"City":"A"})", "x", "x", "City", "A"},
        {"broken file on the way", "{}", "x", R"({"City":"C"})", "City", "!13"},
        {"deep without an end", "{\"x\":" + open, "", "", "City", "!13"},
        {"deep", "{\"x\":" + open + close + ",\"City\":\"A\"}", "", "", "City", "A"},
        {"huge", "{\"City\":\"" + std::string(2 << 20, 'A') + "\"}", "", "", "City", tooLarge},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTestMailStore store;
        for (const auto& [name, text] :
             {std::pair<const char*, std::string>{"example.org/alice/properties.json", c.own},
              {"example.org/properties.json", c.domain},
              {"properties.json", c.server}}) {
            if (!text.empty()) {
                store.folder.Write(name, text);
            }
        }
        EXPECT_EQ(Read(store.OpenAlice(), c.name), c.expected);
    }
}

TEST(MailboxTest, SharedFilesAreReadAgainOnlyWhenTheyChange)
{
    const CTestMailStore store;
    store.folder.Write("example.org/properties.json", R"({"City":"A"})");
    const CMailbox first = store.OpenAlice();
    EXPECT_EQ(Read(first, "City"), "A");
    {
        // For the mailbox 1, for its own file and the server's, which are missing, 2 each.
        const CFaultySystemCalls calls;
        EXPECT_EQ(Read(store.OpenAlice(), "City"), "A");
        EXPECT_LE(calls.Calls(), 6);
    }
    store.folder.Write("example.org/properties.json", R"({"City":"Bern"})");
    EXPECT_EQ(Read(store.OpenAlice(), "City"), "Bern");
    EXPECT_EQ(Read(first, "City"), "A");
}

TEST(MailboxTest, WalkGivesTheDomainsMailboxesInOrder)
{
    const CTestMailStore store;
    const std::string longest(64, 'm');
    const std::string tooLong = longest + "m";
    for (const char* name : {"bob", ".hidden", "a b", longest.c_str(), tooLong.c_str(), "Zoe"}) {
        store.AddMailbox("example.org/" + std::string(name));
    }
    std::filesystem::create_directories(store.folder / "example.org/folder/new");
    store.AddMailbox("example.net/eve");

    _tMailboxEnumeration* walk = StartMailboxEnumeration(store.server, "example.org");
    std::vector<std::string> names;
    char name[65];
    std::uint32_t size = 64;
    CMailbox found;
    EXPECT_FALSE(found.Open(nullptr) || found.Open(walk)) << "none was given yet";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    for (std::uint32_t flags = 7; FindNextMailbox(walk, name, &size, &flags); size = 64) {
        EXPECT_EQ(size, names.emplace_back(name).size());
        EXPECT_EQ(flags, 0u);
        EXPECT_TRUE(found.Open(walk));
        EXPECT_STREQ(found.GetName(), name);
    }
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_EQ(names, (std::vector<std::string>{"Zoe", "alice", "bob", longest}));
    EXPECT_TRUE(CloseMailboxEnumeration(walk));
    EXPECT_EQ(StartMailboxEnumeration(store.server, "example.com"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

} // namespace
