#include "cards/Csv.h"
#include "cards/JCard.h"
#include "cards/JSContact.h"
#include "cards/Uid.h"
#include "cards/VCard4.h"
#include "core/ContactId.h"
#include "platform/Ascii.h"
#include "support/SampleCards.h"
#include "support/ToolRun.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>

#include <sys/stat.h>

using ::std::string;
using ::std::vector;

namespace
{

using CForm = std::function<CVCard(const CVCard&)>;

CVCard Through4(const CVCard& card)
{
    vector<string> notes;
    return ToVersion3(ReadVCard(WriteVCard(ToVersion4(card, &notes), "4.0")), &notes);
}

CVCard ThroughJCard(const CVCard& card)
{
    vector<string> notes;
    CVCard read;
    string fault;
    EXPECT_TRUE(ReadJCard(WriteJCard(card, &notes), &read, &notes, &fault)) << fault;
    return read;
}

CVCard ThroughJSContact(const CVCard& card)
{
    vector<string> notes;
    CVCard read;
    string fault;
    EXPECT_TRUE(ReadJSContact(WriteJSContact(card, &notes), &read, &notes, &fault)) << fault;
    return read;
}

// The values of a line without differences that mean nothing: superfluous escapes, the case of
// types, and the 2.1 word for base64.
string NormalLine(CVCardLine line)
{
    static const std::set<string> kStructured = {"N", "ADR", "ORG", "NICKNAME", "CATEGORIES"};
    if (kStructured.contains(line.name)) {
        string value;
        for (const string& part : SplitValue(line.value, ';')) {
            for (const string& one : SplitValue(part, ',')) {
                value += EscapeValue(UnescapeValue(one)) + '|';
            }
        }
        line.value = value.substr(0, value.find_last_not_of('|') + 1);
    } else {
        line.value = EscapeValue(UnescapeValue(line.value));
    }
    for (auto& [name, parameter] : line.parameters) {
        if (name == "TYPE" || name == "ENCODING" || name == "VALUE") {
            std::ranges::transform(parameter, parameter.begin(), LowerAscii<char>);
        }
        parameter = parameter == "base64" ? "b" : parameter;
    }
    std::erase_if(line.parameters, [&line](const auto& parameter) {
        const auto& [name, each] = parameter;
        return name == "CHARSET" || (line.name == "EMAIL" && each == "internet") ||
               (name == "VALUE" && (each == "text" || each == "date" || each == "uri"));
    });
    std::ranges::sort(line.parameters);
    const auto repeated = std::ranges::unique(line.parameters);
    line.parameters.erase(repeated.begin(), repeated.end());
    return WriteVCardLine(line);
}

std::multiset<string> NormalLines(const CVCard& card)
{
    std::multiset<string> lines;
    for (const CVCardLine& line : card) {
        const bool isEmpty = line.value.find_first_not_of(';') == string::npos;
        if (!isEmpty && line.name != "PROFILE" && line.name != "PRODID") {
            lines.insert(NormalLine(line));
        }
    }
    return lines;
}

string Joined(const std::multiset<string>& lines)
{
    string text;
    for (const string& line : lines) {
        text += line + '\n';
    }
    return text;
}

vector<CVCard> SampleCardsOfVersion3()
{
    vector<CVCard> cards;
    for (const string& text : SampleCards()) {
        if (text.find("\nVERSION:3.0") != string::npos) {
            cards.push_back(ReadVCard(text));
            AddName(&cards.back());
        }
    }
    return cards;
}

CVCardLine Line(const string& text)
{
    CVCardLine line;
    EXPECT_TRUE(ReadVCardLine(text, &line)) << text;
    return line;
}

string Card(const string& lines)
{
    return "BEGIN:VCARD\r\nVERSION:3.0\r\n" + lines + "END:VCARD\r\n";
}

} // namespace

