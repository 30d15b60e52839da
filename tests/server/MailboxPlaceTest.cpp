#include "server/MailboxPlace.h"

#include "core/Contact.h"
#include "core/ContactMgr.h"
#include "platform/LastError.h"
#include "server/MailMessage.h"
#include "server/MailStoreAdmin.h"
#include "support/FakeUsers.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <sstream>

namespace
{

// The words between blanks.
std::vector<std::string> Words(const char* text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

CAddressBookPlace BookOf(const CMailServer& server)
{
    CAddressBookPlace place;
    EXPECT_TRUE(LocateAddressBook(server, "alice", "example.org", &place));
    return place;
}

// Makes a contact, which makes the address book.
bool MakeContact(const CMailServer& server)
{
    CMailbox mailbox;
    mailbox.Open(server, "alice", "example.org");
    CContactMgr manager(mailbox);
    const std::unique_ptr<CContact> contact(manager.CreateContact(nullptr));
    return contact != nullptr && contact->SetProperty("FullName", u"Ann Lee") && contact->Save();
}

TEST(MailboxPlaceTest, AddressBookIsNoMailFolderAndStaysWhereItIs)
{
    static const struct
    {
        const char *what, *folders; // made in the mailbox folder
        const char *layout, *book, *path;
        bool isAmongMailFolders;
    } kCases[] = {
        {"Maildir++", ".Sent/cur", "", "", "alice/Contacts", false},
        {"plain, as seen", "Sent/cur", "", "", ".alice.contactmgr/Contacts", false},
        {"plain, as told", "", ":LAYOUT=fs", "", ".alice.contactmgr/Contacts", false},
        {"no mail folder, as told", "Sent/cur", ":", "", "alice/Contacts", false},
        {"there, then plain", "Contacts Sent/cur", "", "", "alice/Contacts", true},
        {"there, then a mail folder too", "Contacts/cur Contacts/1.nxt/.. Sent/cur", ":LAYOUT=fs",
         "", "alice/Contacts", true},
        {"the same without its counter", "Contacts/cur Contacts/80000000.vcf/.. Sent/cur",
         ":LAYOUT=fs", "", "alice/Contacts", true},
        {"mail folder alone", "Contacts/cur", "", "", ".alice.contactmgr/Contacts", false},
        {"beside, then not plain", "../.alice.contactmgr/Contacts", "", "",
         ".alice.contactmgr/Contacts", false},
        {"beside, then a folder for mail folders",
         "../.alice.contactmgr/Contacts Contacts/Team/cur", "", "", ".alice.contactmgr/Contacts",
         false},
        {"chosen", "Contacts Sent/cur", "", "%d/books-%n", "books-alice/Contacts", false},
        {"chosen among them", "Sent/cur", "", "example.org/../%d/%n/x",
         "../example.org/alice/x/Contacts", true},
        {"chosen in one of them", "", ":", "%d/%n/.x", "alice/.x/Contacts", true},
        {"chosen in another mailbox", "../bob/cur", "", "%d/bob/%n", "bob/alice/Contacts", true},
        {"chosen in its mail folder", "../bob/.Sent/cur", ":", "%d/bob/.Sent/%n",
         "bob/.Sent/alice/Contacts", true},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTestMailStore store;
        const std::string root = store.folder.Path();
        for (const std::string& name : Words(c.folders)) {
            if (name.ends_with("/..")) {
                store.Deliver(name.substr(0, name.size() - 3), "");
            } else {
                std::filesystem::create_directories(store / name);
            }
        }
        const std::string location =
            *c.layout == '\0' ? root : "maildir:" + root + "/%d/%n" + c.layout;
        const std::string book = *c.book == '\0' ? "" : root + '/' + c.book;
        CMailServer server;
        ASSERT_TRUE(server.Open(location.c_str(), {"", book}));
        const std::string path = root + "/example.org/" + c.path;
        EXPECT_EQ(BookOf(server).path, path);
        EXPECT_EQ(BookOf(server).isAmongMailFolders, c.isAmongMailFolders);
        ASSERT_TRUE(MakeContact(server));
        EXPECT_TRUE(std::filesystem::exists(path + "/80000000.vcf"));
        EXPECT_EQ(BookOf(server).path, path);
        EXPECT_TRUE(BookOf(server).isThere);
    }
}

TEST(MailboxPlaceTest, OlderWebClientsFolderIsFoundInEitherLayout)
{
    static const struct
    {
        const char *folders, *layout, *found; // nothing if empty
    } kCases[] = {
        {".Contacts", "", ".Contacts"},
        {"Contacts", "", "Contacts"},
        {".Contacts Contacts", "", ".Contacts"},
        {"Contacts .Contacts", ":LAYOUT=fs", "Contacts"},
        {".Contacts", ":LAYOUT=fs", ""},
        {"Contacts", ":LAYOUT=Maildir++", ""},
        {"Contacts", ":LAYOUT=fs:LAYOUT=Maildir++", ""},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::string(c.folders) + c.layout);
        const CTestMailStore store;
        for (const std::string& name : Words(c.folders)) {
            store.Deliver(name + (name[0] == '.' ? "/cur/dotted" : "/cur/plain"));
        }
        const std::string location = *c.layout == '\0'
                                         ? store.folder.Path()
                                         : "maildir:" + store.folder.Path() + "/%d/%n" + c.layout;
        CMailServer server;
        CMailOwner owner;
        CMailFolder folder;
        ASSERT_TRUE(server.Open(location.c_str()) && owner.Open(server, "alice", "example.org", 0));
        EXPECT_EQ(folder.Open(owner, "Contacts"), *c.found != '\0');
        const char* const id = *c.found == '.' ? "dotted" : "plain";
        EXPECT_EQ(folder.IsValid(), CMailMessage().Open(folder, id, 0));
    }
}

TEST(MailboxPlaceTest, LinkOutOfOneMailboxOfSeveralIsNotFollowed)
{
    static const struct
    {
        const char *link, *target, *folder;
        bool isFollowed;
    } kCases[] = {
        {".Contacts", "../bob/.Contacts", "Contacts", false},
        {".Contacts/cur", "../../bob/.Contacts/cur", "Contacts", false},
        {".Contacts", "../alicex/.Contacts", "Contacts", false},
        {".Contacts", ".Old", "Contacts", true},
        {"new", "../bob/new", "INBOX", false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.link);
        const CTestMailStore store;
        for (const char* name : {"bob", "bob/.Contacts", "alicex/.Contacts", "alice/.Old"}) {
            store.AddMailbox("example.org/" + std::string(name));
        }
        std::filesystem::remove(store / c.link);
        std::filesystem::create_directories(std::filesystem::path(store / c.link).parent_path());
        std::filesystem::create_directory_symlink(c.target, store / c.link);
        SetLastError(0);
        EXPECT_EQ(store.OpenFolder(c.folder).IsValid(), c.isFollowed);
        EXPECT_EQ(GetLastError(), c.isFollowed ? 0 : ERROR_ACCESS_DENIED);
        CMailServer own;
        CMailOwner owner;
        ASSERT_TRUE(own.Open((store / "").c_str()) && owner.Open(own, "alice", "example.org", 0));
        EXPECT_TRUE(CMailFolder().Open(owner, c.folder));
    }
}

TEST(MailboxPlaceTest, InboxThatIsALinkOutOfItsMailboxIsNotFollowed)
{
    const CTestMailStore store;
    store.AddMailbox("example.org/bob/.INBOX");
    std::filesystem::create_directory_symlink("../bob/.INBOX", store / ".INBOX");
    const std::string mailbox = store.folder.Path() + "/%d/%n";
    CMailServer server;
    CMailOwner owner;
    ASSERT_TRUE(server.Open(("maildir:" + mailbox + ":INBOX=" + mailbox + "/.INBOX").c_str()));
    ASSERT_TRUE(owner.Open(server, "alice", "example.org", 0));
    EXPECT_FALSE(CMailFolder().Open(owner, "INBOX"));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}

TEST(MailboxPlaceTest, AFileWithoutRoomForThePathsPartsIsNoMailbox)
{
    const CTestMailStore store;
    store.folder.Write("a/i/x", "");
    store.AddMailbox("a/i/alix");
    CMailServer server;
    ASSERT_TRUE(server.Open((store.folder.Path() + "/%1n/%2.1n/%n").c_str()));
    _tMailboxEnumeration* const walk = StartMailboxEnumeration(server, "example.org");
    char name[65] = {};
    std::uint32_t size = 64;
    EXPECT_NE(FindNextMailbox(walk, name, &size, nullptr), 0);
    EXPECT_STREQ(name, "alix");
    EXPECT_EQ(FindNextMailbox(walk, name, &size, nullptr), 0);
    CloseMailboxEnumeration(walk);
}

TEST(MailboxPlaceTest, MailboxThatIsALinkItselfIsOpened)
{
    const CTestMailStore store;
    store.AddMailbox("disk2/ann/.Contacts");
    store.AddMailbox("disk2/ann");
    std::filesystem::create_directory_symlink("../disk2/ann", store.folder / "example.org/ann");
    CMailOwner owner;
    ASSERT_TRUE(owner.Open(store.server, "ann", "example.org", 0));
    EXPECT_TRUE(CMailFolder().Open(owner, "Contacts"));
}

TEST(MailboxPlaceTest, LongPathKeepsItsAddressBook)
{
    const CTestMailStore store;
    const std::string deep(200, 'd');
    const std::string location = store.folder.Path() + '/' + deep + "/%d/" + deep + "/%n";
    std::filesystem::create_directory(store.folder / deep);
    CMailServer server;
    ASSERT_TRUE(server.Open(location.c_str()));
    ASSERT_TRUE(CreateMailbox(server, "alice", "example.org"));
    EXPECT_TRUE(MakeContact(server));
    EXPECT_TRUE(BookOf(server).isThere);
}

TEST(MailboxPlaceTest, MailboxThatIsNotFoundIsExplained)
{
    static const struct
    {
        const char* what;
        const char* made; // in example.org; a name that ends in a slash is a folder
        const char *location, *name;
        const char* text; // "$": the store's folder
    } kCases[] = {
        {"found", "", "$", "alice", ""},
        {"nothing", "", "$", "ann", "no folder $/example.org/ann"},
        {"no plain name", "", "$", "../alice",
         "names of mailboxes and domains have 1 to 255 bytes, no slash, blank or control "
         "character, "
         "and no dot in front"},
        {"empty folder", "ann/", "$", "ann", "no folder cur in $/example.org/ann"},
        {"mdbox", "ann/mailboxes/ ann/storage/", "$", "ann",
         "no Maildir here: an mdbox in $/example.org/ann"},
        {"sdbox below", "ann/sdbox/mailboxes/", "$", "ann",
         "no Maildir here: an sdbox in $/example.org/ann/sdbox"},
        {"mbox", "ann", "$", "ann", "no Maildir here: an mbox in $/example.org/ann"},
        {"MH", "ann/.mh_sequences", "$", "ann",
         "no Maildir here: an MH folder in $/example.org/ann"},
        {"folder of mboxes", "ann/.imap/", "$", "ann",
         "no Maildir here: an mbox in $/example.org/ann"},
        {"Maildir below", "ann/Maildir/cur/", "$", "ann",
         "the Maildir is in $/example.org/ann/Maildir: the location has to end with /Maildir"},
        {"no user", "", "~/%d", "ann", "no user ann of this system"},
        {"other domain", "", "$/example.org/%n", "ann", "the domain of the store is example.net"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTestMailStore store;
        const CFakeUsers users(store.folder / "home");
        const auto inStore = [&store](std::string text) {
            const std::size_t at = text.find('$');
            return at == text.npos ? text : text.replace(at, 1, store.folder.Path());
        };
        for (const std::string& name : Words(c.made)) {
            name.ends_with('/')
                ? void(std::filesystem::create_directories(store.folder / ("example.org/" + name)))
                : void(store.folder.Write("example.org/" + name, ""));
        }
        CMailServer server;
        ASSERT_TRUE(server.Open(inStore(c.location).c_str(), {"example.net", ""}));
        EXPECT_EQ(CMailbox().Open(server, c.name, "example.org"), *c.text == '\0');
        EXPECT_EQ(ExplainMailbox(server, c.name, "example.org"), inStore(c.text));
    }
}

TEST(MailboxPlaceTest, NameIsAlsoLookedForInLowerCase)
{
    const CTestMailStore store;
    store.AddMailbox("example.org/Bob");
    static const struct
    {
        const char *name, *domain, *found; // nothing if empty
    } kCases[] = {
        {"Alice", "Example.ORG", "alice"},
        {"Bob", "example.org", "Bob"},
        {"bob", "example.org", ""},
        {"BOB", "example.org", ""},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        CMailbox mailbox;
        SetLastError(0);
        EXPECT_EQ(mailbox.Open(store.server, c.name, c.domain), *c.found != '\0');
        EXPECT_EQ(GetLastError(), *c.found == '\0' ? ERROR_PATH_NOT_FOUND : 0);
        EXPECT_STREQ(mailbox.GetName(), c.found);
    }
}

} // namespace
