#include "server/MailServer.h"

#include "platform/LastError.h"
#include "server/MailMessage.h"
#include "server/MailStoreAdmin.h"
#include "support/FakeUsers.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

// The text with the folder's path for each "$".
std::string In(const CTempFolder& folder, std::string text)
{
    for (std::size_t at = 0; (at = text.find('$', at)) != text.npos;) {
        text.replace(at, 1, folder.Path());
    }
    return text;
}

bool HasMessage(CMailOwner& owner, const char* name, const char* id)
{
    CMailFolder folder;
    return folder.Open(owner, name) && CMailMessage().Open(folder, id, 0);
}

std::string StoreOf(const CMailOwner& owner)
{
    std::vector<char> buffer(4096);
    auto size = static_cast<std::uint32_t>(buffer.size());
    return owner.GetMessageStoreLocation(buffer.data(), &size) ? buffer.data() : "";
}

std::vector<std::string> NamesIn(_tMailServer* server, const char* domain)
{
    std::vector<std::string> names;
    _tMailboxEnumeration* const walk = StartMailboxEnumeration(server, domain);
    char name[65];
    for (std::uint32_t size = 64; FindNextMailbox(walk, name, &size, nullptr); size = 64) {
        names.emplace_back(name);
    }
    CloseMailboxEnumeration(walk);
    return names;
}

TEST(MailServerTest, LocationSaysWhereFoldersInboxAndAddressBookLie)
{
    static const struct
    {
        const char *location, *domain, *book;
        const char *sent, *inbox, *store; // the folder "Sent", INBOX, the message store location
    } kCases[] = {
        {"$/store//", "", "", "$/store/example.org/alice/.Sent", "$/store/example.org/alice",
         "$/store/example.org/alice"},
        {"$/store/%d/%n/Maildir", "", "", "$/store/example.org/alice/Maildir/.Sent",
         "$/store/example.org/alice/Maildir", "$/store/example.org/alice/Maildir"},
        {"$/store/%n@%d", "", "", "$/store/alice@example.org/.Sent", "$/store/alice@example.org",
         "$/store/alice@example.org"},
        {"$/store/%u", "", "", "$/store/alice@example.org/.Sent", "$/store/alice@example.org",
         "$/store/alice@example.org"},
        {"$/store/%n/%d", "", "", "$/store/alice/example.org/.Sent", "$/store/alice/example.org",
         "$/store/alice/example.org"},
        {"$/store/%%%d/%n%%", "", "", "$/store/%example.org/alice%/.Sent",
         "$/store/%example.org/alice%", "$/store/%example.org/alice%"},
        {"$/store/%n", "", "", "$/store/alice/.Sent", "$/store/alice", "$/store/alice"},
        {"$/store/%n", "Example.Org", "", "$/store/alice/.Sent", "$/store/alice", "$/store/alice"},
        {"$/%Ud/%1Un/%2.1n/%-2.2n/%1.n-%Ln", "", "", "$/EXAMPLE.ORG/A/i/ce/lice-alice/.Sent",
         "$/EXAMPLE.ORG/A/i/ce/lice-alice", "$/EXAMPLE.ORG/A/i/ce/lice-alice"},
        {"~/Maildir", "", "", "$/home/Maildir/.Sent", "$/home/Maildir", "$/home/Maildir"},
        {"%h/Maildir", "", "", "$/home/Maildir/.Sent", "$/home/Maildir", "$/home/Maildir"},
        {"$/one", "", "", "$/one/.Sent", "$/one", "$/one"},
        {"$/one", "", "$/book", "$/one/.Sent", "$/one", "$/book"},
        {"$/store", "", "$/book", "$/store/example.org/alice/.Sent", "$/store/example.org/alice",
         "$/book/example.org/alice"},
        {"$/store/%n", "", "~/book", "$/store/alice/.Sent", "$/store/alice", "$/home/book"},
        {"maildir:$/store/%d/%n:INDEX=/x:UTF-8", "", "", "$/store/example.org/alice/.Sent",
         "$/store/example.org/alice", "$/store/example.org/alice"},
        {"maildir:$/one:LAYOUT=Maildir++", "", "", "$/one/.Sent", "$/one", "$/one"},
        {"maildir:$/a::b:LAYOUT=fs", "", "", "$/a:b/Sent", "$/a:b", "$/.a:b.contactmgr"},
        {"Maildir:~/Maildir:INBOX=~/Maildir/.INBOX:LAYOUT=fs", "", "", "$/home/Maildir/Sent",
         "$/home/Maildir/.INBOX", "$/home/.Maildir.contactmgr"},
        {"maildir:$/store/%d/%n:INBOX=$/in/%u", "", "", "$/store/example.org/alice/.Sent",
         "$/in/alice@example.org", "$/store/example.org/alice"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.location);
        const CTempFolder folder;
        const CFakeUsers users(folder / "home");
        for (const std::string name : {"store", "book", "home"}) {
            std::filesystem::create_directory(folder / name);
        }
        for (const auto& [path, id] : {std::pair{c.inbox, "1"}, std::pair{c.sent, "2"}}) {
            const std::string cur = In(folder, path) + "/cur";
            std::filesystem::create_directories(cur);
            std::ofstream(cur + '/' + id) << "From: a@example.org\n\n";
        }
        CMailServer server;
        CMailOwner owner;
        ASSERT_TRUE(server.Open(In(folder, c.location).c_str(), {c.domain, In(folder, c.book)}));
        ASSERT_TRUE(owner.Open(server, "alice", "example.org", 0));
        EXPECT_TRUE(HasMessage(owner, "INBOX", "1"));
        EXPECT_TRUE(HasMessage(owner, "Sent", "2"));
        EXPECT_EQ(StoreOf(owner), In(folder, c.store));
        EXPECT_EQ(NamesIn(server, "example.org"), std::vector<std::string>{"alice"});
    }
}

