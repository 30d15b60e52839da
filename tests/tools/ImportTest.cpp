#include "base/Text.h"
#include "intake/ImportCard.h"
#include "support/ToolRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

using ::std::string;

namespace
{

bool Contains(const string& text, const string& part)
{
    return text.find(part) != string::npos;
}

std::size_t LineCount(const string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// The lines of the cards of a text, each ended by LF, and the notes on them.
string Read(string text, string* notes = nullptr)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        fmemopen(text.data(), text.size(), "rb"), std::fclose);
    CInputText input(file.get());
    const std::unique_ptr<CCardSource> source = OpenCards(input);
    string lines;
    CImportCard card;
    while (source->Next(&card)) {
        for (const CVCardLine& line : card.card) {
            const string written = WriteVCard({line});
            constexpr std::size_t kBefore = sizeof("BEGIN:VCARD\r\nVERSION:3.0\r\n") - 1;
            constexpr std::size_t kBehind = sizeof("\r\nEND:VCARD\r\n") - 1;
            lines += written.substr(kBefore, written.size() - kBefore - kBehind) + '\n';
        }
        lines += card.notPerson == nullptr ? "" : string("(") + card.notPerson + ")\n";
        if (notes != nullptr) {
            *notes += card.Note() + card.fault + '\n';
        }
    }
    return lines;
}

string Content(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

string Card(const string& version, const string& lines)
{
    return "BEGIN:VCARD\nVERSION:" + version + "\nN:a;;;;\nFN:a\n" + lines + "END:VCARD\n";
}

string InUtf16(std::string_view text, bool isBig)
{
    string bytes;
    for (const char16_t c : ToWide(text, "test")) {
        const char low = static_cast<char>(c & 0xFF);
        const char high = static_cast<char>(c >> 8);
        bytes += {isBig ? high : low, isBig ? low : high};
    }
    return bytes;
}

} // namespace

