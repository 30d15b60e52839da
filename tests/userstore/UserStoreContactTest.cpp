#include "userstore/UserStoreContact.h"

#include "support/ContactText.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

CRfc822Address AddressOf(const char* text)
{
    CRfc822Address address;
    EXPECT_TRUE(address.Parse(text)) << text;
    return address;
}

void AddMailbox(const CTestMailStore& store, const std::string& name, const char* properties)
{
    store.AddMailbox("example.org/" + name);
    store.folder.Write("example.org/" + name + "/properties.json", properties);
}

TEST(UserStoreContactTest, ListsComeFromTheMailboxesProperties)
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
        CTestMailStore store;
        AddMailbox(store, "bob", c.properties);
        CUserStoreContact contact(store.server, AddressOf("bob@example.org"));
        EXPECT_EQ(EmailsOf(contact), std::string("5 bob@example.org; ") + c.otherMailbox);
        EXPECT_EQ(AddressesOf(contact), c.addresses);
        EXPECT_EQ(TelephonesOf(contact), c.telephones);
    }
}

TEST(UserStoreContactTest, PropertiesHaveTheMailboxesOwnNames)
{
    CTestMailStore store;
    AddMailbox(store, "bob", R"({"Title":"Baker","GivenName":"Bób","Quota":7,"Locked":true})");
    CUserStoreContact contact(store.server, AddressOf("bob@example.org"));
    static const struct
    {
        const char *what, *name;
        bool isSupported, hasText;
        const char16_t* text;
    } kCases[] = {
        {"the job title in capitals", "JOBTITLE", true, true, u"Baker"},
        {"readable though not supported", "title", false, true, u"Baker"},
        {"not filled in", "Surname", true, true, u""},
        {"empty though not supported", "WSSVERSION", false, true, u""},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        std::u16string text;
        EXPECT_EQ(contact.SupportsProperty(c.name), c.isSupported);
        EXPECT_EQ(contact.GetProperty(c.name, &text), c.hasText);
        EXPECT_EQ(text, c.text);
    }
    std::u16string first;
    EXPECT_TRUE(contact.GetFirstName(&first) && first == u"Bób");
    std::uint32_t number = 0;
    bool truth = false;
    EXPECT_TRUE(contact.GetProperty("Quota", &number) && number == 7);
    EXPECT_TRUE(contact.GetProperty("Locked", &truth) && truth);
}

TEST(UserStoreContactTest, AMailboxThatAppearsIsReadByTheNextOperation)
{
    CTestMailStore store;
    // A local part that is no dot-atom has quotes in the address, but not in the mail store.
    CUserStoreContact contact(store.server, AddressOf("\"a..b\"@example.org"));
    std::u16string text;
    EXPECT_FALSE(contact.GetProperty("City", &text));
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(AddressesOf(contact), u"");

    AddMailbox(store, "a..b", R"({"City":"Bern"})");
    EXPECT_EQ(AddressesOf(contact), u"96||||Bern|||; ");
}

} // namespace
