#include "trellisv7/TrellisV7Contact.h"

#include "support/ContactText.h"
#include "support/TestMailStore.h"
#include "trellisv7/TrellisV7Plugin.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

struct CTrellisV7ContactTest : testing::Test
{
    CTestMailStore store;
    CMailbox alice = store.OpenAlice();
    CTrellisV7Plugin plugin{alice};

    // The contact that a message makes; null if it cannot be read.
    std::unique_ptr<CTrellisV7Contact> Read(const std::string& message)
    {
        store.Deliver(".Contacts/cur/1", message);
        CContact* contact = nullptr;
        plugin.OpenContact(ContactMgr::CContactId("TRELLISV7-1 alice example.org"), &contact);
        return std::unique_ptr<CTrellisV7Contact>(static_cast<CTrellisV7Contact*>(contact));
    }
};

// First name|last name|properties|telephones|e-mails, what is empty left out at the end.
std::u16string Summary(CContact& contact)
{
    std::u16string text, part;
    EXPECT_TRUE(contact.GetFirstName(&text) && contact.GetLastName(&part));
    text += u"|" + part;
    for (const char* name : {"fullname", "Nickname", "Title", "Jobtitle", "Organization", "OrgUnit",
                             "URL", "Comment"}) {
        EXPECT_TRUE(contact.SupportsProperty(name) && contact.GetProperty(name, &part));
        text += u"|" + part;
    }
    const std::string lists = "|" + TelephonesOf(contact) + "|" + EmailsOf(contact);
    text.append(lists.begin(), lists.end());
    return text.substr(0, text.find_last_not_of(u'|') + 1);
}

TEST_F(CTrellisV7ContactTest, LinesOfTheBodyBecomeTheContact)
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

TEST_F(CTrellisV7ContactTest, TheAddressLineIsTheExtendedAddress)
{
    const auto contact = Read("\n\nHADDRESS:1\nHCITY:2\nHSTATE:3\nHZIP:4\nHCOUNTRY:5\n"
                              "BADDRESS:6\nBCITY:7\nBSTATE:8\nBZIP:9\nBCOUNTRY:10\n");
    ASSERT_NE(contact, nullptr);
    EXPECT_EQ(AddressesOf(*contact), u"32||6||7|8|9|10; 16||1||2|3|4|5; ");
}

TEST_F(CTrellisV7ContactTest, TheMarkerHeaderTellsGroups)
{
    static const struct
    {
        const char *what, *header;
        bool isIndividual;
    } kCases[] = {
        {"an address", "Reply-To: a@example.org\n", true},
        {"group in any case", "reply-to: gROUP\n", false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const auto contact = Read(std::string(c.header) + "Subject: x\n\nNICK:a\n");
        ASSERT_NE(contact, nullptr);
        EXPECT_EQ(contact->IsIndividual(), c.isIndividual);
    }
    EXPECT_EQ(Read("Reply-To: Group\n\nno key\n"), nullptr);
}

} // namespace