TEST(ImportTest, LinesOfAllVersionsBecomeThoseOfTheStore)
{
    const struct
    {
        const char *what, *version, *lines, *expected;
        const char* note; // a part of it; none at all if empty
    } kCases[] = {
        {"names without a parameter", "2.1", "TEL;HOME;VOICE:1\nEMAIL;INTERNET:a@b.c\n",
         "TEL;TYPE=home,voice:1\nEMAIL;TYPE=internet:a@b.c\n", "made of vCard 2.1"},
        {"quoted-printable with soft breaks", "2.1",
         "NOTE;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-8:a=C3=\n=A4, b=0D=0A=\n c\n",
         "NOTE:a\u00E4\\, b\\n c\n", "2.1"},
        {"a soft break in front of an empty line", "2.1", "NOTE;QUOTED-PRINTABLE:a=\n\nTEL:1\n",
         "NOTE:a\nTEL:1\n", "2.1"},
        {"a soft break in front of the end", "3.0", "NOTE;QUOTED-PRINTABLE:a=\n", "NOTE:a\n", ""},
        {"a charset of two bytes", "2.1", "TITLE;CHARSET=SHIFT_JIS:\x88\xC0\x93\xA1\n",
         "TITLE:\u5B89\u85E4\n", "2.1"},
        {"bytes that are no UTF-8", "3.0", "NOTE:\xE4\x80\n", "NOTE:\u00E4\u20AC\n",
         "text taken as windows-1252"},
        {"the charset of another line", "2.1", "TITLE;CHARSET=windows-1251:\xC2\nNOTE:\xC2\n",
         "TITLE:\u0412\nNOTE:\u0412\n", "text taken as windows-1251"},
        {"base64 with blanks and without indents", "2.1",
         "PHOTO;BASE64;JPEG:\n /9j/\n 4QAB\nTEL:1\nLOGO;ENCODING=BASE64:AAAA\nBBBB\n\n",
         "PHOTO;ENCODING=b;TYPE=JPEG:/9j/4QAB\nTEL:1\nLOGO;ENCODING=b:AAAABBBB\n", "2.1"},
        {"text in base64", "2.1",
         "TITLE;CHARSET=windows-1251;ENCODING=BASE64:wg==\nNOTE;BASE64:\n YQ0K\n "
         "Yg==\n\nROLE;BASE64:a b\n",
         "TITLE:\u0412\nNOTE:a\\nb\nROLE:a b\n", "2.1"},
        {"backslashes", "2.1", "TITLE:C:\\Temp\\;\nORG:a\\;b;c,d\n",
         "TITLE:C:\\\\Temp;\nORG:a\\,b;c\\,d\n", "a semicolon in ORG, which is a comma now"},
        {"a card in a card", "2.1",
         "AGENT:\nBEGIN:VCARD\nVERSION:2.1\nFN:B, C\nTEL;CELL:1\nEND:VCARD\nTEL:2\n",
         "AGENT:B\\, C\nAGENT:BEGIN:VCARD\\nVERSION:3.0\\nFN:B\\\\\\, C\\nTEL\\;TYPE=CELL:1\\nEND:"
         "VCARD\\n\nTEL:2\n",
         "2.1"},
        {"empty parameters and an open quote", "2.1", "TEL;;HOME;:1\nX-A;B=^'c:d\n",
         "TEL;TYPE=home:1\nX-A;B=^'c:d\n", "2.1"},
        {"a type in quotes, and the most preferred", "4.0",
         "TEL;PREF=2;TYPE=\"home,voice\":1\nTEL;VALUE=uri;PREF=1:tel:+1%2D2;ext=3\n",
         "TEL;TYPE=home,voice:1\nTEL;TYPE=pref:+1-2 ext. 3\n",
         "made of vCard 4.0; not kept: PREF=2 of TEL"},
        {"URIs", "4.0",
         "EMAIL:mailto:a%40b.c?subject=x\nGEO:geo:1.5,-2;u=3\nIMPP:xmpp:a@b.c\n"
         "PHOTO:data:image/png;base64,AAAA\nLOGO:data:text/plain,a%20b\n",
         "EMAIL:a@b.c\nGEO:1.5;-2\nIMPP:xmpp:a@b.c\nPHOTO;ENCODING=b;TYPE=PNG:AAAA\n"
         "LOGO;ENCODING=b;TYPE=PLAIN:YSBi\n",
         "4.0"},
        {"URIs with bytes that no value may hold", "3.0",
         "TEL:tel:+1%0D%0ATITLE:x\nTEL:tel:%80%5Cn\nPHOTO:data:image/png;base64,AA%0DAA\n"
         "LOGO:data:image/png;base64,AA%80A\n",
         "TEL:+1%0D%0ATITLE:x\nTEL:%80%5Cn\nPHOTO;ENCODING=b;TYPE=PNG:AAAA\n"
         "LOGO;VALUE=uri:data:image/png;base64,AA%80A\n",
         ""},
        {"dates, and lines that the store keeps as they are", "4.0",
         "KIND:individual\nANNIVERSARY:20090808\nUID:urn:uuid:1\nBDAY:--0203\nitem1.X-A;B=c:d\\;"
         "e\n",
         "X-ANNIVERSARY:2009-08-08\nUID:urn:uuid:1\nBDAY;X-APPLE-OMIT-YEAR=1604:1604-02-03\n"
         "item1.X-A;B=c:d\\;e\n",
         "made of vCard 4.0"},
        {"the label of an address", "4.0", "ADR;TYPE=home;LABEL=\"1 A St\\nB\":;;1 A St;B;;;\n",
         "LABEL;TYPE=home:1 A St\\nB\nADR;TYPE=home:;;1 A St;B;;;\n", "4.0"},
        {"what the lists lose", "3.0",
         "item1.TEL;TYPE=CELL,MAIN:1\nADR;LANGUAGE=en:;;a;;;;;;b\nEMAIL:\"B\" <a@b.c>\n",
         "TEL;TYPE=cell:1\nADR:;;a;;;;;;b\nEMAIL:\"B\" <a@b.c>\n",
         "not kept: group item1 of TEL, type MAIN of TEL, parameter LANGUAGE of ADR, components of "
         "ADR behind the seventh, name B of EMAIL"},
        {"escapes that the store does not know", "3.0", "NOTE:a\\Nb\\;c\\:d\nTEL:1\\,2\n",
         "NOTE:a\\nb;c:d\nTEL:1,2\n", ""},
        {"no mail address, no line, borders of a card", "3.0",
         "EMAIL:a\nno line\na.END:VCARD\n.BEGIN:VCARD\n", "",
         "left out 4 lines that cannot be read, the first: no line"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        string notes;
        EXPECT_EQ(Read(Card(c.version, c.lines), &notes), string("N:a;;;;\nFN:a\n") + c.expected);
        EXPECT_TRUE(Contains(notes, c.note)) << notes;
        EXPECT_EQ(notes == "\n", c.note[0] == '\0') << notes;
    }
}

TEST(ImportTest, EachCardHasItsNames)
{
    const struct
    {
        const char *what, *lines, *expected;
    } kCases[] = {
        {"no FN", "N:Lee;Ann;B.;Dr.;Jr.\n", "FN:Dr. Ann B. Lee Jr.\nN:Lee;Ann;B.;Dr.;Jr.\n"},
        {"an empty FN", "FN:\nORG:c;d\n", "N:;;;;\nFN:c\nORG:c;d\n"},
        {"no N", "FN:a\n", "N:;;;;\nFN:a\n"},
        {"nothing but an address", "EMAIL:a@b.c\n", "N:;;;;\nFN:a@b.c\nEMAIL:a@b.c\n"},
        {"commas and semicolons in N", "N:a\\, b\\;c;d\\ne\nFN:a\n", "N:a, b,c;d e\nFN:a\n"},
        {"a group", "KIND:Group\nN:;;;;\nFN:g\n",
         "KIND:Group\nN:;;;;\nFN:g\n(a group of contacts)\n"},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(Read("BEGIN:VCARD\n" + string(c.lines) + "END:VCARD\n"), c.expected) << c.what;
    }
}

TEST(ImportTest, TextIsFoundInEveryEncodingAndForm)
{
    const string card = "begin:vcard\r\nN:a;;;;\r\nFN:\u00E4\U0001F600\r\nEnd:VCard\r\n";
    string much;
    while (much.size() < 200'000) {
        much += card;
    }
    const string expected = Read(much);
    EXPECT_EQ(expected.size(), much.size() / card.size() * Read(card).size());
    for (const bool isBig : {false, true}) {
        for (const char* mark : {"", "\uFEFF"}) {
            EXPECT_EQ(Read(InUtf16(mark + much, isBig)), expected) << isBig << mark;
        }
    }
    EXPECT_EQ(Read("\uFEFF" + card + "\uFEFF" + card), Read(card) + Read(card));
}

TEST(ImportTest, LdifEntriesBecomeCards)
{
    string notes;
    EXPECT_EQ(
        Read("# from a client\nversion: 1\n\n"
             "dn: cn=Ann Lee,mail=ann@example.org\nobjectclass: mozillaAbPersonAlpha\n"
             "givenName: Ann\nsn: Lee\ncn:: QW5uIEzDqQ==\nmail: ann@example.org\n"
             "mozillaSecondEmail: a@example.org\ntelephoneNumber: 1\nmobile: 2\n"
             "description: one\n  two, three\nstreet: 1 A St\nl: Town\nmozillaHomeStreet: 2 B\n"
             "o: Co; Ltd\nou: Sales\nbirthyear: 1990\nbirthmonth: 2\nbirthday: 3\n"
             "jpegPhoto:: /9j/\nuserPassword: secret\ncarLicense;lang-en: x\n\n\n"
             "dn: cn=g\nobjectClass: groupOfNames\ncn: g\n\n"
             "dn: cn=Ann Lee\nchangetype: delete\n",
             &notes),
        "N:Lee;Ann;;;\nADR;TYPE=work:;;1 A St;Town;;;\nADR;TYPE=home:;;2 B;;;;\n"
        "ORG:Co\\, Ltd;Sales\nBDAY:1990-02-03\nFN:Ann L\u00E9\n"
        "EMAIL;TYPE=internet:ann@example.org\nEMAIL;TYPE=internet:a@example.org\n"
        "TEL;TYPE=work,voice:1\nTEL;TYPE=cell:2\nNOTE:one two\\, three\n"
        "PHOTO;ENCODING=b;TYPE=JPEG:/9j/\nX-LDAP-CARLICENSE:x\n"
        "N:;;;;\nFN:g\n(a group of contacts)\n");
    EXPECT_EQ(notes,
              "not kept: a semicolon in ORG, which is a comma now\n\na change of an entry\n");
}

TEST(ImportTest, TablesOfEachProgramBecomeCards)
{
    const struct
    {
        const char *what, *text, *expected;
    } kCases[] = {
        {"Google",
         "Name,Given Name,Family Name,Group Membership,E-mail 1 - Type,E-mail 1 - Value,"
         "Phone 1 - Type,Phone 1 - Value,Address 1 - Type,Address 1 - Street,Address 1 - City,"
         "Organization 1 - Name,Custom Field 1 - Value,Event 1 - Label,Event 1 - Value,Event 2 - "
         "Label,Event 2 - Value\n"
         "Ann Lee,Ann,Lee,* myContacts ::: Friends,* ,a@b.c ::: d@b.c,Work Fax,1,Home,"
         "\"1 A St\nFlat \"\"2\"\"\",Town,Co,x,Anniversary,2001-02-03,Moved in,2002\n",
         "N:Lee;Ann;;;\nORG:Co\nFN:Ann Lee\nCATEGORIES:Friends\nX-CSV-CUSTOM-FIELD-1-VALUE:x\n"
         "EMAIL;TYPE=pref:a@b.c\nEMAIL;TYPE=pref:d@b.c\nTEL;TYPE=work,fax:1\n"
         "ADR;TYPE=home:;;1 A St\\nFlat \"2\";Town;;;\n"
         "X-ANNIVERSARY:2001-02-03\nX-CSV-EVENT-MOVED-IN:2002\n"},
        {"Outlook, with semicolons",
         "\"Title\";\"First Name\";\"Last Name\";\"Company\";\"Business Street\";\"Business "
         "Street 2\";\"Home Phone\";\"E-mail Address\";\"Birthday\";\"Priority\";\"Hobby\"\r\n"
         "\"Dr.\";\"J\xF6rg\";\"Lee\";\"\";\"1, A St\";\"B\";\"1\";\"a@b.c\";\"0/0/00\";\"Normal\";"
         "\"go\"\r\n\r\n",
         "N:Lee;J\u00F6rg;;Dr.;\nADR;TYPE=work:;;1\\, A St\\nB;;;;\nTEL;TYPE=home,voice:1\n"
         "EMAIL;TYPE=internet:a@b.c\nX-CSV-HOBBY:go\n"},
        {"Thunderbird, with tabs",
         "First Name\tLast Name\tDisplay Name\tPrimary Email\tMobile Number\tBirth Year\tBirth "
         "Month\tBirth Day\tNotes\nAnn\tLee\tAnn Lee\ta@b.c\t1\t\t5\t6\tlast",
         "N:Lee;Ann;;;\nBDAY:--05-06\nFN:Ann Lee\nEMAIL;TYPE=internet:a@b.c\nTEL;TYPE=cell:1\n"
         "NOTE:last\n"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        string read = Read(c.text);
        const string made = "FN:Dr. J\u00F6rg Lee\n";
        if (read.starts_with(made)) {
            read.erase(0, made.size());
        }
        EXPECT_EQ(read, c.expected);
    }
}

// Each card as it comes in, and what is said about it, stands in a file beside.
TEST(ImportTest, RealCardsBecomeWhatStandsBesideThem)
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CONTACTMGR_TEST_DATA "/import")) {
        if (entry.path().extension() == ".vcf") {
            string notes;
            const string read = Read(Content(entry.path()), &notes);
            EXPECT_EQ(read + notes, Content(std::filesystem::path(entry).replace_extension("txt")))
                << entry.path();
            ++count;
        }
    }
    EXPECT_EQ(count, 4u);
}

