#include "edit/CardMerge.h"
#include "search/Duplicates.h"
#include "support/BookFolder.h"
#include "support/ToolRun.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

using ::std::string;

namespace
{

bool Contains(const string& text, const string& part)
{
    return text.find(part) != string::npos;
}

// The lines of a card without those that each save writes anew.
string Lines(const string& card)
{
    return std::regex_replace(card, std::regex("(REV|X-LARKMERE-WSSVERSION):[^\r]*\r\n|\r"), "");
}

string BookOf(const CTool& tool)
{
    return tool.StorePath() + "/example.org/alice/Contacts";
}

} // namespace

TEST(PeopleTest, PeopleWhoLookAlikeAreOneGroupForEachReason)
{
    const struct
    {
        const char* what;
        std::vector<CPerson> people;
        std::vector<std::vector<std::size_t>> groups;
    } kCases[] = {
        {"addresses, whatever case",
         {{"A", {"a@x.org", "b@x.org"}, {}}, {"B", {"c@x.org"}, {}}, {"C", {"B@X.org"}, {}}},
         {{0, 2}}},
        {"one person with one address twice", {{"A", {"a@x.org", "A@x.org"}, {}}}, {}},
        {"names in another order, and without accents",
         {{"Müller, Jörg", {}, {}}, {"Joerg Mueller", {}, {}}, {"jorg  muller", {}, {}}},
         {{0, 1, 2}}},
        {"Mueller and Muller", {{"A Mueller", {}, {}}, {"A Muller", {}, {}}}, {}},
        {"no name at all", {{"", {}, {}}, {" - ", {}, {}}, {"-", {}, {}}}, {}},
        {"country code or trunk prefix",
         {{"A", {}, {"+49 (0)30 1234-56"}},
          {"B", {}, {"030/123456"}},
          {"C", {}, {"0049 30 123456"}},
          {"D", {}, {"011 49 30 123456"}},
          {"E", {}, {"tel:+4930123456"}}},
         {{0, 1, 2, 3, 4}}},
        {"two countries, and a number of neither",
         {{"A", {}, {"+49 555 1234"}}, {"B", {}, {"+44 555 1234"}}, {"C", {}, {"0555 1234"}}},
         {}},
        {"trunk prefix 1",
         {{"A", {}, {"1-555-010-0123"}},
          {"B", {}, {"+1 555 010 0123"}},
          {"C", {}, {"(555) 010-0123"}}},
         {{0, 1, 2}}},
        {"code of three digits", {{"A", {}, {"+353 1 23456"}}, {"B", {}, {"01 23456"}}}, {{0, 1}}},
        {"other numbers, short ones, and words",
         {{"A", {}, {"030 123456", "4711"}},
          {"B", {}, {"040 123456", "4711"}},
          {"C", {}, {"ask 030 123456"}}},
         {}},
        {"a group for each reason, by the first of them",
         {{"A", {}, {"12345"}}, {"Ann", {"a@b.c"}, {}}, {"Ann", {"a@b.c"}, {"12345"}}},
         {{0, 2}, {1, 2}, {1, 2}}},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        std::vector<std::vector<std::size_t>> groups;
        for (const CDuplicates& group : FindDuplicates(c.people)) {
            groups.push_back(group.members);
        }
        EXPECT_EQ(groups, c.groups);
    }
    const std::vector<CPerson> company(500, {"", {"info@x.org"}, {"+49 30 1000"}});
    EXPECT_EQ(FindDuplicates(company).size(), 2U);
}

TEST(PeopleTest, DuplicatesArePrintedAsMergeTakesThem)
{
    const CTool tool;
    tool.Run({"new", "FullName=Ann Lee", "--tel", "030 123456"});
    tool.Run({"new", "GivenName=Ann", "Surname=Lee", "--email", "a@x.org"});
    tool.Run({"new", "FullName=A.", "--email", "A@x.org"});
    EXPECT_EQ(tool.Run({"duplicates"}).out,
              "name\tAnn Lee\tVCARDPAB-1 VCARDPAB-2\tAnn Lee\n"
              "address\ta@x.org\tVCARDPAB-2 VCARDPAB-3\tAnn Lee, A.\n");
    EXPECT_TRUE(Contains(tool.Run({"duplicates", "--json"}).out,
                         R"("same":"address","value":"a@x.org","contacts":[)"
                         R"({"id":"VCARDPAB-2","name":"Ann Lee"},{"id":"VCARDPAB-3",)"));
}