TEST(ExportTest, SampleCardsComeBackFromEachForm)
{
    vector<CVCard> cards = SampleCardsOfVersion3();
    ASSERT_GT(cards.size(), 20U);
    cards.push_back(
        {Line("FN:Ann"), Line("N:Lee;Ann;;;"), Line("SORT-STRING:lee"), Line("SORT-STRING:ann")});
    for (const CVCard& card : cards) {
        for (const auto& [name, form] : {std::pair<const char*, CForm>{"4.0", Through4},
                                         {"jCard", ThroughJCard},
                                         {"JSContact", ThroughJSContact}}) {
            SCOPED_TRACE(name);
            EXPECT_EQ(Joined(NormalLines(form(card))), Joined(NormalLines(card)));
        }
    }
}

TEST(ExportTest, LinesAreWrittenAsEachVersionHasThem)
{
    const struct
    {
        const char *what, *three, *four;
    } kCases[] = {
        {"preferred", "TEL;TYPE=home,pref:+1", "TEL;TYPE=home;PREF=1:+1"},
        {"photo", "PHOTO;ENCODING=b;TYPE=JPEG:AAAA", "PHOTO:data:image/jpeg;base64,AAAA"},
        {"key", "KEY;ENCODING=b;TYPE=PGP:AAAA", "KEY:data:application/pgp-keys;base64,AAAA"},
        {"photo elsewhere", "PHOTO;VALUE=uri:http://a/b", "PHOTO;VALUE=uri:http://a/b"},
        {"date", "BDAY:1985-04-12", "BDAY:19850412"},
        {"date without a year", "BDAY;X-APPLE-OMIT-YEAR=1604:1604-04-12", "BDAY:--0412"},
        {"no date", "BDAY:spring", "BDAY;VALUE=text:spring"},
        {"time", "REV:2026-01-02T03:04:05Z", "REV:20260102T030405Z"},
        {"wedding", "X-ANNIVERSARY:2001-02-03", "ANNIVERSARY:20010203"},
        {"place", "GEO:37.4;-122.1", "GEO:geo:37.4,-122.1"},
        {"zone", "TZ:-05:00", "TZ;VALUE=utc-offset:-0500"},
        {"agent", "AGENT:Bob", "RELATED;TYPE=agent;VALUE=text:Bob"},
        {"class", "CLASS:PUBLIC", "X-CLASS:PUBLIC"},
        {"group member", "X-ADDRESSBOOKSERVER-MEMBER:urn:uuid:1", "MEMBER:urn:uuid:1"},
        {"plain UID", "UID:a-b", "UID;VALUE=text:a-b"},
        {"UID as URI", "UID:urn:uuid:1", "UID:urn:uuid:1"},
        {"group", "item1.URL:http://a", "item1.URL:http://a"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        vector<string> notes;
        const CVCard four = ToVersion4({Line("FN:A"), Line(c.three)}, &notes);
        EXPECT_EQ(WriteVCardLine(four.back()), c.four);
        EXPECT_EQ(WriteVCardLine(ToVersion3({Line(c.four)}, &notes).back()), c.three);
        EXPECT_TRUE(notes.empty());
    }
    // What goes for good.
    vector<string> notes;
    EXPECT_EQ(
        WriteVCardLine(
            ToVersion4({Line("FN:A"), Line("EMAIL;CHARSET=utf-8;TYPE=INTERNET,HOME:a@b.c")}, &notes)
                .back()),
        "EMAIL;TYPE=home:a@b.c");
    // Lines of their own in one version, parameters in the other.
    const CVCard four = ToVersion4({Line("N:Lee;Ann;;;"), Line("SORT-STRING:lee"),
                                    Line("LABEL;TYPE=home:1 Elm St\\nTown"),
                                    Line("ADR;TYPE=home:;;1 Elm St;Town;;;")},
                                   &notes);
    EXPECT_EQ(WriteVCard(four, "4.0"),
              "BEGIN:VCARD\r\nVERSION:4.0\r\nKIND:individual\r\nFN:Ann Lee\r\n"
              "N;SORT-AS=lee:Lee;Ann;;;\r\n"
              "ADR;TYPE=home;LABEL=1 Elm St^nTown:;;1 Elm St;Town;;;\r\n"
              "END:VCARD\r\n");
    // What the other version has no place for is told.
    const CVCard preferred =
        ToVersion3({Line("TEL;PREF=2:+1"), Line("TEL:+2"), Line("TEL;PREF=9:+3")}, &notes);
    EXPECT_EQ(WriteVCardLine(preferred.front()), "TEL;TYPE=pref:+1") << "the least";
    EXPECT_EQ(notes, vector<string>{"PREF=9 of TEL"});
}

TEST(ExportTest, JsonOfOthersIsReadAndAllElseIsRefused)
{
    vector<string> notes;
    CVCard card;
    string fault;
    ASSERT_TRUE(ReadJSContact(
        R"({"@type":"Card","version":"1.0","uid":"u","name":{"components":[)"
        R"({"kind":"given","value":"Ann"},{"kind":"surname","value":"Lee, jr"}]},)"
        R"("phones":{"p":{"number":"tel:+1","features":{"mobile":true},"pref":1,"label":"Boat"}},)"
        R"("addresses":{"a":{"components":[{"kind":"number","value":"1"},)"
        R"({"kind":"name","value":"Elm St"},{"kind":"locality","value":"Town"}],"full":"1 Elm St"}},)"
        R"("anniversaries":{"b":{"kind":"birth","date":{"month":4,"day":2}}},)"
        R"("relatedTo":{"Re: Bob\nLee":{"relation":{"agent":true}}},)"
        R"("personalInfo":{"1":{"kind":"hobby","value":"sailing"}}})",
        &card, &notes, &fault))
        << fault;
    EXPECT_EQ(WriteVCard(card),
              Card("FN:Ann Lee\\, jr\r\nUID:u\r\nN:Lee\\, jr;Ann;;;\r\nlabel1.X-ABLABEL:Boat\r\n"
                   "label1.TEL;TYPE=cell,pref:+1\r\nLABEL:1 Elm St\r\nADR:;;1 Elm St;Town;;;\r\n"
                   "BDAY;X-APPLE-OMIT-YEAR=1604:1604-04-02\r\nAGENT:Re: Bob\\nLee\r\n"));
    EXPECT_EQ(notes, vector<string>{"personalInfo/1"});
    ASSERT_TRUE(ReadJCard(R"(["vcard",[["version",{},"text","4.0"],["fn",{},"text","A; B"],)"
                          R"(["tel",{"type":["home","voice"],"group":"g"},"uri","tel:+1"],)"
                          R"(["n",{},"text",["B",["A","C"],"","",""]]]])",
                          &card, &notes, &fault))
        << fault;
    EXPECT_EQ(WriteVCard(card), Card("FN:A\\; B\r\ng.TEL;TYPE=home,voice:+1\r\nN:B;A,C;;;\r\n"));
    const string deep(100'000, '[');
    string wide = R"({"@type":"Card","keywords":{"a":true)";
    for (int i = 0; i < 30'000; ++i) {
        wide += ",\"" + std::to_string(i) + "\":true";
    }
    for (const string& text : vector<string>{
             "", "[", "{}", "7", "[]", "[7]", deep + string(deep.size(), ']'), wide + "}}",
             R"({"@type":"Group"})", R"(["vcard"])", R"(["vcard",[7]])",
             R"(["vcard",[["fn",{},"text"]]])", R"(["vcard",[["f:n",{},"text","x"]]])"}) {
        SCOPED_TRACE(text.substr(0, 100));
        EXPECT_FALSE(ReadJCard(text, &card, &notes, &fault));
        EXPECT_FALSE(fault.empty());
        EXPECT_FALSE(ReadJSContact(text, &card, &notes, &fault));
    }
}

TEST(ExportTest, UidIsTheSameInEveryFormAndLeavesTheRestOfPlainExportAlone)
{
    const CTool tool;
    tool.Run({"import", "-"}, Card("FN:Ann\r\nUID:\r\n") + Card("FN:Bob\r\nitem1.UID:b;1\r\n"));
    const string ann = DerivedUid("ALICE@example.org", "VCARDPAB-1");
    EXPECT_EQ(ann, DerivedUid("alice@example.org", "VCARDPAB-1"));
    EXPECT_NE(ann, DerivedUid("alice@example.org", "VCARDPAB-2"));
    EXPECT_EQ(ann[14], '5');
    const CToolRun plain = tool.Run({"export"});
    EXPECT_EQ(plain.err, "");
    EXPECT_NE(plain.out.find("\r\nX-LARKMERE-WSSVERSION:1\r\nUID:" + ann + "\r\nEND:VCARD\r\n"),
              string::npos)
        << plain.out;
    EXPECT_NE(plain.out.find("\r\nitem1.UID:b;1\r\n"), string::npos) << plain.out;
    EXPECT_EQ(std::ranges::count(plain.out, 'U'), 2);
    for (const char* const form : {"jcard", "jscontact"}) {
        const auto json = nlohmann::json::parse(tool.Run({"export", "--format", form}).out);
        ASSERT_EQ(json.size(), 2U);
        EXPECT_NE(json[0].dump().find('"' + ann + '"'), string::npos) << json[0];
        EXPECT_NE(json[1].dump().find("\"b;1\""), string::npos) << json[1];
    }
    EXPECT_NE(tool.Run({"export", "--version", "4.0"}).out.find("UID;VALUE=text:" + ann + "\r\n"),
              string::npos);
    EXPECT_EQ(tool.Run({"export", "--format", "jcard", "VCARDPAB-9"}).out, "[]\n");
    for (const auto& wrong : {vector<string>{"--version", "2.1"},
                              {"--format", "csv", "--version", "4.0"},
                              {"--vdir", "x", "VCARDPAB-1"}}) {
        vector<string> arguments = {"export"};
        arguments.insert(arguments.end(), wrong.begin(), wrong.end());
        EXPECT_EQ(tool.Run(arguments).status, 2);
    }
}

TEST(ExportTest, NamesThatCardsReallyHaveComeBackThroughJCard)
{
    const string lines = "FN:A\r\nX-WAB-WEDDING_DAY:1\r\nX-IM/GADU-ALL:2\r\n";
    const string back = WriteVCard(ThroughJCard(ReadVCard(Card(lines))));
    EXPECT_NE(back.find("X-WAB-WEDDING_DAY:1\r\nX-IM/GADU-ALL:2\r\n"), back.npos) << back;
}

TEST(ExportTest, TableHasAColumnForEachEntryAndQuotesWhatNeedsIt)
{
    CCsvTable table;
    vector<string> notes;
    table.Add(
        ReadVCard(
            Card("N:Lee;Ann;;;\r\nFN:Ann Lee\r\nNOTE:a\\, \"b\"\\nc\r\nORG:Ex;Mail\r\n"
                 "TEL;TYPE=work,fax:1\r\nTEL;TYPE=cell,pref:2\r\nX-ODD:1\r\ng.X-ABLABEL:Boat\r\n")),
        &notes);
    table.Add(ReadVCard(Card("FN:Bob\r\nEMAIL:b@c.d\r\nCATEGORIES:x,y\r\nBDAY:19850412\r\n")),
              &notes);
    EXPECT_EQ(table.Write(),
              "Name,First Name,Middle Name,Last Name,Name Prefix,Name Suffix,Nickname,File As,"
              "Organization Name,Organization Title,Organization Department,Birthday,Notes,Labels,"
              "E-mail 1 - Label,E-mail 1 - Value,Phone 1 - Label,Phone 1 - Value,Phone 2 - Label,"
              "Phone 2 - Value\r\n"
              "Ann Lee,Ann,,Lee,,,,,Ex,,Mail,,\"a, \"\"b\"\"\nc\",,,,Work Fax,1,* Mobile,2\r\n"
              "Bob,Bob,,,,,,,,,,1985-04-12,,x ::: y,Other,b@c.d,,,,\r\n");
    EXPECT_EQ(notes, (vector<string>{"X-ODD", "X-ABLABEL"}));
}

TEST(ExportTest, FolderFollowsTheAddressBookAndKeepsWhatHasNotChanged)
{
    const CTool tool;
    const string folder = tool.Folder() / "vdir";
    const auto run = [&] { return tool.Run({"export", "--vdir", folder}); };
    const auto fileOf = [&](const char* id) {
        return folder + '/' + DerivedUid("alice@example.org", id) + ".vcf";
    };
    const auto inodeOf = [](const string& path) {
        struct stat status = {};
        stat(path.c_str(), &status);
        return status.st_ino;
    };
    for (const char* const name : {"Ann", "Bob", "Cy", "Di"}) {
        tool.Run({"new", string("FullName=") + name});
    }
    EXPECT_EQ(run().err, "");
    const auto kept = inodeOf(fileOf("VCARDPAB-1"));
    const auto changed = inodeOf(fileOf("VCARDPAB-2"));
    tool.Folder().Write("vdir/other.txt", "x");
    tool.Folder().Write("vdir/other.vcf", "x");
    std::ofstream(fileOf("VCARDPAB-4")) << "theirs";
    std::filesystem::remove(fileOf("VCARDPAB-3"));
    tool.Run({"set", "VCARDPAB-2", "Nickname=B"});
    tool.Run({"delete", "VCARDPAB-4"});
    const CToolRun second = run();
    EXPECT_NE(second.err.find("was changed here, left alone"), string::npos) << second.err;
    EXPECT_EQ(inodeOf(fileOf("VCARDPAB-1")), kept);
    EXPECT_NE(inodeOf(fileOf("VCARDPAB-2")), changed);
    EXPECT_TRUE(std::filesystem::exists(fileOf("VCARDPAB-3")));
    EXPECT_TRUE(std::filesystem::exists(fileOf("VCARDPAB-4")));
    tool.Run({"delete", "VCARDPAB-3"});
    EXPECT_EQ(run().err, "");
    EXPECT_FALSE(std::filesystem::exists(fileOf("VCARDPAB-3")));
    EXPECT_EQ(tool.Folder().Read("vdir/other.vcf"), "x");

    // A run that died behind its writes: the next one finds its own files.
    std::filesystem::remove(folder + "/.contactmgr-export");
    EXPECT_EQ(run().err, "");
    const auto count = std::distance(std::filesystem::directory_iterator(folder), {});
    EXPECT_EQ(count, 6); // two contacts, theirs, two others, the state

    // A file that cannot be written stays as it was until it can.
    const string blocked = folder + "/.contactmgr-" +
                           std::filesystem::path(fileOf("VCARDPAB-2")).filename().string() + ".tmp";
    const auto old = inodeOf(fileOf("VCARDPAB-2"));
    std::filesystem::create_directory(blocked);
    tool.Run({"set", "VCARDPAB-2", "Nickname=C"});
    EXPECT_EQ(run().status, 1);
    EXPECT_EQ(inodeOf(fileOf("VCARDPAB-2")), old);
    std::filesystem::remove(blocked);
    EXPECT_EQ(run().status, 0);
    EXPECT_NE(inodeOf(fileOf("VCARDPAB-2")), old);
}

TEST(ExportTest, EachFormComesInAgainAsTheSameContacts)
{
    const CTool tool;
    tool.Run({"new", "FullName=Ann Lee", "Surname=Lee", "--tel", "work=1", "--email", "a@b.c"});
    tool.Run({"new", "FullName=Bob", "Comment=x, y"});
    for (const auto& form : {vector<string>{},
                             {"--version", "4.0"},
                             {"--format", "jcard"},
                             {"--format", "jscontact"}}) {
        vector<string> arguments = {"export"};
        arguments.insert(arguments.end(), form.begin(), form.end());
        string out = tool.Run(arguments).out;
        // With another name only the UID tells whose card it is.
        for (std::size_t at = 0; (at = out.find("Ann Lee", at)) != string::npos;) {
            out.replace(at, 7, "Ann Fox");
        }
        const CToolRun run = tool.Run({"import", "--update", "-"}, out);
        EXPECT_TRUE(run.out.starts_with("changed VCARDPAB-1\n")) << run.out << run.err;
        EXPECT_EQ(tool.Run({"list"}).out.find("VCARDPAB-3"), string::npos);
        tool.Run({"set", "VCARDPAB-1", "FullName=Ann Lee"});
    }
}