TEST(MailServerTest, LocationThatCannotBeUsedIsExplained)
{
    static const struct
    {
        const char *location, *domain, *book;
        std::uint32_t error;
        const char* text;
    } kCases[] = {
        {"", "", "", ERROR_INVALID_PARAMETER, "the location is empty"},
        {"$/%d", "", "", ERROR_INVALID_PARAMETER, "the location has no %n"},
        {"$/%d/%1n", "", "", ERROR_INVALID_PARAMETER, "the location has no %n"},
        {"$/%d/%n/%x", "", "", ERROR_INVALID_PARAMETER,
         "the location has %x, which is not supported"},
        {"$/%d/%n/%", "", "", ERROR_INVALID_PARAMETER,
         "the location has %, which is not supported"},
        {"$/%2.256Nu/%u", "", "", ERROR_INVALID_PARAMETER,
         "the location has %2.256Nu, which is not supported"},
        {"$/%02n/%u", "", "", ERROR_INVALID_PARAMETER,
         "the location has %02n, which is not supported"},
        {"$/%-1n/%u", "", "", ERROR_INVALID_PARAMETER,
         "the location has %-1n, which is not supported"},
        {"$/%n%h", "", "", ERROR_INVALID_PARAMETER, "the location has %h behind its beginning"},
        {"~ann/Maildir", "", "", ERROR_INVALID_PARAMETER,
         "the location begins with ~ann, but only ~/ stands for a home folder"},
        {"mdbox:~/mdbox", "", "", ERROR_INVALID_PARAMETER,
         "no Maildir here: the location names an mdbox"},
        {"mbox:~/mail:INBOX=/var/mail/%u", "", "", ERROR_INVALID_PARAMETER,
         "no Maildir here: the location names an mbox"},
        {"maildir:", "", "", ERROR_INVALID_PARAMETER, "the location has no path"},
        {"maildir:~/Maildir:LAYOUT=index", "", "", ERROR_INVALID_PARAMETER,
         "the location has LAYOUT=index, which is not supported"},
        {"maildir:~/Maildir:INBOX=$/%d", "", "", ERROR_INVALID_PARAMETER, "the INBOX has no %n"},
        {"$/%d/%n", "", "$/%n", ERROR_INVALID_PARAMETER,
         "the address book location has no %d, which the location has"},
        {"$/%n", "a/b", "", ERROR_INVALID_PARAMETER, "the default domain is no domain name"},
        {"$/file", "", "", ERROR_PATH_NOT_FOUND, "no folder $/file"},
        {"$/%n", "", "$/missing", ERROR_PATH_NOT_FOUND, "no folder $/missing"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.location);
        const CTempFolder folder;
        folder.Write("file", "");
        const std::string location = In(folder, c.location);
        const CMailServerOptions options{c.domain, In(folder, c.book)};
        CMailServer server;
        EXPECT_FALSE(server.Open(location.c_str(), options));
        EXPECT_EQ(GetLastError(), c.error);
        EXPECT_EQ(ExplainLocation(location.c_str(), options), In(folder, c.text));
    }
}

TEST(MailServerTest, NameThatAFormOfLocationCannotTakeIsRefused)
{
    static const struct
    {
        const char *location, *name, *domain;
        std::uint32_t error;
    } kCases[] = {
        {"$/%n", "alice", "example.net", ERROR_PATH_NOT_FOUND},    // another domain
        {"~/Maildir", "bob", "example.org", ERROR_PATH_NOT_FOUND}, // no user
        {"$/%1n/%n", "../bob", "example.org", ERROR_INVALID_PARAMETER},
        {"$/%1.2n/%n", "a..b", "example.org", ERROR_INVALID_PARAMETER},
        {"$/%9.1n/%n", "bob", "example.org", ERROR_INVALID_PARAMETER},
        {"$", "properties.json", "example.org", ERROR_INVALID_PARAMETER},
        {"$", "alice", "properties.json", ERROR_INVALID_PARAMETER},
        {"$/%u", "properties.json", "example.org", ERROR_PATH_NOT_FOUND}, // takes no file's place
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::string(c.location) + ' ' + c.name);
        const CTempFolder folder;
        const CFakeUsers users(folder / "home");
        CMailServer server;
        ASSERT_TRUE(server.Open(In(folder, c.location).c_str(), {"example.org", ""}));
        EXPECT_FALSE(CMailbox().Open(server, c.name, c.domain));
        EXPECT_EQ(GetLastError(), c.error);
        if (c.error == ERROR_INVALID_PARAMETER) {
            EXPECT_FALSE(CreateMailbox(server, c.name, c.domain));
            EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
        }
    }
}

