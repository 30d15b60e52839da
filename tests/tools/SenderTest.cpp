#include "support/ToolRun.h"

#include <gtest/gtest.h>

#include <string>

using ::std::string;

namespace
{

bool Contains(const string& text, const string& part)
{
    return text.find(part) != string::npos;
}

} // namespace

TEST(SenderTest, SenderOfAMessageBecomesAContactWithItsNameDivided)
{
    const struct
    {
        const char* what;
        const char* message;
        const char* record; // of the new contact, or what is reported
    } kCases[] = {
        {"encoded words, folded, CR LF",
         "From: =?ISO-8859-1?Q?J=F6rg?=\r\n =?ISO-8859-1?Q?_M=FCller?=\r\n <j@x.org>\r\n\r\n",
         R"("firstName":"Jörg","lastName":"Müller")"},
        {"bytes of Latin-1", "From: J\xF6rg Lee <l@x.org>\n\nFrom: b@x.org\n",
         R"("firstName":"Jörg","lastName":"Lee")"},
        {"mbox", "From a@b.c Mon Jan 1 12:00:00 2024\nTo: z@x.org\nfrom: Ann Lee <m@x.org>\n\n",
         R"({"address":"m@x.org","comment":"Ann Lee","types":["internet","pref"]})"},
        {"empty lines in front", "\n\r\nFrom: e@x.org", R"("address":"e@x.org")"},
        {"one word", "From: Ann <o@x.org>\n\n", R"("firstName":"Ann","lastName":"")"},
        {"semicolon", "From: \"Lee; Ann\" <s@x.org>\n\n", R"("FullName":"Lee, Ann")"},
        {"Sender of several", "From: a@x.org, b@x.org\nSender: Ann <d@x.org>\n\n",
         R"("address":"d@x.org")"},
        {"several", "From: a@x.org, b@x.org\n\n", "no Sender field says which\n"},
        {"no From", "Subject: x\n\nFrom: a@x.org\n", "standard input: no From field in it\n"},
        {"empty", "", "no From field in it\n"},
        {"no address", "From: Ann\n\n", "no single mail address in its From field 'Ann'\n"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTool tool;
        const CToolRun run = tool.Run({"new", "--from-message", "-"}, c.message);
        const bool isMade = *c.record == '"' || *c.record == '{';
        EXPECT_EQ(run.status, isMade ? 0 : 1);
        EXPECT_EQ(run.out, isMade ? "VCARDPAB-1\n" : "");
        EXPECT_TRUE(
            Contains(isMade ? tool.Run({"show", "--json", "VCARDPAB-1"}).out : run.err, c.record))
            << run.err;
    }
}

TEST(SenderTest, SenderWhoIsThereAlreadyIsToldAndNotMadeAgain)
{
    const CTool tool;
    const string message = tool.Folder().Write("message", "From: Ann Lee <Ann@X.org>\n\n");
    EXPECT_EQ(tool.Run({"new", "--from-message", message, "FullName=Lee", "Nickname=A"}).err, "");
    EXPECT_TRUE(Contains(tool.Run({"list"}).out, "VCARDPAB-1\tLee\tAnn@X.org"));
    const CToolRun again = tool.Run({"new", "--from-message", "-"}, "From: ann@x.ORG\n\n");
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.out, "VCARDPAB-1\n");
    EXPECT_EQ(again.err,
              "contactmgr: new: the sender is in the address book already, as VCARDPAB-1\n");
    const CToolRun fields = tool.Run({"new", "--from-message", message, "Nickname=B"});
    EXPECT_EQ(fields.status, 1);
    EXPECT_TRUE(Contains(fields.err, "the fields were not set")) << fields.err;
    EXPECT_EQ(tool.Run({"new", "--from-message", "/nowhere"}).status, 1);
    EXPECT_EQ(tool.Run({"new", "Nickname=c"}).out, "VCARDPAB-2\n");
}
