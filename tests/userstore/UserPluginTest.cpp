#include "userstore/UserPlugin.h"

#include "platform/FileTime.h"
#include "support/ContactText.h"
#include "support/StoreContract.h"

#include <gtest/gtest.h>

namespace
{

struct CUserPluginTest : CStoreTest<CUserPlugin>
{
    void AddMailbox(const std::string& name, const char* properties) const
    {
        store.AddMailbox("example.org/" + name);
        store.folder.Write("example.org/" + name + "/properties.json", properties);
    }
};

TEST_F(CUserPluginTest, KeepsTheContractOfAStore)
{
    ExpectKeepsTheContract(plugin, "UserStore-alice@example.org", "UserStore-alice");
    EXPECT_NE(Open("UserStores-a-b@c-d.example"), nullptr) << "longer type, no such mailbox";
    EXPECT_EQ(Open(std::string("UserStore-alice@example.org\0x", 29)), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(CUserPluginTest, WalkPassesOverTheMailboxesThatAreNoPeople)
{
    const std::string longest(64, 'x');
    for (const std::string& name : {std::string("CatchAll"), std::string("mailboxTEMPLATE"),
                                    std::string("catchall2"), longest, longest + "x"}) {
        store.AddMailbox("example.org/" + name);
    }
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    EXPECT_EQ(IdsOf(*walk), "UserStore-alice@example.org; UserStore-catchall2@example.org; "
                            "UserStore-" +
                                longest + "@example.org; ");
}

TEST_F(CUserPluginTest, AVersionLastsNineHundredSeconds)
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    for (const std::int64_t ageMs : {-3'600'000, 899'500, 900'000}) {
        SCOPED_TRACE(ageMs);
        const bool isOld = ageMs >= 900'000;
        const FILETIME version =
            FileTimeFromCount(FileTimeToCount(now) - static_cast<std::uint64_t>(ageMs * 10'000));
        bool changed = !isOld;
        EXPECT_TRUE(walk->Start(&version, &changed));
        EXPECT_EQ(changed, isOld);
        EXPECT_EQ(walk->IsStarted(), isOld);
        EXPECT_TRUE(isOld ? walk->GetVersion() >= now : walk->GetVersion() == version);
    }
}

TEST_F(CUserPluginTest, ListsComeFromTheMailboxesProperties)
{
    static const struct
    {
        const char *what, *properties, *otherMailbox;
        const char16_t* addresses;
        const char* telephones;
    } kCases[] = {
        {"a second address", R"({"OtherMailbox":"Bob <b@x.org>"})", "1 b@x.org; ", u"", ""},
        {"home and fax alone are preferred", R"({"HomeCity":"Zürich","Facsimile":"1"})", "",
         u"80||||Zürich|||; ", "20 1; "},
        {"all parts, work first",
         R"({"HomeState":"a","HomeStreet":"b","HomeAddress":"c","HomePostCode":"d","HomeCity":"e",
             "HomeCountry":"f","State":"g","Street":"h","PostalAddress":"i","PostCode":"j",
             "City":"k","Country":"l","HomePhone":"1","Mobile":"2","Telephone":"3","Pager":"4",
             "Facsimile":"5"})",
         "", u"96||i|h|k|g|j|l; 16||c|b|e|a|d|f; ", "6 3; 64 2; 128 4; 1 1; 16 5; "},
        {"one property of another type empties its list",
         R"({"City":"k","HomeCountry":5,"Pager":"4","Facsimile":true})", "", u"", ""},
        {"a file that is no JSON", "{", "", u"", ""},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        AddMailbox("bob", c.properties);
        const auto contact = Open("UserStore-bob@example.org");
        EXPECT_EQ(EmailsOf(*contact), std::string("5 bob@example.org; ") + c.otherMailbox);
        EXPECT_EQ(AddressesOf(*contact), c.addresses);
        EXPECT_EQ(TelephonesOf(*contact), c.telephones);
    }
}

TEST_F(CUserPluginTest, PropertiesHaveTheMailboxesOwnNames)
{
    AddMailbox("bob", R"({"Title":"Baker","GivenName":"Bób","Quota":7,"Locked":true})");
    const auto contact = Open("UserStore-bob@example.org");
    EXPECT_TRUE(contact->SupportsProperty("JOBTITLE") && contact->SupportsProperty("Surname"));
    EXPECT_FALSE(contact->SupportsProperty("title") || contact->SupportsProperty("WSSVERSION"));
    EXPECT_EQ(TextOf(*contact, "JOBTITLE"), u"Baker");
    EXPECT_EQ(TextOf(*contact, "title"), u"Baker") << "readable all the same";
    EXPECT_EQ(TextOf(*contact, "Surname"), u"");
    EXPECT_EQ(TextOf(*contact, "WSSVERSION"), u"");
    std::u16string first;
    std::uint32_t number = 0;
    bool truth = false;
    EXPECT_TRUE(contact->GetFirstName(&first) && first == u"Bób");
    EXPECT_TRUE(contact->GetProperty("Quota", &number) && number == 7);
    EXPECT_TRUE(contact->GetProperty("Locked", &truth) && truth);
}

TEST_F(CUserPluginTest, AMailboxThatAppearsIsReadByTheNextOperation)
{
    // A local part that is no dot-atom has quotes in the address, but not in the mail store.
    const auto contact = Open("UserStore-\"a..b\"@example.org");
    EXPECT_EQ(TextOf(*contact, "City"), u"(refused)");
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(AddressesOf(*contact), u"");
    AddMailbox("a..b", R"({"City":"Bern"})");
    EXPECT_EQ(AddressesOf(*contact), u"96||||Bern|||; ");
}

} // namespace
