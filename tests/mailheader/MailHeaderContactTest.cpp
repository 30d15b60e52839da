#include "mailheader/MailHeaderContact.h"

#include "mailheader/MailHeaderPlugin.h"
#include "support/ContactText.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

std::u16string TextOf(CContact& contact, const char* property)
{
    std::u16string text = u"(failed)";
    EXPECT_TRUE(contact.GetProperty(property, &text));
    return text;
}

CRfc822Address AddressWith(const char16_t* comment)
{
    CRfc822Address address;
    EXPECT_TRUE(address.Parse("j@example.org") && address.SetComment(comment));
    return address;
}

TEST(MailHeaderContactTest, TheLastWordOfTheCommentIsTheLastName)
{
    static const struct
    {
        const char* what;
        const char16_t *comment, *first, *last;
    } kCases[] = {
        {"three words", u"John Q. Public", u"John Q.", u"Public"},
        {"blanks around", u"  John Smith  ", u"John", u"Smith"},
        {"a tab divides nothing", u"John\tSmith", u"John\tSmith", u""},
        {"a tab beside the blank", u"John \tSmith", u"John", u"Smith"},
        {"wide blanks around", u"\u3000山田 太郎\u00a0", u"山田", u"太郎"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        CMailHeaderContact contact(AddressWith(c.comment));
        EXPECT_EQ(TextOf(contact, "GivenName"), c.first);
        EXPECT_EQ(TextOf(contact, "surname"), c.last);
        EXPECT_EQ(TextOf(contact, "FULLNAME"), c.comment);
        EXPECT_EQ(EmailsOf(contact), "5 j@example.org; ");
    }
}

TEST(MailHeaderContactTest, TheIdentifierMakesTheSameContactAgain)
{
    CTestMailStore store;
    CMailbox alice = store.OpenAlice();
    CMailHeaderPlugin plugin(alice);
    for (const char16_t* comment : {u"", u"Ann Lee", u"Lee, Ann", u"\"Ann\" \\ (the) <boss>",
                                    u"Żółć-Jaźń", u"=?x?=", u"a@b"}) {
        CMailHeaderContact contact(AddressWith(comment));
        CContact* again = nullptr;
        ASSERT_TRUE(plugin.OpenContact(contact.GetId(), &again)) << contact.GetId().ToString();
        const std::unique_ptr<CContact> owner(again);
        EXPECT_EQ(again->GetId(), contact.GetId());
        EXPECT_EQ(TextOf(*again, "FullName"), comment);
        EXPECT_EQ(EmailsOf(*again), "5 j@example.org; ");
    }
}

} // namespace