TEST(ImportTest, EachCardComesInOrIsNamed)
{
    const string a = "BEGIN:VCARD\r\nVERSION:3.0\r\nN:a;;;;\r\nFN:a\r\nEND:VCARD\r\n";
    // Each card doubles the backslashes of the one in it.
    string agents = "BEGIN:VCARD\nFN:a\nNOTE:" + string(1 << 20, '\\') + "\nEND:VCARD\n";
    for (int i = 0; i < 8; ++i) {
        agents = "BEGIN:VCARD\nVERSION:2.1\nFN:a\nAGENT:\n" + agents + "END:VCARD\n";
    }
    const struct
    {
        const char* what;
        string file;
        int status;
        std::size_t contacts;
        const char* err; // nothing at all if empty
    } kCases[] = {
        {"two cards and text between", a + "\r\nhello\r\n" + a, 0, 2, ""},
        {"LF, and CR without a last line end",
         "begin:vcard\nFN:a\nEnd:vCard\nBEGIN:VCARD\rFN:b\rEND:VCARD", 0, 2, ""},
        {"folded border lines", "BEGIN:VC\n ARD\nNOTE:x\n END:VCARD\nEN\n\tD:VCARD\n", 0, 1, ""},
        {"nothing", "", 1, 0, "import standard input: no vCard in it (13)"},
        {"a table without a line", "First Name,Last Name\n", 1, 0,
         "no line of contacts in it (13)"},
        {"odd version", "BEGIN:VCARD\nVERSION:3.1\nFN:a\nEND:VCARD\n" + a, 1, 1,
         "card 1: version 3.1 is not supported (87)"},
        {"other profile", "BEGIN:VCARD\nVERSION:3.0\nPROFILE:x\nEND:VCARD\n" + a, 1, 1,
         "card 1: a PROFILE other than VCARD (87)"},
        {"no end, then another", "BEGIN:VCARD\nFN:x\n" + a + "BEGIN:VCARD\n", 1, 1,
         "card 1: no END"},
        {"a group", "BEGIN:VCARD\nX-ADDRESSBOOKSERVER-KIND:group\nFN:g\nEND:VCARD\n" + a, 0, 1,
         "card 1: left out: it is a group of contacts, g\n"},
        {"agents of agents", agents + a, 1, 1, "card 1: larger than 32 MB (223)"},
        {"JSON without a card", R"([[],[[]],{},["vcard",[["fn",{},"text","a"]]]])", 1, 1,
         "card 2: no jCard (13)"},
        {"a table with millions of fields",
         "First Name,Last Name\n" + string(2'000'000, ',') + "\nAnn,Lee\n", 1, 1,
         "card 1: larger than 32 MB (223)"},
        {"deep JSON", "{\"@type\":\"Card\",\"a\":" + string(100'000, '['), 1, 0,
         "card 1: JSON that is nested too deep or too large (13)"},
        {"a note", "BEGIN:VCARD\nVERSION:2.1\nFN:a\nTEL;X-A:1\nEND:VCARD\n", 0, 1,
         "card 1: made of vCard 2.1; not kept: type X-A of TEL\n"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTool tool;
        const CToolRun run = tool.Run({"import", "-"}, c.file);
        EXPECT_EQ(run.status, c.status);
        EXPECT_EQ(LineCount(run.out), c.contacts) << run.out << run.err;
        EXPECT_EQ(LineCount(tool.Run({"list"}).out), c.contacts);
        EXPECT_TRUE(Contains(run.err, c.err)) << run.err;
        EXPECT_EQ(run.err.empty(), c.err[0] == '\0') << run.err;
    }
}

TEST(ImportTest, ContactsThatAreThereAreChangedOrSkipped)
{
    const string ann = "BEGIN:VCARD\nFN:Ann Lee\nEMAIL;TYPE=HOME:ann@example.org\nTEL:1\nNOTE:n\n"
                       "END:VCARD\n";
    const string uid = "BEGIN:VCARD\nUID:u1\nFN:Bob\nTEL:2\nEND:VCARD\n";
    const CTool tool;
    const auto import = [&tool](const char* option, const string& text) {
        return tool.Run({"import", option, "-"}, text).out;
    };
    EXPECT_EQ(import("--dry-run", ann), "created -\n");
    EXPECT_EQ(tool.Run({"list"}).out, "");
    EXPECT_EQ(import("--skip-existing", ann + uid + ann),
              "created VCARDPAB-1\ncreated VCARDPAB-2\nskipped VCARDPAB-1\n");
    EXPECT_EQ(import("--update", ann + uid), "skipped VCARDPAB-1\nskipped VCARDPAB-2\n");
    EXPECT_TRUE(Contains(tool.Run({"show", "VCARDPAB-1"}).out, "WSSVERSION:1\r\n"));

    // The same person: by address and name without regard to case, or by UID. Fields that the card
    // has not stay, and so does a name that it did not give itself.
    const string changed = "BEGIN:VCARD\nN:lee;ann\nEMAIL:ANN@example.org\nTEL:3\nTEL:4\n"
                           "END:VCARD\nBEGIN:VCARD\nUID:u1\nFN:Robert\nEND:VCARD\n";
    EXPECT_EQ(tool.Run({"import", "--update", "--dry-run", "-"}, changed).out,
              "changed VCARDPAB-1\nchanged VCARDPAB-2\n");
    EXPECT_TRUE(Contains(tool.Run({"show", "VCARDPAB-1"}).out, "TEL:1\r\n"));
    EXPECT_EQ(import("--update", changed), "changed VCARDPAB-1\nchanged VCARDPAB-2\n");
    const string first = tool.Run({"show", "VCARDPAB-1"}).out;
    for (const char* line : {"FN:Ann Lee\r\n", "N:lee;ann\r\n", "TEL:3\r\nTEL:4\r\n", "NOTE:n\r\n",
                             "X-COMMENT=Ann Lee:ANN@example.org\r\n"}) {
        EXPECT_TRUE(Contains(first, line)) << line << first;
    }
    EXPECT_FALSE(Contains(first, "TEL:1"));
    EXPECT_TRUE(Contains(tool.Run({"show", "VCARDPAB-2"}).out, "FN:Robert\r\n"));

    // Another UID is another person; another name too.
    EXPECT_EQ(import("--update", "BEGIN:VCARD\nUID:u2\nFN:Robert\nTEL:2\nEND:VCARD\n"
                                 "BEGIN:VCARD\nFN:Eve\nEMAIL:ann@example.org\nEND:VCARD\n"),
              "created VCARDPAB-3\ncreated VCARDPAB-4\n");
    EXPECT_EQ(tool.Run({"import", "--update", "--skip-existing", "-"}).status, 2);

    // Two persons of one name in one file are two contacts, each time.
    const string two = "BEGIN:VCARD\nFN:Jo\nADR:;;1\nEND:VCARD\n"
                       "BEGIN:VCARD\nFN:Jo\nADR:;;2\nEND:VCARD\n";
    EXPECT_EQ(import("--dry-run", two), "created -\ncreated -\n");
    EXPECT_EQ(import("--update", two), "created VCARDPAB-5\ncreated VCARDPAB-6\n");
    EXPECT_EQ(import("--update", two), "skipped VCARDPAB-5\nskipped VCARDPAB-6\n");

    // The same once more changes nothing, and makes nothing: without a name, with a blank behind
    // it, with lines of one name apart from each other, and with an empty one beside another.
    const string odd = "BEGIN:VCARD\nBDAY:2003-12-09\nX-ICQ:5\nEND:VCARD\n"
                       "BEGIN:VCARD\nFN:Kim \nTEL:7 \nEND:VCARD\n"
                       "BEGIN:VCARD\nFN:Lu "
                       "\nEMAIL:lu@a.example\nX-A:1\nX-B:2\nX-A:3\nTEL;WORK:\nTEL:8\nEND:VCARD\n";
    EXPECT_EQ(import("--update", odd),
              "created VCARDPAB-7\ncreated VCARDPAB-8\ncreated VCARDPAB-9\n");
    for (const char* option : {"--update", "--skip-existing"}) {
        EXPECT_EQ(import(option, odd),
                  "skipped VCARDPAB-7\nskipped VCARDPAB-8\nskipped VCARDPAB-9\n");
    }
}
