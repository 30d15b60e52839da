#include "base/Table.h"
#include "support/ToolRun.h"
#include "views/Birthday.h"
#include "views/Rows.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using ::std::string;

namespace
{

using CArguments = std::vector<string>;

constexpr const char* kCards =
    "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Zo\xC3\xAB M\xC3\xBCller\r\nN:M\xC3\xBCller;Zo\xC3\xAB\r\n"
    "NICKNAME:Zozo\r\nORG:Mill Ltd.\r\nTEL;TYPE=cell:+49 171 555-01\r\nBDAY:1600-02-29\r\n"
    "ADR;TYPE=home:;;High St 1;K\xC3\xB6ln;;50667;\r\nEND:VCARD\r\n"
    "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:\xC3\x84nne "
    "Lee\r\nN:Lee;\xC3\x84nne\r\nEMAIL:anne@example.com\r\nEND:VCARD\r\n"
    "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:anna "
    "Lee\r\nEMAIL:a@example.org\r\nBDAY:1985\r\nEND:VCARD\r\n";

// The first fields of the lines.
string FirstFields(const string& out)
{
    string fields;
    for (std::size_t at = 0; at < out.size(); at = out.find('\n', at) + 1) {
        fields += out.substr(at, out.find('\t', at) - at) + ' ';
    }
    return fields;
}

} // namespace

TEST(ViewTest, BirthdaysAreReadInEveryFormAndComeAgainEachYear)
{
    static const struct
    {
        const char *line, *birthday; // none if empty
        const char* next;            // from 2026-11-24 on
    } kCases[] = {
        {"BDAY:1985-04-12", "1985-04-12", "2027-04-12"},
        {"BDAY:19851124", "1985-11-24", "2026-11-24"},
        {"BDAY;VALUE=date-time:1953-11-23T23:10:00Z", "1953-11-23", "2027-11-23"},
        {"BDAY:19531125t2310", "1953-11-25", "2026-11-25"},
        {"BDAY:--04-12", "--04-12", "2027-04-12"},
        {"BDAY:--1231", "--12-31", "2026-12-31"},
        {"BDAY:2000-02-29", "2000-02-29", "2027-02-28"},
        {"BDAY:--0229", "--02-29", "2027-02-28"},
        {"BDAY;X-APPLE-OMIT-YEAR=1604:1604-02-29", "--02-29", "2027-02-28"},
        {"BDAY: 0000-04-12 ", "--04-12", "2027-04-12"},
        {"BDAY:1985-02-29", "", ""},
        {"BDAY:1985-04", "", ""},
        {"BDAY:---12", "", ""},
        {"BDAY:12.4.1985", "", ""},
        {"BDAY:--13-01", "", ""},
        {"BDAY:1985-04-123", "", ""},
        {"BDAY;VALUE=text:circa 1800", "", ""},
    };
    using namespace std::chrono;
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.line);
        CVCardLine line;
        ASSERT_TRUE(ReadVCardLine(c.line, &line));
        const std::optional<CBirthday> birthday = ReadBirthday(line);
        ASSERT_EQ(birthday.has_value(), *c.birthday != '\0');
        if (birthday) {
            EXPECT_EQ(ToText(*birthday), c.birthday);
            EXPECT_EQ(ToText(NextBirthday(*birthday, 2026y / November / 24)), c.next);
        }
    }
    EXPECT_EQ(ToText(NextBirthday({{}, February / 29}, 2028y / January / 1)), "2028-02-29");
}