TEST(MailServerTest, DomainThatIsNotListedIsExplained)
{
    static const struct
    {
        const char *location, *domain, *text; // nothing if it is listed
    } kCases[] = {
        {"$", "example.org", ""},
        {"$", "example.net", "no folder $/example.net"},
        {"$", "a/b",
         "names of mailboxes and domains have 1 to 255 bytes, no slash, blank or "
         "control character, and no dot in front"},
        {"$/example.org/%n", "example.net", "the domain of the store is example.org"},
        {"$/example.org/alice", "example.org",
         "the location is the folder of one mailbox, and lists none"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::string(c.location) + ' ' + c.domain);
        const CTestMailStore store;
        CMailServer server;
        ASSERT_TRUE(server.Open(In(store.folder, c.location).c_str(), {"example.org", ""}));
        EXPECT_EQ(ExplainDomain(server, c.domain), In(store.folder, c.text));
        _tMailboxEnumeration* const walk = StartMailboxEnumeration(server, c.domain);
        EXPECT_EQ(walk != nullptr, *c.text == '\0');
        if (walk != nullptr) {
            CloseMailboxEnumeration(walk);
        }
    }
}

TEST(MailServerTest, StoreOfOneMailboxKeepsTheNameOfItsFirstOpening)
{
    const CTestMailStore store;
    CMailServer server;
    ASSERT_TRUE(server.Open((store / "").c_str()));
    EXPECT_TRUE(CMailbox().Open(server, "Ann", "Example.org"));
    CMailbox mailbox;
    ASSERT_TRUE(mailbox.Open(server, "ann", "example.org"));
    EXPECT_STREQ(mailbox.GetName(), "Ann");
    EXPECT_FALSE(mailbox.Open(server, "bob", "example.org"));
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(NamesIn(server, "example.org"), std::vector<std::string>{"Ann"});
}

TEST(MailServerTest, RoomThatIsTooSmallIsToldAndLeavesTheBuffer)
{
    const CTestMailStore store;
    CMailOwner owner;
    ASSERT_TRUE(owner.Open(store.server, "alice", "example.org", 0));
    const std::string path = store.folder / "example.org/alice";
    const auto length = static_cast<std::uint32_t>(path.size());
    std::vector<char> buffer(path.size() + 1, 'x');
    std::uint32_t size = length;
    EXPECT_FALSE(owner.GetMessageStoreLocation(buffer.data(), &size));
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, length + 1);
    EXPECT_EQ(buffer.back(), 'x');
    EXPECT_TRUE(owner.GetMessageStoreLocation(buffer.data(), &size));
    EXPECT_EQ(buffer.data(), path);
    EXPECT_EQ(size, length);
}

TEST(MailServerTest, RelativeLocationIsThatOfTheMomentOfOpening)
{
    const CTestMailStore store;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(store.folder.Path());
    CMailServer here, below;
    EXPECT_TRUE(here.Open(".") && below.Open("%d/%n"));
    std::filesystem::current_path(before);
    for (const CMailServer* server : {&here, &below}) {
        EXPECT_TRUE(CMailbox().Open(*server, "alice", "example.org"));
    }
}

TEST(MailServerTest, RegisteredDefaultAnswersWhereNoFileDoes)
{
    static const MailServerPropertyRecord kRecords[] = {
        {"TestMask", kMailServerPropertyNumber, 0, 11}, {nullptr, 0, 0, 0}};
    static const MailServerPropertyRecord kOtherType[] = {{"Odd", 5, 0, 1}, {nullptr, 0, 0, 0}};
    const CTestMailStore store;
    const CMailbox mailbox = store.OpenAlice();
    std::uint32_t value = 0;
    EXPECT_FALSE(mailbox.GetProperty("TestMaskEffective", &value));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    EXPECT_NE(RegisterMailServerPropertyFamily("Test", kRecords), -1);
    EXPECT_TRUE(mailbox.GetProperty("TestMaskEffective", &value));
    EXPECT_EQ(value, 11u);
    EXPECT_EQ(RegisterMailServerPropertyFamily("Other", kOtherType), -1);
    EXPECT_EQ(RegisterMailServerPropertyFamily("Other", nullptr), -1);
}

} // namespace