TEST(PeopleTest, MergedCardLosesNothingAndIsTheSameWhenMergedOnceMore)
{
    const struct
    {
        const char* what;
        const char* first;
        const char* other;
        const char* merged;
    } kCases[] = {
        {"entries once, with all types", "EMAIL;TYPE=pref:a@x.org\nTEL;TYPE=work:+49 30 12345\n",
         "EMAIL;TYPE=internet,pref:A@X.ORG\nEMAIL;TYPE=pref:b@x.org\n"
         "TEL;TYPE=cell:0049-30-12345\nTEL:030 12345\nTEL:12345 ext. 6\n",
         "EMAIL;TYPE=pref,internet:a@x.org\nTEL;TYPE=work,cell:+49 30 12345\n"
         "EMAIL:b@x.org\nTEL:030 12345\nTEL:12345 ext. 6\n"},
        {"addresses", "ADR;TYPE=home:;;1 Elm St;Town;;;\nIMPP:xmpp:a@x.org\n",
         "ADR;TYPE=work:;;1 Elm St;Town\nADR:;;2 Elm St;;;;\nIMPP;TYPE=HOME:xmpp:a@x.org\n",
         "ADR;TYPE=home,work:;;1 Elm St;Town;;;\nIMPP;TYPE=HOME:xmpp:a@x.org\n"
         "ADR:;;2 Elm St;;;;\n"},
        {"names of addresses", "FN:Ann\nEMAIL;X-COMMENT=Ann:a@x.org\n",
         "EMAIL;X-COMMENT=Annie:a@x.org\n",
         "FN:Ann\nEMAIL;X-COMMENT=Ann:a@x.org\nNOTE:Name: Annie\n"},
        {"empty values are filled", "N:Lee;;;;\nFN:\n", "N:Lee;Ann;M.;;\nFN:Ann Lee\nTITLE:Boss\n",
         "N:Lee;Ann;M.;;\nFN:Ann Lee\nTITLE:Boss\n"},
        {"other values go into the note", "N:Lee;Ann;;;\nTITLE:Boss\nNOTE:old\n",
         "N:Leigh;Ann;;;\nTITLE:Clerk\\, 1st\nNOTE:new\\nlines\nBDAY:1970-01-01\n",
         "N:Lee;Ann;;;\nTITLE:Boss\n"
         "NOTE:old\\nFamily name: Leigh\\nJob title: Clerk\\, "
         "1st\\nnew\\nlines\nBDAY:1970-01-01\n"},
        {"a note that is a part of a word", "NOTE:xylophone\n", "NOTE:phone\n",
         "NOTE:xylophone\\nphone\n"},
        {"lines that may repeat", "PHOTO:a\nX-FOO:1\nCATEGORIES:a\\,b\n",
         "PHOTO:b\nX-FOO:1\nX-BAR:2\nURL:u\nURL:v\nCATEGORIES:a,b\n",
         "PHOTO:a\nX-FOO:1\nCATEGORIES:a\\,b\nPHOTO:b\nX-BAR:2\nURL:u\nURL:v\n"},
        {"groups stay together", "item1.X-ABDATE:2001\nitem1.X-ABLabel:Wedding\n",
         "item1.X-ABDATE:2005\nitem1.X-ABLabel:Wedding\nitem2.X-ABDATE:2001\n"
         "item2.X-ABLabel:Wedding\n",
         "item1.X-ABDATE:2001\nitem1.X-ABLABEL:Wedding\nitem2.X-ABDATE:2005\n"
         "item2.X-ABLABEL:Wedding\n"},
        {"identifiers, and what is about the card", "UID:1\nPRODID:w\n",
         "UID:2\nREV:2\nPRODID:x\nX-LARKMERE-WSSREPLICATIONID:r\n",
         "UID:1\nPRODID:w\nX-MERGED-UID:2\nX-LARKMERE-WSSREPLICATIONID:r\n"},
        {"a card in a line", "AGENT:Bob\n", "AGENT:BEGIN:VCARD\\nEND:VCARD\n",
         "AGENT:Bob\nAGENT:BEGIN:VCARD\\nEND:VCARD\n"},
        {"an address that is none", "FN:a\n", "EMAIL:nobody\n", "FN:a\nNOTE:EMAIL: nobody\n"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        CCardMerge merge(ReadVCard(c.first));
        merge.Add(ReadVCard(c.other));
        EXPECT_EQ(Lines(WriteVCard(merge.Card())),
                  string("BEGIN:VCARD\nVERSION:3.0\n") + c.merged + "END:VCARD\n");
        CCardMerge again(merge.Card());
        again.Add(ReadVCard(c.other));
        EXPECT_EQ(again.Card(), merge.Card());
        EXPECT_TRUE(again.Kept().empty());
    }
}

TEST(PeopleTest, MergeDeletesTheOthersAndTakesUpOneThatWasCutShort)
{
    const CTool tool;
    tool.Run({"new", "FullName=Ann Lee", "--email", "Ann <a@x.org>"});
    tool.Run({"new", "FullName=A. Lee", "--email", "A@x.org", "--tel", "030 12345"});
    tool.Run({"new", "Jobtitle=Boss"});
    const string second = "store/example.org/alice/Contacts/40000000.vcf";
    string text = tool.Folder().Read(second);
    text.insert(text.find("FN:"), "X-OLD:J\xF6rg\r\nno line\r\n"); // nothing that the library keeps
    tool.Folder().Write(second, text);

    const std::vector<string> merge = {"merge", "VCARDPAB-1", "VCARDPAB-2", "VCARDPAB-3"};
    const string before = tool.Run({"export"}).out;
    const CToolRun dry = tool.Run({"merge", "--dry-run", "VCARDPAB-1", "VCARDPAB-2", "VCARDPAB-3"});
    EXPECT_EQ(tool.Run({"export"}).out, before);
    {
        CBookFolder book(BookOf(tool));
        const ContactPtr held = book.Open(3);
        std::vector<string> atOnce = merge;
        atOnce.insert(atOnce.end(), {"--wait", "0"});
        EXPECT_TRUE(Contains(tool.Run(atOnce).err, "merge VCARDPAB-3: ")) << "held";
    }
    EXPECT_EQ(tool.Run({"export"}).out, before);

    const CToolRun run = tool.Run(merge);
    EXPECT_EQ(run.out, "VCARDPAB-1\n");
    EXPECT_EQ(run.err, dry.err);
    EXPECT_TRUE(Contains(run.err, "kept in the note: Name: A. Lee\n")) << run.err;
    const string after = tool.Run({"show", "VCARDPAB-1"}).out;
    EXPECT_EQ(Lines(after), Lines(dry.out));
    EXPECT_EQ(Lines(after), "BEGIN:VCARD\nVERSION:3.0\nN:\nFN:Ann Lee\nX-OLD:Jörg\n"
                            "NOTE:Name: A. Lee\\nno line\nTITLE:Boss\n"
                            "EMAIL;X-COMMENT=Ann:a@x.org\nTEL:030 12345\nEND:VCARD\n");

    // One that died before it deleted the second contact.
    tool.Folder().Write(second, text);
    EXPECT_EQ(tool.Run(merge).err,
              "contactmgr: merge VCARDPAB-3: it has been deleted; passed over\n");
    EXPECT_EQ(tool.Run({"show", "VCARDPAB-1"}).out, after); // not even written
}

TEST(PeopleTest, MergeOfWhatCannotBeMergedChangesNothing)
{
    const CTool tool;
    tool.Run({"new", "FullName=Ann"});
    const struct
    {
        std::vector<string> ids;
        int status;
        const char* err;
    } kCases[] = {
        {{"VCARDPAB-1"}, 2, "two identifiers at least"},
        {{"VCARDPAB-1", "VCARDPAB-01"}, 2, "merge has VCARDPAB-01 twice"},
        {{"VCARDPAB-1", "VCARDPAB-9"}, 1, "merge VCARDPAB-9: there is no such contact (2)"},
        {{"VCARDPAB-9", "VCARDPAB-1"}, 1, "merge VCARDPAB-9: there is no such contact (2)"},
        {{"VCARDPAB-1", "INBOX-a@b.c"}, 1, "it is VCARDPAB-NUMBER (50)"},
    };
    for (const auto& c : kCases) {
        std::vector<string> words = {"merge"};
        words.insert(words.end(), c.ids.begin(), c.ids.end());
        const CToolRun run = tool.Run(words);
        EXPECT_EQ(run.status, c.status);
        EXPECT_TRUE(Contains(run.err, c.err)) << run.err;
    }
    EXPECT_TRUE(Contains(tool.Run({"list"}).out, "VCARDPAB-1\tAnn"));
}

TEST(PeopleTest, EditSavesTheTextOrKeepsItInAFile)
{
    const string self = CONTACTMGR_TEST_TOOL;
    const struct
    {
        const char* what;
        string editor; // a command of the shell, with the file behind it
        int status;
        const char* err;
        const char* title; // of the contact afterwards
        bool isKept;
    } kCases[] = {
        {"no change", "true", 0, "nothing was changed", "Boss", false},
        {"other line ends", "sed -i 's/$/\\r/'", 0, "nothing was changed", "Boss", false},
        {"change", "sed -i s/Boss/Clerk/", 0, "", "Clerk", false},
        {"failed editor", "false", 1, "ended with status 1; nothing was changed", "Boss", false},
        {"failed with a text", "f() { sed -i s/Boss/x/ \"$1\"; exit 3; }; f", 1,
         "the text is kept in ", "Boss", true},
        {"no editor", "/nowhere", 1, "ended with status 127", "Boss", false},
        {"version", "sed -i s/3.0/4.0/", 1, "VERSION has to be 3.0", "Boss", true},
        {"no card", "sed -i /END/d", 1, "has to begin with BEGIN:VCARD", "Boss", true},
        {"two cards", "sed -i s/TITLE.*/BEGIN:VCARD/", 1, "more than one card", "Boss", true},
        {"line", "sed -i s/TITLE.*/TITLE/", 1, "this line cannot be read: TITLE", "Boss", true},
        {"address", "sed -i s/a@x.org/nobody/", 1, "cannot be read: EMAIL", "Boss", true},
        {"changed meanwhile",
         "f() { sed -i s/Boss/Clerk/ \"$1\"; \"$TOOL\" --store \"$STORE\" --mailbox "
         "alice@example.org set VCARDPAB-1 Nickname=x; }; f",
         1, "somebody changed the contact meanwhile", "Boss", true},
        {"deleted meanwhile",
         "f() { sed -i s/Boss/Clerk/ \"$1\"; \"$TOOL\" --store \"$STORE\" --mailbox "
         "alice@example.org delete VCARDPAB-1; }; f",
         1, "it has been deleted", "", true},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTool tool;
        tool.Run({"new", "FullName=Ann", "Jobtitle=Boss", "--email", "Annie <a@x.org>"});
        const string temporary = tool.Folder() / "temporary";
        std::filesystem::create_directory(temporary);
        setenv("TMPDIR", temporary.c_str(), 1);
        setenv("VISUAL", c.editor.c_str(), 1);
        setenv("TOOL", self.c_str(), 1);
        setenv("STORE", tool.StorePath().c_str(), 1);
        const CToolRun run = tool.Run({"edit", "VCARDPAB-1"});
        for (const char* const name : {"TMPDIR", "VISUAL", "TOOL", "STORE"}) {
            unsetenv(name);
        }
        EXPECT_EQ(run.status, c.status) << run.err;
        EXPECT_TRUE(Contains(run.err, c.err)) << run.err;
        EXPECT_EQ(std::filesystem::is_empty(temporary), !c.isKept);
        EXPECT_EQ(Contains(run.err, "the text is kept in " + temporary), c.isKept) << run.err;
        const string card = tool.Run({"export"}).out;
        EXPECT_EQ(card.empty(), *c.title == '\0');
        EXPECT_TRUE(Contains(card, *c.title == '\0' ? "" : "TITLE:" + string(c.title))) << card;
        EXPECT_TRUE(card.empty() || Contains(card, "EMAIL;X-COMMENT=Annie:a@x.org")) << card;
        EXPECT_TRUE(c.editor != "sed -i s/Boss/Clerk/" || Contains(card, "WSSVERSION:2")) << card;
    }
}