TEST(ViewTest, ATableCountsColumnsAndNotBytes)
{
    CTable table({"ID", "NAME", "X"}, 0);
    // A combining accent; a control character, and one that turns the direction of text.
    table.Add({"1", "e\xCC\x81", "b\t\xE2\x81\xA7z"});
    table.Add({"23", "\xE7\x94\xB0\xE4\xB8\xAD", ""});     // two wide characters
    table.Add({"4", "\xF0\x9F\x98\x80", string(50, 'x')}); // a picture
    EXPECT_EQ(table.ToText({}), "1\te\xCC\x81\tb  z\n23\t\xE7\x94\xB0\xE4\xB8\xAD\t\n4\t"
                                "\xF0\x9F\x98\x80\t" +
                                    string(50, 'x') + '\n');
    EXPECT_EQ(table.ToText({true, false}), "ID  NAME  X\n1   e\xCC\x81     b  z\n"
                                           "23  \xE7\x94\xB0\xE4\xB8\xAD  \n"
                                           "4   \xF0\x9F\x98\x80    " +
                                               string(50, 'x') + '\n');
    CTable coloured({"ID", "X"}, 0);
    EXPECT_EQ(coloured.ToText({true, true}), "");
    coloured.Add({string(50, 'y'), "z"});
    EXPECT_EQ(coloured.ToText({true, true}), "\x1B[1mID\x1B[0m" + string(40, ' ') +
                                                 "\x1B[1mX\x1B[0m\n\x1B[33m" + string(50, 'y') +
                                                 "\x1B[0m  z\n");
}

