#include "server/MailStoreAdmin.h"

#include "platform/LastError.h"
#include "support/FaultySystemCalls.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

constexpr const char* kFile = "example.org/alice/properties.json";

bool Set(const CTestMailStore& store, const std::string& name, const std::string& value)
{
    return SetMailboxProperties(store.server, "alice", "example.org",
                                std::vector{CMailboxPropertySetting{name.c_str(), value.c_str()}});
}

TEST(MailStoreAdminTest, MailboxIsMadeOnceAndOneThatFailedCanBeMadeAgain)
{
    bool wasHit = true;
    for (int call = 1; wasHit; ++call) {
        SCOPED_TRACE(call);
        const CTestMailStore store;
        CMailServer server;
        CMailbox mailbox;
        ASSERT_TRUE(server.Open((store.folder.Path() + "/deep-%d/x/%n/Maildir").c_str()));
        {
            CFaultySystemCalls calls;
            calls.FailAt(call, ENOSPC);
            const bool isMade = CreateMailbox(server, "bob", "example.net");
            wasHit = calls.WasHit();
            EXPECT_EQ(isMade, !wasHit);
            EXPECT_TRUE(isMade || GetLastError() == ERROR_DISK_FULL);
        }
        EXPECT_EQ(mailbox.Open(server, "bob", "example.net"), !wasHit);
        EXPECT_EQ(CreateMailbox(server, "bob", "example.net"), wasHit);
        EXPECT_TRUE(wasHit || GetLastError() == ERROR_ALREADY_EXISTS);
        EXPECT_TRUE(mailbox.Open(server, "bob", "example.net"));
    }
}

TEST(MailStoreAdminTest, SettingKeepsAllElseAndTheTypes)
{
    static const MailServerPropertyRecord kRecords[] = {
        {"AdminMask", kMailServerPropertyNumber, 0, 11}, {nullptr, 0, 0, 0}};
    ASSERT_EQ(RegisterMailServerPropertyFamily("Admin", kRecords), 0);
    const std::string nested = R"({"b":1,"a":[1.5,{"z":null}]})";
    const std::string deep = "{\"x\":" + std::string(64, '[') + std::string(64, ']') + "}";
    const struct
    {
        const char* what;
        std::string before, name, value, after; // without white space
        std::uint32_t error;
    } kCases[] = {
        {"no file yet", "", "City", "Bern", R"({"City":"Bern"})", 0},
        {"order stays", nested, "c", "x", R"({"b":1,"a":[1.5,{"z":null}],"c":"x"})", 0},
        {"other case", R"({"CITY":"A","x":""})", "City", "B", R"({"CITY":"B","x":""})", 0},
        {"digits of a text", "", "PostCode", "3000", R"({"PostCode":"3000"})", 0},
        {"registered number", "", "AdminMask", "4", R"({"AdminMask":4})", 0},
        {"number stays one", R"({"Quota":1})", "quota", "2", R"({"Quota":2})", 0},
        {"text is mended", R"({"City":1})", "City", "2", R"({"City":"2"})", 0},
        {"empty removes", R"({"City":"A","x":1})", "city", "", R"({"x":1})", 0},
        {"too large", "", "AdminMask", "4294967296", "", ERROR_INVALID_PARAMETER},
        {"no UTF-8", "", "City", "\xE4", "", ERROR_INVALID_PARAMETER},
        {"no JSON", R"({"City":)", "City", "A", R"({"City":)", ERROR_INVALID_DATA},
        {"too deep", deep, "City", "A", deep, ERROR_INVALID_DATA},
        {"too long", "", "City", std::string(1 << 20, 'x'), "", ERROR_FILE_TOO_LARGE},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTestMailStore store;
        if (!c.before.empty()) {
            store.Deliver("properties.json", c.before);
        }
        SetLastError(0);
        EXPECT_EQ(Set(store, c.name, c.value), c.error == 0);
        EXPECT_EQ(GetLastError(), c.error);
        std::string after = store.folder.Read(kFile);
        std::erase_if(after, [](char byte) { return byte == ' ' || byte == '\n'; });
        EXPECT_EQ(after, c.after);
        EXPECT_TRUE(std::filesystem::is_empty(store / "tmp"));
    }
}

