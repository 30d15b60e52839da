#include "mailheader/MailHeaderPlugin.h"

#include "support/ContactText.h"
#include "support/StoreContract.h"

#include <gtest/gtest.h>

namespace
{

using CMailHeaderPluginTest = CStoreTest<CMailHeaderPlugin>;

TEST_F(CMailHeaderPluginTest, KeepsTheContractOfAStore)
{
    store.Deliver("cur/1");
    SetAge(store / "cur", std::chrono::hours(1));
    SetAge(store / "new", std::chrono::hours(1));
    ExpectKeepsTheContract(plugin, "INBOX-Ann-Marie <a-b@example.org>", "INBOX-Ann");
    EXPECT_FALSE(plugin.OwnsContact("Inbox-a@example.org"));
    EXPECT_FALSE(plugin.OwnsContact("INBOXES-a@example.org"));
    EXPECT_EQ(Open(std::string("INBOX-a@example.org\0x", 21)), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

// A sender's comment is the full name, and its last word the last name.
TEST_F(CMailHeaderPluginTest, WalkGivesTheSenderOfEachMessageThatHasOne)
{
    static const struct
    {
        const char* from;
        const char16_t *full, *first, *last; // null: no contact
    } kCases[] = {
        {"j@example.org\nFrom: x@example.org", u"", u"", u""},
        {"\"John Q. Public\" <j@example.org>", u"John Q. Public", u"John Q.", u"Public"},
        {"a@example.org, b@example.org", nullptr, nullptr, nullptr},
        {"Ann", nullptr, nullptr, nullptr},
        {"\"  John Smith  \" <j@example.org>", u"  John Smith  ", u"John", u"Smith"},
        {"\"John\tSmith\" <j@example.org>", u"John\tSmith", u"John\tSmith", u""},
        {"\"John \tSmith\" <j@example.org>", u"John \tSmith", u"John", u"Smith"},
        {"j@example.org <j@example.org>", u"j@example.org", u"j@example.org", u""},
        {"Firma A & B, Inc. <j@example.org>", u"Firma A & B, Inc.", u"Firma A & B,", u"Inc."},
        {"I <3 [x] \"a, b <b@c.d>\" <j@example.org>,", u"I <3 [x] a, b <b@c.d>", u"I <3 [x] a, b",
         u"<b@c.d>"},
        {"Crew: \"Ann Lee <j@example.org>", u"Crew: \"Ann Lee", u"Crew: \"Ann", u"Lee"},
        {"\"=?utf-8?Q?J=C3=B6?= Lee\" <j@example.org>", u"J\u00F6 Lee", u"J\u00F6", u"Lee"},
        {"=?utf-8?Q?J=C3?==?utf-8?q?=B6?=(=?utf-8?b?TGVl?=) <j@example.org>", u"J\u00F6(Lee)",
         u"J\u00F6(Lee)", u""},
        {"=?utf-8?Q?Lee,_<b@c.d>;_J?= <j@example.org>", u"Lee, <b@c.d>; J", u"Lee, <b@c.d>;", u"J"},
        {"=?utf-8?q?=3D=3Futf-8=3Fq=3Fx=3F=3D?= <j@example.org>", u"=?utf-8?q?x?=",
         u"=?utf-8?q?x?=", u""},
        {"=?utf-8?q?a=0D=0Ab?=, c <j@example.org>", u"a  b, c", u"a  b,", u"c"},
        {"A <a@b.c> B <j@example.org>", nullptr, nullptr, nullptr},
        {"A <a@b.c>, B, C <j@example.org>", nullptr, nullptr, nullptr},
        {"a@b.c, B & C, Inc. <j@example.org>", nullptr, nullptr, nullptr},
        {"A & B, C <j@example.org>, a@b.c", nullptr, nullptr, nullptr},
        {"A, [B] <j@>", nullptr, nullptr, nullptr},
        {"Crew: A <j@example.org>, [B];", nullptr, nullptr, nullptr},
        {"=?utf-8?b?44CA5bGx55SwIOWkqumDjsKg?= <j@example.org>", u"\u3000山田 太郎\u00a0", u"山田",
         u"太郎"},
    };
    char file[] = "cur/a";
    for (const auto& c : kCases) {
        store.Deliver(file, std::string("From: ") + c.from + "\n\n");
        ++file[4];
    }
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.from);
        if (c.full == nullptr) {
            continue;
        }
        ASSERT_TRUE(walk->MoveNext());
        CContact& contact = *walk->GetCurrent();
        EXPECT_EQ(TextOf(contact, "FULLNAME"), c.full);
        EXPECT_EQ(TextOf(contact, "GivenName"), c.first);
        EXPECT_EQ(TextOf(contact, "surname"), c.last);
        EXPECT_EQ(EmailsOf(contact), "5 j@example.org; ");
        const auto again = Open(contact.GetId());
        ASSERT_NE(again, nullptr) << contact.GetId().ToString();
        EXPECT_EQ(TextOf(*again, "FullName"), c.full);
    }
    EXPECT_FALSE(walk->MoveNext());
    EXPECT_EQ(TextOf(*walk->GetCurrent(), "Surname"), u"太郎") << "stays until Finish";
}

TEST_F(CMailHeaderPluginTest, WalkCountsWhatItPassesOverAndASuccessLeavesTheLastError)
{
    store.Deliver("cur/1", "BZh91AY&SY");
    store.Deliver("cur/2", "\x28\xB5\x2F\xFD");
    store.Deliver("cur/3", "\x28\xB5\x2F\xFD");
    store.Deliver("cur/4");
    store.Deliver("cur/5", "Subject: without a sender\n\n");
    store.Deliver("cur/6", "\x1F\x8B\x08"
                           "damaged");
    for (int round = 0; round < 2; ++round) {
        SetLastError(4711);
        EXPECT_TRUE(walk->Start(nullptr, nullptr) && walk->MoveNext());
        EXPECT_EQ(GetLastError(), 4711u);
        EXPECT_FALSE(walk->MoveNext());
        EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
        const CContactPlg::Counts expected = {{"bzip2", 1}, {"zstd", 2}};
        EXPECT_TRUE(walk->Finish() && walk->GetPassedOver() == expected);
        EXPECT_EQ(FaultsOf(*walk), "6 13; ");
    }
}

} // namespace