TEST(ViewTest, ATerminalGetsColumnsAndColourUnlessTheEnvironmentForbidsIt)
{
    static const struct
    {
        const char *terminal, *noColour;
        CArguments command;
        const char* out;
    } kCases[] = {
        {"xterm", "", {"list"}, "\x1B[1mID\x1B[0m          \x1B[1mNAME"},
        {"xterm", "1", {"list"}, "ID          NAME  ADDRESS\r\nVCARDPAB-1  A [m  \r\n"},
        {"dumb", "", {"list"}, "ID          NAME  ADDRESS\r\nVCARDPAB-1  A [m  \r\n"},
        {"", "", {"list"}, "ID          NAME  ADDRESS\r\nVCARDPAB-1  A [m  \r\n"},
        {"xterm", "", {"show", "VCARDPAB-1"}, "\nFN:A [m\r\r\n"},
    };
    const CTool tool;
    tool.Run({"new", "FullName=A\x1B[m"});
    EXPECT_NE(tool.Run({"show", "VCARDPAB-1"}).out.find("\nFN:A\x1B[m\r\n"), string::npos);
    for (const auto& c : kCases) {
        SCOPED_TRACE(string(c.terminal) + c.noColour);
        const int master = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_TRUE(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
        setenv("TERM", c.terminal, 1);
        setenv("NO_COLOR", c.noColour, 1);
        EXPECT_EQ(tool.Run(c.command, "", ptsname(master)).err, "");
        string text;
        char part[200];
        // It comes in parts, and fails behind the last one.
        for (ssize_t size = 0; (size = read(master, part, sizeof(part))) > 0;) {
            text.append(part, static_cast<std::size_t>(size));
        }
        EXPECT_NE(text.find(c.out), string::npos) << text;
        close(master);
        unsetenv("NO_COLOR");
    }
}

TEST(ViewTest, AListIsInOrderAndHasTheWordsAndTheStore)
{
    const CTool tool;
    tool.Run({"import", "-"}, kCards);
    for (int number = 4; number <= 10; ++number) {
        tool.Run({"new", "Nickname=x" + std::to_string(number)});
    }
    tool.Folder().Write("store/example.org/alice/cur/1", "From: Bob Lee <b@example.net>\n\n");
    static const std::pair<CArguments, const char*> kCases[] = {
        {{"lee"}, "VCARDPAB-2 VCARDPAB-3 INBOX-Bob Lee <b@example.net> "},
        {{"--sort", "name", "lee"}, "VCARDPAB-3 VCARDPAB-2 INBOX-Bob Lee <b@example.net> "},
        {{"X", "--sort", "id"},
         "VCARDPAB-2 VCARDPAB-3 VCARDPAB-4 VCARDPAB-5 VCARDPAB-6 VCARDPAB-7 VCARDPAB-8 VCARDPAB-9 "
         "VCARDPAB-10 INBOX-Bob Lee <b@example.net> "},
        {{"mueller", "ZOE"}, "VCARDPAB-1 "},
        {{"mueller zozo"}, "VCARDPAB-1 "},
        {{"ltd"}, "VCARDPAB-1 "},
        {{"anne@", "EXAMPLE"}, "VCARDPAB-2 "},
        {{"17155501"}, "VCARDPAB-1 "},
        {{"koln", "high"}, "VCARDPAB-1 "},
        {{"mueller", "lee"}, ""},
        {{"--type", "Senders"}, "INBOX-Bob Lee <b@example.net> "},
        {{"--type", "vcardpab", "lee"}, "VCARDPAB-2 VCARDPAB-3 "},
    };
    for (const auto& [options, ids] : kCases) {
        SCOPED_TRACE(options[0] + options.back());
        CArguments arguments = {"list"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const CToolRun run = tool.Run(arguments);
        EXPECT_EQ(FirstFields(run.out), ids);
        EXPECT_EQ(run.status, 0) << run.err;
    }
    static const std::pair<CArguments, const char*> kRefusals[] = {
        {{"list", "--type", "x"}, "no such store: x; take VCARDPAB, TRELLISV7, UserStore or INBOX"},
        {{"list", "--sort", "x"}, "--sort takes name or id: x"},
        {{"list", "--type", "domain"}, "store UserStore is not enabled for alice@example.org"},
    };
    for (const auto& [arguments, err] : kRefusals) {
        EXPECT_NE(tool.Run(arguments).err.find(err), string::npos) << err;
    }
}

TEST(ViewTest, ViewsHaveALineForEachEntry)
{
    const CTool tool;
    tool.Run({"import", "-"}, kCards);
    const string zoe = "Zo\xC3\xAB M\xC3\xBCller";
    const string object = R"({"formatVersion":1,"id":"VCARDPAB-1","name":")" + zoe + "\",";
    const std::pair<CArguments, string> kCases[] = {
        {{"phones"}, zoe + "\tcell\t+49 171 555-01\tVCARDPAB-1\n"},
        {{"phones", "lee"}, ""},
        {{"phones", "--json"}, object + R"("number":"+49 171 555-01","types":["cell"]})" + '\n'},
        {{"addresses"}, zoe + "\thome\tHigh St 1, K\xC3\xB6ln, 50667\tVCARDPAB-1\n"},
        {{"addresses", "--json", "zoe"},
         object + R"("postOfficeBox":"","extendedAddress":"","street":"High St 1","locality":"K)" +
             "\xC3\xB6" + R"(ln","region":"","postalCode":"50667","country":"","types":["home"]})" +
             '\n'},
    };
    for (const auto& [arguments, out] : kCases) {
        const CToolRun run = tool.Run(arguments);
        EXPECT_EQ(run.out, out);
        EXPECT_EQ(run.status, 0) << run.err;
    }
    const CBirthday birthday{std::chrono::year(1600), std::chrono::February / 29};
    std::chrono::sys_days today;
    CToolRun plain, json;
    do { // once more if midnight comes in between
        today = Today();
        plain = tool.Run({"birthdays"});
        json = tool.Run({"birthdays", "--json"});
    } while (today != Today());
    const std::chrono::sys_days next = NextBirthday(birthday, today);
    const string days = std::to_string((next - today).count());
    EXPECT_EQ(plain.out, "1600-02-29\t" + zoe + '\t' + days + "\tVCARDPAB-1\n");
    EXPECT_EQ(plain.err, "contactmgr: birthdays VCARDPAB-3: its BDAY names no day: 1985\n");
    EXPECT_EQ(json.out, object + R"("birthday":"1600-02-29","next":")" + ToText(next) +
                            "\",\"days\":" + days + "}\n");
    EXPECT_EQ(json.status, 0);
    EXPECT_LT(KeyOfName("", 0), KeyOfName("Ann", 1)) << "today, of a contact without a name";
    EXPECT_LT(KeyOfName("Ann", 1), KeyOfName("", 1));
}
