#include "server/MailStoreAdmin.h"

#include "platform/FolderLock.h"
#include "platform/LastError.h"
#include "support/FaultySystemCalls.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

using Settings = std::vector<CMailboxPropertySetting>;

bool Set(const CTestMailStore& store, const Settings& settings)
{
    return SetMailboxProperties(store.server, "alice", "example.org", settings);
}

std::string Properties(const CTestMailStore& store)
{
    return store.folder.Read("example.org/alice/properties.json");
}

TEST(MailStoreAdminTest, NewMailboxOpensAndIsMadeOnce)
{
    const CTestMailStore store;
    CMailServer server;
    ASSERT_TRUE(server.Open((store.folder.Path() + "/deep-%d/x/%n/Maildir").c_str()));
    EXPECT_TRUE(CreateMailbox(server, "bob", "example.net"));
    CMailbox mailbox;
    EXPECT_TRUE(mailbox.Open(server, "bob", "example.net"));
    for (const char* name : {"cur", "new", "tmp"}) {
        EXPECT_TRUE(std::filesystem::is_directory(
            store.folder / ("deep-example.net/x/bob/Maildir/" + std::string(name))));
    }
    EXPECT_FALSE(CreateMailbox(server, "bob", "example.net"));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_FALSE(CreateMailbox(server, "../bob", "example.net"));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(MailStoreAdminTest, MailboxThatCouldNotBeMadeIsNoneAndARetryMakesIt)
{
    for (int call = 1;; ++call) {
        SCOPED_TRACE(call);
        const CTestMailStore store;
        CFaultySystemCalls calls;
        calls.FailAt(call, ENOSPC);
        const bool isMade = CreateMailbox(store.server, "bob", "example.net");
        if (!calls.WasHit()) {
            EXPECT_TRUE(isMade);
            break;
        }
        EXPECT_FALSE(isMade);
        EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
        CMailbox mailbox;
        EXPECT_FALSE(mailbox.Open(store.server, "bob", "example.net"));
        EXPECT_TRUE(CreateMailbox(store.server, "bob", "example.net"));
        EXPECT_TRUE(mailbox.Open(store.server, "bob", "example.net"));
    }
}

TEST(MailStoreAdminTest, SettingKeepsAllElseAndTheTypes)
{
    static const MailServerPropertyRecord kRecords[] = {
        {"AdminMask", kMailServerPropertyNumber, 0, 11}, {nullptr, 0, 0, 0}};
    ASSERT_EQ(RegisterMailServerPropertyFamily("Admin", kRecords), 0);
    const std::string deep = "{\"x\":" + std::string(64, '[') + std::string(64, ']') + "}";
    const struct
    {
        const char* what;
        std::string before;
        Settings settings;
        std::string after; // without white space
        std::uint32_t error;
    } kCases[] = {
        {"no file yet", "", {{"City", "Bern"}}, R"({"City":"Bern"})", 0},
        {"order stays",
         R"({"b":1,"a":[1.5,{"z":null}]})",
         {{"City", "Bern"}},
         R"({"b":1,"a":[1.5,{"z":null}],"City":"Bern"})",
         0},
        {"other case replaces",
         R"({"CITY":"A","x":""})",
         {{"City", "B"}},
         R"({"CITY":"B","x":""})",
         0},
        {"digits of a text", "", {{"PostCode", "3000"}}, R"({"PostCode":"3000"})", 0},
        {"registered number", "", {{"AdminMask", "4"}}, R"({"AdminMask":4})", 0},
        {"number stays one", R"({"Quota":1})", {{"quota", "2"}}, R"({"Quota":2})", 0},
        {"truth value stays one", R"({"On":true})", {{"On", "false"}}, R"({"On":false})", 0},
        {"empty removes", R"({"City":"A","x":1})", {{"city", ""}, {"y", ""}}, R"({"x":1})", 0},
        {"no number", R"({"x":1})", {{"City", "A"}, {"AdminMask", "4x"}}, R"({"x":1})", 87},
        {"number too large", "", {{"AdminMask", "4294967296"}}, "", 87},
        {"no truth value", R"({"On":true})", {{"On", "1"}}, R"({"On":true})", 87},
        {"no name", "", {{"", "x"}}, "", 87},
        {"no UTF-8", "", {{"City", "\xE4"}}, "", 87},
        {"no JSON", R"({"City":)", {{"City", "A"}}, R"({"City":)", 13},
        {"nested too deep", deep, {{"City", "A"}}, deep, 13},
        {"too large", "", {{"City", std::string(1 << 20, 'x')}}, "", 223},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTestMailStore store;
        if (!c.before.empty()) {
            store.Deliver("properties.json", c.before);
        }
        SetLastError(0);
        EXPECT_EQ(Set(store, c.settings), c.error == 0);
        EXPECT_EQ(GetLastError(), c.error);
        std::string after = Properties(store);
        std::erase_if(after, [](char byte) { return byte == ' ' || byte == '\n'; });
        EXPECT_EQ(after, c.after);
        EXPECT_TRUE(std::filesystem::is_empty(store / "tmp"));
    }
}

TEST(MailStoreAdminTest, FaultOrDeathLeavesTheOldOrTheNewProperties)
{
    const std::string before = R"({"City":"Bern"})";
    for (const bool isDying : {false, true}) {
        for (int call = 1;; ++call) {
            SCOPED_TRACE(call);
            const CTestMailStore store;
            store.Deliver("properties.json", before);
            CFaultySystemCalls calls;
            isDying ? calls.DieAt(call) : calls.FailAt(call, EIO);
            const bool isSet = Set(store, {{"City", "Basel"}});
            const bool wasHit = calls.WasHit();
            isDying ? calls.Bury() : calls.FailAt(0, 0);
            const std::string after = Properties(store);
            if (after != before) {
                EXPECT_NE(after.find("\"Basel\"\n}"), std::string::npos) << after;
            }
            if (!wasHit) {
                EXPECT_TRUE(isSet);
                break;
            }
            if (!isDying && !isSet) {
                EXPECT_EQ(GetLastError(), ERROR_IO_DEVICE);
                EXPECT_EQ(after, before);
                EXPECT_EQ(calls.OpenFiles(), 0u);
            }
            EXPECT_TRUE(Set(store, {{"City", "Basel"}})); // whatever was left behind
            EXPECT_NE(Properties(store).find("Basel"), std::string::npos);
        }
    }
}

TEST(MailStoreAdminTest, OnlyOneSetsAtATime)
{
    const CTestMailStore store;
    CFolderLock other;
    ASSERT_TRUE(other.AcquireExclusive((store / "tmp").c_str()));
    EXPECT_FALSE(Set(store, {{"City", "Bern"}}));
    EXPECT_EQ(GetLastError(), ERROR_LOCK_VIOLATION);
    other.Release();
    EXPECT_TRUE(Set(store, {{"City", "Bern"}}));
}

TEST(MailStoreAdminTest, CheckNamesTheFileAndTheLine)
{
    static const struct
    {
        const char *what, *file, *text;
        std::uint32_t line;
    } kCases[] = {
        {"first line", "properties.json", "City", 1},
        {"missing comma", "example.org/properties.json", "{\n\"a\": 1\n\"b\": 2\n}", 3},
        {"end missing", "example.org/alice/properties.json", "{\n\"a\": 1\n", 3},
        {"text over two lines", "properties.json", "{\n\"a\": \"b\nc\"}", 2},
        {"no object", "properties.json", "\n\n[]", 3},
        {"behind the object", "properties.json", "{}\n{}", 2},
        {"empty file", "properties.json", "", 1},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTestMailStore store;
        CPropertyFileFault fault;
        EXPECT_TRUE(CheckPropertyFiles(store.server, "alice", "example.org", &fault));
        const std::string path = store.folder.Write(c.file, c.text);
        EXPECT_FALSE(CheckPropertyFiles(store.server, "alice", "example.org", &fault));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
        EXPECT_EQ(fault.path, path);
        EXPECT_EQ(fault.line, c.line);
    }
}

} // namespace
