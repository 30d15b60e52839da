#include "trellisv7/TrellisV7Plugin.h"

#include "support/ContactText.h"
#include "support/StoreContract.h"

#include <gtest/gtest.h>

namespace
{

struct CTrellisV7PluginTest : CStoreTest<CTrellisV7Plugin>
{
    void Add(const std::string& id, const std::string& message) const
    {
        store.Deliver(".Contacts/cur/" + id, message);
    }
    // The contact that a message makes; null if it cannot be read.
    std::unique_ptr<CContact> Read(const std::string& message)
    {
        Add("1", message);
        return Open("TRELLISV7-1 alice example.org");
    }
};

// First name|last name|properties|telephones|e-mails, what is empty left out at the end.
std::u16string Summary(CContact& contact)
{
    std::u16string text, last;
    EXPECT_TRUE(contact.GetFirstName(&text) && contact.GetLastName(&last));
    text += u"|" + last;
    for (const char* name : {"fullname", "Nickname", "Title", "Jobtitle", "Organization", "OrgUnit",
                             "URL", "Comment"}) {
        EXPECT_TRUE(contact.SupportsProperty(name));
        text += u"|" + TextOf(contact, name);
    }
    const std::string lists = "|" + TelephonesOf(contact) + "|" + EmailsOf(contact);
    text.append(lists.begin(), lists.end());
    return text.substr(0, text.find_last_not_of(u'|') + 1);
}

TEST_F(CTrellisV7PluginTest, KeepsTheContractOfAStore)
{
    Add("1", "\n");
    Add("2", "\n");
    SetAge(store / ".Contacts/cur", std::chrono::hours(1));
    store.AddMailbox("example.org/bob");
    store.folder.Write("example.org/bob/.Contacts/cur/3", "Reply-To: Group\n\nno key\n");
    ExpectKeepsTheContract(plugin, "TRELLISV7-1 alice example.org", "TRELLISV7-3 bob example.org");
}

TEST_F(CTrellisV7PluginTest, LinesOfTheBodyBecomeTheContact)
{
    static const struct
    {
        const char *what, *body;
        std::uint32_t error; // 0: it reads
        const char16_t* summary;
    } kCases[] = {
        {"empty", "", 0, u""},
        {"all texts",
         "NICK:n\nNAME:Ann B. Lee\nTITLE:Dr\nJOBTITLE:j\nBNAME:o\nBDEPT:d\nURL:http://u\nNOTES:x\n",
         0, u"Ann|Lee|Ann B. Lee|n|Dr|j|o|d|http://u|x"},
        {"colons and blanks stay", "NAME: a:b \n", 0, u"a:b|| a:b "},
        {"a tab divides nothing", "NAME:a\tb c\n", 0, u"a\tb|c|a\tb c"},
        {"the last of two holds", "NICK:a\nNICK:b\n", 0, u"|||b"},
        {"line ends mixed, CR inside, empty lines", "NI\rCK:a\r\n\r\n\nTITLE:b\n", 0, u"|||a|b"},
        {"telephones in their own order", "FAX:5\nHPHONE:4\nPAGER:3\nCELL:2\nWPHONE:1\n", 0,
         u"||||||||||6 1; 64 2; 128 3; 1 4; 16 5; "},
        {"the first telephone is preferred", "FAX:5\nWPHONE:\nCELL:2\n", 0,
         u"||||||||||68 2; 16 5; "},
        {"all e-mails are preferred", "EMAIL:b@example.org, A <a@example.org>\n", 0,
         u"|||||||||||5 b@example.org; 5 a@example.org; "},
        {"key in small letters", "nick:a\n", ERROR_NOT_SUPPORTED, u""},
        {"no colon", "NICK:a\nNICK\n", ERROR_NOT_SUPPORTED, u""},
        {"e-mails that are none", "EMAIL:a@\n", ERROR_INVALID_DATA, u""},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const auto contact = Read(std::string("Subject: x\n\n") + c.body);
        ASSERT_EQ(contact == nullptr, c.error != 0);
        if (contact == nullptr) {
            EXPECT_EQ(GetLastError(), c.error);
            continue;
        }
        EXPECT_EQ(Summary(*contact), c.summary);
        EXPECT_EQ(AddressesOf(*contact), u"32|||||||; 16|||||||; ");
    }
}

TEST_F(CTrellisV7PluginTest, TheAddressLineIsTheExtendedAddress)
{
    const auto contact = Read("\n\nHADDRESS:1\nHCITY:2\nHSTATE:3\nHZIP:4\nHCOUNTRY:5\n"
                              "BADDRESS:6\nBCITY:7\nBSTATE:8\nBZIP:9\nBCOUNTRY:10\n");
    ASSERT_NE(contact, nullptr);
    EXPECT_EQ(AddressesOf(*contact), u"32||6||7|8|9|10; 16||1||2|3|4|5; ");
}

TEST_F(CTrellisV7PluginTest, IdentifiersNameTheMessageAndItsMailbox)
{
    Add("1", "\n");
    constexpr std::uint32_t kNoCode = 4711;
    static const std::pair<std::string, std::uint32_t> kErrors[] = {
        {"trellisv7-1 alice example.org", kNoCode},
        {"TRELLISV7-1", kNoCode},
        {"TRELLISV7-9 alice example.org", ERROR_FILE_NOT_FOUND},
        {"TRELLISV7-1 nobody example.org", ERROR_PATH_NOT_FOUND},
        {"TRELLISV7-1 carl example.org", ERROR_PATH_NOT_FOUND},
        {"TRELLISV7-1 ../example.org/alice example.org", ERROR_INVALID_PARAMETER},
        {"TRELLISV7-../cur/1 alice example.org", ERROR_INVALID_PARAMETER},
        {std::string("TRELLISV7-1\0x alice example.org", 31), ERROR_INVALID_PARAMETER},
    };
    store.AddMailbox("example.org/carl"); // has no contact folder
    for (const auto& [id, error] : kErrors) {
        SCOPED_TRACE(id);
        SetLastError(kNoCode);
        EXPECT_EQ(Open(id), nullptr);
        EXPECT_EQ(GetLastError(), error);
        SetLastError(kNoCode);
        EXPECT_FALSE(plugin.DeleteContact(id));
        EXPECT_EQ(GetLastError(), error);
    }
    EXPECT_NE(Open("TRELLISV7X-1 alice example.org"), nullptr) << "a longer namespace is owned";
}

TEST_F(CTrellisV7PluginTest, WalkPassesOverGroupsAndEndsAtAMessageOfAnotherFormat)
{
    Add("0", "reply-to: gROUP\n\nNICK:a\n");
    Add("1", "Reply-To: a@example.org\n\nNICK:a\n");
    Add("2", "From: a@example.org\n\nHello\n");
    Add("3", "\n");
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    EXPECT_EQ(IdsOf(*walk), "TRELLISV7-1 alice example.org; ");
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(walk->GetCurrent()->GetId(), "TRELLISV7-1 alice example.org");
    EXPECT_EQ(FaultsOf(*walk), "2 50 end; ");

    EXPECT_TRUE(plugin.DeleteContact("TRELLISV7-2 alice example.org"));
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    EXPECT_EQ(IdsOf(*walk), "TRELLISV7-1 alice example.org; TRELLISV7-3 alice example.org; ");
    EXPECT_EQ(FaultsOf(*walk), "");
}

TEST_F(CTrellisV7PluginTest, AMailboxWithoutTheFolderHasNothingNew)
{
    for (int round = 0; round < 2; ++round) {
        bool changed = true;
        EXPECT_TRUE(walk->Start(nullptr, &changed));
        EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
        EXPECT_FALSE(changed || walk->IsStarted() || walk->MoveNext());
        EXPECT_EQ(walk->GetVersion(), FILETIME());
    }
    store.AddMailbox("example.org/alice/.Contacts");
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    EXPECT_TRUE(walk->IsStarted());
}

} // namespace
