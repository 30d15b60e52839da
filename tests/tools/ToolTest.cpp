#include "support/ToolRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

using ::std::string;

namespace
{

using CArguments = std::vector<string>;

std::size_t LineCount(const string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

bool Contains(const string& text, const string& part)
{
    return text.find(part) != string::npos;
}

// What is new at each write, and what names the contact.
string WithoutCounters(const string& cards)
{
    return std::regex_replace(cards, std::regex("(REV|X-LARKMERE-WSSVERSION):[^\r]*\r\n"), "");
}

} // namespace

TEST(ToolTest, EachRunEndsWithItsStatusAndOneLineForEachFailure)
{
    const CTool tool;
    ASSERT_EQ(tool.Run({"new", "FullName=Ann Lee", "--email", "ann@example.com"}).out,
              "VCARDPAB-1\n");
    const struct
    {
        const char* what;
        CArguments arguments;
        int status;
        const char* err; // nothing at all if empty
    } kCases[] = {
        {"no command", {}, 2, "a command is required"},
        {"unknown command", {"frobnicate"}, 2, "no such command: frobnicate"},
        {"unknown option", {"--bogus"}, 2, "no such option: --bogus"},
        {"unknown option of a command", {"mailbox", "set", "--x"}, 2, "no such option: --x"},
        {"version with a tail", {"list", "--since", "12x"}, 2, "no version: 12x"},
        {"version over 64 bits", {"poll", "--since", "18446744073709551616"}, 2, "no version"},
        {"no UTF-8", {"query", "\xFF"}, 2, "no UTF-8"},
        {"damaged trace rules", {"--trace", "x", "list"}, 2, "--trace: x"},
        {"mailbox without domain", {"--mailbox", "alice", "list"}, 2, "no NAME@DOMAIN: alice"},
        {"nothing to create", {"new"}, 2, "new wants a field or --from"},
        {"unknown property", {"new", "Shoe=44"}, 2, "no property of a contact: Shoe"},
        {"six components", {"new", "--adr", "a;b;c;d;e;f"}, 2, "seven components"},
        {"type of another list", {"new", "--email", "pref,work=a@b.c"}, 2, "internet, x400, pref;"},
        {"type in another language", {"new", "--tel", "b\xC3\xBCro=1"}, 2, "type 'b\xC3\xBCro';"},
        {"type of no option", {"new", "--tel", "work_fax=1"}, 2, "no type 'work_fax';"},
        {"type and a blank", {"new", "--tel", "home =1"}, 2, "no type 'home ';"},
        {"comma without a type", {"new", "--tel", "home,=1"}, 2, "no type '';"},
        {"entries and none", {"new", "--tel", "1", "--no-tel"}, 2, "--no-tel"},
        {"missing mailbox", {"--mailbox", "e@f.g", "list"}, 1, "/store/f.g/e (3)"},
        {"location without a name", {"--store", "/tmp/%d", "list"}, 1, "has no %n (87)"},
        {"missing contact", {"show", "VCARDPAB-9"}, 1, "VCARDPAB-9: there is no such contact (2)"},
        {"no number", {"show", "VCARDPAB-x"}, 1, "it is VCARDPAB-NUMBER (87)"},
        {"nobody's identifier", {"delete", "x"}, 1, "x: no identifier of a contact: one begins"},
        {"no mailbox",
         {"--store", "/tmp/%d/%n", "mailbox", "list", "a.b"},
         1,
         "no folder /tmp/a.b"},
        {"no seconds", {"--wait", "-1", "list"}, 2, "--wait is no number of seconds: -1"},
        {"divided name", {"new", "Surname=a;b"}, 1, "value of Surname: a semicolon or a line"},
        {"store that is off", {"show", "UserStore-a@example.org"}, 1, "is not enabled for alice@"},
        {"read-only contact", {"set", "INBOX-b@c.d", "FullName=x"}, 1, "can only be read (50)"},
        {"no report of it", {"changes", "--since", "0", "--type", "INBOX"}, 1, "no changes (50)"},
        {"no store", {"changes", "--since", "0", "--type", ""}, 1, "of store '': no such store;"},
        {"store by name", {"changes", "--since", "0", "--type", "Senders"}, 1, "'INBOX': it keeps"},
        {"refused address", {"new", "--email", "nobody"}, 1, "address nobody: "},
        {"file that is not there", {"import", "/nowhere"}, 1, "import /nowhere: not found (2)"},
        {"folder", {"import", "/tmp"}, 1, "import /tmp: it is a folder"},
        {"no match", {"query", "zebra"}, 1, ""},
        {"match", {"query", "LEE"}, 0, ""},
        {"help", {"set", "--help"}, 0, ""},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CToolRun run = tool.Run(c.arguments);
        EXPECT_EQ(run.status, c.status) << run.err;
        EXPECT_TRUE(Contains(run.err, c.err)) << run.err;
        EXPECT_EQ(LineCount(run.err), c.err[0] == '\0' ? 0U : 1U) << run.err;
    }
    // What was refused has created nothing.
    EXPECT_EQ(tool.Run({"new", "Nickname=x"}).out, "VCARDPAB-2\n");
}

TEST(ToolTest, AddressBookIsNotMadeAmongMailFolders)
{
    const CTool tool;
    const string mailbox = tool.StorePath() + "/example.org/alice";
    std::filesystem::create_directories(mailbox + "/Sent/cur");
    const CArguments creation = {"--domain", "example.org", "--mailbox",
                                 "ALICE",    "new",         "FullName=A"};
    CArguments among = creation;
    among.insert(among.begin(), {"--book", tool.StorePath()});
    const CToolRun refused = tool.Run(among);
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(Contains(refused.err, "by --book (87)")) << refused.err;
    EXPECT_FALSE(std::filesystem::exists(mailbox + "/Contacts"));
    EXPECT_EQ(tool.Run(creation).out, "VCARDPAB-1\n");

    // One that is there is used.
    std::filesystem::create_directory(mailbox + "/Contacts");
    const CToolRun used = tool.Run(among);
    EXPECT_EQ(used.out, "VCARDPAB-1\n");
    EXPECT_TRUE(Contains(used.err, "is among the mail folders")) << used.err;
}

TEST(ToolTest, FieldsReachTheRecordWhichIsOneObjectInTheDocumentedOrder)
{
    const CTool tool;
    tool.Run({"new", "FullName=Ann Lee", "GivenName=Ann", "Surname=Lee", "Comment=a\r\nb\rc"});
    for (const auto& [option, field] : {std::pair{"--tel", "Home,FAX=+1 555"},
                                        {"--im", "=skype=a"},
                                        {"--email", "internet=Ann Lee <ann@example.org>"},
                                        {"--adr", "home=;;1 Main St;Town;;12345;USA"},
                                        {"--", "Nickname=--x"}}) {
        EXPECT_EQ(tool.Run({"set", "VCARDPAB-1", option, field}).err, "");
    }
    const auto record = [&tool](const CArguments& command) {
        return std::regex_replace(tool.Run(command).out, std::regex("\"[0-9]{15,20}\""), "\"N\"");
    };
    const string head =
        R"({"formatVersion":1,"id":"VCARDPAB-1","type":"VCARDPAB","readOnly":false,"modified":"N",)"
        R"("firstName":"Ann","lastName":"Lee","properties":{)";
    const string addresses =
        R"("addresses":[{"postOfficeBox":"","extendedAddress":"","street":"1 Main St",)"
        R"("locality":"Town","region":"","postalCode":"12345","country":"USA","types":["home"]}],)"
        R"("ims":[{"address":"skype=a","types":[]}]})"
        "\n";
    EXPECT_EQ(record({"list", "--json"}),
              head +
                  R"("Comment":"a\nb\nc","FullName":"Ann Lee","GivenName":"Ann",)"
                  R"("Nickname":"--x","Surname":"Lee","WssVersion":"6"},"emails":[)"
                  R"({"address":"ann@example.org","comment":"Ann Lee","types":["internet"]}],)"
                  R"("telephones":[{"number":"+1 555","types":["home","fax"]}],)" +
                  addresses);
    tool.Run({"set", "VCARDPAB-1", "Comment=", "Nickname=", "--no-tel", "--no-email"});
    EXPECT_EQ(record({"show", "VCARDPAB-1", "--json"}),
              head +
                  R"("FullName":"Ann Lee","GivenName":"Ann","Surname":"Lee",)"
                  R"("WssVersion":"7"},"emails":[],"telephones":[],)" +
                  addresses);
}

TEST(ToolTest, CommandsGoOnAfterAFailureAndNameTheContact)
{
    const CTool tool;
    for (const char* name : {"FullName=a", "FullName=b", "FullName=c"}) {
        tool.Run({"new", name, "--email", "a@example.org"});
    }
    const CToolRun removed = tool.Run({"delete", "VCARDPAB-1", "VCARDPAB-7", "VCARDPAB-3"});
    EXPECT_EQ(removed.status, 1);
    EXPECT_EQ(removed.err, "contactmgr: delete VCARDPAB-7: there is no such contact (2)\n");
    const CToolRun exported = tool.Run({"export", "VCARDPAB-1", "VCARDPAB-2"});
    EXPECT_EQ(exported.status, 1);
    EXPECT_TRUE(Contains(exported.out, "FN:b\r\n")) << exported.out;
    EXPECT_TRUE(Contains(exported.err, "export VCARDPAB-1: it has been deleted")) << exported.err;
    EXPECT_EQ(tool.Run({"export"}).out, exported.out);

    const string mailbox = "store/example.org/alice/";
    tool.Folder().Write(mailbox + "Contacts/20000000.vcf", "BEGIN:VCARD\r\n");
    tool.Folder().Write(mailbox + "Contacts/a0000000.vcf/x", "no contact");
    for (const auto& [message, body] :
         {std::pair{"1.a", "EMAIL:za@example.org\n"}, {"2.b:2,", "Hi\n"}, {"3.c", "NICK:x\n"}}) {
        tool.Folder().Write(mailbox + ".Contacts/cur/" + message, string("\n") + body);
    }
    for (const CArguments& arguments : {CArguments{"export"}, {"list"}, {"query", "a@"}}) {
        const CToolRun run = tool.Run(arguments);
        EXPECT_EQ(run.status, 1);
        const bool isWalk = arguments[0] != "export";
        EXPECT_TRUE(Contains(run.out, isWalk ? "za@example.org" : "FN:b\r\n")) << run.out;
        EXPECT_TRUE(Contains(run.err, arguments[0] + " VCARDPAB-4: " + tool.Folder().Path()));
        EXPECT_TRUE(Contains(run.err, "/20000000.vcf is no vCard 3.0\n")) << run.err;
        EXPECT_EQ(Contains(run.err, "TRELLISV7, folder Contacts, message 2.b: "), isWalk);
        EXPECT_EQ(LineCount(run.err), isWalk ? 2u : 1u) << run.err;
    }
}

TEST(ToolTest, CardsSurviveExportAndImportUnchanged)
{
    for (const auto& file : std::filesystem::directory_iterator(CONTACTMGR_TEST_DATA "/vcards")) {
        if (file.path().extension() != ".vcf") {
            continue;
        }
        SCOPED_TRACE(file.path().filename().string());
        const CTool first;
        const CTool second;
        ASSERT_EQ(first.Run({"import", file.path()}).status, 0);
        const string exported = first.Run({"export"}).out;
        EXPECT_NE(exported, "");
        EXPECT_EQ(second.Run({"import", "-"}, exported).status, 0);
        EXPECT_EQ(WithoutCounters(second.Run({"export"}).out), WithoutCounters(exported));
    }
}

TEST(ToolTest, ChangesAndPollsFollowAVersion)
{
    const CTool tool;
    tool.Run({"mailbox", "set", "alice@example.org", "EnabledContactPlugins=1"});
    EXPECT_EQ(tool.Run({"poll"}).out, "unchanged 0\n");
    EXPECT_EQ(tool.Run({"changes", "--since", "5"}).out, "version 5\n");
    tool.Run({"new", "FullName=a"});
    tool.Run({"new", "FullName=b"});
    const string polled = tool.Run({"poll"}).out;
    ASSERT_EQ(polled.substr(0, 8), "changed ");
    const string version = polled.substr(8, polled.size() - 9);
    EXPECT_EQ(tool.Run({"poll", "--since", version, "--json"}).out,
              "{\"formatVersion\":1,\"changed\":false,\"version\":\"" + version + "\"}\n");
    EXPECT_EQ(tool.Run({"list", "--since", version}).out, "");

    tool.Run({"set", "VCARDPAB-1", "FullName=c"});
    tool.Run({"delete", "VCARDPAB-2"});
    tool.Run({"new", "FullName=d"});
    const string report = tool.Run({"changes", "--since", version}).out;
    EXPECT_TRUE(std::regex_match(report, std::regex("created VCARDPAB-3\nchanged VCARDPAB-1\n"
                                                    "deleted VCARDPAB-2\nversion [0-9]+\n")))
        << report;
    EXPECT_EQ(LineCount(tool.Run({"list", "--since", version}).out), 2U);
    const string json = tool.Run({"changes", "--since", version, "--json"}).out;
    EXPECT_TRUE(Contains(json, R"(,"created":["VCARDPAB-3"],"changed":["VCARDPAB-1"],)"
                               R"("deleted":["VCARDPAB-2"]})"))
        << json;
}

TEST(ToolTest, RenewDropsUnfinishedSavesAndTellsFollowersOfAllThatWasPutBack)
{
    const CTool tool;
    const CArguments renew = {"mailbox", "renew", "alice@example.org"};
    CArguments elsewhere = renew;
    elsewhere.insert(elsewhere.begin(), {"--book", tool.Folder().Path()});
    EXPECT_EQ(tool.Run(elsewhere).out, "renewed 0\n");
    const string book = tool.StorePath() + "/example.org/alice/Contacts";
    const auto run = [&](const string& command) {
        ASSERT_EQ(std::system(("cd '" + book + "' && " + command).c_str()), 0) << command;
    };
    tool.Run({"new", "FullName=Backup"});
    tool.Run({"new", "FullName=Gone"});
    run("cp -a . ../saved");
    tool.Run({"set", "VCARDPAB-1", "FullName=Newer"});
    tool.Run({"delete", "VCARDPAB-2"});
    const string version = tool.Run({"poll"}).out.substr(8, 18);
    run("cp -a ../saved/*.vcf . && rm -r .redo && touch 40000000.vcf.redo~ c0000000.vcf.redo~ && "
        "ln -s none 20000000.vcf");
    const CToolRun renewed = tool.Run(renew);
    EXPECT_EQ(renewed.out, "dropped VCARDPAB-2\ndropped VCARDPAB-3\nrenewed 2\n");
    EXPECT_TRUE(Contains(renewed.err, "VCARDPAB-4")) << renewed.err;
    run("test $(ls .redo | wc -l) = 0");
    const string report = tool.Run({"changes", "--since", version}).out;
    EXPECT_TRUE(Contains(report, "changed VCARDPAB-1\n") &&
                Contains(report, "changed VCARDPAB-2\n"))
        << report;
}

TEST(ToolTest, IdentifiersOfOthersAreRefusedUnlessTheyAreAskedFor)
{
    const CTool tool;
    tool.Run({"mailbox", "set", "alice@example.org", "EnabledContactPlugins=15"});
    static const std::pair<const char*, bool> kRefusals[] = {
        {"TRELLISV7-1 alice example.org", false}, {"TRELLISV7-1 bob example.org", true},
        {"TRELLISV7x-1 bob example.org", true},   {"TRELLISV7-1 alice example.org x", true},
        {"UserStore-bob@example.org", false},     {"UserStore-bob@example.net", true},
        {"UserStore-<bob@example.net>", true},    {"VCARDPAB-1", false},
    };
    for (const auto& [id, isRefused] : kRefusals) {
        SCOPED_TRACE(id);
        for (const char* command : {"show", "delete", "export"}) {
            EXPECT_EQ(Contains(tool.Run({command, id}).err, "--any-mailbox allows"), isRefused);
            EXPECT_FALSE(Contains(tool.Run({"--any-mailbox", command, id}).err, "--any-mailbox"));
        }
    }
}

TEST(ToolTest, AFaultOfAPropertyFileIsNamedWithItsLineAndStopsOnlyWriters)
{
    static const struct
    {
        const char *file, *text;
        bool isOfAlice; // who then cannot write
        const char* err;
    } kCases[] = {
        {"properties.json", "{\n\"a\": }", true, "/properties.json:2: invalid data (13)"},
        {"alice/properties.json", "{\n\n\"enabledcontactplugins\": true}", true,
         "/alice/properties.json:3: enabledcontactplugins is a truth value, and not a number (13)"},
        {"bob/properties.json", "{\n\"City\": 1,\n\"Title\": 5}", false,
         "Jobtitle: /example.org/bob/properties.json:3: Title is a number, and not a text (13)"},
        {"bob/properties.json", "{\n\"OtherMailbox\": \"b\"}", false,
         "OtherMailbox: /example.org/bob/properties.json:2: invalid data (13)"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.text);
        const CTool tool;
        tool.Run({"new", "FullName=a"});
        tool.Run({"mailbox", "set", "alice@example.org", "EnabledContactPlugins=personal,domain"});
        tool.Folder().Write(string("store/example.org/") + c.file, c.text);
        const CToolRun listed = tool.Run({"list", "--json"});
        EXPECT_EQ(listed.status, 1);
        EXPECT_TRUE(Contains(listed.out, "\"id\":\"VCARDPAB-1\"")) << listed.out;
        string err = listed.err;
        EXPECT_NE(err.find(tool.StorePath()), string::npos);
        EXPECT_TRUE(Contains(err.erase(err.find(tool.StorePath()), tool.StorePath().size()), c.err))
            << err;
        EXPECT_EQ(tool.Run({"set", "VCARDPAB-1", "Nickname=b"}).status, c.isOfAlice ? 1 : 0);
    }
}

TEST(ToolTest, MailboxesAreListedAndDescribed)
{
    const CTool tool;
    EXPECT_EQ(tool.Run({"mailbox", "add", "carol@example.org"}).status, 0);
    EXPECT_EQ(tool.Run({"mailbox", "list", "example.org"}).out,
              "alice@example.org\nbob@example.org\ncarol@example.org\n");
    EXPECT_EQ(tool.Run({"mailbox", "list", "example.net"}).status, 1);
    EXPECT_TRUE(tool.Run({"mailbox", "list", "example.org", "--json"})
                    .out.starts_with(R"({"formatVersion":1,"mailbox":"alice@example.org",)"
                                     R"("name":"alice","domain":"example.org"})"));
    EXPECT_EQ(tool.Run({"mailbox", "add", "bob@example.org"}).err,
              "contactmgr: add mailbox bob@example.org: exists already (183)\n");
    static const std::pair<CArguments, const char*> kSettings[] = {
        {{"bob@example.org", "FullName=Bob", "City=K\xC3\xB6ln"}, ""},
        {{"--of-domain", "example.org", "EnabledContactPlugins=Domain,personal"}, ""},
        {{"--of-server", "Country=CH", "EnabledContactPlugins=0"}, ""},
        {{"alice@example.org", "EnabledContactPlugins=16"}, "no number from 0 to 15 and no"},
        {{"alice@example.org", "EnabledContactPlugins=personal,x"}, "personal,older,domain,send"},
        {{"alice@example.org", "Shoe=44"}, "no property of a mailbox: Shoe"},
        {{"alice@example.org", "CityEffective=x"}, "CityEffective; set City"},
        {{"alice@example.org", "Jobtitle=x"}, "Title has the job title"},
        {{"--of-domain", "example.net", "City=x"}, "folder not found (3)"},
        {{"City=x"}, "no NAME@DOMAIN: City=x"},
    };
    for (const auto& [setting, err] : kSettings) {
        CArguments command = {"mailbox", "set"};
        command.insert(command.end(), setting.begin(), setting.end());
        const CToolRun run = tool.Run(command);
        EXPECT_EQ(run.status == 0, *err == '\0');
        EXPECT_TRUE(Contains(run.err, err)) << run.err;
    }
    const string place = tool.StorePath() + "/example.org/properties.json:2\n";
    EXPECT_EQ(tool.Run({"mailbox", "show", "alice@example.org", "--effective"}).out,
              "EnabledContactPlugins\t5 (personal,domain)\t" + place + "Country\tCH\t" +
                  tool.StorePath() + "/properties.json:2\n");
    const CToolRun json = tool.Run({"mailbox", "show", "--of-domain", "example.org", "--json"});
    EXPECT_EQ(json.out, R"({"formatVersion":1,"name":"EnabledContactPlugins","value":5,)"
                        R"("source":"domain","path":")" +
                            place.substr(0, place.size() - 3) + "\",\"line\":2}\n");
    EXPECT_EQ(tool.Run({"mailbox", "show", "bob@example.org"}).out,
              "FullName\tBob\nCity\tK\xC3\xB6ln\n");
    EXPECT_EQ(tool.Run({"list"}).out, "UserStore-alice@example.org\t\talice@example.org\n"
                                      "UserStore-bob@example.org\tBob\tbob@example.org\n"
                                      "UserStore-carol@example.org\t\tcarol@example.org\n");
    const string shown = tool.Run({"show", "UserStore-bob@example.org"}).out;
    EXPECT_TRUE(Contains(shown, "FullName: Bob\n") && Contains(shown, "K\xC3\xB6ln, CH")) << shown;
}

TEST(ToolTest, OutputThatCannotBeWrittenIsAFailure)
{
    const CTool tool;
    tool.Run({"new", "FullName=a"});
    const CToolRun run = tool.Run({"list"}, "", "/dev/full");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "contactmgr: write standard output: disk full (112)\n");
}

TEST(ToolTest, OutputToAPipeThatIsClosedEndsInSilence)
{
    const CTool tool;
    tool.Run({"new", "FullName=a"});
    const string script = tool.Folder().Write(
        "script", "exec 3> >(true); wait $!; trap '' PIPE\n" CONTACTMGR_TEST_TOOL " --store " +
                      tool.StorePath() + " --mailbox alice@example.org list >&3\n");
    const int status = std::system(("bash " + script + " 2>" + (tool.Folder() / "err")).c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_EQ(tool.Folder().Read("err"), "");
}