TEST(MailStoreAdminTest, FaultOrDeathLeavesTheOldOrTheNewProperties)
{
    const std::string before = R"({"City":"Bern"})";
    for (const auto& [isDying, isOfDomain] :
         {std::pair{false, false}, {true, false}, {false, true}, {true, true}}) {
        const char* const file = isOfDomain ? "example.org/properties.json" : kFile;
        const auto set = [isOfDomain = isOfDomain](const CTestMailStore& store) {
            return isOfDomain
                       ? SetDomainProperties(store.server, "example.org", {{"City", "Basel"}})
                       : Set(store, "City", "Basel");
        };
        bool wasHit = true;
        for (int call = 1; wasHit; ++call) {
            SCOPED_TRACE(call);
            const CTestMailStore store;
            store.folder.Write(file, before);
            CFaultySystemCalls calls;
            isDying ? calls.DieAt(call) : calls.FailAt(call, EIO);
            const bool isSet = set(store);
            wasHit = calls.WasHit();
            const std::string after = store.folder.Read(file);
            if (!isDying && !isSet) {
                EXPECT_EQ(GetLastError(), ERROR_IO_DEVICE);
                EXPECT_EQ(after, before);
                EXPECT_EQ(calls.OpenFiles(), 0u);
            }
            EXPECT_TRUE(after == before || after.find("\"Basel\"\n}") != after.npos) << after;
            calls.Bury();
            EXPECT_TRUE(set(store)) << "whatever was left behind";
        }
    }
}

TEST(MailStoreAdminTest, PropertiesOfTheDomainAndTheServerHaveFilesForAllWhoMayEnterTheFolder)
{
    namespace fs = std::filesystem;
    const CTestMailStore store;
    const std::vector<CMailboxPropertySetting> city = {{"City", "Bern"}};
    fs::permissions(store.folder / "example.org", fs::perms(0751));
    EXPECT_TRUE(SetDomainProperties(store.server, "example.org", city));
    EXPECT_EQ(fs::status(store.folder / "example.org/properties.json").permissions(),
              fs::perms(0644));
    EXPECT_TRUE(SetServerProperties(store.server, {{"Country", "CH"}, {"city", "Basel"}}));
    EXPECT_FALSE(SetDomainProperties(store.server, "example.net", city));
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_FALSE(SetDomainProperties(store.server, "../x", city));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);

    store.Deliver("properties.json", "{\n\"Title\":\n5,\"b\":null,\n\"x\":[1]}");
    const auto list = [&store](const char* name, const char* domain) {
        std::vector<CMailboxProperty> properties;
        EXPECT_TRUE(ListProperties(store.server, name, domain, &properties));
        std::string text;
        for (const CMailboxProperty& property : properties) {
            if (property.source != EPropertySource::kDefault) {
                text += std::to_string(static_cast<int>(property.source)) + property.name + "=" +
                        property.value + ":" + std::to_string(property.line) + " ";
            }
        }
        return text;
    };
    const std::string ofServer = "2Country=CH:2 2city=Basel:3 ";
    EXPECT_EQ(list("alice", "example.org"), "0Title=5:2 0x=:4 1City=Bern:2 " + ofServer);
    EXPECT_EQ(list(nullptr, "example.org"), "1City=Bern:2 " + ofServer);
    EXPECT_EQ(list(nullptr, nullptr), ofServer);

    CMailServer ofOne;
    ASSERT_TRUE(ofOne.Open((store / "").c_str()));
    EXPECT_FALSE(SetServerProperties(ofOne, city));
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
}

TEST(MailStoreAdminTest, CheckNamesTheFileAndTheLine)
{
    static const struct
    {
        const char *file, *text;
        std::uint32_t line;
    } kCases[] = {
        {"example.org/properties.json", "{\n\"a\": 1\n\"b\": 2\n}", 3},
        {"example.org/alice/properties.json", "{\n\"a\": 1\n", 3},
        {"properties.json", "{\n\"a\": \"b\nc\"}", 2},
        {"properties.json", "\n\n[]", 3},
        {"properties.json", "", 1},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.text);
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
